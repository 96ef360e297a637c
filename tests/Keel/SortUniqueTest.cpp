#include "Keel/SortUnique.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace Keel {
namespace {

template <typename Value>
class SortUnique : public testing::Test {};
using Values = testing::Types<std::uint32_t, std::uint64_t>;
TYPED_TEST_SUITE(SortUnique, Values);

// Every size past the last switch of method, with many repeats, few, none and the extreme values that pad the networks.
TYPED_TEST(SortUnique, AgreesWithTheStandardLibrary) {
  constexpr auto largest = std::numeric_limits<TypeParam>::max();
  std::mt19937_64 random(7);
  for (std::size_t n = 0; n < 1100; n += n < 80 ? 1 : 51) {
    for (const std::uint64_t distinct : {std::uint64_t{3}, std::uint64_t{n + 1}, std::uint64_t{largest}}) {
      for (int arrangement = 0; arrangement < (n <= 16 ? 400 : 4); ++arrangement) {  // most for the networks
        std::vector<TypeParam> values(n);
        for (auto& value : values) value = static_cast<TypeParam>(largest - random() % distinct);
        if (arrangement == 1) std::sort(values.begin(), values.end());
        if (arrangement == 2) std::sort(values.rbegin(), values.rend());
        std::vector<TypeParam> expected(values);
        std::sort(expected.begin(), expected.end());
        expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
        values.resize(sortUnique(values.data(), n));
        ASSERT_EQ(values, expected) << "n=" << n << " distinct=" << distinct << " arrangement=" << arrangement;
      }
    }
  }
}

}  // namespace
}  // namespace Keel
