// EXPECT_ASSERTION(statement, text): the statement ends the process by an assertion of ours with exactly this text. The
// text is compared as it is: as a regular expression "a || b" would match anything.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace TestSupport {

inline auto assertionText(const std::string& text) { return testing::HasSubstr(": assertion failed: " + text + "\n"); }

}  // namespace TestSupport

#define EXPECT_ASSERTION(statement, text) \
  EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), TestSupport::assertionText(text))
