#include "Tyr/PtrInterface.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

class Rule final : public Tyr::PtrInterface {
 public:
  Rule() { ++alive; }
  static inline int alive = 0;

 private:
  ~Rule() override { --alive; }
};

TEST(PtrInterface, CountsUnderManyThreads) {
  Tyr::agentMultiThreadedIs(true);
  Tyr::Ptr<Rule> rule = Tyr::make<Rule>();
  {
    std::vector<std::jthread> threads(4);
    for (std::jthread& thread : threads) {
      thread = std::jthread([rule] {
        for (int step = 0; step < 20000; ++step) const Tyr::Ptr<Rule> another = rule;
      });
    }
  }
  EXPECT_EQ(rule->referenceCount(), 1u);
  rule.reset();
  EXPECT_EQ(Rule::alive, 0);
  Tyr::agentMultiThreadedIs(false);
}

}  // namespace
