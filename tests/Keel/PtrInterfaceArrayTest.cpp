#include "Keel/PtrInterfaceArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "Keel/Word.h"

namespace Keel::test {
namespace {

static_assert(sizeof(PtrInterfaceArray<Word>) == sizeof(void*));

// Empty, inline, small block, the last block from a slab and the first from the general heap.
TEST(PtrInterfaceArray, HoldsAndGivesBackEverySize) {
  for (const std::uint32_t count : {0u, 1u, 2u, 3u, 65u, 511u, 512u, 20000u}) {
    std::vector<Word::PtrConst> words;
    for (std::uint32_t i = 0; i < count; ++i) words.emplace_back(new Word(i));
    {
      PtrInterfaceArray<Word> array;
      array.sizeIs(count);
      for (std::uint32_t i = 0; i < count; ++i) array.elementIs(i, words[i]);
      ASSERT_EQ(array.size(), count);
      EXPECT_EQ(array.empty(), count == 0);
      EXPECT_TRUE(std::equal(words.begin(), words.end(), array.range().begin(), array.range().end(),
                             [](const Word::PtrConst& a, const Word* b) { return a.get() == b; }));
      EXPECT_EQ(blockHeap().liveSlots(), count > 1 && count < 512 ? 1u : 0u);
      for (const Word* word : array.range()) EXPECT_EQ(word->referenceCount(), 2u);
    }
    for (const Word::PtrConst& word : words) EXPECT_EQ(word->referenceCount(), 1u);
  }
  EXPECT_EQ(Word::alive, 0);
  EXPECT_EQ(blockHeap().liveSlots(), 0u);
}

TEST(PtrInterfaceArray, MayBeDroppedHalfFilled) {
  {
    PtrInterfaceArray<Word> array;
    array.sizeIs(3);
    array.elementIs(0, Word::PtrConst(new Word(1)));
    PtrInterfaceArray<Word> single;
    single.sizeIs(1);
    EXPECT_EQ(single[0], nullptr);
  }
  EXPECT_EQ(Word::alive, 0);
}

TEST(PtrInterfaceArray, RangeIsRandomAccess) {
  PtrInterfaceArray<Word> array;
  array.sizeIs(5);
  for (std::uint32_t i = 0; i < 5; ++i) array.elementIs(i, Word::PtrConst(new Word(10 * i)));
  const auto range = array.range();
  static_assert(std::random_access_iterator<PtrInterfaceRange<Word>::iterator>);
  const auto found = std::lower_bound(range.begin(), range.end(), 25u,
                                      [](const Word* word, std::uint64_t value) { return word->value < value; });
  EXPECT_EQ(found - range.begin(), 3);
  EXPECT_EQ((*(range.end() - 1))->value, 40u);
  EXPECT_EQ(range.begin()[2]->value, 20u);
}

}  // namespace
}  // namespace Keel::test
