// EXPECT_ASSERTION(statement, text): the statement ends the process by an assertion of ours with exactly this text. The
// text is compared as it is: as a regular expression "a || b" would match anything.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#define EXPECT_ASSERTION(statement, text)                  \
  EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), \
              testing::HasSubstr(std::string(": assertion failed: ") + (text) + "\n"))
// By one with this advice behind it.
#define EXPECT_ADVICE(statement, advice) \
  EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), testing::HasSubstr(std::string(": ") + (advice) + "\n"))
