// What does interning cost on one thread and on two, and how long is the longest insert on the way to a million lists?
//
//   bench_threads                   a table: median nanoseconds per operation and thread, and throughput of two threads
//   bench_threads --repetitions=9   more of them; all questions take turns in each (default 5)
//
// A miss is intern and release of values of the thread's own, none of which is held; a hit is intern and release over a
// Zipf stream of held lists, the same for all threads. Everything is checked once for its answer before it is timed.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Tyr/Threading.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "interning/Workload.h"

namespace bench {
namespace {

using namespace Routing::Bgp;
using Clock = std::chrono::steady_clock;

constexpr std::size_t held = 50000;
constexpr std::size_t operations = 200000;
constexpr std::size_t window = 1000;  // lists that a thread has before it lets them go

struct Agent {
  Tyr::Ptr<BgpParseExtCommContainerSm> decoder = bgpParseExtCommContainerSmFactory(true);
  ExtCommDedupTable::Ptr comms = extCommDedupTableFactory(decoder->extCommParser());
  ExtCommListDedupTable::Ptr lists = extCommListDedupTableFactory();
  CommListDedupTable::Ptr standard = commListDedupTableFactory();
};

ExtCommList::PtrConst list(const Agent& agent, const std::uint64_t* values, std::size_t n) {
  ExtCommListContentU64 content(agent.comms.get());
  for (std::size_t i = 0; i < n; ++i) content.commIs(values[i]);
  return ExtCommList::dedupContent(agent.lists.get(), content);
}

std::uint64_t routeTarget(std::uint64_t number) { return 0x0002000000000000 | number; }
std::uint64_t color(std::uint64_t number) { return 0x030b000000000000 | number; }

template <typename Intern>
void inWindows(std::uint64_t first, Intern&& intern) {
  std::vector<decltype(intern(first))> kept(window);
  for (std::size_t i = 0; i < operations; ++i) kept[i % window] = intern(first + i);
}

struct Question {
  const char* name;
  std::function<void(const Agent&, unsigned thread)> work;
};

std::vector<Question> questions(const Workload& lists, const std::vector<std::uint32_t>& stream) {
  const auto numbered = [](unsigned thread) { return std::uint64_t{thread + 1} << 28; };
  const auto hits = [&lists, &stream, numbered](unsigned missPercent) {
    return [&lists, &stream, numbered, missPercent](const Agent& agent, unsigned thread) {
      for (std::size_t i = 0; i < operations; ++i) {
        const bool miss = i % 100 < missPercent;
        const std::uint64_t own[4] = {routeTarget(numbered(thread) + i), routeTarget(1), color(2), color(3)};
        list(agent, miss ? own : lists.list(stream[(i + thread * 7919) % stream.size()]), 4);
      }
    };
  };
  return {{"hits", hits(0)},
          {"hits, 10% misses", hits(10)},
          {"communities",
           [=](const Agent& agent, unsigned thread) {
             inWindows(numbered(thread), [&](std::uint64_t i) {
               return ExtComm::dedupContent(agent.comms.get(), ExtCommContent(color(i)));
             });
           }},
          {"route targets",
           [=](const Agent& agent, unsigned thread) {
             inWindows(numbered(thread), [&](std::uint64_t i) {
               return ExtComm::dedupContent(agent.comms.get(), ExtCommContent(routeTarget(i)));
             });
           }},
          {"standard lists",
           [=](const Agent& agent, unsigned thread) {
             inWindows(numbered(thread), [&](std::uint64_t i) {
               CommListContent content;
               for (std::uint32_t k = 0; k < 4; ++k) content.commIs(static_cast<std::uint32_t>(i) * 4 + k);
               return CommList::dedupContent(agent.standard.get(), content);
             });
           }},
          {"extended lists", [=](const Agent& agent, unsigned thread) {
             inWindows(numbered(thread), [&](std::uint64_t i) {
               const std::uint64_t values[2] = {routeTarget(2 * i), routeTarget(2 * i + 1)};
               return list(agent, values, 2);
             });
           }}};
}

double nanoseconds(const Agent& agent, const Question& question, unsigned threads) {
  const auto begin = Clock::now();
  std::vector<std::thread> running;
  for (unsigned i = 1; i < threads; ++i) running.emplace_back([&, i] { question.work(agent, i); });
  question.work(agent, 0);
  for (std::thread& thread : running) thread.join();
  return std::chrono::duration<double, std::nano>(Clock::now() - begin).count() / static_cast<double>(operations);
}

double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

// In one pass, so it is taken several times and the least of the longest counts: the rest is the machine's.
void printLongestInsert(int repetitions) {
  constexpr std::uint64_t many = 1000000;
  double longest = 1e9;
  for (int i = 0; i < repetitions; ++i) {
    const Agent agent;
    std::vector<ExtCommList::PtrConst> kept(many);
    double worst = 0;
    for (std::uint64_t k = 0; k < many; ++k) {
      const std::uint64_t value = routeTarget(k);
      const auto begin = Clock::now();
      kept[k] = list(agent, &value, 1);
      worst = std::max(worst, std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    longest = std::min(longest, worst);
  }
  std::printf("longest insert on the way to a million lists of route targets: %.0f us\n", longest);
}

int report(int repetitions) {
  const Workload lists(4, held);
  const std::vector<std::uint32_t> stream = lists.zipfStream(std::size_t{1} << 17);
  const std::vector<Question> all = questions(lists, stream);
  std::vector<std::vector<double>> times(all.size() * 3);
  for (int repetition = 0; repetition < repetitions; ++repetition) {
    for (const unsigned threads : {0u, 1u, 2u}) {  // 0: the single-threaded variant
      Tyr::agentMultiThreadedIs(threads != 0);
      const Agent agent;
      std::vector<ExtCommList::PtrConst> kept;
      for (std::size_t i = 0; i < lists.count(); ++i) kept.push_back(list(agent, lists.list(i), 4));
      if (list(agent, lists.list(stream[0]), 4) != kept[stream[0]] || agent.lists->size() != held) return 1;
      for (std::size_t i = 0; i < all.size(); ++i) {
        times[3 * i + threads].push_back(nanoseconds(agent, all[i], std::max(threads, 1u)));
      }
      if (agent.lists->size() != held) return 1;
    }
  }
  std::printf("%-18s %16s %10s %10s %12s\n", "ns per operation", "single-threaded", "1 thread", "2 threads",
              "throughput");
  for (std::size_t i = 0; i < all.size(); ++i) {
    const double alone = median(times[3 * i]), one = median(times[3 * i + 1]), two = median(times[3 * i + 2]);
    std::printf("%-18s %16.0f %10.0f %10.0f %12.2f\n", all[i].name, alone, one, two, 2 * one / two);
  }
  Tyr::agentMultiThreadedIs(false);
  printLongestInsert(std::min(repetitions, 3));
  return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  int repetitions = 5;
  for (int i = 1; i < argc; ++i) {
    if (std::sscanf(argv[i], "--repetitions=%d", &repetitions) != 1) continue;
  }
  return bench::report(std::max(repetitions, 1));
}
