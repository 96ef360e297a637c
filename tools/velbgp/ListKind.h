// What all kinds do alike: numbering the interned lists, holding them, and counting what they carried.
//
// ListKind<Traits> is a Kind. The traits of a kind give its library types and texts:
//   List                       counted pointer to an interned list, null for none
//   Community                  a community of a held list: equal for equal values
//   intern(values, lists)      the interned lists of values as on the wire
//   communities(list)          its communities, ascending;  find(list, value)  the one of these wire octets
//   octets                     of one value
//   wire(community)            its octets;  text(community)  as people read it;  hash(community)
//   classification(community)  and  matches(list, regex)  where there are such
//   decode(value, out)         for `decode`;  describe(list, out, notes)  for `list`, behind the values
//   published                  the kind's member of a path's lists
//   distinctLists(), and distinctCommunities() if a table interns them
#pragma once

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <utility>

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

  void pathsAre(std::span<const Octets> values, std::span<std::uint32_t> numbers) override {
    interned_.resize(values.size());
    traits_.intern(values, interned_);
    for (std::size_t i = 0; i < values.size(); ++i) {
      const List& list = interned_[i];
      ++paths_[numbers[i] = numberOf(list)];
      if (Traits::communities(list).size() != values[i].size() / Traits::octets) countRepeats(list, values[i]);
    }
    interned_.clear();
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

  std::size_t distinctLists() const override { return traits_.distinctLists(); }
  std::size_t distinctCommunities() const override {
    if constexpr (requires { traits_.distinctCommunities(); }) return traits_.distinctCommunities();
    return communityUses().size();
  }

  std::vector<Use> topLists(std::size_t count) const override {
    std::vector<std::pair<std::uint32_t, std::uint64_t>> uses;
    for (std::uint32_t number = 0; number < paths_.size(); ++number) uses.emplace_back(number, paths_[number]);
    return top(std::move(uses), count, [this](std::uint32_t number) { return listText(number); });
  }

  std::vector<Use> topCommunities(std::size_t count) const override {
    return top(communityUses(), count, [](const Community& community) {
      return hexValue(octetsOf(Traits::wire(community))) + "  " + Traits::text(community);
    });
  }

  void classify([[maybe_unused]] std::map<unsigned, std::uint64_t>& counts) const override {
    if constexpr (requires(Community community) { Traits::classification(community); }) {
      for (const auto& [community, count] : communityUses()) counts[Traits::classification(community)] += count;
    }
  }

 private:
  using List = typename Traits::List;
  using Community = typename Traits::Community;
  using CommunityUses = std::vector<std::pair<Community, std::uint64_t>>;
  struct Hash {
    std::size_t operator()(const Community& community) const { return Traits::hash(community); }
  };
  template <typename Number>
  using ByCommunity = boost::unordered_flat_map<Community, Number, Hash>;

  std::uint32_t numberOf(const List& list) {
    const auto [place, isNew] = numbers_.try_emplace(&*list, static_cast<std::uint32_t>(lists_.size()));
    if (isNew) {
      lists_.push_back(list);
      paths_.push_back(0);
    }
    return place->second;
  }

  // A list holds a value once, however often it was received: what it lost is counted here.
  void countRepeats(const List& list, Octets values) {
    for (; !values.empty(); values = values.subspan(Traits::octets)) {
      ++repeats_[Traits::find(list, values.first(Traits::octets))];
    }
    for (const Community& community : Traits::communities(list)) --repeats_[community];
  }

  // How often each community was received, in the order first met.
  CommunityUses communityUses() const {
    CommunityUses uses;
    ByCommunity<std::size_t> places;
    const auto add = [&](const Community& community, std::uint64_t count) {
      const auto [place, isNew] = places.try_emplace(community, uses.size());
      if (isNew) uses.emplace_back(community, 0);
      uses[place->second].second += count;
    };
    for (std::size_t number = 0; number < lists_.size(); ++number) {
      for (const Community& community : Traits::communities(lists_[number])) add(community, paths_[number]);
    }
    for (const auto& [community, count] : repeats_) add(community, count);
    return uses;
  }

  std::string listText(std::uint32_t number) const {
    std::string text;
    for (const Community& community : Traits::communities(lists_[number])) {
      if (!text.empty()) text += ", ";
      text += Traits::text(community);
    }
    return text;
  }

  template <typename Key, typename Text>
  static std::vector<Use> top(std::vector<std::pair<Key, std::uint64_t>> uses, std::size_t count, Text text) {
    std::stable_sort(uses.begin(), uses.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    uses.resize(std::min(uses.size(), count));
    std::vector<Use> found;
    for (const auto& [key, number] : uses) found.push_back({number, text(key)});
    return found;
  }

  Traits traits_;
  std::vector<List> interned_;                // in one call
  std::vector<List> lists_;                   // held, by number
  std::vector<std::uint64_t> paths_;          // that carried it, by number
  std::vector<std::optional<bool>> answers_;  // to the one expression, by number
  boost::unordered_flat_map<const void*, std::uint32_t> numbers_;
  ByCommunity<std::uint64_t> repeats_;
};

}  // namespace VelBgpTool
