// The kinds of community as the tool sees them: one row each that says what they are called and where they stand on the
// wire, and one object each that does with values what an agent does, through the library.
//
// All values pass as wire octets; a kind's source alone knows the library's types. A kind belongs to one thread at a
// time; different kinds may be used at the same time when the agent is multi-threaded (Agent.h).
#pragma once

#include <array>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VelBgp/ValueText.h"
#include "tools/velbgp/Sentence.h"
#include "tools/velbgp/Text.h"

namespace Routing::RouteMap {
class PosixRegex;
}
namespace Routing::Bgp {
struct PathLists;
}  // namespace Routing::Bgp

namespace VelBgpTool {

struct Agent;
class JsonText;

// What some paths, all or those of a file or of a peer, carried of one kind.
struct Tally {
  std::uint64_t paths = 0;                                        // that had a well-formed attribute of the kind
  std::uint64_t communities = 0;                                  // in these attributes, repeats included
  boost::unordered_flat_map<std::uint32_t, std::uint64_t> lists;  // by number, the paths that carried it
  std::map<unsigned, std::uint64_t> repeats;  // communities that stood in the same attribute before, by classification
};

// What a tally comes to.
struct Statistics {
  std::size_t distinctLists = 0;
  std::size_t distinctCommunities = 0;
  std::map<unsigned, std::uint64_t> classifications;  // received communities; none of kinds without classification
  // The most used, by the paths that carried them, most first, equal ones by value.
  std::vector<std::pair<std::uint32_t, std::uint64_t>> topLists;      // by number
  std::vector<std::pair<std::string, std::uint64_t>> topCommunities;  // by wire octets
};

// What an agent does with one kind, and what is counted of it. Lists are interned and held till the object goes, and are named by their number: 0
// for the first distinct one met, 1 for the next.
class Kind {
 public:
  virtual ~Kind() = default;

  // Adds what `decode` prints of one value, in order.
  virtual void decode(Octets value, boost::json::object& out) = 0;

  // Interns lists and numbers them. The values of each are whole ones back to back, in any order and with repeats, and
  // not none.
  virtual void intern(std::span<const Octets> values, std::span<std::uint32_t> numbers) = 0;
  std::uint32_t intern(Octets values) {
    std::uint32_t number = 0;
    intern({&values, 1}, {&number, 1});
    return number;
  }
  // Counts one more path with the list that these values became.
  virtual void count(std::uint32_t number, Octets values, Tally& tally) const = 0;
  virtual Statistics statistics(const Tally& tally, std::size_t top) const = 0;

  // Of a list: its values in order, as on the wire, and the text that `list` gives.
  virtual void forEachValue(std::uint32_t number, const std::function<void(Octets value)>& visit) const = 0;
  virtual std::string listText(std::uint32_t number) const = 0;
  // One value as people read it, and what is known of it that its text does not tell; mostly nothing.
  virtual std::string text(Octets value) const = 0;
  virtual std::string meaning(Octets value) const = 0;
  // The ways of writing a value in which all of its numbers stand, for patterns to be compared with.
  virtual std::vector<std::string> spellings(Octets value) const = 0;
  // The text of a value that expressions see in a list, or nothing.
  virtual std::string matchText(Octets value) const = 0;
  virtual Explanation explain(Octets value) const = 0;
  // Numbers a path's list that was interned in the agent's tables elsewhere; nothing where it has none of this kind.
  virtual std::optional<std::uint32_t> listOf(const Routing::Bgp::PathLists& path) = 0;
  virtual std::size_t totalCommunities(std::uint32_t number) const = 0;
  // Writes the members that `list` prints of a list, in order. Notes get what a reader of it should know.
  virtual void list(std::uint32_t number, JsonText& out, std::vector<std::string>& notes) const = 0;
  // Nothing for kinds without a text to match. The answer is remembered for a list: ask with one expression only.
  virtual std::optional<bool> matches(std::uint32_t number, const Routing::RouteMap::PosixRegex& regex) = 0;

  // Whether any list so far matches.
  virtual bool anyMatches(const Routing::RouteMap::PosixRegex& regex) const = 0;
  // Adds an object for each value of a list: under which filters it is sent, whether it is pruned and why, and which part
  // of the list's text the expression, if there is one, finds.
  virtual void explainList(std::uint32_t number, const Routing::RouteMap::PosixRegex* regex,
                           boost::json::array& out) const = 0;

  // Puts a list into a path's lists.
  virtual void publish(std::uint32_t number, Routing::Bgp::PathLists& path) const = 0;
};

using MakeKind = std::unique_ptr<Kind>(Agent& agent);
MakeKind makeExtendedKind, makeExtendedIp6Kind, makeLargeKind, makeStandardKind;

struct KindRow {
  const char* name;
  const char* attributeName;
  std::uint8_t attribute;  // path attribute code
  std::uint8_t octets;     // of one value on the wire
  MakeKind* make;
};

// In the order in which output names them, which is that of the library's AnyCommValue.
inline constexpr std::size_t kindCount = 4;
extern const std::array<KindRow, kindCount> kindRows;

// The largest number of values that one attribute carries.
constexpr std::size_t attributeCapacity(const KindRow& row) { return 65535U / row.octets; }

struct TypedValue {
  std::size_t kind;
  std::string octets;
  Octets wire() const { return octetsOf(octets); }
};

TypedValue typedValue(const Routing::Bgp::AnyCommValue& value);
// What is said about a text that is no value.
std::string problemOf(std::string_view text, const Routing::Bgp::ValueTextError& error);

// The kinds of one run, made when first needed.
class Kinds {
 public:
  explicit Kinds(Agent& agent) : agent_(agent) {}
  Kind& at(std::size_t kind) {
    if (!made_[kind]) made_[kind] = kindRows[kind].make(agent_);
    return *made_[kind];
  }

 private:
  Agent& agent_;
  std::array<std::unique_ptr<Kind>, kindCount> made_;
};

}  // namespace VelBgpTool
