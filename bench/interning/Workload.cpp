#include "interning/Workload.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <set>

namespace bench {
namespace {

// Mostly route targets in their three layouts, then origins, colors, encapsulations, and what nobody decodes.
std::uint64_t community(std::uint64_t number) {
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

}  // namespace

Workload::Workload(std::size_t n, std::size_t count) : n_(n), count_(count) {
  std::mt19937_64 random(4711);
  // Lists of one need a value each; longer ones share a pool in which a few per cent of the values make up most of the
  // occurrences (Zipf's law, exponent 1, in its continuous form).
  const double logPool = std::log(50000.0);
  auto draw = [&](std::size_t index) -> std::uint64_t {
    if (n == 1) return index;
    const double u = static_cast<double>(random() >> 11) * 0x1p-53;
    return static_cast<std::uint64_t>(std::exp(u * logPool)) - 1;
  };
  std::set<std::vector<std::uint64_t>> seen;
  values_.reserve(n * count);
  while (values_.size() < n * count) {
    std::set<std::uint64_t> list;
    while (list.size() < n) list.insert(community(draw(values_.size())));
    std::vector<std::uint64_t> values(list.begin(), list.end());
    if (!seen.insert(values).second) continue;
    std::shuffle(values.begin(), values.end(), random);
    values_.insert(values_.end(), values.begin(), values.end());
  }
}

std::vector<std::uint32_t> Workload::zipfStream(std::size_t length) const {
  std::mt19937_64 random(42);
  std::vector<double> sums(count_);
  double sum = 0;
  for (std::size_t i = 0; i < count_; ++i) sums[i] = sum += 1.0 / static_cast<double>(i + 1);
  std::vector<std::uint32_t> ranks(count_);
  for (std::size_t i = 0; i < count_; ++i) ranks[i] = static_cast<std::uint32_t>(i);
  std::shuffle(ranks.begin(), ranks.end(), random);  // common lists lie anywhere in memory
  std::vector<std::uint32_t> stream(length);
  for (auto& index : stream) {
    const double u = static_cast<double>(random() >> 11) * 0x1p-53 * sum;
    const auto rank = std::lower_bound(sums.begin(), sums.end(), u) - sums.begin();
    index = ranks[std::min<std::size_t>(static_cast<std::size_t>(rank), count_ - 1)];
  }
  return stream;
}

}  // namespace bench
