// Routes as `bgpdump -m` prints them, for scripts that were written for it: its texts of addresses and its words, and
// what it makes of attributes that are malformed.
#include <algorithm>
#include <array>

#include "tools/velbgp/Console.h"
#include "tools/velbgp/RouteText.h"

namespace VelBgpTool {

namespace {

void append4(std::string& text, std::span<const std::uint8_t, 4> octets) {
  for (const std::uint8_t& octet : octets) {
    if (&octet != octets.data()) text += '.';
    appendNumber(text, octet);
  }
}

// The first of the longest runs of zero groups, be it one group; none is a run of none.
std::pair<std::size_t, std::size_t> longestRun(const std::array<std::uint32_t, 8>& groups) {
  std::pair<std::size_t, std::size_t> longest{0, 0};
  for (std::size_t i = 0; i < groups.size(); ++i) {
    std::size_t end = i;
    while (end < groups.size() && groups[end] == 0) ++end;
    if (end - i > longest.second) longest = {i, end - i};
  }
  return longest;
}

void append6(std::string& text, std::span<const std::uint8_t, 16> octets) {
  std::array<std::uint32_t, 8> groups;
  for (std::size_t i = 0; i < groups.size(); ++i) groups[i] = octets[2 * i] << 8 | octets[2 * i + 1];
  const bool high = std::any_of(groups.begin(), groups.begin() + 5, [](std::uint32_t group) { return group != 0; });
  const bool mapped = !high && groups[5] == 0xffff;
  const bool compatible = !high && groups[5] == 0 && (groups[6] != 0 || groups[7] > 1);
  if (mapped || compatible) {
    text += mapped ? "::ffff:" : "::";
    return append4(text, octets.last<4>());
  }
  const auto [begin, size] = longestRun(groups);
  for (std::size_t i = 0; i < groups.size(); ++i) {
    if (size != 0 && i == begin) {
      text += i == 0 ? "::" : ":";
      i += size - 1;
      continue;
    }
    bool begun = false;
    for (int shift = 12; shift >= 0; shift -= 4) {
      const std::uint32_t digit = groups[i] >> shift & 0xf;
      begun = begun || digit != 0 || shift == 0;
      if (begun) text += "0123456789abcdef"[digit];
    }
    if (i != 7) text += ':';
  }
}

// Octets at the front of so many, zeros behind them.
template <std::size_t size>
std::array<std::uint8_t, size> padded(Octets octets) {
  std::array<std::uint8_t, size> out{};
  std::copy_n(octets.begin(), std::min(size, octets.size()), out.begin());
  return out;
}

void appendIp(std::string& text, Octets address, bool ip6) {
  ip6 ? append6(text, padded<16>(address)) : append4(text, padded<4>(address));
}

std::uint64_t leading(Octets value, std::size_t size) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < size; ++i) number = number << 8 | (i < value.size() ? value[i] : 0);
  return number;
}

// What attribute 14 is taken for in a RIB: any that does not begin with 0 is a next hop alone.
struct RibReach {
  explicit RibReach(const RoutePath& path) {
    if (!path.has(RoutePath::mpReach)) return;
    const Octets octets = path.value(RoutePath::mpReach);
    if (!octets.empty() && octets[0] != 0) {
      family = {Family::ip6, 1};
      nextHop = octets.subspan(1, std::min<std::size_t>(octets[0], octets.size() - 1));
      length = octets[0];
      return;
    }
    MpField field;
    field.reachIs(octets);
    family = field.family;
    nextHop = field.nextHop;
    length = octets.size() > 3 ? octets[3] : 0;
  }
  bool isUnicast(std::uint32_t afi) const { return family == Family{afi, 1}; }
  bool hasNextHop() const { return length == 4 || length == 16 || length == 32; }

  Family family;
  Octets nextHop;
  std::size_t length = 0;
};

class BgpdumpWriter final : public RouteWriter {
 public:
  explicit BgpdumpWriter(const RouteWriting& writing) : console_(writing.console) {}

  bool routeIs(const Route& route) override {
    if (!isShown(route)) return false;
    line_.clear();
    route.type == Route::Type::rib ? ribIs(route) : messageIs(route);
    console_.line(line_);
    return true;
  }

  bool stateChangeIs(const MrtRecord& record) override { return stateIs(record.receivedAt(), record.stateChange()); }

  bool oldStateChangeIs(const MrtHeader& header, Octets body) override {
    constexpr std::uint16_t withMicroseconds = 17;
    constexpr std::uint16_t without = 16;
    constexpr std::uint16_t stateChange = 0;
    constexpr std::uint16_t stateChangeAs4 = 5;
    if (header.type != without && header.type != withMicroseconds) return false;
    if (header.subtype != stateChange && header.subtype != stateChangeAs4) return false;
    Cursor rest(body);
    std::uint32_t microseconds = 0;
    const bool hasMicroseconds = header.type == withMicroseconds;
    if (hasMicroseconds) rest.number(4, microseconds);
    if (rest.left() != 8) return false;
    const MrtTime time = MrtTime::received(header.time, microseconds, hasMicroseconds);
    static constexpr std::array<std::uint8_t, 4> noAddress{};
    MrtStateChange change{{noAddress}, 0, 0};
    if (header.subtype == stateChangeAs4) {
      rest.number(4, change.peer.as);  // then there is no room for the states
    } else {
      rest.twoOctets(change.peer.as);
      rest.skip(2);
      rest.twoOctets(change.oldState);
      rest.twoOctets(change.newState);
    }
    return stateIs(time, change);
  }

 private:
  static bool isShown(const Route& route) {
    constexpr std::uint16_t tableDumpV2 = 13;
    const MrtRecord& record = *route.record;
    if (!route.target.isPrefix) return false;
    if (record.form() == MrtRecord::Form::update) {
      return std::ranges::all_of(record.message().marker, [](std::uint8_t octet) { return octet == 0xff; });
    }
    if (record.header().type != tableDumpV2) return true;
    const auto subtypes = {2, 4, 8, 10};
    return !record.peers().empty() && std::ranges::find(subtypes, record.header().subtype) != subtypes.end();
  }

  void beginLine(std::string_view form, const MrtTime& time) {
    line_ = form;
    line_ += '|';
    line_ += TimeText(time).view();
  }

  bool stateIs(const MrtTime& time, const MrtStateChange& change) {
    beginLine(time.hasMicroseconds ? "BGP4MP_ET" : "BGP4MP", time);
    line_ += "|STATE|";
    peerIs(change.peer);
    appendNumber(line_, change.oldState);
    line_ += '|';
    appendNumber(line_, change.newState);
    console_.line(line_);
    return true;
  }

  void peerIs(const MrtPeer& peer) {
    if (!peer.address.empty()) appendIp(line_, peer.address, peer.address.size() == 16);
    line_ += '|';
    if (!peer.address.empty()) appendNumber(line_, peer.as);
    line_ += '|';
  }

  void prefixIs(const Route& route, bool pathId) {
    appendIp(line_, route.target.nlri.octets, route.target.family.afi == Family::ip6);
    line_ += '/';
    appendNumber(line_, route.target.nlri.bits);
    if (!pathId) return;
    line_ += '|';
    appendNumber(line_, route.target.nlri.pathId);
  }

  void ribIs(const Route& route) {
    const RoutePath& path = *route.path;
    const bool isDump = route.record->header().isTableDump();
    beginLine(isDump                   ? "TABLE_DUMP"
              : route.target.hasPathId ? "TABLE_DUMP2_AP"
                                       : "TABLE_DUMP2",
              {route.record->header().time});
    line_ += "|B|";
    peerIs(route.peer);
    prefixIs(route, route.target.hasPathId);
    pathAndOrigin(*route.path);
    const RibReach reach(path);
    if (isDump && reach.isUnicast(Family::ip6)) {
      reach.hasNextHop() || route.nextHop.empty() ? appendIp(line_, reach.hasNextHop() ? reach.nextHop : Octets(), true)
                                                  : nextHopIs(route.nextHop);
    } else if (!isDump && (reach.isUnicast(Family::ip6) || reach.isUnicast(Family::ip4))) {
      reach.hasNextHop() ? appendIp(line_, reach.nextHop, reach.length != 4) : nextHopIs(route.nextHop);
    } else {
      ownNextHopIs(path);
    }
    rest(path);
  }

  void messageIs(const Route& route) {
    const bool local = route.local && !route.target.hasPathId;
    const bool pathIds = route.record->message().addPath;
    std::string form = route.time.hasMicroseconds ? "BGP4MP_ET" : "BGP4MP";
    if (local) form += "_LOCAL";
    if (pathIds) form += "_AP";
    beginLine(form, route.time);
    line_ += route.type == Route::Type::withdraw ? "|W|" : "|A|";
    if (route.type == Route::Type::withdraw) return withdrawalIs(route, local, pathIds);
    peerIs(route.peer);
    prefixIs(route, pathIds);
    pathAndOrigin(*route.path);
    route.ofAttribute ? nextHopIs(route.nextHop) : ownNextHopIs(*route.path);
    rest(*route.path);
  }

  void withdrawalIs(const Route& route, bool local, bool pathIds) {
    // Deliberate: what that program does to an IPv4 peer whose IPv6 prefixes the collector withdrew.
    if (local && route.target.family.afi == Family::ip6 && route.peer.address.size() == 4) {
      appendIp(line_, route.peer.address, true);
      line_ += '|';
      appendNumber(line_, route.peer.as);
      line_ += '|';
    } else {
      peerIs(route.peer);
    }
    prefixIs(route, pathIds);
  }

  void nextHopIs(Octets nextHop) {
    nextHop.empty() ? void(line_ += "255.255.255.255") : appendIp(line_, nextHop, nextHop.size() == 16);
  }
  void ownNextHopIs(const RoutePath& path) {
    path.has(RoutePath::nextHop) ? appendIp(line_, path.value(RoutePath::nextHop), false) : nextHopIs({});
  }

  void pathAndOrigin(RoutePath& path) {
    line_ += '|';
    asPathIs(path);
    const Octets origin = path.value(RoutePath::origin);
    const std::uint64_t code = path.has(RoutePath::origin) ? leading(origin, 1) : 2;
    line_.append(code == 0 ? "|IGP|" : code == 1 ? "|EGP|" : "|INCOMPLETE|");
  }

  void asPathIs(RoutePath& path) {
    if (!path.has(RoutePath::asPathCode)) return;
    const Octets octets = path.value(RoutePath::asPathCode);
    if (path.good(RoutePath::asPathCode) && !path.form().mergesAs4) {
      line_ += path.asPathText();
      return;
    }
    const unsigned as = path.form().fourOctetAs ? 4 : 2;
    constexpr auto taken = AsPath::EmptySegments::taken;
    const bool merges = mergesAs4(path);
    const Octets newer = path.value(RoutePath::as4Path);
    if (!AsPath::wellFormed(octets, as, taken) || (merges && !AsPath::wellFormed(newer, 4, taken))) {
      line_ += "! Error !";
      return;
    }
    AsPath own;
    own.attributeIs(octets, as);
    if (merges) own.as4PathIsForBgpdump(newer);
    own.appendTo(line_);
  }

  static bool mergesAs4(const RoutePath& path) {
    if (!path.form().mergesAs4 || !path.has(RoutePath::as4Path)) return false;
    if (!path.has(RoutePath::aggregator) || !path.has(RoutePath::as4Aggregator)) return true;
    return leading(path.value(RoutePath::aggregator), 2) == asTrans;
  }

  // MED and LOCAL_PREF behind the next hop, then communities, and what is known of an aggregation.
  void rest(const RoutePath& path) {
    for (const auto code : {RoutePath::localPref, RoutePath::multiExitDisc}) {
      line_ += '|';
      appendNumber(line_, leading(path.value(code), 4));
    }
    line_ += '|';
    const Octets values = path.value(RoutePath::communities);
    const Octets whole = values.first(values.size() / 4 * 4);
    if (!whole.empty()) line_ += lists_.of(whole, [whole] { return communities(whole); });
    line_ += path.has(RoutePath::atomicAggregate) ? "|AG|" : "|NAG|";
    if (path.has(RoutePath::aggregator)) aggregatorIs(path);
    line_ += '|';
  }

  void aggregatorIs(const RoutePath& path) {
    const std::size_t as = path.form().fourOctetAs ? 4 : 2;
    Octets value = path.value(RoutePath::aggregator);
    std::size_t size = as;
    if (path.form().mergesAs4 && path.has(RoutePath::as4Aggregator) && leading(value, as) == asTrans) {
      value = path.value(RoutePath::as4Aggregator);
      size = 4;
    }
    appendNumber(line_, leading(value, size));
    line_ += ' ';
    appendIp(line_, value.subspan(std::min(size, value.size())), false);
  }

  static std::string communities(Octets values) {
    std::string text;
    for (; !values.empty(); values = values.subspan(4)) {
      if (!text.empty()) text += ' ';
      switch (bigEndian(values.first(4))) {
        case 0xffffff01:
          text += "no-export";
          break;
        case 0xffffff02:
          text += "no-advertise";
          break;
        case 0xffffff03:
          text += "local-AS";
          break;
        default:
          appendNumber(text, bigEndian(values.first(2)));
          text += ':';
          appendNumber(text, bigEndian(values.subspan(2, 2)));
      }
    }
    return text;
  }

  Console& console_;
  TextMemory lists_;
  std::string line_;
};

}  // namespace

std::unique_ptr<RouteWriter> makeBgpdumpWriter(const RouteWriting& writing) {
  return std::make_unique<BgpdumpWriter>(writing);
}

}  // namespace VelBgpTool
