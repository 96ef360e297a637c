// A test program that links FailingMemory.cpp can make its allocations fail: every malloc(), calloc(), realloc(),
// operator new and mmap(), also those of other libraries. Under the sanitizers, which bring allocators of their own,
// only operator new.
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <type_traits>

namespace Routing::Bgp::test {

struct FailingMemory {
  int left;  // allocations until the first that fails, plus one; 0: none does
  bool forGood;
  bool failed;
  long live;  // blocks allocated less blocks freed, not counted under the sanitizers
};
// Each thread has its own.
extern thread_local constinit FailingMemory failingMemory;

// Does it again and again, with the first, the second ... allocation failing, once and for good, until none fails.
// An exception is no result; failed() is called after it, with memory. What does not throw must give the answer that it
// gives with memory. All of that is repeated until a round leaves no more memory behind than the one before, as each
// would that loses some: objects may wait a while to be freed. Not so where other libraries lose some, or other threads
// free it. How many allocations failed in the first round.
enum class Losses { none, notCounted };
template <typename Action, typename Failed>
int failAtEachAllocation(Action&& action, Failed&& failed, Losses losses = Losses::none) {
  constexpr bool answers = !std::is_void_v<decltype(action())>;
  const auto same = [&action](const auto& expected) {
    if constexpr (answers) {
      const auto answer = action();
      failingMemory.left = 0;
      return answer == expected;
    } else {
      action();
      return true;
    }
  };
  const auto once = [&](int at, bool forGood, const auto& expected) {
    failingMemory = {at, forGood, false, failingMemory.live};
    bool right = true;
    try {
      right = same(expected);
      failingMemory.left = 0;
    } catch (const std::exception& error) {
      failingMemory.left = 0;
      EXPECT_TRUE(failingMemory.failed) << "with all memory: " << error.what();
      failed();
    }
    EXPECT_TRUE(right) << "another answer without allocation " << at << (forGood ? " and those that follow" : "");
    return failingMemory.failed;
  };
  const auto round = [&](const auto& expected) {
    int failures = 0;
    for (const bool forGood : {false, true}) {
      for (int at = 1; once(at, forGood, expected); ++at) ++failures;
    }
    return failures;
  };
  const auto rounds = [&](const auto& expected) {
    const int failures = round(expected);
    if (losses == Losses::notCounted) return failures;
    long live, before;
    int more = 8;
    do {
      before = failingMemory.live;
      round(expected);
      live = failingMemory.live;
    } while (live > before && --more > 0);
    EXPECT_LE(live, before) << "memory is left behind";
    return failures;
  };
  if constexpr (answers) {
    return rounds(action());
  } else {
    return rounds(0);
  }
}

// Has memory, inside of an action.
template <typename Action>
void withMemory(Action&& action) {
  const FailingMemory before = failingMemory;
  failingMemory.left = 0;
  action();
  failingMemory.left = before.left;
}

}  // namespace Routing::Bgp::test
