// Routes as they are printed: for people, as JSON, as CSV.
//
// What is the same again and again, peers, next hops, values and lists of values, is put into words once and remembered.
// Single-threaded.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tools/velbgp/JsonText.h"
#include "tools/velbgp/Route.h"

namespace VelBgpTool {

class Console;

void appendNumber(std::string& text, std::uint64_t number);
// An IPv4 or IPv6 address of 4 or 16 octets.
void appendAddress(std::string& text, Octets address);
// As long as it is in CSV: in quotes where it has to be.
void appendCsv(std::string& line, std::string_view field);

// Texts by the octets that they stand for.
class TextMemory {
 public:
  // The text is valid until the next one is asked for.
  template <typename Write>
  const std::string& of(Octets octets, Write&& write) {
    const auto known = texts_.find(textOf(octets));
    if (known != texts_.end()) return known->second;
    return texts_.emplace(textOf(octets), write()).first->second;
  }

 private:
  struct Hash : boost::hash<std::string_view> {
    using is_transparent = void;
  };
  boost::unordered_flat_map<std::string, std::string, Hash, std::equal_to<>> texts_;
};

// What is known of a value beside its text, or empty.
using MeaningOf = std::function<std::string(std::size_t kind, Octets value)>;

// The texts of what routes have.
class RouteTexts {
 public:
  RouteTexts(Kinds& kinds, bool raw) : kinds_(kinds), raw_(raw) {}

  const std::string& address(Octets octets);
  // "198.51.100.0/24", host bits as 0.
  const std::string& prefix(const RouteTarget& target);
  const std::string& family(Family family);
  // Of one value: its text, or hex digits.
  std::string value(std::size_t kind, Octets octets);
  // visit(text) for each value of a list.
  template <typename Visit>
  void forEachValue(std::size_t kind, Octets list, Visit&& visit) {
    const std::size_t size = kindRows[kind].octets;
    for (; !list.empty(); list = list.subspan(size)) visit(value(kind, list.first(size)), list.first(size));
  }

 private:
  Kinds& kinds_;
  const bool raw_;
  TextMemory addresses_;
  std::array<TextMemory, kindCount> values_;
  Family family_;
  std::string familyText_;
  // What prefixText_ says; of no octets at first.
  struct Prefix {
    std::array<std::uint8_t, 16> octets{};
    std::size_t size = 0;
    unsigned bits = 0;
    bool operator==(const Prefix&) const = default;
  };
  Prefix prefix_;
  std::string prefixText_;
};

// The kinds in the order in which routes name them.
inline constexpr std::size_t routeKinds[kindCount] = {3, 0, 1, 2};

// Prints routes, a line each.
class RouteWriter {
 public:
  virtual ~RouteWriter() = default;
  // Whether a line was printed.
  virtual bool routeIs(const Route& route) = 0;
  virtual bool stateChangeIs(const MrtRecord&) { return false; }
  virtual bool oldStateChangeIs(const MrtHeader&, Octets) { return false; }
};

struct RouteWriting {
  Console& console;
  Kinds& kinds;
  bool raw;
  MeaningOf meaning;
};
std::unique_ptr<RouteWriter> makePeopleWriter(const RouteWriting& writing);
std::unique_ptr<RouteWriter> makeJsonWriter(const RouteWriting& writing);
std::unique_ptr<RouteWriter> makeCsvWriter(const RouteWriting& writing);
std::unique_ptr<RouteWriter> makeBgpdumpWriter(const RouteWriting& writing);

// The octets of a prefix with nothing behind its length.
std::array<std::uint8_t, 16> maskedOctets(const Nlri& nlri);
// "1546300800.123456".
class TimeText {
 public:
  explicit TimeText(const MrtTime& time);
  std::string_view view() const { return {text_, size_}; }

 private:
  char text_[28];
  std::size_t size_;
};

// Members of a route's JSON object.
class JsonRoutes {
 public:
  JsonRoutes(Kinds& kinds, bool raw) : texts_(kinds, raw) {}
  RouteTexts& texts() { return texts_; }

  static void typeAndTime(JsonText& out, Route::Type type, const MrtTime& time);
  // From "peer" to "pathId", and from "asPath" on.
  void key(JsonText& out, const MrtPeer& peer, bool local, const RouteTarget& target);
  void facts(JsonText& out, const RouteFacts& facts);

 private:
  std::string list(std::size_t kind, Octets values);

  RouteTexts texts_;
  std::array<TextMemory, kindCount> lists_;
};

// Fields of a route's CSV, with the commas between them.
class CsvRoutes {
 public:
  CsvRoutes(Kinds& kinds, bool raw) : texts_(kinds, raw) {}
  RouteTexts& texts() { return texts_; }

  void appendAddress(std::string& line, Octets address);
  void appendPeer(std::string& line, const MrtPeer& peer);
  // From "family" to "pathId".
  void appendTarget(std::string& line, const RouteTarget& target);

 private:
  RouteTexts texts_;
};

}  // namespace VelBgpTool
