#include "Keel/SlabHeap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "Tyr/Threading.h"

namespace Keel {
namespace {

TEST(SlabHeap, SlotsAreDisjointAndReferencesLeadBack) {
  for (const bool multiThreaded : {false, true}) {
    Tyr::agentMultiThreadedIs(multiThreaded);
    SlabHeap& heap = blockHeap();
    std::mt19937 random(1);
    std::map<char*, std::size_t> slots;
    for (int i = 0; i < 6000; ++i) {  // several chunks of the larger sizes
      const std::size_t octets = 1 + random() % SlabHeap::maxOctets;
      auto* slot = static_cast<char*>(heap.allocate(octets));
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(slot) % 8, 0u);
      ASSERT_NE(SlabHeap::refOf(slot), 0u);
      ASSERT_EQ(SlabHeap::at(SlabHeap::refOf(slot)), slot);
      std::memset(slot, 0x5a, octets);
      const auto [place, isNew] = slots.emplace(slot, octets);
      ASSERT_TRUE(isNew);
      const auto next = std::next(place);
      EXPECT_TRUE(place == slots.begin() || std::prev(place)->first + std::prev(place)->second <= slot);
      EXPECT_TRUE(next == slots.end() || slot + octets <= next->first);
    }
    EXPECT_EQ(heap.liveSlots(), slots.size());
    for (const auto& slot : slots) SlabHeap::release(slot.first);
    EXPECT_EQ(heap.liveSlots(), 0u);
    EXPECT_EQ(heap.liveOctets(), 0u);
  }
  Tyr::agentMultiThreadedIs(false);
}

TEST(SlabHeap, FreedSlotsAreUsedAgainAndKeepTheirFirstOctets) {
  SlabHeap& heap = handleHeap();
  auto* slot = static_cast<char*>(heap.allocate(32));
  std::memcpy(slot, "0123456789abcde", 16);
  EXPECT_EQ(SlabHeap::octetsOf(slot), 32u);
  SlabHeap::release(slot);
  void* again = heap.allocate(30);  // the same size class
  EXPECT_EQ(again, slot);
  EXPECT_STREQ(static_cast<char*>(again), "0123456789abcde");
  SlabHeap::release(again);
}

TEST(SlabHeap, RefusesSizesThatItHasNoClassFor) {
  EXPECT_DEATH(blockHeap().allocate(2049), "octets <= maxOctets");
  EXPECT_DEATH(handleHeap().allocate(16), "pool.slotOctets.* >= pool.linkOffset");
}

}  // namespace
}  // namespace Keel
