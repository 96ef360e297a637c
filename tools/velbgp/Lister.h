// Prints paths as `list` does: interns the communities of each, kind by kind, and tells what the library says of the
// lists. Lists are held till the lister goes; what is printed of them is kept, up to a bound. Single-threaded.
#pragma once

#include <array>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
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
  // Prints a path of a store with its key. The lists are interned in the agent's tables.
  void pathIs(const Place& place, std::string_view key, const Routing::Bgp::PathLists& lists);
  // Says that there is no path under the key any more.
  void pathGoes(std::string_view key);

  // Also says of each value why it is sent, kept and matched.
  void explainIs(bool explain) { explain_ = explain; }
  // When all is done: a note if the expression matched nothing and may have been meant otherwise.
  void noteMatches();

  Agent& agent() { return agent_; }
  Names& names() { return names_; }

 private:
  // By kind, of the lists that there are.
  using Numbers = std::array<std::optional<std::uint32_t>, kindCount>;
  // What is printed of a list: a member of the path's object.
  struct Printed {
    std::string json;
    std::vector<std::string> notes;
    std::size_t communities = 0;
  };
  using Lists = std::array<std::string_view, kindCount>;  // what is printed of a path's; empty where there is none
  static constexpr std::size_t mostOctetsKept = 64 << 20;

  bool fits(const Place& place, std::size_t kind, std::size_t count);
  void print(const Place& place, const Numbers& numbers, const std::string_view* key = nullptr);
  // Tells the notes of the list.
  const Printed& printed(const Place& place, std::size_t kind, std::uint32_t number);
  Printed makePrinted(std::size_t index, std::uint32_t number);
  void printForPeople(const Lists& lists, const std::string_view* key);
  boost::json::array explained(const Numbers& numbers);
  void printExplained(const Numbers& numbers);
  std::string sentenceOf(const boost::json::object& why) const;
  void printMeanings(const Numbers& numbers);

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
  std::array<std::vector<Printed>, kindCount> printed_;  // by number; empty: not kept
  std::array<Printed, kindCount> notKept_;               // of the path under way
  std::size_t octetsKept_ = 0;
};

}  // namespace VelBgpTool
