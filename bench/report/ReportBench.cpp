// What does interning cost, in time and in memory, on one thread and on two, beside the least that it can be made of?
//
//   bench_report                             all questions, some minutes
//   bench_report --only 'extended lists, hit'
//   bench_report --repetitions=21 --json
//
// A hit is intern and release of that reference over a Zipf stream of lists that are held; a miss is intern of lists that
// are all new plus the release of all. On several threads a miss is intern and release of values of the thread's own.
// Everybody interns the same lists and is checked before anybody is timed.
#include <lmdb.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <thread>
#include <unordered_set>

#include "Resident.h"
#include "Tyr/Threading.h"
#include "VelBgp/AttributeWriter.h"
#include "report/Contenders.h"
#include "report/Harness.h"
#include "report/Matching.h"
#include "report/Published.h"
#include "report/Workload.h"

namespace bench {
namespace {

constexpr std::size_t sizes[] = {1, 4, 16, 64};
using Limits = std::array<double, std::size(sizes)>;

// Made once, by prepare().
template <typename Value>
const Workload<Value>& workload(std::size_t n, std::size_t count) {
  static std::map<std::pair<std::size_t, std::size_t>, Workload<Value>> workloads;
  return workloads.try_emplace({n, count}, n, count).first->second;
}
const std::vector<std::uint32_t>& lawfulStream() {
  static const auto stream = zipfStream(scale.stream, scale.lists);
  return stream;
}
// A tenth of it is one list.
const std::vector<std::uint32_t>& threadStream() {
  static const auto stream = zipfStream(scale.stream, scale.lists, 0.1);
  return stream;
}

template <typename Contender>
using Handles = std::vector<typename Contender::Handle>;

// Interns `count` of the lists, the i-th of them the one with index at(i), several at a time where the contender can.
// Calls take(i, handle) for each.
template <typename Contender, typename At, typename Take>
void intern(Contender& contender, const Workload<typename Contender::Value>& lists, std::size_t count, At&& at,
            Take&& take) {
  if constexpr (requires { Contender::batch; }) {
    std::array<const typename Contender::Value*, Contender::batch> some;
    std::array<typename Contender::Handle, Contender::batch> handles;
    for (std::size_t first = 0; first < count; first += some.size()) {
      const std::size_t size = std::min(some.size(), count - first);
      for (std::size_t i = 0; i < size; ++i) some[i] = lists.list(at(first + i));
      contender.internBatch({some.data(), size}, lists.n(), {handles.data(), size});
      for (std::size_t i = 0; i < size; ++i) take(first + i, std::move(handles[i]));
    }
  } else {
    for (std::size_t i = 0; i < count; ++i) take(i, contender.intern(lists.list(at(i)), lists.n()));
  }
}

template <typename Contender>
void internAll(Contender& contender, const Workload<typename Contender::Value>& lists, Handles<Contender>& handles) {
  intern(
      contender, lists, handles.size(), [](std::size_t i) { return i; },
      [&](std::size_t i, auto handle) { handles[i] = std::move(handle); });
}

template <typename Contender>
void releaseAll(Contender& contender, Handles<Contender>& handles) {
  for (auto& handle : handles) contender.release(handle);
}

// Whether lists are told apart by nothing but their sets of values, hold these, and go when they are let go.
template <typename Contender>
void checkLists(const Workload<typename Contender::Value>& lists) {
  Contender contender;
  Handles<Contender> handles(lists.count());
  internAll(contender, lists, handles);
  std::unordered_set<std::uint64_t> identities;
  for (std::size_t i = 0; i < lists.count(); ++i) {
    std::vector values(lists.list(i), lists.list(i) + lists.n());
    values.insert(values.begin(), values.back());
    auto again = contender.intern(values.data(), values.size());
    expect(Contender::identity(again) == Contender::identity(handles[i]), "equal lists got different objects");
    contender.release(again);
    sortAndUnique(values);
    expect(Contender::values(handles[i]) == values, "a list has other values");
    expect(identities.insert(Contender::identity(handles[i])).second, "different lists got one object");
  }
  releaseAll(contender, handles);
  if constexpr (requires { contender.size(); }) expect(contender.size() == 0, "lists stay that nobody holds");
}

// Hits and misses on one thread.
template <typename Contender>
class ListTimes final : public Job {
 public:
  using Value = typename Contender::Value;

  ListTimes(const std::string& kind, std::size_t n, Target hit, Target miss)
      : Job({{kind + ", hit", Contender::name, n, "ns", "floor", hit},
             {kind + ", miss and release", Contender::name, n, "ns", "floor", miss}}),
        n_(n) {}

  void prepare() override { workload<Value>(n_, scale.lists), lawfulStream(); }
  void check() override { checkLists<Contender>(workload<Value>(n_, scale.lists)); }
  std::vector<double> measure() override {
    const auto& lists = workload<Value>(n_, scale.lists);
    Contender contender;
    Handles<Contender> handles(lists.count());
    const double miss = timePerOperation(lists.count(), [&] {
      internAll(contender, lists, handles);
      releaseAll(contender, handles);
    });
    internAll(contender, lists, handles);
    std::uint64_t wanted = 0;
    for (const std::uint32_t index : lawfulStream()) wanted += Contender::identity(handles[index]);
    const double hit = timePerOperation(lawfulStream().size(),
                                        [&] { expect(hitAll(contender, lists) == wanted, "a hit gave a wrong list"); });
    releaseAll(contender, handles);
    return {hit, miss};
  }

 private:
  // The sum of all identities.
  static std::uint64_t hitAll(Contender& contender, const Workload<Value>& lists) {
    std::uint64_t sum = 0;
    const auto& stream = lawfulStream();
    intern(
        contender, lists, stream.size(), [&](std::size_t i) { return stream[i]; },
        [&](std::size_t, auto handle) {
          sum += Contender::identity(handle);
          contender.release(handle);
        });
    return sum;
  }

  const std::size_t n_;
};

// What goes out of a list that is held, as a string. Each sender has
//   explicit Sender(const VelBgpLists::Handle&)
//   std::string sent() const
class BareCopy {
 public:
  static constexpr const char* name = "bare copy";
  explicit BareCopy(const VelBgpLists::Handle& list) : values_(VelBgpLists::values(list)) {}
  std::string sent() const {
    std::string octets(values_.size() * sizeof(std::uint64_t), '\0');
    char* at = octets.data();
    for (const std::uint64_t value : values_) {
      const std::uint64_t swapped = __builtin_bswap64(value);
      std::memcpy(at, &swapped, sizeof swapped);
      at += sizeof swapped;
    }
    return octets;
  }

 private:
  const std::vector<std::uint64_t> values_;
};
class Serialized {
 public:
  static constexpr const char* name = "velbgp, serialize";
  explicit Serialized(const VelBgpLists::Handle& list) : list_(list) {}
  std::string sent() const { return list_->serialize(Routing::Bgp::AttributeWriter::all()); }

 private:
  const VelBgpLists::Handle list_;
};
class Written {
 public:
  static constexpr const char* name = "velbgp, writer";
  explicit Written(const VelBgpLists::Handle& list) : list_(list) {}
  std::string sent() const { return *Routing::Bgp::AttributeWriter(list_).str(); }

 private:
  const VelBgpLists::Handle list_;
};

// A few lists that stay in the processor's caches, one after the other.
template <typename Sender>
class Sending final : public Job {
 public:
  Sending(std::size_t n, Target target)
      : Job({{"extended lists, sent", Sender::name, n, "ns", BareCopy::name, target}}), n_(n) {}

  void prepare() override { workload<std::uint64_t>(n_, scale.lists); }
  void check() override {
    for (const VelBgpLists::Handle& list : held()) {
      expect(Sender(list).sent().ends_with(BareCopy(list).sent()), "something else was sent");
    }
  }
  std::vector<double> measure() override {
    const auto lists = held();
    const std::vector<Sender> senders(lists.begin(), lists.end());
    std::size_t octets = 0;
    const double time = timePerOperation(128 * count, [&] {
      for (std::size_t i = 0; i < 128 * count; ++i) octets += senders[i % count].sent().size();
    });
    expect(octets >= 128 * count * n_ * sizeof(std::uint64_t), "not all was sent");
    return {time};
  }

 private:
  static constexpr std::size_t count = 8;

  std::vector<VelBgpLists::Handle> held() {
    std::vector<VelBgpLists::Handle> lists(count);
    const auto& values = workload<std::uint64_t>(n_, scale.lists);
    contender_ = std::make_unique<VelBgpLists>();
    for (std::size_t i = 0; i < count; ++i) lists[i] = contender_->intern(values.list(i), n_);
    return lists;
  }

  const std::size_t n_;
  std::unique_ptr<VelBgpLists> contender_;  // made in the process that asks
};

template <typename Contender>
class ListOctets final : public Job {
 public:
  using Value = typename Contender::Value;

  ListOctets(const std::string& kind, std::size_t n, Target target)
      : Job({{kind + ", resident", Contender::name, n, "octets", "floor", target}}), n_(n) {}

  bool takesPart(int round) const override { return round <= 3; }  // pages hardly vary
  void prepare() override { workload<Value>(n_, scale.octetLists), workload<Value>(n_, scale.lists); }
  void check() override { checkLists<Contender>(workload<Value>(n_, scale.lists)); }
  std::vector<double> measure() override {
    const auto& lists = workload<Value>(n_, scale.octetLists);
    Handles<Contender> handles(lists.count());
    Contender contender;
    const std::size_t before = residentOctets();
    internAll(contender, lists, handles);
    const auto octets = static_cast<double>(residentOctets() - before);
    releaseAll(contender, handles);
    return {octets / static_cast<double>(lists.count())};
  }

 private:
  const std::size_t n_;
};

// A million lists of one value.
template <typename Contender>
class Million {
 public:
  using Value = typename Contender::Value;

  explicit Million(Value (*value)(std::uint32_t)) : value_(value) {}
  ~Million() { releaseAll(contender, handles_); }

  // Calls interned() after each list.
  template <typename Interned>
  void intern(Interned&& interned) {
    for (std::size_t i = 0; i < handles_.size(); ++i) {
      const Value value = value_(static_cast<std::uint32_t>(i));
      handles_[i] = contender.intern(&value, 1);
      interned();
    }
  }
  void check() const {
    expect(contender.size() == handles_.size(), "some lists are missing");
    for (std::size_t i = 0; i < handles_.size(); ++i) {
      const auto values = Contender::values(handles_[i]);
      expect(values.size() == 1 && values[0] == value_(static_cast<std::uint32_t>(i)), "a list has another value");
    }
  }

  Contender contender;

 private:
  Value (*const value_)(std::uint32_t);
  Handles<Contender> handles_ = Handles<Contender>(scale.million);
};

template <typename Contender>
class WorstInsert final : public Job {
 public:
  WorstInsert(const std::string& question, typename Contender::Value (*value)(std::uint32_t))
      : Job({{question, Contender::name, 1, "us", "full rehash", {Target::ratioAtMost, 0.1}}}), value_(value) {}

  std::vector<double> measure() override {
    Million<Contender> million(value_);
    double worst = 0;
    double last = threadTime();
    million.intern([&] {
      const double now = threadTime();
      worst = std::max(worst, now - last);
      last = now;
    });
    million.check();
    return {worst / 1000};
  }

 private:
  typename Contender::Value (*const value_)(std::uint32_t);
};

template <typename Value>
class FullRehash final : public Job {
 public:
  FullRehash(const std::string& question, Value (*value)(std::uint32_t))
      : Job({{question, "full rehash", 1, "us"}}), value_(value) {}

  std::vector<double> measure() override {
    Million<Floor<Value>> million(value_);
    million.intern([] {});
    const double begin = threadTime();
    million.contender.rehash();
    const double spent = threadTime() - begin;
    million.check();
    return {spent / 1000};
  }

 private:
  Value (*const value_)(std::uint32_t);
};

constexpr const char* publishing = "publishing 600,000 paths";

// Of a RIB, in the order of their keys.
std::vector<std::string> pathKeys() {
  std::vector<std::string> keys(scale.paths);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::size_t prefix = i / 2;
    keys[i] = std::to_string(1 + prefix / 65536 % 223) + "." + std::to_string(prefix / 256 % 256) + "." +
              std::to_string(prefix % 256) + ".0/24 from 192.0.2." + std::to_string(i % 2);
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

// The least that storing the paths can be made of: keys and references of the same sizes, ascending, in one transaction
// of the engine.
class BarePaths final : public Job {
 public:
  BarePaths() : Job({{publishing, "bare LMDB", 0, "ms"}}) {}

  bool takesPart(int round) const override { return round <= 5; }
  void prepare() override { keys_ = pathKeys(); }
  std::vector<double> measure() override {
    const std::string folder = newFolder();
    MDB_env* engine = nullptr;
    require(mdb_env_create(&engine));
    require(mdb_env_set_mapsize(engine, std::size_t{4} << 30));
    require(mdb_env_open(engine, folder.c_str(), MDB_NOSYNC | MDB_NOMETASYNC, 0600));
    const double begin = processTime();
    MDB_txn* transaction = nullptr;
    MDB_dbi tree = 0;
    require(mdb_txn_begin(engine, nullptr, 0, &transaction));
    require(mdb_dbi_open(transaction, nullptr, 0, &tree));
    Routing::Bgp::StashedPath path;
    for (std::string& key : keys_) {
      path.standard = {path.standard.number + 1, path.standard.number + 2};
      MDB_val name{key.size(), key.data()};
      MDB_val value{sizeof path, &path};
      require(mdb_put(transaction, tree, &name, &value, 0));
    }
    require(mdb_txn_commit(transaction));
    const double spent = processTime() - begin;
    mdb_env_close(engine);
    std::filesystem::remove_all(folder);
    return {spent / 1e6};
  }

 private:
  static void require(int code) { expect(code == 0, "the engine failed"); }

  std::vector<std::string> keys_;
};

// In the order of their keys or in another, noted before one flush or with one after each 10,000.
class PublishPaths final : public Job {
 public:
  PublishPaths(const char* name, bool sorted, std::size_t flushEach, const char* baseline, Target target)
      : Job({{publishing, name, 0, "ms", baseline, target},
             {"heap of a published path, at rest", name, 0, "octets", "", {Target::medianAtMost, 100}},
             {"heap of a published path, the engine's of it", name, 0, "octets"},
             {"heap of a published path, most", name, 0, "octets", "", {Target::medianAtMost, 200}},
             {"file pages of a published path", name, 0, "octets"},
             {"heap of a published path that went", name, 0, "octets"}}),
        sorted_(sorted),
        flushEach_(flushEach) {}

  bool takesPart(int round) const override { return round <= 5; }
  void prepare() override {
    keys_ = pathKeys();
    if (!sorted_) std::shuffle(keys_.begin(), keys_.end(), std::mt19937(17));
    keys_ = std::vector(keys_);  // one behind the other in memory: an agent makes a key when it needs it
    workload<std::uint32_t>(n, scale.lists);
  }
  std::vector<double> measure() override {
    const auto& lists = workload<std::uint32_t>(n, scale.lists);
    Published<VelBgpStandardLists> published;
    Handles<VelBgpStandardLists> handles(lists.count());
    internAll(published, lists, handles);
    published.publisher().flush();
    malloc_trim(0);
    const std::size_t heap = heapOctets();
    const std::size_t anonymous = anonymousOctets();
    const std::size_t file = fileOctets();
    std::optional<AnonymousPeak> peak(std::in_place);
    const double begin = processTime();
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      published.publisher().pathIs(keys_[i], {.standard = handles[i * 7919 % handles.size()]});
      if ((i + 1) % flushEach_ == 0) published.publisher().flush();
    }
    published.publisher().flush();
    const double spent = processTime() - begin;
    const std::size_t most = peak->octets();
    peak.reset();
    const auto each = [this](std::size_t octets) {
      return static_cast<double>(octets) / static_cast<double>(keys_.size());
    };
    const std::size_t rest = heapOctets() - heap;
    const std::size_t mapped = fileOctets() - file;
    expect(published.shows(keys_), "a path is missing");
    for (const std::string& key : keys_) published.publisher().pathDel(key);
    published.publisher().flush();
    const std::size_t left = heapOctets() - heap;
    const std::size_t engine = published.engineHeap();
    releaseAll(published, handles);
    return {spent / 1e6, each(rest), each(engine), each(most - anonymous), each(mapped), each(left)};
  }

 private:
  static constexpr std::size_t n = 4;
  const bool sorted_;
  const std::size_t flushEach_;
  std::vector<std::string> keys_;
};

// How long a thread that interns and releases waits at most for others while a table with a million lists is published:
// by the clock on the wall, less what it ran and what it waited for a core.
class WaitsForPublisher final : public Job {
 public:
  WaitsForPublisher() : Job(rowsOf()) {}

  bool takesPart(int round) const override { return round <= 5; }
  std::vector<double> measure() override {
    Tyr::agentMultiThreadedIs(true);
    Million<VelBgpStandardLists> million([](std::uint32_t number) { return number; });
    million.intern([] {});
    const std::string folder = newFolder();
    auto store = Routing::Store::StoreManager::openForWriting(folder + "/store");
    std::optional<Routing::Bgp::ListPublisher> publisher(std::in_place, *store,
                                                         Routing::Bgp::ListPublisher::Options{std::chrono::hours(24)});
    std::jthread interning([&](const std::stop_token& stop) { run(stop, million.contender); });
    const auto during = [this](Phase phase, auto&& work) {
      phase_ = phase;
      work();
    };
    const auto* const table = million.contender.table();
    during(alone, [] { std::this_thread::sleep_for(std::chrono::milliseconds(200)); });
    during(attached, [&] { publisher->listTableIs(table); });
    during(detached, [&] { publisher->listTableDel(table); });
    phase_ = others;
    publisher->listTableIs(table);
    during(flushed, [&] { publisher->flush(); });
    during(ended, [&] { publisher.reset(); });
    interning = {};
    million.check();
    store.reset();
    std::filesystem::remove_all(folder);
    return {worst_.begin(), worst_.begin() + others};
  }

 private:
  enum Phase { alone, attached, detached, flushed, ended, others };

  static std::vector<Row> rowsOf() {
    std::vector<Row> rows;
    for (const char* const phase : {"nobody", "attaching", "detaching", "flushing", "ending"}) {
      rows.push_back({"longest wait for a publisher of a million", phase, 0, "us"});
    }
    return rows;
  }
  void run(const std::stop_token& stop, VelBgpStandardLists contender) {
    using Clock = std::chrono::steady_clock;
    std::uint32_t values[2] = {0, 0x80000000};  // lists that nobody else has
    auto start = Clock::now(), last = start;
    Phase phase = others;
    double begin = notWaited(), waited = 0;
    while (!stop.stop_requested()) {
      const Phase before = phase_;
      if (before != phase) begin = notWaited(), waited = 0, phase = before, last = Clock::now(), start = last;
      ++values[0];
      auto list = contender.intern(values, 2);
      contender.release(list);
      const auto now = Clock::now();
      if (now - last > std::chrono::microseconds(50)) {
        const double all = std::chrono::duration<double, std::micro>(now - start).count() - (notWaited() - begin);
        worst_[before] = std::max(worst_[before], all - std::exchange(waited, all));
      }
      last = now;
    }
  }
  // Of this thread, in us.
  static double notWaited() {
    std::ifstream file("/proc/thread-self/schedstat");
    double ran = 0, queued = 0;
    file >> ran >> queued;
    return (ran + queued) / 1000;
  }

  std::atomic<Phase> phase_ = others;
  std::array<double, others + 1> worst_ = {};  // of the thread
};

// What threads do at the same time, an object for each measurement:
//   static void prepare()         before the first
//   void run(unsigned thread)     scale.operations of it
//   void check(unsigned threads)  when all have run: throws WrongAnswer

template <unsigned missPercent>
class Hits {
 public:
  static void prepare() { workload<std::uint64_t>(n, scale.lists), threadStream(); }

  Hits() { internAll(shared_, lists_, held_); }

  void run(unsigned thread) {
    VelBgpLists contender = shared_;
    std::uint64_t sum = 0;
    forEach(thread, [&](const std::uint64_t* values, const std::uint32_t* index) {
      auto list = contender.intern(values, n);
      if (index != nullptr) sum += VelBgpLists::identity(list);
    });
    sums_[thread] = sum;
  }
  void check(unsigned threads) const {
    expect(shared_.size() == lists_.count(), "lists stay that nobody holds");
    for (unsigned thread = 0; thread < threads; ++thread) {
      std::uint64_t sum = 0;
      forEach(thread, [&](const std::uint64_t*, const std::uint32_t* index) {
        if (index != nullptr) sum += VelBgpLists::identity(held_[*index]);
      });
      expect(sum == sums_[thread], "a hit gave a wrong list");
    }
  }

 private:
  static constexpr std::size_t n = 4;

  // Calls take(values, index), with the index of a list that is held, or null for a list of the thread's own.
  template <typename Take>
  void forEach(unsigned thread, Take&& take) const {
    const auto& stream = threadStream();
    for (std::size_t i = 0; i < scale.operations; ++i) {
      if (i % 100 < missPercent) {
        const std::uint64_t own = std::uint64_t{thread + 1} << 28 | i;
        const std::uint64_t values[n] = {0x0002000000000000 | own, 0x0002000000000001, 0x030b000000000002,
                                         0x030b000000000003};
        take(values, nullptr);
      } else {
        const std::uint32_t& index = stream[(i + thread * 7919) % stream.size()];
        take(lists_.list(index), &index);
      }
    }
  }

  const Workload<std::uint64_t>& lists_ = workload<std::uint64_t>(n, scale.lists);
  VelBgpLists shared_;
  Handles<VelBgpLists> held_ = Handles<VelBgpLists>(lists_.count());
  std::array<std::uint64_t, 2> sums_{};
};

// Intern and release of objects of n values of the thread's own, a window of which is held.
template <typename Contender, std::size_t n, typename Contender::Value (*value)(std::uint32_t)>
class Misses {
 public:
  static void prepare() {}

  void run(unsigned thread) {
    Contender contender = shared_;
    for (std::size_t i = 0; i < scale.operations; ++i) {
      kept_[thread][i % scale.window] = contender.intern(valuesOf(thread, i).data(), n);
    }
  }
  void check(unsigned threads) const {
    expect(shared_.size() == scale.window * threads, "objects stay that nobody holds");
    for (unsigned thread = 0; thread < threads; ++thread) {
      for (std::size_t i = scale.operations - scale.window; i < scale.operations; ++i) {
        expect(std::ranges::equal(Contender::values(kept_[thread][i % scale.window]), valuesOf(thread, i)),
               "an object has other values");
      }
    }
  }

 private:
  static auto valuesOf(unsigned thread, std::size_t index) {
    std::array<typename Contender::Value, n> values;
    for (std::size_t k = 0; k < n; ++k) {
      values[k] = value((thread + 1) << 28 | static_cast<std::uint32_t>(index * n + k));
    }
    return values;
  }

  Contender shared_;
  std::array<Handles<Contender>, 2> kept_{Handles<Contender>(scale.window), Handles<Contender>(scale.window)};
};

enum class Variant { singleThreaded, oneThread, twoThreads };

template <typename Work>
class ThreadTimes final : public Job {
 public:
  ThreadTimes(Variant variant, std::vector<Row> rows)
      : Job(std::move(rows)), variant_(variant), threads_(variant == Variant::twoThreads ? 2 : 1) {}

  void prepare() override { Work::prepare(); }
  // The time of an operation of one thread, the throughput of all, as far as there are rows for them.
  std::vector<double> measure() override {
    Tyr::agentMultiThreadedIs(variant_ != Variant::singleThreaded);
    Work work;
    const auto begin = std::chrono::steady_clock::now();
    const double ownBegin = threadTime();
    std::thread other;
    if (threads_ == 2) other = std::thread([&] { work.run(1); });
    work.run(0);
    const double own = threadTime() - ownBegin;
    if (threads_ == 2) other.join();
    const std::chrono::duration<double, std::micro> all = std::chrono::steady_clock::now() - begin;
    work.check(threads_);
    const auto operations = static_cast<double>(scale.operations);
    const double time = own / operations;
    const double throughput = operations * threads_ / all.count();
    switch (variant_) {
      case Variant::singleThreaded:
        return {time};
      case Variant::oneThread:
        return {time, throughput};
      default:
        return {throughput};
    }
  }

 private:
  const Variant variant_;
  const unsigned threads_;
};

std::uint64_t routeTarget(std::uint32_t number) { return 0x0002000000000000 | number; }
std::uint64_t color(std::uint32_t number) { return 0x030b000000000000 | number; }
std::uint32_t standard(std::uint32_t number) { return number; }

template <typename Contender>
void addListTimes(Jobs& jobs, const std::string& kind, const Limits* hits = nullptr, const Limits* misses = nullptr) {
  for (std::size_t i = 0; i < std::size(sizes); ++i) {
    const auto target = [&](const Limits* of) {
      return of == nullptr ? Target{} : Target{Target::ratioAtMost, (*of)[i]};
    };
    jobs.push_back(std::make_unique<ListTimes<Contender>>(kind, sizes[i], target(hits), target(misses)));
  }
}

template <typename Contender>
void addListOctets(Jobs& jobs, const std::string& kind, const Limits* limits = nullptr) {
  for (std::size_t i = 0; i < std::size(sizes); ++i) {
    const Target target = limits == nullptr ? Target{} : Target{Target::medianAtMost, (*limits)[i]};
    jobs.push_back(std::make_unique<ListOctets<Contender>>(kind, sizes[i], target));
  }
}

template <typename Contender>
void addWorstInsert(Jobs& jobs, const std::string& kind, typename Contender::Value (*value)(std::uint32_t)) {
  const std::string question = kind + ", worst of a million inserts";
  jobs.push_back(std::make_unique<FullRehash<typename Contender::Value>>(question, value));
  jobs.push_back(std::make_unique<WorstInsert<Contender>>(question, value));
  jobs.push_back(std::make_unique<WorstInsert<Published<Contender>>>(question, value));
}

void addSending(Jobs& jobs) {
  const std::pair<std::size_t, double> rows[] = {{4, 2}, {16, 1.5}, {64, 1.2}};
  for (const auto& [n, limit] : rows) {
    jobs.push_back(std::make_unique<Sending<BareCopy>>(n, Target()));
    jobs.push_back(std::make_unique<Sending<Serialized>>(n, Target()));
    jobs.push_back(std::make_unique<Sending<Written>>(n, Target{Target::ratioAtMost, limit}));
  }
}

template <typename Work>
void addThreadTimes(Jobs& jobs, const std::string& what, Target throughput, Target time) {
  const std::string variants = "variants, " + what, threads = "throughput, " + what;
  const auto add = [&](Variant variant, std::vector<Row> rows) {
    jobs.push_back(std::make_unique<ThreadTimes<Work>>(variant, std::move(rows)));
  };
  add(Variant::singleThreaded, {{variants, "single-threaded"}});
  add(Variant::oneThread,
      {{variants, "multi-threaded", 0, "ns", "single-threaded", time}, {threads, "1 thread", 0, "M/s"}});
  add(Variant::twoThreads, {{threads, "2 threads", 0, "M/s", "1 thread", throughput}});
}

Jobs allJobs() {
  Jobs jobs;
  constexpr Limits hits{0.85, 0.72, 0.65, 0.57}, batchHits{0.65, 0.5, 0.47, 0.44};
  constexpr Limits misses{4.5, 4.5, 3.2, 2}, valueMisses{3, 2.5, 2, 1.5};
  constexpr Limits octets{170, 205, 329, 809};
  addListTimes<Floor<std::uint64_t>>(jobs, "extended lists");
  addListTimes<Flyweight>(jobs, "extended lists");
  addListTimes<SharedPtrSet>(jobs, "extended lists");
  addListTimes<VelBgpLists>(jobs, "extended lists", &hits, &misses);
  addListTimes<Batches<VelBgpLists>>(jobs, "extended lists", &batchHits);
  addListTimes<Floor<std::uint32_t>>(jobs, "standard lists");
  addListTimes<VelBgpStandardLists>(jobs, "standard lists", &hits, &valueMisses);
  addListTimes<Batches<VelBgpStandardLists>>(jobs, "standard lists", &batchHits);
  addListTimes<Floor<Acl::CommunityValue>>(jobs, "large lists");
  addListTimes<VelBgpLargeLists>(jobs, "large lists", &hits, &valueMisses);
  addListTimes<Batches<VelBgpLargeLists>>(jobs, "large lists", &batchHits);

  addSending(jobs);
  addMatching(jobs);

  addListOctets<Floor<std::uint64_t>>(jobs, "extended lists");
  addListOctets<Flyweight>(jobs, "extended lists");
  addListOctets<SharedPtrSet>(jobs, "extended lists");
  addListOctets<VelBgpLists>(jobs, "extended lists", &octets);

  constexpr Target hitsThroughput{Target::ratioAtLeast, 1.6}, throughput{Target::ratioAtLeast, 1.7};
  constexpr Target hitsTime{Target::ratioAtMost, 1.15}, time{Target::ratioAtMost, 1.2};
  addThreadTimes<Hits<0>>(jobs, "Zipf hits", hitsThroughput, hitsTime);
  addThreadTimes<Hits<10>>(jobs, "hits, 10% misses", throughput, {});
  addThreadTimes<Misses<VelBgpCommunities, 1, color>>(jobs, "misses, communities", throughput, time);
  addThreadTimes<Misses<VelBgpCommunities, 1, routeTarget>>(jobs, "misses, route targets", throughput, time);
  addThreadTimes<Misses<VelBgpStandardLists, 4, standard>>(jobs, "misses, standard lists", throughput, time);
  addThreadTimes<Misses<VelBgpLists, 2, routeTarget>>(jobs, "misses, extended lists", throughput, time);

  addWorstInsert<VelBgpStandardLists>(jobs, "standard lists", standard);
  addWorstInsert<VelBgpLists>(jobs, "extended lists", routeTarget);
  const auto addPublishing = [&jobs](const char* name, bool sorted, std::size_t flushEach, const char* baseline,
                                     Target target = {}) {
    jobs.push_back(std::make_unique<PublishPaths>(name, sorted, flushEach, baseline, target));
  };
  jobs.push_back(std::make_unique<WaitsForPublisher>());
  jobs.push_back(std::make_unique<BarePaths>());
  addPublishing("sorted", true, scale.paths, "bare LMDB", {Target::ratioAtMost, 2});
  addPublishing("RIB order", false, scale.paths, "sorted", {Target::ratioAtMost, 1.2});
  addPublishing("RIB order, parts", false, 10000, "sorted");
  return jobs;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  const auto options = bench::Options::fromArguments(argc, argv);
  return bench::report(options, bench::allJobs());
}
