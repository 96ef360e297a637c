// What does interning an extended list cost, in time and in memory, beside the floor and two standard contenders?
//
//   bench_interning                          prints the octets per distinct list, then the times of hits and misses, then
//                                            their ratios to the floor's
//   bench_interning --benchmark_filter=hit   prints only the times of hits and their ratios
//
// A hit is intern plus release of that reference over a Zipf stream of lists that are held; a miss is intern of lists
// that are all new plus the release of all. Contenders take turns (random interleaving) and medians are compared.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Comparison.h"
#include "interning/Contenders.h"
#include "interning/Workload.h"

namespace bench {
namespace {

constexpr std::size_t distinctLists = 50000;
constexpr std::size_t sizes[] = {1, 4, 16, 64};

const Workload& workload(std::size_t n) {
  static std::map<std::size_t, std::unique_ptr<Workload>> workloads;
  auto& made = workloads[n];
  if (made == nullptr) made = std::make_unique<Workload>(n, distinctLists);
  return *made;
}

const std::vector<std::uint32_t>& stream(std::size_t n) {
  static std::map<std::size_t, std::vector<std::uint32_t>> streams;
  auto& made = streams[n];
  if (made.empty()) made = workload(n).zipfStream(std::size_t{1} << 17);
  return made;
}

// Every list of the workload, interned and held.
template <typename Contender>
struct Held {
  explicit Held(std::size_t n) : lists(workload(n)) {
    for (std::size_t i = 0; i < lists.count(); ++i) handles.push_back(contender.intern(lists.list(i), n));
  }
  ~Held() {
    for (auto& handle : handles) contender.release(handle);
  }
  bool wrong() const {
    std::unordered_map<std::uint64_t, int> identities;
    for (const auto& handle : handles) ++identities[Contender::identity(handle)];
    return identities.size() != lists.count();
  }

  const Workload& lists;
  Contender contender;
  std::vector<typename Contender::Handle> handles;
};

template <typename Contender>
void hit(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  Held<Contender> held(n);
  const auto& indices = stream(n);
  if (held.wrong()) state.SkipWithError("equal lists got different objects, or different ones the same");
  std::size_t next = 0;
  for (auto _ : state) {
    const std::uint32_t index = indices[next++ % indices.size()];
    auto handle = held.contender.intern(held.lists.list(index), n);
    if (Contender::identity(handle) != Contender::identity(held.handles[index])) state.SkipWithError("wrong list");
    held.contender.release(handle);
  }
}

template <typename Contender>
void miss(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const Workload& lists = workload(n);
  Contender contender;
  std::vector<typename Contender::Handle> handles(lists.count());
  while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(lists.count()))) {
    for (std::size_t i = 0; i < lists.count(); ++i) handles[i] = contender.intern(lists.list(i), n);
    for (auto& handle : handles) contender.release(handle);
  }
}

std::size_t residentOctets() {
  std::ifstream statm("/proc/self/statm");
  std::size_t pages = 0;
  statm >> pages >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// In a process of its own, so that nobody inherits another's free memory.
template <typename Contender>
double octetsPerList(std::size_t n) {
  constexpr std::size_t lists = 200000;
  int channel[2];
  if (pipe(channel) != 0) return 0;
  if (fork() == 0) {
    const Workload many(n, lists);
    std::vector<typename Contender::Handle> handles(lists);
    Contender contender;
    malloc_trim(0);  // what making the workload left behind is nobody's to reuse
    const std::size_t before = residentOctets();
    for (std::size_t i = 0; i < lists; ++i) handles[i] = contender.intern(many.list(i), n);
    const double octets = (static_cast<double>(residentOctets()) - static_cast<double>(before)) / lists;
    _exit(write(channel[1], &octets, sizeof octets) == sizeof octets ? 0 : 1);
  }
  double octets = 0;
  if (read(channel[0], &octets, sizeof octets) != sizeof octets) octets = 0;
  wait(nullptr);
  close(channel[0]);
  close(channel[1]);
  return octets;
}

void printRatios(const MedianReporter& reporter, const char* question) {
  std::printf("\n%s, multiples of the floor (floor in ns), n = 1 / 4 / 16 / 64\n", question);
  for (const char* contender : {Floor::name, Flyweight::name, SharedPtrSet::name, VelBgpLists::name}) {
    std::printf("  %-16s", contender);
    for (const std::size_t n : sizes) {
      auto median = [&](const std::string& who) {
        return reporter.median(std::string(question) + "/" + who + "/" + std::to_string(n));
      };
      const double floor = median(Floor::name);
      if (contender == Floor::name) {
        std::printf("%8.0f", floor);
      } else {
        std::printf("%8.2f", floor > 0 ? median(contender) / floor : 0.0);
      }
    }
    std::printf("\n");
  }
}

template <typename Contender>
void printOctets() {
  std::printf("  %-16s", Contender::name);
  for (const std::size_t n : sizes) std::printf("%8.0f", octetsPerList<Contender>(n));
  std::printf("\n");
}

void printAllOctets() {
  std::printf("octets per distinct list (resident set), n = 1 / 4 / 16 / 64\n");
  printOctets<Floor>();
  printOctets<Flyweight>();
  printOctets<SharedPtrSet>();
  printOctets<VelBgpLists>();
  std::fflush(stdout);
}

template <typename Contender>
void add() {
  const std::string contender = Contender::name;
  for (const std::size_t n : sizes) {
    const auto arg = static_cast<std::int64_t>(n);
    benchmark::RegisterBenchmark(("hit/" + contender).c_str(), hit<Contender>)->Arg(arg);
    benchmark::RegisterBenchmark(("miss/" + contender).c_str(), miss<Contender>)->Arg(arg);
  }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  using namespace bench;
  const bool filtered = std::any_of(argv + 1, argv + argc, [](const char* argument) {
    return std::string_view(argument).starts_with("--benchmark_filter");
  });
  if (!comparisonInitialized(argc, argv)) return 1;

  if (!filtered) printAllOctets();  // first, while the process is small

  add<Floor>();
  add<Flyweight>();
  add<SharedPtrSet>();
  add<VelBgpLists>();
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  printRatios(reporter, "hit");
  printRatios(reporter, "miss");
  return 0;
}
