#include "report/Workload.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <unordered_set>

namespace bench {

// Mostly route targets in their three layouts, then origins, colors, encapsulations, and what nobody decodes.
template <>
std::uint64_t community(std::uint32_t number) {
  const std::uint64_t administrator = 64512 + number % 1000;
  switch (number % 16) {
    case 0:
      return 0x0202000000000000 | (65536 + administrator) << 16 | (number & 0xffff);
    case 1:
      return 0x01020a0000000000 | number;
    case 2:
      return 0x0003000000000000 | administrator << 32 | number;
    case 3:
      return 0x030b000000000000 | number;
    case 4:
      return 0x8008000000000000 | number;
    default:
      return 0x0002000000000000 | administrator << 32 | number;
  }
}

template <>
std::uint32_t community(std::uint32_t number) {
  return (64512 + number % 1000) << 16 | number / 1000;
}

template <>
Acl::CommunityValue community(std::uint32_t number) {
  return {64512 + number % 1000, number % 16, number};
}

namespace {

// Of 53 random bits.
double fraction(std::mt19937_64& random) { return static_cast<double>(random() >> 11) * 0x1p-53; }

}  // namespace

template <typename Value>
Workload<Value>::Workload(std::size_t n, std::size_t count) : n_(n), count_(count) {
  std::mt19937_64 random(4711);
  // Lists of one need a value each; longer ones share a pool in which a few per cent of the values make up most of the
  // occurrences (Zipf's law, exponent 1, in its continuous form).
  const double logPool = std::log(50000.0);
  const auto draw = [&] {
    return n == 1 ? static_cast<std::uint32_t>(values_.size())
                  : static_cast<std::uint32_t>(std::exp(fraction(random) * logPool)) - 1;
  };
  std::unordered_set<std::uint64_t> seen;  // a list whose hash was seen counts as seen
  std::vector<std::uint32_t> list;
  values_.reserve(n * count);
  while (values_.size() < n * count) {
    for (list.clear(); list.size() < n;) {
      const std::uint32_t number = draw();
      if (std::find(list.begin(), list.end(), number) == list.end()) list.push_back(number);
    }
    std::sort(list.begin(), list.end());
    std::uint64_t hash = n;
    for (const std::uint32_t number : list) hash = (hash ^ number ^ hash >> 29) * 0x9e3779b97f4a7c15;
    if (!seen.insert(hash).second) continue;
    std::shuffle(list.begin(), list.end(), random);
    for (const std::uint32_t number : list) values_.push_back(community<Value>(number));
  }
}
template class Workload<std::uint64_t>;
template class Workload<std::uint32_t>;
template class Workload<Acl::CommunityValue>;

std::vector<std::uint32_t> zipfStream(std::size_t length, std::size_t count, double commonest) {
  std::mt19937_64 random(42);
  std::vector<double> sums(count);
  double sum = 0;
  for (std::size_t i = 1; i < count; ++i) sums[i] = sum += 1.0 / static_cast<double>(i + 1);
  // What lies above the sums of the others is the commonest list's, rank 0.
  sum += commonest == 0 ? 1.0 : sum * commonest / (1 - commonest);
  std::vector<std::uint32_t> ranks(count);
  for (std::size_t i = 0; i < count; ++i) ranks[i] = static_cast<std::uint32_t>(i);
  std::shuffle(ranks.begin(), ranks.end(), random);  // common lists lie anywhere in memory
  std::vector<std::uint32_t> stream(length);
  for (auto& index : stream) {
    const auto rank = std::lower_bound(sums.begin(), sums.end(), fraction(random) * sum) - sums.begin();
    index = ranks[static_cast<std::size_t>(rank) % count];
  }
  return stream;
}

}  // namespace bench
