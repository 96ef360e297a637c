#include "tools/velbgp/MrtRecord.h"

#include <algorithm>
#include <array>

#include "VelBgp/ReceivedAttributes.h"
#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

// Reads forward and never past the end: each step says whether there was enough, and moves only if there was.
class Cursor {
 public:
  explicit Cursor(Octets octets) : rest_(octets) {}

  std::size_t left() const { return rest_.size(); }
  Octets rest() const { return rest_; }

  bool skip(std::size_t count) {
    Octets skipped;
    return take(count, skipped);
  }
  bool take(std::size_t count, Octets& out) {
    if (count > rest_.size()) return false;
    out = rest_.first(count);
    rest_ = rest_.subspan(count);
    return true;
  }
  bool octet(std::uint32_t& out) { return number(1, out); }
  bool twoOctets(std::uint32_t& out) { return number(2, out); }

 private:
  bool number(std::size_t count, std::uint32_t& out) {
    Octets octets;
    if (!take(count, octets)) return false;
    out = static_cast<std::uint32_t>(bigEndian(octets));
    return true;
  }

  Octets rest_;
};

namespace {

enum MrtType : std::uint16_t { tableDumpV2 = 13, bgp4mpType = 16, bgp4mpEt = 17 };

constexpr unsigned ipv4Bits = 32;
constexpr unsigned ipv6Bits = 128;

// What a TABLE_DUMP_V2 subtype holds. In a RIB that is not generic the prefixes have up to so many bits.
struct TableDumpLayout {
  enum Form { none, peers, peersWithPlaces, rib, genericRib } form = none;
  bool pathIds = false;
  unsigned mostBits = 0;
};
constexpr std::array<TableDumpLayout, 13> tableDumpLayouts = {{
    {},
    {TableDumpLayout::peers},                 // PEER_INDEX_TABLE
    {TableDumpLayout::rib, false, ipv4Bits},  // RIB_IPV4_UNICAST
    {TableDumpLayout::rib, false, ipv4Bits},  // RIB_IPV4_MULTICAST
    {TableDumpLayout::rib, false, ipv6Bits},  // RIB_IPV6_UNICAST
    {TableDumpLayout::rib, false, ipv6Bits},  // RIB_IPV6_MULTICAST
    {TableDumpLayout::genericRib, false},     // RIB_GENERIC
    {TableDumpLayout::peersWithPlaces},       // GEO_PEER_TABLE
    {TableDumpLayout::rib, true, ipv4Bits},   // RIB_IPV4_UNICAST_ADDPATH
    {TableDumpLayout::rib, true, ipv4Bits},   // RIB_IPV4_MULTICAST_ADDPATH
    {TableDumpLayout::rib, true, ipv6Bits},   // RIB_IPV6_UNICAST_ADDPATH
    {TableDumpLayout::rib, true, ipv6Bits},   // RIB_IPV6_MULTICAST_ADDPATH
    {TableDumpLayout::genericRib, true},      // RIB_GENERIC_ADDPATH
}};

// What a BGP4MP subtype holds; the local and additional-path ones are laid out like the others.
struct Bgp4mpLayout {
  bool known;
  bool fourOctetAs;
  bool stateChange;
};
constexpr std::array<Bgp4mpLayout, 12> bgp4mpLayouts = {{
    {true, false, true},    // STATE_CHANGE
    {true, false, false},   // MESSAGE
    {false, false, false},  // ENTRY, deprecated
    {false, false, false},  // SNAPSHOT, deprecated
    {true, true, false},    // MESSAGE_AS4
    {true, true, true},     // STATE_CHANGE_AS4
    {true, false, false},   // MESSAGE_LOCAL
    {true, true, false},    // MESSAGE_AS4_LOCAL
    {true, false, false},   // MESSAGE_ADDPATH
    {true, true, false},    // MESSAGE_AS4_ADDPATH
    {true, false, false},   // MESSAGE_LOCAL_ADDPATH
    {true, true, false},    // MESSAGE_AS4_LOCAL_ADDPATH
}};

constexpr unsigned ipv4Family = 1;
constexpr unsigned ipv6Family = 2;
constexpr std::size_t leastUpdate = 23;

constexpr std::size_t octetsOfBits(std::uint32_t bits) { return (bits + 7) / 8; }

// The row of kindRows that a community attribute belongs to.
std::uint32_t kindOf(const PathAttribute& attribute) {
  const auto row = std::ranges::find(kindRows, attribute.code, [](const KindRow& kind) { return kind.attribute; });
  return static_cast<std::uint32_t>(row - kindRows.begin());
}

// Steps over one NLRI that is a length in bits and a prefix.
bool skipPrefix(Cursor& body, std::uint32_t& bits) { return body.octet(bits) && body.skip(octetsOfBits(bits)); }

// Steps over one NLRI of a family that says its length in octets: flow specification, EVPN and multicast VPN, VPLS,
// link state. False for all others.
bool skipOctetCounted(Cursor& body, std::uint32_t safi) {
  std::uint32_t length = 0;
  switch (safi) {
    case 5:
    case 70:
      return body.skip(1) && body.octet(length) && body.skip(length);
    case 65:
      return body.twoOctets(length) && body.skip(length);
    case 71:
    case 72:
      return body.skip(2) && body.twoOctets(length) && body.skip(length);
    case 133:
    case 134:
      if (body.left() != 0 && body.rest()[0] >= 0xf0) return body.twoOctets(length) && body.skip(length & 0x0fff);
      return body.octet(length) && body.skip(length);
    default:
      return false;
  }
}

// Steps over one RIB entry but its attributes, which it gives out.
bool takeEntry(Cursor& body, bool pathIds, Octets& attributes) {
  constexpr std::size_t peerAndTime = 6;
  constexpr std::size_t pathId = 4;
  std::uint32_t length;
  return body.skip(pathIds ? peerAndTime + pathId : peerAndTime) && body.twoOctets(length) &&
         body.take(length, attributes);
}

// Whether the entries end exactly where the record does.
bool entriesFit(Cursor body, bool pathIds) {
  std::uint32_t count;
  if (!body.twoOctets(count)) return false;
  for (Octets attributes; count != 0; --count) {
    if (!takeEntry(body, pathIds, attributes)) return false;
  }
  return body.left() == 0;
}

// The ways to read a RIB_GENERIC record; the first that comes out even is taken. The path identifier belongs before the
// NLRI (RFC 8050), but most writers put it in each entry.
struct GenericReading {
  bool idInNlri;
  bool idInEntries;
  bool prefix;  // else an NLRI that counts octets
};
constexpr GenericReading genericReadings[] = {
    {true, false, true},  {true, false, false}, {false, true, true},
    {false, true, false}, {false, false, true}, {false, false, false},
};

bool isPlainPrefix(std::uint32_t afi, std::uint32_t safi) {
  return (afi == ipv4Family || afi == ipv6Family) && (safi == 1 || safi == 2);
}

struct Malformed {
  std::string fault;
};

void need(bool there, const char* where) {
  if (!there) throw Malformed{std::string("it ends inside ") + where + ", expected all of it"};
}

void needNoMore(const Cursor& body) {
  if (body.left() == 0) return;
  throw Malformed{"octets are left over at its end (" + std::to_string(body.left()) + "), expected none"};
}

void needBitsUpTo(unsigned most, std::uint32_t bits) {
  if (bits <= most) return;
  throw Malformed{"a prefix of " + std::to_string(bits) + " bits, expected at most " + std::to_string(most)};
}

void peerTable(Cursor& body, bool withPlaces) {
  constexpr std::size_t place = 8;  // latitude and longitude (RFC 6397)
  constexpr std::uint32_t ipv6Peer = 1;
  constexpr std::uint32_t fourOctetAsPeer = 2;
  std::uint32_t nameLength = 0;
  std::uint32_t count = 0;
  need(body.skip(4) && body.twoOctets(nameLength) && body.skip(nameLength + (withPlaces ? place : 0)) &&
           body.twoOctets(count),
       "its peer table's header");
  for (; count != 0; --count) {
    std::uint32_t type = 0;
    need(body.octet(type), "a peer");
    const std::size_t address = (type & ipv6Peer) != 0 ? 16 : 4;
    const std::size_t as = (type & fourOctetAsPeer) != 0 ? 4 : 2;
    need(body.skip(4 + address + as + (withPlaces ? place : 0)), "a peer");
  }
  needNoMore(body);
}

}  // namespace

MrtHeader::MrtHeader(Octets octets)
    : type(static_cast<std::uint16_t>(bigEndian(octets.subspan(4, 2)))),
      subtype(static_cast<std::uint16_t>(bigEndian(octets.subspan(6, 2)))),
      length(static_cast<std::uint32_t>(bigEndian(octets.subspan(8, 4)))) {}

bool MrtRecord::reads(const MrtHeader& header) {
  if (header.type == tableDumpV2) {
    return header.subtype < tableDumpLayouts.size() && tableDumpLayouts[header.subtype].form != TableDumpLayout::none;
  }
  if (header.type != bgp4mpType && header.type != bgp4mpEt) return false;
  return header.subtype < bgp4mpLayouts.size() && bgp4mpLayouts[header.subtype].known;
}

std::uint64_t MrtRecord::largestBody(const MrtHeader& header) {
  // Microseconds, two four-octet AS numbers, interface and family, two IPv6 addresses, and the longest BGP message.
  constexpr std::uint64_t largestMessage = 4 + 8 + 4 + 32 + 65535;
  constexpr std::uint64_t largest = 64 << 20;  // of what is kept whole in memory
  return header.type == tableDumpV2 || !reads(header) ? largest : largestMessage;
}

bool MrtRecord::bodyIs(const MrtHeader& header, Octets body) {
  paths_ = 0;
  attributes_.clear();
  try {
    read(header, Cursor(body));
    return true;
  } catch (Malformed& malformed) {
    fault_ = std::move(malformed.fault);
    return false;
  }
}

void MrtRecord::read(const MrtHeader& header, Cursor body) {
  if (header.type == tableDumpV2) return tableDump(header.subtype, body);
  constexpr std::size_t microseconds = 4;
  if (header.type == bgp4mpEt) need(body.skip(microseconds), "its microseconds");
  bgp4mp(header.subtype, body);
}

void MrtRecord::tableDump(std::uint16_t subtype, Cursor& body) {
  const auto& [form, pathIds, mostBits] = tableDumpLayouts[subtype];
  if (form == TableDumpLayout::rib) return rib(body, mostBits, pathIds);
  if (form == TableDumpLayout::genericRib) return genericRib(body, pathIds);
  peerTable(body, form == TableDumpLayout::peersWithPlaces);
}

void MrtRecord::rib(Cursor& body, unsigned mostBits, bool pathIds) {
  constexpr std::size_t sequence = 4;
  std::uint32_t bits = 0;
  need(body.skip(sequence) && body.octet(bits), "its RIB header");
  needBitsUpTo(mostBits, bits);
  need(body.skip(octetsOfBits(bits)), "its prefix");
  ribEntries(body, pathIds);
}

void MrtRecord::genericRib(Cursor& body, bool addPath) {
  std::uint32_t afi = 0;
  std::uint32_t safi = 0;
  need(body.skip(4) && body.twoOctets(afi) && body.octet(safi), "its RIB header");
  for (const GenericReading& reading : genericReadings) {
    Cursor at = body;
    std::uint32_t bits = 0;
    if ((reading.idInNlri || reading.idInEntries) != addPath || (reading.idInNlri && !at.skip(4))) continue;
    if (!(reading.prefix ? skipPrefix(at, bits) : skipOctetCounted(at, safi))) continue;
    if (!entriesFit(at, reading.idInEntries)) continue;
    if (isPlainPrefix(afi, safi)) needBitsUpTo(afi == ipv4Family ? ipv4Bits : ipv6Bits, bits);
    return ribEntries(at, reading.idInEntries);
  }
  throw Malformed{"its NLRI and RIB entries do not end where the record does, expected them to"};
}

void MrtRecord::ribEntries(Cursor& body, bool pathIds) {
  std::uint32_t count = 0;
  need(body.twoOctets(count), "its RIB header");
  for (; count != 0; --count) {
    Octets attributes;
    need(takeEntry(body, pathIds, attributes), "a RIB entry");
    attributesOf(attributes);
    ++paths_;
  }
  needNoMore(body);
}

void MrtRecord::bgp4mp(std::uint16_t subtype, Cursor& body) {
  const Bgp4mpLayout& layout = bgp4mpLayouts[subtype];
  constexpr std::size_t interfaceIndex = 2;
  constexpr std::size_t states = 4;
  std::uint32_t family = 0;
  need(body.skip((layout.fourOctetAs ? 8 : 4) + interfaceIndex) && body.twoOctets(family), "its header");
  if (family != ipv4Family && family != ipv6Family) {
    throw Malformed{"address family " + std::to_string(family) + ", expected 1 or 2"};
  }
  need(body.skip(family == ipv4Family ? 8 : 32), "its addresses");
  if (!layout.stateChange) return bgpMessage(body);
  need(body.skip(states), "its states");
  needNoMore(body);
}

void MrtRecord::bgpMessage(Cursor& body) {
  constexpr std::size_t marker = 16;
  constexpr std::uint32_t updateType = 2;
  const std::size_t size = body.left();
  std::uint32_t length = 0;
  std::uint32_t type = 0;
  need(body.skip(marker) && body.twoOctets(length) && body.octet(type), "its BGP header");
  if (length != size) {
    throw Malformed{"a BGP message that announces " + std::to_string(length) + " octets, expected the record's " +
                    std::to_string(size)};
  }
  if (type != updateType) return;
  if (size < leastUpdate) {
    throw Malformed{"an UPDATE of " + std::to_string(size) + " octets, expected at least " +
                    std::to_string(leastUpdate)};
  }
  need(body.twoOctets(length) && body.skip(length) && body.twoOctets(length), "its withdrawn routes");
  Octets block;
  need(body.take(length, block), "its path attributes");
  attributesOf(block);
  if (!block.empty()) ++paths_;
}

void MrtRecord::attributesOf(Octets block) {
  const ReceivedAttributes received(block);
  for (std::uint32_t kind = 0; kind < kindCount; ++kind) {
    const Octets values = received.value(BgpPathAttrType(kindRows[kind].attribute));
    if (!values.empty()) attributes_.push_back({paths_, kind, true, values});
  }
  for (const ReceivedAttributes::Fault& fault : received.faults()) {
    need(fault.verdict != attributeVerdictHeaderCut, "a path attribute's header");
    need(fault.verdict != attributeVerdictValueCut, "a path attribute");
    if (fault.verdict == attributeVerdictRepeated) continue;
    attributes_.push_back({paths_, kindOf(fault.attribute), false, fault.attribute.value});
  }
}

}  // namespace VelBgpTool
