// Paths as a provider edge carries them, made up: a few per cent of the community lists, and of the values in them,
// make up most of the occurrences.
//
// The same seed gives the same paths on every machine: integers only, and no distribution of the standard library,
// whose results are each vendor's own. Single-threaded.
#pragma once

#include <cstdint>
#include <string>
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

// The communities of one attribute, path after path.
class SampleLists {
 public:
  // The value of a rank, always the same.
  using ValueOf = std::string (*)(std::uint64_t seed, std::uint32_t rank, bool first);

  // `paths` is how many will be asked for: the number of distinct lists and values grows with it. `percent` of them
  // have such an attribute.
  SampleLists(unsigned attribute, std::uint64_t paths, std::uint64_t seed, std::uint32_t percent, ValueOf valueOf);

  // The attribute's code.
  unsigned attribute() const { return attribute_; }
  // The communities of one more path, each as its octets on the wire: 0 to 16 without repeats. Valid until the next.
  const std::vector<std::string>& next();

 private:
  void makeList(std::uint32_t rank);

  unsigned attribute_;
  std::uint64_t seed_;
  Random random_;
  std::uint32_t percent_;
  ValueOf valueOf_;
  ZipfRanks lists_;
  ZipfRanks values_;
  std::vector<std::string> communities_;
};

// Of all attributes that carry communities.
std::vector<SampleLists> sampleLists(std::uint64_t paths, std::uint64_t seed);

}  // namespace VelBgpTool
