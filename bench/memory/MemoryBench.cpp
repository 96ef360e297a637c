// How much memory is held, over time, while peers' lists come and go?
//
//   bench_memory                 all below, some minutes; fails when more is held than is said here
//   bench_memory --quick         the same with little of everything
//   bench_memory flaps           one of them
//
//   lengths   lists of 14 lengths, 200 MiB of each, one length after the other, each let go in another order than it came:
//             when a length is gone, at most 1.3 times the most that ever lived stays, resident or held by the slabs
//   window    ten million lists of 1 to 8 communities, of which 100,000 live at a time
//   flaps     a peer that announces a million routes with communities and takes them back, again and again, each time with
//             other communities
//
// Of window and flaps: once they have run for a fifth of their way, never more than 1.3 times what was the most until
// then. A line each second: lists that live, octets that the slabs hold, resident octets. Every scenario has a process of
// its own, in a multi-threaded agent.
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include "Keel/SlabHeap.h"
#include "Resident.h"
#include "Tyr/Threading.h"
#include "report/Contenders.h"

namespace bench {
namespace {

struct Amounts {
  std::size_t lengthOctets = std::size_t{200} << 20;
  std::size_t lists = 10'000'000;
  std::size_t window = 100'000;
  std::size_t routes = 1'000'000;
  std::size_t flaps = 12;

  static constexpr Amounts quick() { return {std::size_t{12} << 20, 100'000, 10'000, 10'000, 12}; }
};
Amounts amounts;

double mebi(std::size_t octets) { return static_cast<double>(octets) / (1 << 20); }

struct Held {
  std::size_t slabs = 0;
  std::size_t resident = 0;

  static Held now() { return {Keel::SlabHeap::heldOctets(), residentOctets()}; }
  Held beyond(const Held& other) const { return {slabs - other.slabs, resident - std::min(resident, other.resident)}; }
  void mostIs(const Held& other) {
    slabs = std::max(slabs, other.slabs);
    resident = std::max(resident, other.resident);
  }
  // Small amounts are left to the reserve of free chunks and to malloc's.
  bool within(std::size_t slabLimit, std::size_t residentLimit) const {
    constexpr std::size_t reserve = std::size_t{72} << 20;
    return slabs <= std::max(slabLimit * 13 / 10, reserve) && resident <= std::max(residentLimit * 13 / 10, reserve);
  }
};

// Prints a line each second, and one when told to.
class Watch {
 public:
  explicit Watch(const char* name) : name_(name) {
    printer_ = std::thread([this] { run(); });
  }
  ~Watch() {
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    wake_.notify_all();
    printer_.join();
  }

  void livingAre(std::size_t lists) { lists_.store(lists, std::memory_order_relaxed); }
  Held print(const char* remark) const {
    const Held held = Held::now();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin_;
    std::printf("%-8s %6.1f s  %9zu lists  slabs %7.1f MiB  resident %7.1f MiB  %s\n", name_, time.count(),
                lists_.load(std::memory_order_relaxed), mebi(held.slabs), mebi(held.resident), remark);
    std::fflush(stdout);
    return held;
  }

 private:
  void run() {
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, std::chrono::seconds(1), [this] { return ended_; })) print("");
  }

  const char* const name_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::atomic<std::size_t> lists_ = 0;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool ended_ = false;
  std::thread printer_;
};

// What is held must stay within what was held in the first fifth of the steps.
class Steady {
 public:
  explicit Steady(Watch& watch, std::size_t steps) : watch_(watch), early_(steps / 5) {}

  void step() {
    const Held held = Held::now();
    if (steps_++ < early_) {
      most_.mostIs(held);
    } else if (!held.within(most_.slabs, most_.resident)) {
      good_ = false;
      watch_.print("beyond 1.3 times what was the most at first");
    }
  }
  bool good() const { return good_; }

 private:
  Watch& watch_;
  const std::size_t early_;
  std::size_t steps_ = 0;
  Held most_;
  bool good_ = true;
};

bool lengths() {
  Watch watch("lengths");
  VelBgpStandardLists lists;
  std::mt19937 random(17);
  std::vector<std::uint32_t> values;
  const Held before = Held::now();
  std::size_t mostLive = 0;
  bool good = true;
  for (const std::size_t length : {1, 2, 4, 8, 12, 16, 24, 32, 64, 100, 150, 200, 300, 400}) {
    const std::size_t slotsBefore = Keel::handleHeap().liveOctets();
    std::vector<VelBgpStandardLists::Handle> handles;
    values.resize(length);
    handles.reserve(amounts.lengthOctets / (4 * length + 24));
    for (std::size_t live = 0; live < amounts.lengthOctets;) {
      for (std::uint32_t& value : values) value = random();
      handles.push_back(lists.intern(values.data(), length));
      live += Keel::SlabHeap::octetsOf(handles.back().get());
      if (handles.size() % 1024 == 0) watch.livingAre(handles.size());
    }
    mostLive = std::max(mostLive, Keel::handleHeap().liveOctets() - slotsBefore);
    std::shuffle(handles.begin(), handles.end(), random);
    handles = {};
    watch.livingAre(lists.size());
    malloc_trim(0);  // the handles are ours
    const std::string remark = "gone: lists of " + std::to_string(length);
    const Held held = watch.print(remark.c_str()).beyond(before);
    good &= held.within(mostLive, mostLive);
  }
  if (!good) std::printf("lengths: more than 1.3 times of %.1f MiB stays\n", mebi(mostLive));
  return good;
}

bool window() {
  Watch watch("window");
  VelBgpLists lists;
  std::mt19937_64 random(17);
  std::vector<VelBgpLists::Handle> held(amounts.window);
  std::array<std::uint64_t, 8> values;
  const std::size_t stepLists = amounts.lists / 100;
  Steady steady(watch, 100);
  for (std::size_t i = 0; i < amounts.lists; ++i) {
    const std::size_t n = 1 + random() % values.size();
    for (std::size_t k = 0; k < n; ++k)
      values[k] = (k % 2 == 0 ? 0x0002000000000000 : 0x030b000000000000) | random() >> 40;
    held[random() % held.size()] = lists.intern(values.data(), n);
    if (i % 1024 == 0) watch.livingAre(lists.size());
    if ((i + 1) % stepLists == 0) steady.step();
  }
  watch.print("the window is full");
  return steady.good();
}

struct Route {
  VelBgpLists::Handle extended;
  VelBgpStandardLists::Handle standard;
  VelBgpLargeLists::Handle large;
};

bool flaps() {
  Watch watch("flaps");
  VelBgpLists extended;
  VelBgpStandardLists standard;
  VelBgpLargeLists large;
  std::mt19937_64 random(17);
  std::vector<Route> routes(amounts.routes);
  std::vector<std::uint32_t> order(amounts.routes);
  for (std::uint32_t i = 0; i < order.size(); ++i) order[i] = i;
  const auto inOrder = [&](auto&& change) {
    std::shuffle(order.begin(), order.end(), random);
    for (std::size_t i = 0; i < order.size(); ++i) {
      change(routes[order[i]]);
      if (i % 1024 == 0) watch.livingAre(extended.size() + standard.size() + large.size());
    }
  };
  Steady steady(watch, 2 * amounts.flaps);
  for (std::size_t flap = 0; flap < amounts.flaps; ++flap) {
    inOrder([&](Route& route) {
      const std::uint64_t number = random() % amounts.routes;
      const std::uint64_t targets[] = {0x0002fde800000000 | number, 0x0002fde800000001, 0x030b000000000000 | flap};
      const std::uint32_t words[] = {static_cast<std::uint32_t>(number), 0xfde80001, static_cast<std::uint32_t>(flap)};
      const Acl::CommunityValue values[] = {
          {64512, static_cast<std::uint32_t>(number), static_cast<std::uint32_t>(flap)}};
      route = {extended.intern(targets, 3), standard.intern(words, 3), large.intern(values, 1)};
    });
    steady.step();
    inOrder([](Route& route) { route = {}; });
    steady.step();
  }
  watch.livingAre(extended.size() + standard.size() + large.size());
  watch.print("all are taken back");
  return steady.good() && extended.size() + standard.size() + large.size() == 0;
}

struct Scenario {
  std::string_view name;
  bool (*run)();
};
constexpr Scenario scenarios[] = {{"lengths", lengths}, {"window", window}, {"flaps", flaps}};

bool goodInChild(const Scenario& scenario) {
  const pid_t child = fork();
  if (child == 0) {
    Tyr::agentMultiThreadedIs(true);
    _exit(scenario.run() ? 0 : 1);
  }
  int status = 1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  std::string_view only;
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) == "--quick") {
      bench::amounts = bench::Amounts::quick();
    } else {
      only = argv[i];
    }
  }
  bool known = false, good = true;
  for (const auto& scenario : bench::scenarios) {
    if (!only.empty() && only != scenario.name) continue;
    known = true;
    good &= bench::goodInChild(scenario);
  }
  if (!known) std::fputs("usage: bench_memory [--quick] [lengths|window|flaps]\n", stderr);
  return !known ? 2 : good ? 0 : 1;
}
