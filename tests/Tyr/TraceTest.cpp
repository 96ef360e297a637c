#include "Tyr/Trace.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "Tyr/Exception.h"
#include "support/Death.h"

namespace {

class Trace : public testing::Test {
 protected:
  Trace() {
    Tyr::traceSinkIs([this](int level, std::string_view line) { lines.push_back(std::to_string(level).append(line)); });
  }
  ~Trace() override {
    Tyr::traceSinkIs({});
    Tyr::traceLevelIs(-1);
  }
  int evaluated() { return ++evaluations; }

  std::vector<std::string> lines;
  int evaluations = 0;
};

TEST_F(Trace, evaluatesOnlyWhatIsTraced) {
  Tyr::traceLevelIs(-1);
  TYR_TRACE(0, evaluated());
  Tyr::traceLevelIs(4);
  TYR_TRACE(5, evaluated());
  EXPECT_EQ(evaluations, 0);
  TYR_TRACE(4, "n " << evaluated() << ' ' << std::hex << 255);
  TYR_TRACE(0, "low");
  EXPECT_EQ(lines, std::vector<std::string>({"4TestBody: n 1 ff", "0TestBody: low"}));
  EXPECT_THROW(Tyr::traceLevelIs(10), Tyr::RangeException);
  EXPECT_THROW(Tyr::traceLevelIs(-2), Tyr::RangeException);
  EXPECT_EQ(Tyr::traceLevel(), 4);
}

TEST_F(Trace, theSinkMayTraceAndReplaceItself) {
  Tyr::traceLevelIs(2);
  Tyr::traceSinkIs([this](int, std::string_view line) {
    lines.emplace_back(line);
    if (lines.size() < 3) TYR_TRACE(2, "again");
    Tyr::traceSinkIs([](int, std::string_view) {});
  });
  TYR_TRACE(2, "first");
  TYR_TRACE(2, "last");
  EXPECT_EQ(lines.size(), 3u);
}

// The child is a process of its own, which reads the environment when it starts.
void traceAndExit() {
  Tyr::traceSinkIs({});
  TYR_TRACE(7, "seven");
  TYR_TRACE(8, "eight");
  std::exit(0);
}

TEST(TraceDeathTest, environmentSetsTheLevelAndStandardErrorIsTheSink) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::pair<const char*, const char*> cases[] = {
      {"7", "traceAndExit: seven\n"}, {"10", ""}, {"", ""}, {"x", ""}, {"-1", ""}};
  for (const auto& [level, output] : cases) {
    setenv("VELBGP_TRACE", level, 1);
    EXPECT_EXIT(traceAndExit(), testing::ExitedWithCode(0), testing::Eq(std::string(output))) << level;
  }
  unsetenv("VELBGP_TRACE");
}

}  // namespace
