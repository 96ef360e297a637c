// What all kinds do alike: numbering the interned lists, holding them, and counting what they carried.
//
// ListKind<Traits> is a Kind. The traits of a kind give its library types and texts:
//   List                       counted pointer to an interned list, null for none
//   Community                  a community of a held list: equal for equal values
//   intern(values, lists)      the interned lists of values as on the wire
//   communities(list)          its communities, ascending;  find(list, value)  the one of these wire octets
//   octets                     of one value
//   wire(community)            its octets;  hash(community)
//   text(value)                of one value as on the wire, as people read it;  listText(list)  what `list` gives
//   classification(community)  and  matches(list, regex)  where there are such
//   meaning(value)             of these wire octets, what the text does not tell; where there is such
//   decode(value, out)         for `decode`;  describe(list, out, notes)  for `list`, behind the values
//   spellings(value), explain(value), and matchText(value) where expressions see a text
//   sent(community)            the filters by name;  pruned(list)  and  whyDropped(community, kept)  where lists are pruned
//   published                  the kind's member of a path's lists
#pragma once

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <utility>

#include "VelBgp/MatchReason.h"
#include "VelBgp/PathLists.h"
#include "tools/velbgp/JsonText.h"
#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

// Values as a JSON array of "0x..." texts.
template <typename Traits, typename Range>
void hexValues(JsonText& out, const Range& communities) {
  out.open('[');
  for (const auto& community : communities) out.hex(octetsOf(Traits::wire(community)));
  out.close(']');
}

template <typename Traits>
class ListKind : public Kind {
 public:
  explicit ListKind(Agent& agent) : traits_(agent) {}

  void decode(Octets value, boost::json::object& out) override { traits_.decode(value, out); }

  void intern(std::span<const Octets> values, std::span<std::uint32_t> numbers) override {
    interned_.resize(values.size());
    traits_.intern(values, interned_);
    for (std::size_t i = 0; i < values.size(); ++i) numbers[i] = numberOf(interned_[i]);
    interned_.clear();
  }

  void count(std::uint32_t number, Octets values, Tally& tally) const override {
    const std::size_t received = values.size() / Traits::octets;
    ++tally.paths;
    tally.communities += received;
    ++tally.lists[number];
    if constexpr (classifies) {
      if (Traits::communities(lists_[number]).size() != received) countRepeats(lists_[number], values, tally.repeats);
    }
  }

  Statistics statistics(const Tally& tally, std::size_t top) const override {
    CommunityUses uses = communityUses(tally);
    Statistics found;
    found.distinctLists = tally.lists.size();
    found.distinctCommunities = uses.size();
    if constexpr (classifies) {
      found.classifications = tally.repeats;
      for (const auto& [community, paths] : uses) found.classifications[Traits::classification(community)] += paths;
    }
    found.topLists.assign(tally.lists.begin(), tally.lists.end());
    keepTop(found.topLists, top, [this](std::uint32_t a, std::uint32_t b) { return isBefore(a, b); });
    keepTop(uses, top, [](const auto& a, const auto& b) { return Traits::wire(a) < Traits::wire(b); });
    for (const auto& [community, paths] : uses) found.topCommunities.emplace_back(Traits::wire(community), paths);
    return found;
  }

  void forEachValue(std::uint32_t number, const std::function<void(Octets value)>& visit) const override {
    for (const auto& community : Traits::communities(lists_[number])) visit(octetsOf(Traits::wire(community)));
  }
  std::string listText(std::uint32_t number) const override { return Traits::listText(lists_[number]); }
  std::string text(Octets value) const override { return traits_.text(value); }
  std::string meaning([[maybe_unused]] Octets value) const override {
    if constexpr (requires { Traits::meaning(value); }) return Traits::meaning(value);
    return {};
  }

  void list(std::uint32_t number, JsonText& out, std::vector<std::string>& notes) const override {
    hexValues<Traits>(out.name("id").number(number).name("values"), Traits::communities(lists_[number]));
    traits_.describe(lists_[number], out, notes);
  }

  std::optional<bool> matches([[maybe_unused]] std::uint32_t number,
                              [[maybe_unused]] const Routing::RouteMap::PosixRegex& regex) override {
    if constexpr (requires { Traits::matches(lists_[number], regex); }) {
      answers_.resize(lists_.size());
      std::optional<bool>& known = answers_[number];
      if (!known) known = Traits::matches(lists_[number], regex);
      return known;
    }
    return std::nullopt;
  }

  bool anyMatches([[maybe_unused]] const Routing::RouteMap::PosixRegex& regex) const override {
    if constexpr (requires(List list) { Traits::matches(list, regex); }) {
      return std::any_of(lists_.begin(), lists_.end(), [&](const List& list) { return Traits::matches(list, regex); });
    }
    return false;
  }

  void explainList(std::uint32_t number, [[maybe_unused]] const Routing::RouteMap::PosixRegex* regex,
                   boost::json::array& out) const override {
    const List& list = lists_[number];
    std::optional<Routing::Bgp::MatchReason> reason;
    if constexpr (requires { Routing::Bgp::matchReason(list.get(), regex); }) {
      if (regex != nullptr) reason = Routing::Bgp::matchReason(list.get(), regex);
    }
    [[maybe_unused]] List kept;
    if constexpr (prunes) kept = traits_.pruned(list);
    std::size_t place = 0;
    for (const auto& community : Traits::communities(list)) {
      boost::json::object entry{{"value", hexValue(octetsOf(Traits::wire(community)))},
                                {"sent", Traits::sent(community)},
                                {"prune", "kept"},
                                {"match", nullptr}};
      if constexpr (prunes) {
        if (const std::string why = Traits::whyDropped(community, kept); !why.empty())
          entry["prune"] = "dropped: " + why;
      }
      if (reason && reason->parts[place]) entry["match"] = {{"mode", reason->mode}, {"text", *reason->parts[place]}};
      out.push_back(std::move(entry));
      ++place;
    }
  }

  std::vector<std::string> spellings(Octets value) const override { return traits_.spellings(value); }
  std::string matchText([[maybe_unused]] Octets value) const override {
    if constexpr (requires { traits_.matchText(value); }) return traits_.matchText(value);
    return {};
  }
  Explanation explain(Octets value) const override { return traits_.explain(value); }

  void publish(std::uint32_t number, Routing::Bgp::PathLists& path) const override {
    path.*Traits::published = lists_[number];
  }
  std::optional<std::uint32_t> listOf(const Routing::Bgp::PathLists& path) override {
    const List& list = path.*Traits::published;
    const bool none = list == nullptr || Traits::communities(list).empty();
    return none ? std::nullopt : std::optional(numberOf(list));
  }
  std::size_t totalCommunities(std::uint32_t number) const override {
    return Traits::communities(lists_[number]).size();
  }

 private:
  using List = typename Traits::List;
  using Community = typename Traits::Community;
  using CommunityUses = std::vector<std::pair<Community, std::uint64_t>>;
  struct Hash {
    std::size_t operator()(const Community& community) const { return Traits::hash(community); }
  };

  std::uint32_t numberOf(const List& list) {
    const auto [place, isNew] = numbers_.try_emplace(&*list, static_cast<std::uint32_t>(lists_.size()));
    if (isNew) lists_.push_back(list);
    return place->second;
  }

  static constexpr bool prunes = requires(const Traits traits, List list) { traits.pruned(list); };
  static constexpr bool classifies = requires(Community community) { Traits::classification(community); };

  // A list holds a value once, however often it was received: what it lost is counted here.
  static void countRepeats(const List& list, Octets values, std::map<unsigned, std::uint64_t>& repeats) {
    boost::unordered_flat_set<Community, Hash> seen;
    for (; !values.empty(); values = values.subspan(Traits::octets)) {
      const Community community = Traits::find(list, values.first(Traits::octets));
      if (!seen.insert(community).second) ++repeats[Traits::classification(community)];
    }
  }

  // The paths that carried each community.
  CommunityUses communityUses(const Tally& tally) const {
    boost::unordered_flat_map<Community, std::uint64_t, Hash> uses;
    for (const auto& [number, paths] : tally.lists) {
      for (const Community& community : Traits::communities(lists_[number])) uses[community] += paths;
    }
    return {uses.begin(), uses.end()};
  }

  // Value by value, a shorter one first.
  bool isBefore(std::uint32_t a, std::uint32_t b) const {
    const auto& left = Traits::communities(lists_[a]);
    const auto& right = Traits::communities(lists_[b]);
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](const auto& x, const auto& y) { return Traits::wire(x) < Traits::wire(y); });
  }

  template <typename Key, typename Before>
  static void keepTop(std::vector<std::pair<Key, std::uint64_t>>& uses, std::size_t count, Before before) {
    const auto end = uses.begin() + static_cast<std::ptrdiff_t>(std::min(uses.size(), count));
    std::partial_sort(uses.begin(), end, uses.end(), [&before](const auto& a, const auto& b) {
      return a.second != b.second ? a.second > b.second : before(a.first, b.first);
    });
    uses.erase(end, uses.end());
  }

  Traits traits_;
  std::vector<List> interned_;                // in one call
  std::vector<List> lists_;                   // held, by number
  std::vector<std::optional<bool>> answers_;  // to the one expression, by number
  boost::unordered_flat_map<const void*, std::uint32_t> numbers_;
};

}  // namespace VelBgpTool
