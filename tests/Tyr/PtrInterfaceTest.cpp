#include "Tyr/PtrInterface.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "Tyr/FwkType.h"

namespace {

class Rule final : public Tyr::PtrInterface {
 public:
  explicit Rule(int number) : number(number) { ++alive; }
  const int number;
  static inline int alive = 0;

 private:
  ~Rule() override { --alive; }
};

// Both ways of stepping the counts; many threads only where the agent says so.
class PtrInterface : public testing::TestWithParam<bool> {
 protected:
  PtrInterface() { Tyr::agentMultiThreadedIs(GetParam()); }
  ~PtrInterface() override { Tyr::agentMultiThreadedIs(false); }
};

TEST_P(PtrInterface, livesAsLongAsItsPointers) {
  Tyr::Ptr<Rule> rule = Tyr::make<Rule>(7);
  EXPECT_TRUE(rule->number == 7 && rule->notificationActive());
  EXPECT_EQ(rule->referenceCount(), 1u);
  Tyr::PtrConst<Rule> copy = rule;
  EXPECT_EQ(copy->referenceCount(), 2u);
  const Tyr::PtrConst<Rule> moved = std::move(copy);
  EXPECT_EQ(moved->referenceCount(), 2u);
  {
    std::vector<std::jthread> threads(GetParam() ? 4 : 0);
    for (std::jthread& thread : threads) {
      thread = std::jthread([rule] {
        for (int step = 0; step < 20000; ++step) const Tyr::Ptr<Rule> another = rule;
      });
    }
  }
  rule.reset();
  EXPECT_EQ(moved->referenceCount(), 1u);
  { const Tyr::Ptr<Rule> other(new Rule(1)); }
  EXPECT_EQ(Rule::alive, 1);
}

INSTANTIATE_TEST_SUITE_P(SingleAndMultiThreaded, PtrInterface, testing::Bool());

TEST(FwkType, unqualifiedName) {
  EXPECT_EQ(Tyr::FwkType{"Routing::Bgp::ExtCommColor"}.unqualifiedName(), "ExtCommColor");
  EXPECT_EQ(Tyr::FwkType{"Plain"}.unqualifiedName(), "Plain");
}

}  // namespace
