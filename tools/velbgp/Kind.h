// The kinds of community as the tool sees them: one row each that says what they are called and where they stand on the
// wire, and one object each that does with values what an agent does, through the library.
//
// All values pass as wire octets; a kind's source alone knows the library's types. A kind belongs to one thread at a
// time; different kinds may be used at the same time when the agent is multi-threaded (Agent.h).
#pragma once

#include <array>
#include <boost/json/object.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "VelBgp/ValueText.h"
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

// How often something was met, and what is printed for it.
struct Use {
  std::uint64_t count;
  std::string text;
};

// What an agent does with one kind. Lists are interned and held till the object goes, and are named by their number: 0
// for the first distinct one met, 1 for the next.
class Kind {
 public:
  virtual ~Kind() = default;

  // Adds what `decode` prints of one value, in order.
  virtual void decode(Octets value, boost::json::object& out) = 0;

  // Interns lists, each as that of one more path, and numbers them. The values of each are whole ones back to back, in
  // any order and with repeats, and not none.
  virtual void pathsAre(std::span<const Octets> values, std::span<std::uint32_t> numbers) = 0;
  std::uint32_t pathIs(Octets values) {
    std::uint32_t number = 0;
    pathsAre({&values, 1}, {&number, 1});
    return number;
  }
  // Numbers a path's list that was interned in the agent's tables elsewhere; nothing where it has none of this kind.
  virtual std::optional<std::uint32_t> listOf(const Routing::Bgp::PathLists& path) = 0;
  virtual std::size_t totalCommunities(std::uint32_t number) const = 0;
  // Writes the members that `list` prints of a list, in order. Notes get what a reader of it should know.
  virtual void list(std::uint32_t number, JsonText& out, std::vector<std::string>& notes) const = 0;
  // Nothing for kinds without a text to match. The answer is remembered for a list: ask with one expression only.
  virtual std::optional<bool> matches(std::uint32_t number, const Routing::RouteMap::PosixRegex& regex) = 0;

  // Puts a list into a path's lists.
  virtual void publish(std::uint32_t number, Routing::Bgp::PathLists& path) const = 0;

  // What interning keeps now.
  virtual std::size_t distinctLists() const = 0;
  virtual std::size_t distinctCommunities() const = 0;
  // The most used, most first, for people; of as many uses, the one met first comes first.
  virtual std::vector<Use> topLists(std::size_t count) const = 0;
  virtual std::vector<Use> topCommunities(std::size_t count) const = 0;
  // Adds the received communities by classification to the counts. Kinds without classification add nothing.
  virtual void classify(std::map<unsigned, std::uint64_t>& counts) const = 0;
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
