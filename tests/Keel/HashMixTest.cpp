#include "Keel/HashMix.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <vector>

namespace Keel {
namespace {

TEST(HashMix, WholeArrayAndWordByWordAgree) {
  std::vector<std::uint64_t> words;
  for (std::uint64_t n = 0; n < 70; ++n) {
    HashMix mix(0);
    for (const std::uint64_t word : words) mix.mixBytes8(word);
    EXPECT_EQ(mix.value(), HashMix::ofWords(words.data(), words.size())) << n;
    words.push_back(n * 0x0123456789abcdef);
  }
}

// Each of these once went the same way in a draft: a prefix, zeros at the end, two words exchanged, a state ignored.
TEST(HashMix, TellsOrderLengthAndStateApart) {
  const std::vector<std::vector<std::uint64_t>> inputs = {{},           {0},          {0, 0},       {0, 0, 0},
                                                          {1},          {1, 0},       {0, 1},       {1, 2, 3, 4},
                                                          {2, 1, 3, 4}, {3, 4, 1, 2}, {1, 2, 4, 3}, {1, 2, 3}};
  std::set<std::uint32_t> hashes;
  for (const auto& words : inputs) hashes.insert(HashMix::ofWords(words.data(), words.size()));
  HashMix other(1);
  hashes.insert(other.value());
  EXPECT_EQ(hashes.size(), inputs.size() + 1);
}

// Route targets that count up differ in few bits; buckets are chosen by the low ones, shards by the high ones.
TEST(HashMix, SpreadsNeighbours) {
  std::vector<int> low(256), high(256);
  for (std::uint64_t n = 0; n < 256 * 64; ++n) {
    const std::uint32_t hash = singleAttributeHash(0x0002fde800000000 + n, 0);
    ++low[hash % 256];
    ++high[hash >> 24];
  }
  for (int i = 0; i < 256; ++i) {
    EXPECT_NEAR(low[i], 64, 48) << i;  // six standard deviations
    EXPECT_NEAR(high[i], 64, 48) << i;
  }
}

// What the kernel gave the process makes all of the key, where everything else can be guessed.
TEST(HashMix, KeysWithoutTheKernelsRandomNumbersDifferInEveryWord) {
  std::set<std::uint64_t> words;
  constexpr std::uint64_t starts = 100;
  for (std::uint64_t n = 0; n < starts; ++n) {
    for (const auto& start : {std::array<std::uint64_t, 2>{n, ~std::uint64_t{0}}, {~std::uint64_t{0}, n}}) {
      const detail::HashKey key = detail::hashKeyOf(start, 1, 2);
      words.insert({key.lane0, key.lane1, key.second, key.odd, key.finish});
      EXPECT_TRUE(key.odd & key.finish & 1);
    }
  }
  EXPECT_EQ(words.size(), starts * 2 * 5);
}

}  // namespace
}  // namespace Keel
