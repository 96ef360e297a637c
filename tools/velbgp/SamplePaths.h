// Paths as a provider edge carries them, made up: a few per cent of the community lists, and of the values in them,
// make up most of the occurrences.
//
// The same seed gives the same paths on every machine: integers only, and no distribution of the standard library,
// whose results are each vendor's own. Single-threaded.
#pragma once

#include <cstdint>
#include <vector>

namespace VelBgpTool {

// A stream of random numbers (splitmix64).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t next();
  // Below `bound`, which is not 0; close enough to even.
  std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(((next() >> 32) * bound) >> 32); }
  bool percent(std::uint32_t share) { return below(100) < share; }

 private:
  std::uint64_t state_;
};

// Ranks from 0, the one at k drawn with a weight of 1 / (k + 1).
class ZipfRanks {
 public:
  explicit ZipfRanks(std::uint32_t count);
  std::uint32_t draw(Random& random) const;

 private:
  std::vector<std::uint64_t> cumulative_;
};

class SamplePaths {
 public:
  // `paths` is how many will be asked for: the number of distinct lists and values grows with it.
  SamplePaths(std::uint64_t paths, std::uint64_t seed);

  // The extended communities of one more path, 0 to 16 values without repeats; valid until the next.
  const std::vector<std::uint64_t>& next();
  // For all else that differs from path to path.
  Random& random() { return random_; }

 private:
  void makeList(std::uint32_t rank);
  void add(std::uint64_t value);
  std::uint64_t routeTarget(std::uint32_t rank) const;
  std::uint64_t value(std::uint32_t rank) const;

  std::uint64_t seed_;
  Random random_;
  ZipfRanks lists_;
  ZipfRanks values_;
  std::vector<std::uint64_t> communities_;
};

}  // namespace VelBgpTool
