#include "tools/velbgp/RouteFilter.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "Addr/Ip4Addr.h"
#include "Addr/Ip6Addr.h"
#include "Policy/PosixRegex.h"
#include "VelBgp/ValueText.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/MatchHint.h"
#include "tools/velbgp/Moment.h"
#include "tools/velbgp/Wire.h"

namespace VelBgpTool {

namespace {

using Routing::RouteMap::PosixRegex;

[[noreturn]] void refuse(std::string_view text, const std::string& why) {
  throw RouteFilterError{quote(text) + " is no " + why};
}

std::string addressOctets(std::string_view text) {
  if (const auto address = Routing::Addr::Ip4Addr::read(text)) return Wire().u32(address->value()).str();
  const auto address = Routing::Addr::Ip6Addr::read(text);
  return address ? std::string(address->octets().begin(), address->octets().end()) : std::string();
}

std::uint32_t readAs(std::string_view text) {
  const std::size_t dot = text.find('.');
  if (dot == std::string_view::npos) {
    if (const auto as = readDecimal<std::uint32_t>(text)) return *as;
  } else {
    const auto high = readDecimal<std::uint16_t>(text.substr(0, dot));
    const auto low = readDecimal<std::uint16_t>(text.substr(dot + 1));
    if (high && low) return std::uint32_t{*high} << 16 | *low;
  }
  refuse(text, "AS number, expected one up to 4294967295, or as H.L");
}

struct Prefix {
  std::uint32_t afi;
  std::uint32_t bits;
  std::string octets;
};

Prefix readPrefix(std::string_view text) {
  const std::size_t slash = text.find('/');
  Prefix prefix{Family::ip4, 0, addressOctets(text.substr(0, slash))};
  const auto host = static_cast<std::uint32_t>(8 * prefix.octets.size());
  const auto bits = slash == std::string_view::npos ? host : readDecimal<std::uint32_t>(text.substr(slash + 1));
  if (prefix.octets.empty() || !bits || *bits > host) {
    refuse(text, "prefix, expected an address, or one with a length like 198.51.100.0/24");
  }
  if (host == 128) prefix.afi = Family::ip6;
  prefix.bits = *bits;
  return prefix;
}

// Whether both begin with the same bits.
bool sameBits(Octets a, Octets b, std::uint32_t bits) {
  const std::size_t whole = bits / 8;
  if (!std::equal(a.begin(), a.begin() + whole, b.begin())) return false;
  const unsigned rest = bits % 8;
  return rest == 0 || (a[whole] ^ b[whole]) >> (8 - rest) == 0;
}

enum class Relation { exactly, longer, covers };

template <Relation relation>
RoutePredicate makePrefix(std::string_view text) {
  return {[prefix = readPrefix(text)](const Route& route, Agent&) {
    const std::uint32_t bits = route.target.nlri.bits;
    if (!route.target.isPrefix || route.target.family.afi != prefix.afi) return false;
    if (relation == Relation::exactly && bits != prefix.bits) return false;
    if (relation == Relation::longer && bits < prefix.bits) return false;
    if (relation == Relation::covers && bits > prefix.bits) return false;
    return sameBits(route.target.nlri.octets, octetsOf(prefix.octets), std::min(bits, prefix.bits));
  }};
}

RoutePredicate makePeer(std::string_view text) {
  const std::string address = addressOctets(text);
  if (address.empty()) refuse(text, "address, expected one of IPv4 or IPv6");
  return {[address](const Route& route, Agent&) { return textOf(route.peer.address) == address; }};
}

RoutePredicate makePeerAs(std::string_view text) {
  return {
      [as = readAs(text)](const Route& route, Agent&) { return !route.peer.address.empty() && route.peer.as == as; }};
}

bool hasAsPath(const Route& route) { return route.path != nullptr && route.path->good(RoutePath::asPathCode); }

RoutePredicate makeOriginAs(std::string_view text) {
  return {[as = readAs(text)](const Route& route, Agent&) {
    return hasAsPath(route) && route.path->asPath().originatedBy(as);
  }};
}

RoutePredicate makeAs(std::string_view text) {
  return {[as = readAs(text)](const Route& route, Agent&) {
    return hasAsPath(route) && route.path->asPath().contains(as);
  }};
}

RoutePredicate makeAsPath(std::string_view text) {
  const auto regex = std::make_shared<PosixRegex>(std::string(text));
  return {[regex](const Route& route, Agent&) {
    return hasAsPath(route) && regex->execute(route.path->asPathText()) == 0;
  }};
}

// Whether a path carries any of some values of one kind.
RoutePredicate carries(std::vector<TypedValue> wanted) {
  return {[wanted = std::move(wanted)](const Route& route, Agent&) {
    if (route.path == nullptr) return false;
    return std::ranges::any_of(wanted, [&route](const TypedValue& value) {
      const std::size_t size = value.octets.size();
      for (Octets rest = route.path->lists[value.kind]; !rest.empty(); rest = rest.subspan(size)) {
        if (std::ranges::equal(rest.first(size), value.wire())) return true;
      }
      return false;
    });
  }};
}

RoutePredicate makeCommunity(std::string_view text) {
  const auto value = Routing::Bgp::valueFromText(text);
  if (!value) throw RouteFilterError{problemOf(text, value.error())};
  return carries({typedValue(*value)});
}

constexpr std::size_t extendedKind = 0;

// Whether a value is a route target, of any encoding.
bool isRouteTarget(const TypedValue& value) {
  constexpr std::uint8_t routeTarget = 2;
  const auto type = static_cast<std::uint8_t>(value.octets[0]);
  return value.kind <= 1 && type <= 2 && static_cast<std::uint8_t>(value.octets[1]) == routeTarget;
}

// The same AS and number in the other encoding; nothing where either is too large for it.
std::optional<TypedValue> otherEncoding(const TypedValue& value) {
  constexpr std::uint8_t twoOctetAs = 0;
  constexpr std::uint8_t fourOctetAs = 2;
  const Octets octets = value.wire();
  if (value.kind != extendedKind || (octets[0] != twoOctetAs && octets[0] != fourOctetAs)) return std::nullopt;
  const bool isShort = octets[0] == twoOctetAs;
  const std::uint64_t as = bigEndian(octets.subspan(2, isShort ? 2 : 4));
  const std::uint64_t number = bigEndian(octets.subspan(isShort ? 4 : 6));
  if (as > 65535 || number > 65535) return std::nullopt;
  Wire other;
  other.u8(isShort ? fourOctetAs : twoOctetAs).u8(octets[1]);
  isShort ? other.u32(as).u16(number) : other.u16(as).u32(number);
  return TypedValue{value.kind, other.str()};
}

// As behind the label, or with it.
RoutePredicate makeRt(std::string_view text) {
  auto value = Routing::Bgp::valueFromText("rt " + std::string(text));
  if (!value) {
    const auto labelled = Routing::Bgp::valueFromText(text);
    if (!labelled || !isRouteTarget(typedValue(*labelled))) throw RouteFilterError{problemOf(text, value.error())};
    return carries({typedValue(*labelled)});
  }
  std::vector<TypedValue> wanted{typedValue(*value)};
  if (const auto other = otherEncoding(wanted[0])) wanted.push_back(*other);
  return carries(std::move(wanted));
}

// An expression over lists, and the lists that it was asked about: each is asked once.
class ListMatch {
 public:
  explicit ListMatch(std::string_view pattern) : regex_(std::string(pattern)) {}

  bool holds(const Route& route, Agent& agent) {
    for (std::size_t kind = 0; route.path != nullptr && kind < kindCount; ++kind) {
      const Octets values = route.path->lists[kind];
      if (values.empty()) continue;
      Kind& lists = kinds(agent).at(kind);
      if (!lists.matches(lists.intern(values), regex_).value_or(false)) continue;
      found_ = true;
      return true;
    }
    return false;
  }
  void end(Agent& agent, Console& console) {
    if (!found_) noteOtherSpelling(regex_.pattern(), kinds(agent), console);
  }

 private:
  Kinds& kinds(Agent& agent) { return kinds_ ? *kinds_ : kinds_.emplace(agent); }

  PosixRegex regex_;
  std::optional<Kinds> kinds_;
  bool found_ = false;
};

RoutePredicate makeMatch(std::string_view text) {
  const auto match = std::make_shared<ListMatch>(text);
  return {[match](const Route& route, Agent& agent) { return match->holds(route, agent); },
          [match](Agent& agent, Console& console) { match->end(agent, console); }};
}

RoutePredicate makeFamily(std::string_view text) {
  const auto family = Family::read(text);
  if (!family) refuse(text, "address family, expected one like \"ipv4 unicast\", or its numbers like 1/1");
  return {[family = *family](const Route& route, Agent&) { return route.target.family == family; }};
}

template <Route::Type type>
RoutePredicate makeType(std::string_view) {
  return {[](const Route& route, Agent&) { return route.type == type; }};
}

Moment readMoment(std::string_view text) {
  const auto moment = Moment::read(text);
  if (!moment) refuse(text, "time, expected seconds since 1970, or RFC 3339 like 2019-01-01T00:00:00Z");
  return *moment;
}

RoutePredicate makeSince(std::string_view text) {
  return {[since = readMoment(text).roundedUp()](const Route& route, Agent&) {
    return Moment::microseconds(route.time.seconds, route.time.microseconds) >= since;
  }};
}

RoutePredicate makeUntil(std::string_view text) {
  return {[until = readMoment(text).roundedDown()](const Route& route, Agent&) {
    return Moment::microseconds(route.time.seconds, route.time.microseconds) <= until;
  }};
}

constexpr RouteFilterRow rows[] = {
    {"--announced", nullptr, "Only what was announced", 0, makeType<Route::Type::announce>},
    {"--withdrawn", nullptr, "Only what was withdrawn", 0, makeType<Route::Type::withdraw>},
    {"--family", "F", "Of this address family, like \"ipv6 unicast\"", 1, makeFamily},
    {"--peer", "ADDRESS", "From this peer", 2, makePeer},
    {"--peer-as", "N", "From a peer in this AS", 3, makePeerAs},
    {"--since", "T", "Not before this time, in seconds or as in RFC 3339", 4, makeSince},
    {"--until", "T", "Not after this time", 5, makeUntil},
    {"--prefix", "P", "Of exactly this prefix", 6, makePrefix<Relation::exactly>},
    {"--longer", "P", "Of this prefix and more specific ones", 7, makePrefix<Relation::longer>},
    {"--covers", "P", "Of this prefix and less specific ones", 8, makePrefix<Relation::covers>},
    {"--community", "VALUE", "With this community", 9, makeCommunity},
    {"--rt", "VALUE", "With this route target", 10, makeRt},
    {"--as", "N", "With this AS anywhere in the path", 11, makeAs},
    {"--origin-as", "N", "Originated by this AS", 12, makeOriginAs},
    {"--as-path", "REGEX", "With an AS path that matches", 13, makeAsPath},
    {"--match", "REGEX", "With a list that matches", 14, makeMatch},
};

}  // namespace

std::span<const RouteFilterRow> routeFilterRows() { return rows; }

RouteFilters::RouteFilters(const std::vector<RouteFilterText>& texts, Agent& agent) : agent_(agent) {
  int group = -1;
  for (const RouteFilterRow& row : rows) {
    for (const RouteFilterText& typed : texts) {
      if (typed.row != &row) continue;
      RoutePredicate predicate = row.make(typed.text);
      if (typed.negated) {
        negated_.push_back(std::move(predicate));
        continue;
      }
      if (std::exchange(group, row.group) != row.group) groups_.emplace_back();
      groups_.back().push_back(std::move(predicate));
    }
  }
}

bool RouteFilters::pass(const Route& route) const {
  const auto holds = [&](const RoutePredicate& predicate) { return predicate.holds(route, agent_); };
  return std::ranges::all_of(groups_, [&](const auto& group) { return std::ranges::any_of(group, holds); }) &&
         std::ranges::none_of(negated_, holds);
}

void RouteFilters::end(Console& console) const {
  for (const auto& group : groups_) {
    for (const RoutePredicate& predicate : group) {
      if (predicate.end) predicate.end(agent_, console);
    }
  }
}

}  // namespace VelBgpTool
