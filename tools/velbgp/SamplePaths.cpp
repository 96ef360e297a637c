#include "tools/velbgp/SamplePaths.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "tools/velbgp/Text.h"
#include "tools/velbgp/Wire.h"

namespace VelBgpTool {

namespace {

constexpr std::uint32_t mostRanks = 100'000;
constexpr std::uint64_t linkBandwidthHeader = 0x4004;
constexpr std::uint64_t validationStateHeader = 0x4300;

// A number that depends on all of both.
std::uint64_t mixed(std::uint64_t seed, std::uint64_t what) { return Random(seed ^ Random(what).next()).next(); }

std::uint32_t ranks(std::uint64_t paths, std::uint32_t share, std::uint32_t least) {
  return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(paths / share, least, mostRanks));
}

constexpr std::uint64_t withTwoOctetAs(std::uint64_t header, std::uint64_t as, std::uint64_t number) {
  return header << 48 | as << 32 | number;
}

// Also for an IPv4 address in place of the AS number.
constexpr std::uint64_t withFourOctets(std::uint64_t header, std::uint64_t administrator, std::uint64_t number) {
  return header << 48 | administrator << 16 | number;
}

std::uint64_t privateAs(Random& random) { return 64512 + random.below(40); }
std::uint64_t longAs(Random& random) { return 4'200'000'000 + random.below(400); }
std::uint64_t loopback(Random& random) { return 0x0aff0000 + random.below(200); }

std::uint64_t linkBandwidth(Random& random) {
  constexpr std::uint32_t megabits[] = {10, 50, 100, 200, 250, 500, 1000, 2500, 10000, 25000, 40000, 100000, 400000};
  constexpr float octetsOfMegabit = 125000;
  const auto megabit = static_cast<float>(megabits[random.below(std::size(megabits))]);
  return withTwoOctetAs(linkBandwidthHeader, privateAs(random),
                        std::bit_cast<std::uint32_t>(megabit * octetsOfMegabit));
}

std::uint64_t encapsulation(Random& random) {
  constexpr std::uint32_t tunnels[] = {8, 8, 8, 10, 10, 2, 1, 7, 9, 11, 12, 13};
  return std::uint64_t{0x030c} << 48 | tunnels[random.below(std::size(tunnels))];
}

// Types and subtypes that no kind claims: EVPN, flow specification, OSPF, VXLAN segments, and some that nobody
// assigned.
std::uint64_t unclaimed(Random& random) {
  constexpr std::uint64_t headers[] = {0x0600, 0x0603, 0x8006, 0x8009, 0x0306, 0x0005, 0x4080, 0x0701, 0x9010, 0x4d00};
  return headers[random.below(std::size(headers))] << 48 | (random.next() & 0xffffffff);
}

std::uint64_t routeTarget(std::uint64_t seed, std::uint32_t rank) {
  Random random(mixed(seed, std::uint64_t{rank} << 1 | 1));
  const std::uint32_t number = 100 + rank;
  const std::uint32_t share = random.below(100);
  if (share < 70) return withTwoOctetAs(0x0002, privateAs(random), number);
  if (share < 90) return withFourOctets(0x0202, longAs(random), number & 0xffff);
  return withFourOctets(0x0102, loopback(random), number & 0xffff);
}

std::uint64_t extendedValue(std::uint64_t seed, std::uint32_t rank) {
  Random random(mixed(~seed, rank));
  const std::uint32_t share = random.below(100);
  const std::uint32_t number = 1 + rank;
  if (share < 58) return routeTarget(seed, rank);
  if (share < 66) return withTwoOctetAs(0x0003, privateAs(random), number);
  if (share < 69) return withFourOctets(0x0203, longAs(random), number & 0xffff);
  if (share < 72) return withFourOctets(0x0103, loopback(random), number & 0xffff);
  if (share < 79) return linkBandwidth(random);
  if (share < 86) return std::uint64_t{0x030b} << 48 | std::uint64_t{random.below(4)} << 46 | 10U * random.below(60);
  if (share < 92) return encapsulation(random);
  if (share < 95) return validationStateHeader << 48 | random.below(3);
  return unclaimed(random);
}

// Every path has a route target.
std::string extendedOctets(std::uint64_t seed, std::uint32_t rank, bool first) {
  return Wire().u64(first ? routeTarget(seed, rank) : extendedValue(seed, rank)).str();
}

// Route targets and origins, some of other subtypes, some not transitive.
std::string extendedIp6Octets(std::uint64_t seed, std::uint32_t rank, bool) {
  constexpr std::uint32_t headers[] = {0x0002, 0x0002, 0x0002, 0x0003, 0x000b, 0x0011, 0x0005, 0x4002};
  Random random(mixed(seed, rank));
  const std::uint32_t header = headers[random.below(std::size(headers))];
  return Wire().u16(header).u32(0x20010db8).u32(random.below(40)).u64(1 + random.below(200)).u16(100 + rank).str();
}

std::string largeOctets(std::uint64_t seed, std::uint32_t rank, bool) {
  Random random(mixed(seed, rank));
  const std::uint64_t as = random.percent(70) ? privateAs(random) : longAs(random);
  return Wire().u32(as).u32(1 + random.below(20)).u32(rank).str();
}

// One in twenty is a well-known one.
std::string standardOctets(std::uint64_t seed, std::uint32_t rank, bool) {
  constexpr std::uint32_t wellKnown[] = {0xffff0000, 0xffff0006, 0xffff0007, 0xffff029a,
                                         0xffffff01, 0xffffff02, 0xffffff03};
  Random random(mixed(seed, rank));
  if (random.percent(5)) return Wire().u32(wellKnown[random.below(std::size(wellKnown))]).str();
  return Wire().u16(privateAs(random)).u16(rank).str();
}

// How many values a list has: mostly few.
std::uint32_t listLength(Random& random) {
  const std::uint32_t share = random.below(100);
  if (share < 30) return 1;
  if (share < 55) return 2;
  if (share < 70) return 3;
  if (share < 80) return 4;
  return share < 95 ? 5 + random.below(4) : 9 + random.below(8);
}

// A path has one bandwidth and one validation state at most, and no value twice.
void add(std::vector<std::string>& communities, std::string value) {
  constexpr std::size_t header = 2;
  const std::uint64_t type = bigEndian(octetsOf(value).first<header>());
  const bool single =
      value.size() == sizeof(std::uint64_t) && (type == linkBandwidthHeader || type == validationStateHeader);
  const bool refused = std::any_of(communities.begin(), communities.end(), [&](const std::string& present) {
    return present == value || (single && present.compare(0, header, value, 0, header) == 0);
  });
  if (!refused) communities.push_back(std::move(value));
}

}  // namespace

std::uint64_t Random::next() {
  std::uint64_t z = state_ += 0x9e3779b97f4a7c15;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
  z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
  return z ^ (z >> 31);
}

ZipfRanks::ZipfRanks(std::uint32_t count) {
  std::uint64_t sum = 0;
  for (std::uint64_t rank = 1; rank <= count; ++rank) cumulative_.push_back(sum += (std::uint64_t{1} << 32) / rank);
}

std::uint32_t ZipfRanks::draw(Random& random) const {
  const std::uint64_t point = random.next() % cumulative_.back();
  return static_cast<std::uint32_t>(std::upper_bound(cumulative_.begin(), cumulative_.end(), point) -
                                    cumulative_.begin());
}

SampleLists::SampleLists(unsigned attribute, std::uint64_t paths, std::uint64_t seed, std::uint32_t percent,
                         ValueOf valueOf)
    : attribute_(attribute),
      seed_(Random(seed).next()),
      random_(seed),
      percent_(percent),
      valueOf_(valueOf),
      lists_(ranks(paths, 10, 20)),
      values_(ranks(paths, 20, 40)) {}

const std::vector<std::string>& SampleLists::next() {
  communities_.clear();
  if (random_.percent(percent_)) makeList(lists_.draw(random_));
  return communities_;
}

// The list of a rank is always the same. Most senders sort, some do not.
void SampleLists::makeList(std::uint32_t rank) {
  Random random(mixed(seed_, std::uint64_t{rank} << 1));
  const std::uint32_t length = listLength(random);
  add(communities_, valueOf_(seed_, values_.draw(random), true));
  while (communities_.size() < length) {
    const std::size_t before = communities_.size();
    add(communities_, valueOf_(seed_, values_.draw(random), false));
    // The popular values may all be in: then the list stays shorter.
    if (communities_.size() == before && random.percent(25)) break;
  }
  if (random.percent(90)) std::sort(communities_.begin(), communities_.end());
}

std::vector<SampleLists> sampleLists(std::uint64_t paths, std::uint64_t seed) {
  return {{8, paths, mixed(seed, 8), 80, standardOctets},
          {16, paths, seed, 97, extendedOctets},
          {25, paths, mixed(seed, 25), 6, extendedIp6Octets},
          {32, paths, mixed(seed, 32), 35, largeOctets}};
}

}  // namespace VelBgpTool
