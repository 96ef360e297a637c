// What does a publisher cost the thread that interns, and what does a writer at work cost a reader of its store?
//
//   bench_publish                            times, then the ratios
//   bench_publish --benchmark_filter=read
//
// hit and miss are those of bench_report, for lists of four values, on tables with a publisher attached and without:
// CPU time of the interning thread. read takes a random published path and destashes its list, while the process that
// writes the store stands still and while it interns and releases at full speed.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Comparison.h"
#include "Store/StoreManager.h"
#include "VelBgp/CommList.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace {

using namespace Routing::Bgp;

constexpr std::size_t count = 50000;
constexpr std::size_t paths = 1000;

// A folder that goes with the process that made it.
class Folder {
 public:
  Folder() : path_(std::filesystem::temp_directory_path() / "bench_publishXXXXXX"), owner_(::getpid()) {
    if (::mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~Folder() {
    if (::getpid() == owner_) std::filesystem::remove_all(path_);
  }
  std::string store(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
  pid_t owner_;
};

struct Extended {
  static constexpr const char* name = "extended";
  using List = ExtCommList::PtrConst;

  void attachTo(ListPublisher& publisher) { publisher.listTableIs(lists.get()); }
  List intern(std::size_t index) {
    content.reset();
    for (const std::uint64_t i : {3, 1, 2, 0})
      content.commIs(0x0002fde800000000 + (index * 4 + i) * 7919 % (count * 8));
    return ExtCommList::dedupContent(lists.get(), content);
  }

  Tyr::Ptr<BgpParseExtCommContainerSm> decoder = bgpParseExtCommContainerSmFactory(true);
  ExtCommDedupTable::Ptr comms = ExtCommDedupTableIs(decoder->extCommParser());
  ExtCommListDedupTable::Ptr lists = ExtCommListDedupTableIs();
  ExtCommListContentU64 content{comms.get()};
};

struct Standard {
  static constexpr const char* name = "standard";
  using List = CommList::PtrConst;

  void attachTo(ListPublisher& publisher) { publisher.listTableIs(lists.get()); }
  List intern(std::size_t index) {
    content.reset();
    for (const std::uint32_t i : {3, 1, 2, 0}) {
      content.commIs(static_cast<std::uint32_t>((index * 4 + i) * 7919 % (count * 8)));
    }
    return CommList::dedupContent(lists.get(), content);
  }

  CommListDedupTable::Ptr lists = CommListDedupTableIs();
  CommListContent content;
};

// Tables of one attribute, published or not.
template <typename Attribute>
struct Tables {
  Tables(const Folder& folder, bool published) {
    if (!published) return;
    store = Routing::Store::StoreManager::openForWriting(folder.store(Attribute::name));
    publisher.emplace(*store);
    attribute.attachTo(*publisher);
  }
  std::unique_ptr<Routing::Store::StoreManager> store;
  Attribute attribute;
  std::optional<ListPublisher> publisher;
};

template <typename Attribute>
void miss(benchmark::State& state, const Folder& folder, bool published) {
  Tables<Attribute> tables(folder, published);
  std::vector<typename Attribute::List> lists(count);
  while (state.KeepRunningBatch(count)) {
    for (std::size_t i = 0; i < count; ++i) lists[i] = tables.attribute.intern(i);
    for (auto& list : lists) list.reset();
  }
  if (published && !tables.publisher->problem().empty()) state.SkipWithError(tables.publisher->problem().c_str());
}

template <typename Attribute>
void hit(benchmark::State& state, const Folder& folder, bool published) {
  Tables<Attribute> tables(folder, published);
  std::vector<typename Attribute::List> lists(count);
  for (std::size_t i = 0; i < count; ++i) lists[i] = tables.attribute.intern(i);
  std::size_t next = 0;
  for (auto _ : state) benchmark::DoNotOptimize(tables.attribute.intern(next = (next + 7919) % count));
}

std::string keyOf(std::size_t path) { return "path " + std::to_string(path); }

// The other process: publishes the paths, then churns as fast as it can.
[[noreturn]] void writeForEver(const std::string& path, int ready) {
  const auto store = Routing::Store::StoreManager::openForWriting(path);
  Extended extended;
  ListPublisher publisher(*store, {.interval = std::chrono::milliseconds(10)});
  extended.attachTo(publisher);
  for (std::size_t i = 0; i < paths; ++i) publisher.pathIs(keyOf(i), {.extended = extended.intern(i)});
  publisher.flush();
  if (::write(ready, "", 1) != 1) ::_exit(1);
  std::vector<Extended::List> lists(count);
  // A place is always taken over by another list than the one it held.
  for (std::size_t i = 0;; ++i) lists[i % count] = extended.intern(paths + i % (count * 3 / 2));
}

class Writer {
 public:
  explicit Writer(const std::string& path) {
    int channel[2];
    if (::pipe(channel) != 0) std::abort();
    process_ = ::fork();
    if (process_ == 0) writeForEver(path, channel[1]);
    char octet;
    if (::read(channel[0], &octet, 1) != 1) std::abort();
    ::close(channel[0]);
    ::close(channel[1]);
    working(false);
  }
  ~Writer() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  void working(bool on) const { ::kill(process_, on ? SIGCONT : SIGSTOP); }

 private:
  pid_t process_;
};

void readPaths(benchmark::State& state, const Writer& writer, const std::string& path, bool writing) {
  writer.working(writing);
  Extended extended;
  const auto store = Routing::Store::StoreManager::openForReading(path);
  store->serviceIs(extended.comms.get());
  const std::uint64_t first = store->commits();
  std::size_t next = 0;
  for (auto _ : state) {
    if (next % 64 == 0) store->refresh();
    const auto stashed = stashedPath(*store, keyOf(next = (next + 7919) % paths));
    if (!stashed) {
      state.SkipWithError("a path is missing");
      break;
    }
    if (ExtCommList::destash(&stashed->extended, store.get())->totalCommunities() != 4)
      state.SkipWithError("wrong list");
  }
  writer.working(false);
  state.SetItemsProcessed(state.iterations());
  state.counters["commits seen"] = static_cast<double>(store->commits() - first);
}

void printRatio(const bench::MedianReporter& reporter, const std::string& of, const std::string& to) {
  const double a = reporter.median(of), b = reporter.median(to);
  if (a == 0 || b == 0) return;
  std::printf("%-24s %8.0f ns, %.2f times %s (%.0f ns)\n", of.c_str(), a, a / b, to.c_str(), b);
}

template <typename Attribute>
void add(const Folder& folder) {
  for (const bool published : {false, true}) {
    const std::string name = std::string(Attribute::name) + (published ? "/published" : "/alone");
    benchmark::RegisterBenchmark(("hit/" + name).c_str(), hit<Attribute>, std::cref(folder), published);
    benchmark::RegisterBenchmark(("miss/" + name).c_str(), miss<Attribute>, std::cref(folder), published);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (!bench::comparisonInitialized(argc, argv)) return 1;

  const Folder folder;
  const Writer writer(folder.store("read"));  // before there are threads
  add<Extended>(folder);
  add<Standard>(folder);
  for (const bool writing : {false, true}) {
    benchmark::RegisterBenchmark(writing ? "read/writing" : "read/still", readPaths, std::cref(writer),
                                 folder.store("read"), writing);
  }
  bench::MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n");
  for (const std::string attribute : {Extended::name, Standard::name}) {
    for (const std::string question : {"hit/", "miss/"}) {
      printRatio(reporter, question + attribute + "/published", question + attribute + "/alone");
    }
  }
  printRatio(reporter, "read/writing", "read/still");
  return 0;
}
