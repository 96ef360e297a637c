// Prints paths as `list` does: interns the communities of each, kind by kind, and tells what the library says of the
// lists. Lists are held till the lister goes; what is printed of them is kept, up to a bound. Single-threaded.
#pragma once

#include <array>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/Names.h"

namespace VelBgpTool {

class Lister {
 public:
  Lister(bool json, bool mvpn, const Routing::RouteMap::PosixRegex* match, Console& console)
      : json_(json), match_(match), console_(console), agent_(mvpn) {}

  // Adds values, whole ones back to back, to the path under way.
  void valuesAre(std::size_t kind, Octets wire) { wire_[kind].insert(wire_[kind].end(), wire.begin(), wire.end()); }
  // Ends the path: prints its lists. Errors and notes go under `place`.
  void pathEnds(const Place& place);
  // Prints a path of a store, of one view: each of its lists is read and interned when it is met first. Throws the
  // store's exceptions, with nothing printed.
  void pathIs(const Place& place, const Routing::Bgp::StashedPath& path, Routing::Store::StoreManager& store);

  // Also says of each value why it is sent, kept and matched.
  void explainIs(bool explain) { explain_ = explain; }
  // When all is done: a note if the expression matched nothing and may have been meant otherwise.
  void noteMatches();

  Agent& agent() { return agent_; }
  Names& names() { return names_; }

 private:
  // By kind, of the lists that there are.
  using Numbers = std::array<std::optional<std::uint32_t>, kindCount>;
  // A list in a store: its values until it has its number.
  struct Stashed {
    std::string values;
    std::optional<std::uint32_t> number;
  };
  struct Hash {
    std::size_t operator()(const Routing::Store::Reference& reference) const;
  };
  // What is printed of a list.
  struct Printed {
    std::string json;
    std::vector<std::string> notes;
  };
  static constexpr std::size_t mostOctetsKept = 64 << 20;

  Stashed& stashed(std::size_t kind, const Routing::Bgp::StashedPath& path, Routing::Store::StoreManager& store);
  bool fits(const Place& place, const std::array<Octets, kindCount>& values);
  void print(const Place& place, const Numbers& numbers);
  std::string json(const Place& place, const Numbers& numbers);
  void appendList(std::string& out, const Place& place, std::size_t kind, std::uint32_t number);
  boost::json::object list(std::size_t index, std::uint32_t number, std::vector<std::string>& notes);
  boost::json::array explained(const Numbers& numbers);
  void printExplained(const Numbers& numbers);
  std::string sentenceOf(const boost::json::object& why) const;
  void printMeanings(const Numbers& numbers);
  template <typename Visit>
  void forEachValue(std::size_t kind, std::uint32_t number, Visit&& visit) {
    const std::string values = kinds_.at(kind).values(number);
    for (Octets rest = octetsOf(values); !rest.empty(); rest = rest.subspan(kindRows[kind].octets)) {
      visit(rest.first(kindRows[kind].octets));
    }
  }
  void note(const Place& place, const std::vector<std::string>& notes);
  void printForPeople(const boost::json::object& out);

  bool json_;
  bool first_ = true;
  bool explain_ = false;
  bool anyMatch_ = false;
  const Routing::RouteMap::PosixRegex* match_;
  Console& console_;
  Agent agent_;
  Kinds kinds_{agent_};
  Names names_{kinds_};
  // Of the path under way, by kind, as they would stand in its attributes.
  std::array<std::vector<std::uint8_t>, kindCount> wire_;
  std::array<boost::unordered_flat_map<Routing::Store::Reference, Stashed, Hash>, kindCount> stashed_;
  std::array<boost::unordered_flat_map<std::uint32_t, Printed>, kindCount> printed_;  // by number
  std::size_t octetsKept_ = 0;
};

}  // namespace VelBgpTool
