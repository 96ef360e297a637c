// The slab heaps, and the arrays whose blocks they hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <thread>
#include <vector>

#include "Keel/PtrInterfaceArray.h"
#include "Keel/Word.h"
#include "Tyr/Threading.h"

namespace Keel::test {
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

// Sizes one after the other, each all released before the next, in random order and by another thread than the one that
// took them: what is held stays near the most that was ever live, and goes down to the reserve.
TEST(SlabHeap, MemoryServesOtherSizesAndGoesBack) {
  constexpr std::size_t mostLive = std::size_t{80} << 20;
  constexpr std::size_t reserve = std::size_t{64} << 20;
  const std::size_t before = SlabHeap::heldOctets();  // a chunk of each size that this thread takes slots of stays
  for (const bool multiThreaded : {false, true}) {
    Tyr::agentMultiThreadedIs(multiThreaded);
    std::mt19937 random(1);
    std::vector<void*> slots;
    for (const std::size_t octets : {32, 48, 200, 520, 1032, 2048}) {
      for (std::size_t live = 0; live < mostLive; live += octets) slots.push_back(handleHeap().allocate(octets));
      EXPECT_LE(SlabHeap::heldOctets() - before, mostLive * 13 / 10);
      std::shuffle(slots.begin(), slots.end(), random);
      const auto release = [&slots] {
        for (void* slot : slots) SlabHeap::release(slot);
      };
      multiThreaded ? std::thread(release).join() : release();
      slots.clear();
      EXPECT_LE(SlabHeap::heldOctets() - before, reserve + (std::size_t{8} << 20));
    }
  }
  Tyr::agentMultiThreadedIs(false);
}

TEST(SlabHeap, RefusesSizesThatItHasNoClassFor) {
  EXPECT_DEATH(blockHeap().allocate(2049), "octets <= maxOctets");
  EXPECT_DEATH(handleHeap().allocate(16), "pool.slotOctets.* >= pool.linkOffset");
}

static_assert(sizeof(PtrInterfaceArray<Word>) == sizeof(void*));
static_assert(std::random_access_iterator<PtrInterfaceRange<Word>::iterator>);

// Empty, inline, small block, the last block from a slab and the first from the general heap.
TEST(PtrInterfaceArray, HoldsAndGivesBackEverySize) {
  for (const std::uint32_t count : {0u, 1u, 2u, 3u, 65u, 511u, 512u, 20000u}) {
    std::vector<Word::PtrConst> words;
    for (std::uint32_t i = 0; i < count; ++i) words.emplace_back(new Word(i));
    {
      PtrInterfaceArray<Word> array, halfFilled;
      array.sizeIs(count);
      for (std::uint32_t i = 0; i < count; ++i) array.elementIs(i, words[i]);
      ASSERT_EQ(array.size(), count);
      EXPECT_EQ(array.empty(), count == 0);
      const auto range = array.range();
      EXPECT_TRUE(std::equal(words.begin(), words.end(), range.begin(), range.end()));
      const auto found = std::lower_bound(range.begin(), range.end(), count / 2,
                                          [](const Word* word, std::uint64_t value) { return word->value < value; });
      EXPECT_EQ(found - range.begin(), count / 2);
      EXPECT_EQ(blockHeap().liveSlots(), count > 1 && count < 512 ? 1u : 0u);
      for (const Word* word : range) EXPECT_EQ(word->referenceCount(), 2u);
      halfFilled.sizeIs(count);
      if (count > 0) halfFilled.elementIs(count / 2, words[0]);
    }
    for (const Word::PtrConst& word : words) EXPECT_EQ(word->referenceCount(), 1u);
  }
  EXPECT_EQ(Word::alive, 0);
  EXPECT_EQ(blockHeap().liveSlots(), 0u);
}

}  // namespace
}  // namespace Keel::test
