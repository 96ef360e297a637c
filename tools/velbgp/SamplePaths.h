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

// The communities of one path, by attribute, each as its octets on the wire: 0 to 16 without repeats.
struct SampleCommunities {
  std::vector<std::string> extended;
  std::vector<std::string> extendedIp6;
  std::vector<std::string> large;
  std::vector<std::string> standard;
};

// The communities of one attribute, path after path.
class SampleLists {
 public:
  // The value of a rank, always the same.
  using ValueOf = std::string (*)(std::uint64_t seed, std::uint32_t rank, bool first);

  // `paths` is how many will be asked for: the number of distinct lists and values grows with it. `percent` of them
  // have such an attribute.
  SampleLists(std::uint64_t paths, std::uint64_t seed, std::uint32_t percent, ValueOf valueOf);

  void next(std::vector<std::string>& communities);

 private:
  void makeList(std::uint32_t rank, std::vector<std::string>& communities) const;

  std::uint64_t seed_;
  Random random_;
  std::uint32_t percent_;
  ValueOf valueOf_;
  ZipfRanks lists_;
  ZipfRanks values_;
};

class SamplePaths {
 public:
  SamplePaths(std::uint64_t paths, std::uint64_t seed);

  // The communities of one more path; valid until the next.
  const SampleCommunities& next();
  // For all else that differs from path to path.
  Random& random() { return random_; }

 private:
  Random random_;
  SampleLists extended_;
  SampleLists extendedIp6_;
  SampleLists large_;
  SampleLists standard_;
  SampleCommunities communities_;
};

}  // namespace VelBgpTool
