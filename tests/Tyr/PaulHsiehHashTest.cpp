#include "Tyr/PaulHsiehHash.h"

#include <gtest/gtest.h>

#include <string_view>

namespace Tyr {
namespace {

// Worked out by another program, on a host of little-endian order. Octets above 127 at the end count as negative.
TEST(PaulHsiehHash, KnownResults) {
  const struct {
    std::string_view octets;
    std::uint32_t initial;
    std::uint32_t hash;
  } rows[] = {{"", 0, 0},
              {"", 7, 0},
              {"a", 0, 0x93642e87},
              {"\xff", 0, 0x7ffaa939},
              {"ab", 0, 0x5b8c0ec3},
              {"abc", 0, 0xe5186b3a},
              {"ab\xe9", 0, 0x125794e5},
              {"abcd", 0, 0x3ab452d8},
              {"abcd", 4, 0xdad8b8db},
              {"abcdefgh\x80", 0, 0x98195c7e},
              {"The quick brown fox", 0, 0xc2375483}};
  for (const auto& row : rows) {
    EXPECT_EQ(paulHsiehHash(row.octets.data(), row.octets.size(), row.initial), row.hash) << row.octets;
  }
}

}  // namespace
}  // namespace Tyr
