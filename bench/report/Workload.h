// The lists that every contender interns: values as a provider edge carries them, in shuffled order, the same for all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Policy/CommunityValue.h"

namespace bench {

// The extended, standard or large community of a number; another one for each number below 2^20.
template <typename Value>
Value community(std::uint32_t number);

// `count` lists of `n` values each, no two lists the same set, no value twice in a list. Fixed seed.
template <typename Value>
class Workload {
 public:
  Workload(std::size_t n, std::size_t count);

  std::size_t n() const { return n_; }
  std::size_t count() const { return count_; }
  const Value* list(std::size_t index) const { return values_.data() + index * n_; }

 private:
  std::size_t n_;
  std::size_t count_;
  std::vector<Value> values_;
};
extern template class Workload<std::uint64_t>;
extern template class Workload<std::uint32_t>;
extern template class Workload<Acl::CommunityValue>;

// Indices of `count` lists, drawn by Zipf's law with exponent 1: the stream of a hit measurement. `commonest` is the
// share of the commonest list, where it is not to be the law's (8.8% of 50,000).
std::vector<std::uint32_t> zipfStream(std::size_t length, std::size_t count, double commonest = 0);

}  // namespace bench
