// What interning costs an agent: the loop of examples/agent.cpp that reads UPDATEs and keeps what peers announced, with
// interned lists and with plain vectors of values in their place, taking turns on the same file.
//
//   zcat updates.gz | bench_agent [--quick]     exit status 1 if interning makes it slower than by a fifth; with --quick
//                                               one round, and no verdict
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <string>
#include <unordered_map>
#include <vector>

#include "VelBgp/VelBgp.h"
#include "examples/MrtUpdates.h"
#include "report/Harness.h"

using namespace Routing::Bgp;

namespace {

class InternedRib {
 public:
  explicit InternedRib(const CommunityTables& tables) : tables_(tables) {}
  void come(const std::string& key, const ReceivedAttributes& received) {
    paths_[key] = dedupAttributes(tables_, received);
  }
  void go(const std::string& key) { paths_.erase(key); }

 private:
  const CommunityTables& tables_;
  std::unordered_map<std::string, PathLists> paths_;
};

// The least that an agent can keep: of each path its values, in order and each once.
class BareRib {
 public:
  explicit BareRib(const CommunityTables& tables) : extended_(tables.extComms()) {}

  void come(const std::string& key, const ReceivedAttributes& received) {
    Path& path = paths_[key];
    standard_.attributeIs(received.standard());
    standard_.sortAndUnique();
    path.standard.assign(standard_.comms().begin(), standard_.comms().end());
    large_.attributeIs(received.large());
    large_.sortAndUnique();
    path.large.assign(large_.comms().begin(), large_.comms().end());
    extended_.attributeIs(received.extended());
    extended_.sortAndHash();
    path.extended.assign(extended_.comms().begin(), extended_.comms().end());
  }
  void go(const std::string& key) { paths_.erase(key); }

 private:
  struct Path {
    std::vector<std::uint32_t> standard;
    std::vector<Acl::CommunityValue> large;
    std::vector<std::uint64_t> extended;
  };
  CommListContent standard_;
  LargeCommListContent large_;
  ExtCommListContentU64 extended_;
  std::unordered_map<std::string, Path> paths_;
};

// Nanoseconds of this thread for the whole file.
template <typename Rib>
double timeOf(mrt::Octets file, Rib rib) {
  const double begin = bench::threadTime();
  mrt::readMrt(file, rib);
  return bench::threadTime() - begin;
}

double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

}  // namespace

int main(int argc, char**) {
  const bool quick = argc > 1;
  const std::vector<char> read(std::istreambuf_iterator<char>(std::cin), {});
  const mrt::Octets file{reinterpret_cast<const std::uint8_t*>(read.data()), read.size()};
  std::vector<double> interned, bare;
  for (int round = 0; round < (quick ? 1 : 11); ++round) {
    const CommunityTables tables;
    interned.push_back(timeOf(file, InternedRib(tables)));
    bare.push_back(timeOf(file, BareRib(tables)));
  }
  const double throughput = median(bare) / median(interned);
  std::printf("interned %.1f ms, bare %.1f ms: throughput %.2f of bare\n", median(interned) / 1e6, median(bare) / 1e6,
              throughput);
  return !quick && throughput < 0.8 ? 1 : 0;
}
