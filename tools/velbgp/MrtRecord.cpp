#include "tools/velbgp/MrtRecord.h"

#include <algorithm>
#include <array>

#include "VelBgp/ReceivedAttributes.h"
#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

namespace {

enum MrtType : std::uint16_t { tableDumpType = 12, tableDumpV2Type = 13, bgp4mpType = 16, bgp4mpEt = 17 };

constexpr unsigned ipv4Bits = 32;
constexpr unsigned ipv6Bits = 128;

// What a TABLE_DUMP_V2 subtype holds. In a RIB that is not generic the prefixes have up to so many bits.
struct TableDumpLayout {
  enum Form { none, peers, peersWithPlaces, rib, genericRib } form = none;
  bool pathIds = false;
  unsigned mostBits = 0;
  std::uint32_t safi = 0;
};
constexpr std::array<TableDumpLayout, 13> tableDumpLayouts = {{
    {},
    {TableDumpLayout::peers},                    // PEER_INDEX_TABLE
    {TableDumpLayout::rib, false, ipv4Bits, 1},  // RIB_IPV4_UNICAST
    {TableDumpLayout::rib, false, ipv4Bits, 2},  // RIB_IPV4_MULTICAST
    {TableDumpLayout::rib, false, ipv6Bits, 1},  // RIB_IPV6_UNICAST
    {TableDumpLayout::rib, false, ipv6Bits, 2},  // RIB_IPV6_MULTICAST
    {TableDumpLayout::genericRib, false},        // RIB_GENERIC
    {TableDumpLayout::peersWithPlaces},          // GEO_PEER_TABLE
    {TableDumpLayout::rib, true, ipv4Bits, 1},   // RIB_IPV4_UNICAST_ADDPATH
    {TableDumpLayout::rib, true, ipv4Bits, 2},   // RIB_IPV4_MULTICAST_ADDPATH
    {TableDumpLayout::rib, true, ipv6Bits, 1},   // RIB_IPV6_UNICAST_ADDPATH
    {TableDumpLayout::rib, true, ipv6Bits, 2},   // RIB_IPV6_MULTICAST_ADDPATH
    {TableDumpLayout::genericRib, true},         // RIB_GENERIC_ADDPATH
}};

// What a BGP4MP subtype holds; the local and additional-path ones are laid out like the others.
struct Bgp4mpLayout {
  bool known;
  bool fourOctetAs = false;
  bool stateChange = false;
  bool local = false;
  bool addPath = false;
};
constexpr std::array<Bgp4mpLayout, 12> bgp4mpLayouts = {{
    {true, false, true},                // STATE_CHANGE
    {true, false},                      // MESSAGE
    {false},                            // ENTRY, deprecated
    {false},                            // SNAPSHOT, deprecated
    {true, true},                       // MESSAGE_AS4
    {true, true, true},                 // STATE_CHANGE_AS4
    {true, false, false, true},         // MESSAGE_LOCAL
    {true, true, false, true},          // MESSAGE_AS4_LOCAL
    {true, false, false, false, true},  // MESSAGE_ADDPATH
    {true, true, false, false, true},   // MESSAGE_AS4_ADDPATH
    {true, false, false, true, true},   // MESSAGE_LOCAL_ADDPATH
    {true, true, false, true, true},    // MESSAGE_AS4_LOCAL_ADDPATH
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

}  // namespace

MrtHeader::MrtHeader(Octets octets)
    : time(static_cast<std::uint32_t>(bigEndian(octets.first(4)))),
      type(static_cast<std::uint16_t>(bigEndian(octets.subspan(4, 2)))),
      subtype(static_cast<std::uint16_t>(bigEndian(octets.subspan(6, 2)))),
      length(static_cast<std::uint32_t>(bigEndian(octets.subspan(8, 4)))) {}

bool MrtHeader::isTableDump() const { return type == tableDumpType; }

std::string MrtHeader::text() const {
  return "record of type " + std::to_string(type) + ", subtype " + std::to_string(subtype) + ": ";
}

bool MrtHeader::isPeerTable() const {
  if (type != tableDumpV2Type || subtype >= tableDumpLayouts.size()) return false;
  const auto form = tableDumpLayouts[subtype].form;
  return form == TableDumpLayout::peers || form == TableDumpLayout::peersWithPlaces;
}

bool MrtEntries::nextOfRib(MrtEntry& entry) {
  if (count_ == 0) return false;
  Cursor body = rest_;
  std::uint32_t peer = 0;
  std::uint32_t length = 0;
  entry = common_;
  if (!body.twoOctets(peer) || !body.number(4, entry.time) || (pathIds_ && !body.number(4, entry.pathId)) ||
      !body.twoOctets(length) || !body.take(length, entry.attributes)) {
    return false;
  }
  if (peers_ != nullptr && peer < peers_->size()) entry.peer = (*peers_)[peer];
  rest_ = body;
  --count_;
  return true;
}

bool MrtEntries::nextOfDump(MrtEntry& entry) {
  const std::size_t address = afi_ == ipv4Family ? 4 : 16;
  Cursor body = rest_;
  std::uint32_t length = 0;
  entry = common_;
  if (!body.take(address, entry.nlri) || !body.octet(entry.bits) || !body.skip(1) || !body.number(4, entry.time) ||
      !body.take(address, entry.peer.address) || !body.twoOctets(entry.peer.as) || !body.twoOctets(length) ||
      !body.take(length, entry.attributes)) {
    return false;
  }
  rest_ = body;
  return true;
}

bool MrtRecord::reads(const MrtHeader& header) {
  if (header.type == tableDumpType) return header.subtype == ipv4Family || header.subtype == ipv6Family;
  if (header.type == tableDumpV2Type) {
    return header.subtype < tableDumpLayouts.size() && tableDumpLayouts[header.subtype].form != TableDumpLayout::none;
  }
  if (header.type != bgp4mpType && header.type != bgp4mpEt) return false;
  return header.subtype < bgp4mpLayouts.size() && bgp4mpLayouts[header.subtype].known;
}

std::uint64_t MrtRecord::largestBody(const MrtHeader& header) {
  // Microseconds, two four-octet AS numbers, interface and family, two IPv6 addresses, and the longest BGP message.
  constexpr std::uint64_t largestMessage = 4 + 8 + 4 + 32 + 65535;
  constexpr std::uint64_t largest = 64 << 20;  // of what is kept whole in memory
  const bool isMessage = header.type == bgp4mpType || header.type == bgp4mpEt;
  return isMessage && reads(header) ? largestMessage : largest;
}

bool MrtRecord::bodyIs(const MrtHeader& header, Octets body) {
  header_ = header;
  form_ = Form::silent;
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
  hasMicroseconds_ = header.type == bgp4mpEt;
  microseconds_ = 0;
  if (header.type == tableDumpType) return tableDump(header.subtype, body);
  if (header.type == tableDumpV2Type) return tableDumpV2(header.subtype, body);
  if (hasMicroseconds_) need(body.number(4, microseconds_), "its microseconds");
  bgp4mp(header.subtype, body);
}

void MrtRecord::tableDump(std::uint16_t subtype, Cursor& body) {
  constexpr std::size_t viewAndSequence = 4;
  need(body.skip(viewAndSequence) && body.left() != 0, "its header");
  entries_ = {};
  entries_.form_ = MrtEntries::Form::tableDump;
  entries_.afi_ = subtype;
  entries_.safi_ = 1;
  readEntries(body);
}

void MrtRecord::tableDumpV2(std::uint16_t subtype, Cursor& body) {
  const auto& [form, pathIds, mostBits, safi] = tableDumpLayouts[subtype];
  if (form == TableDumpLayout::peers || form == TableDumpLayout::peersWithPlaces) {
    return peerTable(body, form == TableDumpLayout::peersWithPlaces);
  }
  entries_ = {};
  entries_.peers_ = &peers_;
  if (form == TableDumpLayout::genericRib) return genericRib(body, pathIds);
  entries_.pathIds_ = pathIds;
  entries_.afi_ = mostBits == ipv4Bits ? ipv4Family : ipv6Family;
  entries_.safi_ = safi;
  rib(body, mostBits);
}

void MrtRecord::rib(Cursor& body, unsigned mostBits) {
  constexpr std::size_t sequence = 4;
  MrtEntry& common = entries_.common_;
  need(body.skip(sequence) && body.octet(common.bits), "its RIB header");
  needBitsUpTo(mostBits, common.bits);
  need(body.take(octetsOfBits(common.bits), common.nlri), "its prefix");
  need(body.twoOctets(entries_.count_), "its RIB header");
  readEntries(body);
}

void MrtRecord::genericRib(Cursor& body, bool addPath) {
  need(body.skip(4) && body.twoOctets(entries_.afi_) && body.octet(entries_.safi_), "its RIB header");
  for (const GenericReading& reading : genericReadings) {
    Cursor at = body;
    MrtEntry& common = entries_.common_;
    if ((reading.idInNlri || reading.idInEntries) != addPath) continue;
    if (reading.idInNlri && !at.number(4, common.pathId)) continue;
    common.nlri = at.rest();
    if (!(reading.prefix ? skipPrefix(at, common.bits) : skipOctetCounted(at, entries_.safi_))) continue;
    common.nlri = common.nlri.first(common.nlri.size() - at.left());
    entries_.nlriHasId_ = reading.idInNlri;
    entries_.pathIds_ = reading.idInEntries;
    if (!at.twoOctets(entries_.count_) || !entriesFit(entries_, at)) continue;
    if (isPlainPrefix(entries_.afi_, entries_.safi_)) {
      needBitsUpTo(entries_.afi_ == ipv4Family ? ipv4Bits : ipv6Bits, common.bits);
      common.nlri = common.nlri.subspan(1);
    }
    return readEntries(at);
  }
  throw Malformed{"its NLRI and RIB entries do not end where the record does, expected them to"};
}

// Whether the entries end exactly where the record does.
bool MrtRecord::entriesFit(MrtEntries entries, Cursor body) const {
  entries.rest_ = body;
  for (MrtEntry entry; entries.next(entry);) {
  }
  return entries.complete();
}

void MrtRecord::readEntries(Cursor& body) {
  form_ = Form::rib;
  entries_.rest_ = body;
  MrtEntries walk = entries_;
  for (MrtEntry entry; walk.next(entry); ++paths_) {
    if (walk.form_ == MrtEntries::Form::tableDump) {
      needBitsUpTo(walk.afi_ == ipv4Family ? ipv4Bits : ipv6Bits, entry.bits);
    }
    attributesOf(entry.attributes);
  }
  need(walk.form_ == MrtEntries::Form::tableDump ? walk.left() == 0 : walk.count_ == 0, "a RIB entry");
  needNoMore(walk.rest_);
}

void MrtRecord::peerTable(Cursor& body, bool withPlaces) {
  constexpr std::size_t place = 8;  // latitude and longitude (RFC 6397)
  constexpr std::uint32_t ipv6Peer = 1;
  constexpr std::uint32_t fourOctetAsPeer = 2;
  form_ = Form::peerTable;
  peers_.clear();
  peerOctets_.assign(body.rest().begin(), body.rest().end());
  body = Cursor(peerOctets_);
  std::vector<MrtPeer> peers;
  std::uint32_t nameLength = 0;
  std::uint32_t count = 0;
  need(body.skip(4) && body.twoOctets(nameLength) && body.skip(nameLength + (withPlaces ? place : 0)) &&
           body.twoOctets(count),
       "its peer table's header");
  for (; count != 0; --count) {
    std::uint32_t type = 0;
    MrtPeer peer;
    need(body.octet(type), "a peer");
    need(body.skip(4) && body.take((type & ipv6Peer) != 0 ? 16 : 4, peer.address) &&
             body.number((type & fourOctetAsPeer) != 0 ? 4 : 2, peer.as) && body.skip(withPlaces ? place : 0),
         "a peer");
    peers.push_back(peer);
  }
  needNoMore(body);
  peers_ = std::move(peers);
}

void MrtRecord::bgp4mp(std::uint16_t subtype, Cursor& body) {
  const Bgp4mpLayout& layout = bgp4mpLayouts[subtype];
  const std::size_t as = layout.fourOctetAs ? 4 : 2;
  constexpr std::size_t interfaceIndex = 2;
  std::uint32_t family = 0;
  MrtPeer peer;
  need(body.number(as, peer.as) && body.skip(as + interfaceIndex) && body.twoOctets(family), "its header");
  if (family != ipv4Family && family != ipv6Family) {
    throw Malformed{"address family " + std::to_string(family) + ", expected 1 or 2"};
  }
  const std::size_t address = family == ipv4Family ? 4 : 16;
  need(body.take(address, peer.address) && body.skip(address), "its addresses");
  if (!layout.stateChange) {
    message_ = {peer, layout.local, layout.addPath, layout.fourOctetAs, {}, {}, {}, {}};
    return bgpMessage(body);
  }
  stateChange_.peer = peer;
  need(body.twoOctets(stateChange_.oldState) && body.twoOctets(stateChange_.newState), "its states");
  needNoMore(body);
  form_ = Form::stateChange;
}

void MrtRecord::bgpMessage(Cursor& body) {
  constexpr std::size_t marker = 16;
  constexpr std::uint32_t updateType = 2;
  const std::size_t size = body.left();
  std::uint32_t length = 0;
  std::uint32_t type = 0;
  need(body.take(marker, message_.marker) && body.twoOctets(length) && body.octet(type), "its BGP header");
  if (length != size) {
    throw Malformed{"a BGP message that announces " + std::to_string(length) + " octets, expected the record's " +
                    std::to_string(size)};
  }
  if (type != updateType) return;
  if (size < leastUpdate) {
    throw Malformed{"an UPDATE of " + std::to_string(size) + " octets, expected at least " +
                    std::to_string(leastUpdate)};
  }
  need(body.twoOctets(length) && body.take(length, message_.withdrawn) && body.twoOctets(length),
       "its withdrawn routes");
  need(body.take(length, message_.attributes), "its path attributes");
  message_.announced = body.rest();
  attributesOf(message_.attributes);
  if (!message_.attributes.empty()) ++paths_;
  form_ = Form::update;
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

std::string faultOf(const CommunityAttribute& attribute) {
  const KindRow& row = kindRows[attribute.kind];
  return std::string("the ") + row.attributeName + " attribute of path " + std::to_string(attribute.path + 1) +
         " of the record has " + std::to_string(attribute.value.size()) + " octets, expected a multiple of " +
         std::to_string(row.octets) + ", and not none";
}

}  // namespace VelBgpTool
