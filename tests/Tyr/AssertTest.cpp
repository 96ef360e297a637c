#include "Tyr/Assert.h"

#include <utility>

#include "support/Death.h"

namespace {

TEST(AssertDeathTest, printsTheConditionAsItIsSpelled) {
  const int arg = 3;
  const int* const rule = nullptr;
  EXPECT_ASSERTION(TYR_ASSERT(rule != nullptr && "Caller must check first"),
                   "rule != nullptr && \"Caller must check first\"");
  EXPECT_ASSERTION(TYR_ASSERT(arg < 2 || arg > 4), "arg < 2 || arg > 4");
  EXPECT_ASSERTION(TYR_ASSERT(__null != rule), "__null != rule");
  // Commas of the condition are a part of it.
  EXPECT_ASSERTION(TYR_ASSERT(std::pair<int, int>(0, 1).first == 1), "std::pair<int, int>(0, 1).first == 1");
  EXPECT_ASSERTION(TYR_ASSERT_TEXT(arg < 2, "arg < Range< Two >::size()"), "arg < Range< Two >::size()");
}

TEST(AssertDeathTest, saysWhereAlsoWithNdebug) {
#undef NDEBUG
#define NDEBUG
  const std::string place = std::string(__FILE__) + ":" + std::to_string(__LINE__ + 1) + ": assertion failed: false\n";
  EXPECT_EXIT(TYR_ASSERT(false), testing::KilledBySignal(SIGABRT), testing::HasSubstr(place));
}

TEST(Assert, evaluatesAConditionThatHoldsOnceAndGoesOn) {
  int calls = 0;
  TYR_ASSERT(++calls == 1);
  TYR_ASSERT_TEXT(++calls == 2, "unused");
  EXPECT_EQ(calls, 2);
}

}  // namespace
