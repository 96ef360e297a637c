// Do values that a peer chose in order to collide cost more than random ones?
//
//   bench_floods                              all kinds, about two minutes; fails when one costs half as much again
//   bench_floods --only 'standard lists'
//
// Everything that peers' values are kept in, flooded with 100,000 of them: all enter, are looked up and leave again, in
// processor time of all threads. The floods are what a peer can compute, who knows all of the source but no key:
//
//   counting, low bits   values that follow each other; that differ above their 24th bit only
//   prime                multiples of the number of buckets that std::unordered_map has then
//   elsewhere            values that share 8 bits of the hash that finds them, in another process, with another key
//   one state elsewhere  pairs of which the first makes the other process's hash forget all that follows
//   one hash()           lists with one hash(), where that is published and has no key (Tyr/PaulHsiehHash.h): two values
//                        are free, and the third is computed backwards from the hash
#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "report/Contenders.h"
#include "report/Harness.h"
#include "report/Published.h"
#include "show/ExtCommCache.h"

namespace bench {
namespace {

using namespace Routing;
using namespace Routing::Bgp;

std::size_t floodCount() { return scale.lists * 2; }
constexpr std::uint64_t numberMask = (std::uint64_t{1} << 44) - 1;  // numbers are below; see the kinds' input()

// ---- Who is flooded: a contender of the report (report/Contenders.h), and
//   question
//   Input                              the values of one list; or the one value
//   static Input input(number)         another one for each number
//   static std::uint32_t hash(Input)   what finds it, with this process's key
//   void finish()                      when all have entered
//   probe(Input)                       looks it up

template <typename Contender, std::size_t n>
struct Kind : Contender {
  using Input = std::array<typename Contender::Value, n>;
  auto enter(const Input& input) { return this->intern(input.data(), n); }
  void probe(const Input& input) {
    auto handle = enter(input);
    Contender::release(handle);
  }
  void finish() {}
};

template <std::size_t n>
std::uint32_t hashOf(const std::array<std::uint64_t, n>& values) {
  return Keel::HashMix::ofWords(values, n);
}

template <typename Contender = VelBgpStandardLists>
struct StandardLists : Kind<Contender, 3> {
  static constexpr const char* question = "standard lists";
  using Input = typename Kind<Contender, 3>::Input;
  static Input input(std::uint64_t number) {
    return {static_cast<std::uint32_t>(number & 0xfffff),
            static_cast<std::uint32_t>(0x100000 | (number >> 20 & 0xfffff)),
            static_cast<std::uint32_t>(0x200000 | number >> 40)};
  }
  static std::uint32_t hash(const Input& values) { return CommListTraits::tableHash(values); }
};

struct LargeLists : Kind<VelBgpLargeLists, 1> {
  static constexpr const char* question = "large lists";
  static Input input(std::uint64_t number) {
    return {{{static_cast<std::uint32_t>(number >> 32), static_cast<std::uint32_t>(number), 7}}};
  }
  static std::uint32_t hash(const Input& values) { return LargeCommListTraits::hash(values); }
};

constexpr std::uint64_t routeTargets = 0x0002000000000000, colors = 0x030b000000000000;

struct Communities : Kind<VelBgpCommunities, 1> {
  static constexpr const char* question = "communities";
  static Input input(std::uint64_t number) { return {routeTargets | number}; }
  static std::uint32_t hash(const Input& value) { return Keel::singleAttributeHash(value[0], 0); }
};

template <typename Contender = VelBgpLists>
struct ExtendedLists : Kind<Contender, 2> {
  static constexpr const char* question = "extended lists";
  using Input = typename Kind<Contender, 2>::Input;
  static Input input(std::uint64_t number) { return {0, colors | number}; }
  static std::uint32_t hash(const Input& values) { return hashOf(values); }
};

// Lists of one classification, interned by themselves.
class ClassificationListContender : public VelBgpContender<ExtCommClassificationList, std::uint64_t> {
 public:
  Handle intern(const std::uint64_t* values, std::size_t n) {
    std::optional<ExtCommClassificationListContent> content;
    for (std::size_t i = 0; i < n; ++i) {
      const ExtComm::PtrConst comm = comms_.intern(values + i, 1);
      if (!content) content.emplace(comm->classification());
      content->commIs(comm);
    }
    return ExtCommClassificationList::dedupContent(lists_.get(), *content);
  }

 private:
  VelBgpCommunities comms_;
  ExtCommListDedupTable::Ptr lists_ = ExtCommListDedupTableIs();
};

template <std::uint64_t kind>
struct ClassificationLists : Kind<ClassificationListContender, 2> {
  static constexpr const char* question = kind == colors ? "lists of colors" : "lists of route targets";
  static Input input(std::uint64_t number) { return {kind, kind | (number + 1)}; }
  static std::uint32_t hash(const Input& values) { return hashOf(values); }
};

class Ip6CommunityContender : public VelBgpContender<ExtCommIp6, ExtCommIp6Content> {
 public:
  Handle intern(const Value* values, std::size_t) { return ExtCommIp6::dedupContent(comms_.get(), *values); }

 private:
  Tyr::Ptr<BgpParseExtCommContainerSm> decoder_ = bgpParseExtCommContainerSmFactory(true);
  ExtCommIp6DedupTable::Ptr comms_ = extCommIp6DedupTableFactory(decoder_->extCommParser());
};

ExtCommIp6Content ip6Community(std::uint64_t number) {
  Addr::Ip6Addr::Octets octets{0x20, 0x01, 0x0d, 0xb8};
  for (std::size_t i = 0; i < 8; ++i) octets[i + 8] = static_cast<std::uint8_t>(number >> (56 - 8 * i));
  return {0, 2, Addr::Ip6Addr(octets), 7};
}

struct Ip6Communities : Kind<Ip6CommunityContender, 1> {
  static constexpr const char* question = "IPv6 communities";
  static Input input(std::uint64_t number) { return {ip6Community(number)}; }
  static std::uint32_t hash(const Input& value) { return value[0].hash(); }
};

class Ip6ListContender : public VelBgpContender<ExtCommIp6List, ExtCommIp6Content> {
 public:
  Handle intern(const Value* values, std::size_t n) {
    const ExtCommIp6List::Ptr builder = ExtCommIp6ListIs();
    for (std::size_t i = 0; i < n; ++i) builder->commIs(comms_.intern(values + i, 1));
    return builder->dedup(lists_.get());
  }

 private:
  Ip6CommunityContender comms_;
  ExtCommIp6ListDedupTable::Ptr lists_ = ExtCommIp6ListDedupTableIs();
};

// Hashed by where their communities lie, which nobody can compute elsewhere.
struct Ip6Lists : Kind<Ip6ListContender, 2> {
  static constexpr const char* question = "IPv6 lists";
  static Input input(std::uint64_t number) { return {ip6Community(numberMask), ip6Community(number)}; }
};

// The texts that show commands keep.
class ShowTexts {
 public:
  using Value = std::uint64_t;
  using Input = std::array<Value, 1>;
  using Handle = Value;
  static constexpr const char* question = "texts of show commands";
  static Input input(std::uint64_t number) { return {routeTargets | number}; }
  // The map takes its remainder: what is 0 in its lower bits lies in few buckets.
  static std::uint32_t hash(const Input& value) {
    static const std::size_t buckets = bucketsOfStandardMap();
    const std::size_t bucket = BgpShowCli::ExtCommCache::Hash()(value[0]) % buckets;
    return static_cast<std::uint32_t>(bucket * 256 / buckets);
  }
  static std::size_t bucketsOfStandardMap() {
    std::unordered_set<std::size_t> set;
    while (set.size() < floodCount()) set.insert(set.size());
    return set.bucket_count();
  }

  Handle enter(const Input& value) {
    if (cache_->lookup(value[0], false).empty()) cache_->insert(value[0], "RT:64512:100", false);
    return value[0];
  }
  void probe(const Input& value) { expect(!cache_->lookup(value[0], false).empty(), "a text is missing"); }
  void release(Handle value) { cache_->extCommToStringDel(value); }
  void finish() {}

 private:
  BgpShowCli::ExtCommCache::Ptr cache_ = BgpShowCli::ExtCommCacheIs();
};

// Lists that are published, each with a path.
template <typename Lists, auto member>
struct PublishedPaths : Published<Lists> {
  static constexpr const char* question =
      std::is_base_of_v<StandardLists<>, Lists> ? "published standard lists" : "published lists";
  using Handle = std::size_t;

  Handle enter(const typename Lists::Input& input) {
    PathLists lists;
    lists.*member = Lists::enter(input);
    this->publisher().pathIs(std::to_string(next_), std::move(lists));
    return next_++;
  }
  void release(Handle path) {
    expect(this->publisher().pathDel(std::to_string(path)), "a path is missing");
    if (path == 0) finish();
  }
  void finish() { this->publisher().flush(); }

 private:
  std::size_t next_ = 0;
};
using PublishedStandardLists = PublishedPaths<StandardLists<>, &PathLists::standard>;
using PublishedExtendedLists = PublishedPaths<ExtendedLists<>, &PathLists::extended>;

// ---- Floods

template <typename Kind>
using Inputs = std::vector<typename Kind::Input>;

template <typename Kind, typename Number>
Inputs<Kind> numbered(Number&& number) {
  Inputs<Kind> inputs(floodCount());
  for (std::size_t i = 0; i < inputs.size(); ++i) inputs[i] = Kind::input(number(i) & numberMask);
  return inputs;
}

template <typename Kind>
Inputs<Kind> randomInputs() {
  std::mt19937_64 random(17);
  std::unordered_set<std::uint64_t> drawn;
  return numbered<Kind>([&](std::size_t) {
    for (;;) {
      const std::uint64_t number = random() & numberMask;
      if (drawn.insert(number).second) return number;
    }
  });
}

template <typename Kind>
Inputs<Kind> countingInputs() {
  return numbered<Kind>([](std::size_t i) { return i; });
}
template <typename Kind>
Inputs<Kind> lowBitsInputs() {
  return numbered<Kind>([](std::size_t i) { return std::uint64_t{i} << 24; });
}
template <typename Kind>
Inputs<Kind> primeInputs() {
  return numbered<Kind>([prime = ShowTexts::bucketsOfStandardMap()](std::size_t i) { return i * prime; });
}

// With this process's key; see attack().
template <typename Kind>
Inputs<Kind> sharedBitsInputs() {
  const std::uint32_t wanted = Kind::hash(Kind::input(0)) & 0xff;
  std::uint64_t next = 0;
  return numbered<Kind>([&](std::size_t) {
    while ((Kind::hash(Kind::input(next)) & 0xff) != wanted) ++next;
    return next++;
  });
}

// A factor of 0 in the first multiplication, so that the second value makes no difference.
template <typename Kind>
Inputs<Kind> oneStateInputs() {
  Inputs<Kind> inputs(floodCount());
  const std::uint64_t first = Keel::detail::hashKey.lane0;
  for (std::size_t i = 0; i < inputs.size(); ++i) inputs[i] = {first, first + 1 + i};
  expect(Kind::hash(inputs.front()) == Kind::hash(inputs.back()), "the other process's hashes differ");
  return inputs;
}

// The 4 octets that take Paul Hsieh's hash from one state to another before it ends, if there are any: it adds the lower
// half, then shifts and adds as below.
std::optional<std::uint32_t> octetsBetween(std::uint32_t from, std::uint32_t to) {
  std::uint32_t sum = to;
  for (int i = 0; i < 3; ++i) sum = to - (sum >> 11);
  for (std::uint32_t middle = 0; middle < 32; ++middle) {
    const std::uint32_t low = ((sum - from) & 0x7ff) | middle << 11;
    const std::uint32_t added = from + low;
    const std::uint32_t high = sum ^ added ^ added << 16;
    if ((high & 0xf80007ff) == 0) return high >> 11 << 16 | low;
  }
  return std::nullopt;
}
std::uint32_t stateAfter(std::uint32_t state, std::uint32_t octets) {
  state += octets & 0xffff;
  state = state << 16 ^ octets >> 16 << 11 ^ state;
  return state + (state >> 11);
}

template <typename Kind>
Inputs<Kind> oneHashInputs() {
  constexpr std::uint32_t wanted = 0x5ca1ab1e;
  Inputs<Kind> inputs;
  for (std::uint32_t i = 1; inputs.size() < floodCount(); ++i) {
    const std::uint32_t first = i, second = 0x400000 + i;
    const auto third = octetsBetween(stateAfter(stateAfter(0, first), second), wanted);
    if (third && *third > second) inputs.push_back({first, second, *third});
  }
  for (const auto& input : inputs) {
    expect(CommListTraits::hash(input) == CommListTraits::hash(inputs[0]), "lists have several hashes");
  }
  return inputs;
}

template <typename Kind>
struct Flood {
  const char* name;
  Inputs<Kind> (*make)();
  bool elsewhere = false;  // with another process's key
};

template <typename Kind>
std::vector<Flood<Kind>> floodsOf() {
  std::vector<Flood<Kind>> floods{{"random", randomInputs<Kind>},
                                  {"counting", countingInputs<Kind>},
                                  {"low bits", lowBitsInputs<Kind>},
                                  {"prime", primeInputs<Kind>}};
  if constexpr (requires { Kind::hash; }) floods.push_back({"elsewhere", sharedBitsInputs<Kind>, true});
  if constexpr (std::is_base_of_v<ExtendedLists<>, Kind>) {
    floods.push_back({"one state elsewhere", oneStateInputs<Kind>, true});
  }
  if constexpr (std::is_base_of_v<StandardLists<>, Kind>) floods.push_back({"one hash()", oneHashInputs<Kind>});
  return floods;
}

// ---- The attacker: this program, as a process of its own, writes what it computed to its standard output

template <typename Kind>
Inputs<Kind> fromElsewhere(const std::string& name) {
  const std::string command = std::filesystem::read_symlink("/proc/self/exe").string() + " --attack '" +
                              Kind::question + "' '" + name + "' " + std::to_string(scale.lists);
  Inputs<Kind> inputs(floodCount());
  FILE* const pipe = popen(command.c_str(), "r");
  const bool whole = pipe != nullptr &&
                     fread(static_cast<void*>(inputs.data()), sizeof inputs[0], inputs.size(), pipe) == inputs.size();
  if (pipe == nullptr || pclose(pipe) != 0 || !whole) throw std::runtime_error("no attacker: " + command);
  return inputs;
}

template <typename Kind>
bool attack(std::string_view question, std::string_view name) {
  if (question != Kind::question) return false;
  for (const Flood<Kind>& flood : floodsOf<Kind>()) {
    if (name != flood.name) continue;
    const Inputs<Kind> inputs = flood.make();
    return fwrite(inputs.data(), sizeof inputs[0], inputs.size(), stdout) == inputs.size();
  }
  return false;
}

// ---- Measuring

template <typename Kind>
class FloodTime final : public Job {
 public:
  explicit FloodTime(const Flood<Kind>& flood)
      : Job({{Kind::question, flood.name, 0, "ns", "random", target(flood)}}), flood_(flood) {}

  void prepare() override {
    inputs_ = flood_.elsewhere ? fromElsewhere<Kind>(flood_.name) : flood_.make();
    std::shuffle(inputs_.begin(), inputs_.end(), std::mt19937(17));
  }
  std::vector<double> measure() override {
    std::vector<typename Kind::Handle> handles(inputs_.size());
    const double begin = processTime();
    Kind kind;
    for (std::size_t i = 0; i < inputs_.size(); ++i) handles[i] = kind.enter(inputs_[i]);
    kind.finish();
    for (const auto& input : inputs_) kind.probe(input);
    for (std::size_t i = handles.size(); i-- > 0;) kind.release(handles[i]);
    const double spent = processTime() - begin;
    return {spent / static_cast<double>(inputs_.size())};
  }

 private:
  static Target target(const Flood<Kind>& flood) {
    return std::string_view(flood.name) == "random" ? Target{} : Target{Target::ratioAtMost, 1.5};
  }

  const Flood<Kind> flood_;
  Inputs<Kind> inputs_;
};

template <typename... Kinds>
struct KindsOf {
  static Jobs jobs() {
    Jobs jobs;
    const auto add = [&jobs]<typename Kind>(const std::vector<Flood<Kind>>& floods) {
      for (const Flood<Kind>& flood : floods) jobs.push_back(std::make_unique<FloodTime<Kind>>(flood));
    };
    (add(floodsOf<Kinds>()), ...);
    return jobs;
  }
  static bool attack(std::string_view question, std::string_view name) {
    return (bench::attack<Kinds>(question, name) || ...);
  }
};
using AllKinds = KindsOf<StandardLists<>, LargeLists, Communities, ExtendedLists<>, ClassificationLists<routeTargets>,
                         ClassificationLists<colors>, Ip6Communities, Ip6Lists, ShowTexts, PublishedStandardLists,
                         PublishedExtendedLists>;

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  if (argc == 5 && std::string_view(argv[1]) == "--attack") {
    bench::scale.lists = std::stoul(argv[4]);
    return bench::AllKinds::attack(argv[2], argv[3]) ? 0 : 1;
  }
  const auto options = bench::Options::fromArguments(argc, argv);
  return bench::report(options, bench::AllKinds::jobs(), bench::Targets::binding);
}
