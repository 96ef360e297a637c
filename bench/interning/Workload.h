// The lists that every contender interns: values as a provider edge carries them, in shuffled order, the same for all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

// `count` lists of `n` raw values each, no two lists the same set, no value twice in a list. Fixed seed.
class Workload {
 public:
  Workload(std::size_t n, std::size_t count);

  std::size_t n() const { return n_; }
  std::size_t count() const { return count_; }
  const std::uint64_t* list(std::size_t index) const { return values_.data() + index * n_; }

  // List indices, drawn by Zipf's law with exponent 1: the stream of a hit measurement.
  std::vector<std::uint32_t> zipfStream(std::size_t length) const;

 private:
  std::size_t n_;
  std::size_t count_;
  std::vector<std::uint64_t> values_;
};

}  // namespace bench
