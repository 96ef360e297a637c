// What does matching an expression cost, beside the host's regexec()?
//
//   bench_matching                            times, then the ratios to regexec
//   bench_matching --benchmark_filter=text    only texts, not lists
//
// text matches the text of n communities with one compiled expression, by one thread and by two that share it; the last
// community is the one asked for (hit) or another one (miss). The expression begins with what may stand before a number
// (words) or with the number itself (literal). list asks whole lists of each attribute, which write their text first,
// and a second one when the first does not match. Nanoseconds of CPU time for each match.
#include <benchmark/benchmark.h>
#include <regex.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "Comparison.h"
#include "Policy/PosixRegex.h"
#include "VelBgp/CommList.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace {

using namespace Routing::Bgp;
using Routing::RouteMap::PosixRegex;

constexpr std::uint32_t sizes[] = {4, 16, 64};
constexpr struct {
  const char* name;
  const char* pattern;
} expressions[] = {{"words", "(^| )65010:[0-9]+( |$)"}, {"literal", "65010:[0-9]+"}};
constexpr std::uint32_t usual = 65000, wanted = 65010, other = 65011;

// The administrator of community i of n.
std::uint32_t administrator(std::uint32_t i, std::uint32_t n, bool hit) {
  return i + 1 < n ? usual : hit ? wanted : other;
}

std::string textOf(std::uint32_t n, bool hit) {
  std::string text;
  for (std::uint32_t i = 0; i < n; ++i) {
    text += (i > 0 ? " " : "") + std::to_string(administrator(i, n, hit)) + ':' + std::to_string(100 + i * 7);
  }
  return text;
}

class Ours {
 public:
  static constexpr const char* name = "velbgp";
  explicit Ours(const char* pattern) : regex_(pattern) {}
  bool matches(const std::string& text) const { return regex_.execute(text) == 0; }

 private:
  const PosixRegex regex_;
};

class Host {
 public:
  static constexpr const char* name = "regexec";
  explicit Host(const char* pattern) {
    if (regcomp(&regex_, pattern, REG_EXTENDED | REG_NOSUB) != 0) std::abort();
  }
  ~Host() { regfree(&regex_); }
  bool matches(const std::string& text) const { return regexec(&regex_, text.c_str(), 0, nullptr, 0) == 0; }

 private:
  regex_t regex_;
};

template <typename Contender>
void text(benchmark::State& state, const Contender& contender, bool hit) {
  const std::string text = textOf(static_cast<std::uint32_t>(state.range(0)), hit);
  if (contender.matches(text) != hit) state.SkipWithError("wrong answer");
  for (auto _ : state) benchmark::DoNotOptimize(contender.matches(text));
}

struct Standard {
  static constexpr const char* name = "standard";
  void add(std::uint32_t administrator, std::uint32_t number) { content.commIs(administrator << 16 | number); }
  auto list() { return CommList::dedupContent(lists.get(), content); }

  CommListDedupTable::Ptr lists = CommListDedupTableIs();
  CommListContent content;
};

struct Large {
  static constexpr const char* name = "large";
  void add(std::uint32_t administrator, std::uint32_t number) { content.commIs({administrator, number, 1}); }
  auto list() { return LargeCommList::dedupContent(lists.get(), content); }

  LargeCommListDedupTable::Ptr lists = LargeCommListDedupTableIs();
  LargeCommListContent content;
};

struct Extended {
  static constexpr const char* name = "extended";
  void add(std::uint32_t administrator, std::uint32_t number) {
    content.commIs(0x0002000000000000 | std::uint64_t{administrator} << 32 | number);
  }
  auto list() { return ExtCommList::dedupContent(lists.get(), content); }

  Tyr::Ptr<BgpParseExtCommContainerSm> decoder = bgpParseExtCommContainerSmFactory(true);
  ExtCommDedupTable::Ptr comms = ExtCommDedupTableIs(decoder->extCommParser());
  ExtCommListDedupTable::Ptr lists = ExtCommListDedupTableIs();
  ExtCommListContentU64 content{comms.get()};
};

template <typename Attribute>
void list(benchmark::State& state, bool hit) {
  const auto n = static_cast<std::uint32_t>(state.range(0));
  Attribute attribute;
  for (std::uint32_t i = 0; i < n; ++i) attribute.add(administrator(i, n, hit), 100 + i * 7);
  const auto list = attribute.list();
  const PosixRegex regex("(^|[ :])65010:[0-9:]+( |$)");  // behind a kind's label, too
  if (list->matchCommunitiesRegex(&regex) != hit) state.SkipWithError("wrong answer");
  for (auto _ : state) benchmark::DoNotOptimize(list->matchCommunitiesRegex(&regex));
}

constexpr const char* answers[] = {"/miss/", "/hit/"};
constexpr const char* threadCounts[] = {"1 thread", "2 threads"};

// Calls ask(name, expression, hit, threads) for each question about texts.
template <typename Ask>
void forEachText(Ask&& ask) {
  for (const auto& expression : expressions) {
    for (const bool hit : {true, false}) {
      for (const int threads : {1, 2}) {
        ask("text/" + std::string(expression.name) + answers[hit] + threadCounts[threads - 1], expression.pattern, hit,
            threads);
      }
    }
  }
}

template <typename Contender>
void addText() {
  forEachText([](const std::string& name, const char* pattern, bool hit, int threads) {
    const auto run = [contender = std::make_shared<Contender>(pattern), hit](benchmark::State& state) {
      text(state, *contender, hit);
    };
    auto* added = benchmark::RegisterBenchmark((name + "/" + Contender::name).c_str(), run)->Threads(threads);
    for (const std::uint32_t n : sizes) added->Arg(n);
  });
}

template <typename Attribute>
void addList() {
  for (const bool hit : {true, false}) {
    auto* added = benchmark::RegisterBenchmark(("list" + std::string(answers[hit]) + Attribute::name).c_str(),
                                               list<Attribute>, hit);
    for (const std::uint32_t n : sizes) added->Arg(n);
  }
}

void printRow(const std::string& title, const std::function<double(const std::string&)>& cell) {
  std::printf("  %-32s", title.c_str());
  for (const std::uint32_t n : sizes) std::printf("%9.2f", cell("/" + std::to_string(n)));
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (!bench::comparisonInitialized(argc, argv)) return 1;
  addText<Ours>();
  addText<Host>();
  addList<Standard>();
  addList<Large>();
  addList<Extended>();
  bench::MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  std::printf("\nregexec in ns, then ours as multiples of it, n = 4 / 16 / 64\n");
  forEachText([&](const std::string& name, const char*, bool, int) {
    const auto host = [&](const std::string& n) { return reporter.median(name + "/regexec" + n); };
    printRow(name, host);
    printRow("",
             [&](const std::string& n) { return host(n) > 0 ? reporter.median(name + "/velbgp" + n) / host(n) : 0.0; });
  });
  return 0;
}
