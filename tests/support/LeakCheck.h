// Included by a test program, fails each of its tests that leaves an interned object or a block of references behind.
// Leak checkers do not see those: the heaps never give their memory back.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>

#include "Keel/SlabHeap.h"

namespace TestSupport {

class LeakCheck : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    handles_ = Keel::handleHeap().liveSlots();
    blocks_ = Keel::blockHeap().liveSlots();
  }
  // In difference to the start, so that one leak fails one test.
  void OnTestEnd(const testing::TestInfo&) override {
    EXPECT_EQ(Keel::handleHeap().liveSlots(), handles_) << "interned objects left behind";
    EXPECT_EQ(Keel::blockHeap().liveSlots(), blocks_) << "blocks of references left behind";
  }

  std::size_t handles_ = 0;
  std::size_t blocks_ = 0;
};

inline const bool leakCheckInstalled = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new LeakCheck);
  return true;
}();

}  // namespace TestSupport
