// Prints paths as `list` does: interns the communities of each, kind by kind, and tells what the library says of the
// lists. Lists are held till the lister goes. Single-threaded.
#pragma once

#include <array>
#include <boost/json/object.hpp>
#include <cstdint>
#include <vector>

#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

class Lister {
 public:
  Lister(bool json, bool mvpn, const Routing::RouteMap::PosixRegex* match, Console& console)
      : json_(json), match_(match), console_(console), agent_(mvpn) {}

  // Adds values, whole ones back to back, to the path under way.
  void valuesAre(std::size_t kind, Octets wire) { wire_[kind].insert(wire_[kind].end(), wire.begin(), wire.end()); }
  // Ends the path: prints its lists. Errors and notes go under `place`.
  void pathEnds(const Place& place);

  Agent& agent() { return agent_; }
  Kind& kind(std::size_t kind) { return kinds_.at(kind); }

 private:
  bool fits(const Place& place);
  boost::json::object list(const Place& place, std::size_t index);
  void printForPeople(const boost::json::object& out);

  bool json_;
  bool first_ = true;
  const Routing::RouteMap::PosixRegex* match_;
  Console& console_;
  Agent agent_;
  Kinds kinds_{agent_};
  // Of the path under way, by kind, as they would stand in its attributes.
  std::array<std::vector<std::uint8_t>, kindCount> wire_;
};

}  // namespace VelBgpTool
