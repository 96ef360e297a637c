// MRT records (RFC 6396) that hold UPDATEs, for programs that keep paths: readMrt(octets, rib) calls rib.come(key,
// attributes) and rib.go(key) for each prefix, in the order of the records. A key is a peer and a prefix.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "VelBgp/ReceivedAttributes.h"

namespace mrt {

using namespace Routing::Bgp;
using Octets = AttributeOctets;

// Takes octets off the front. What is too short gives nothing, and ends the record.
class Reader {
 public:
  explicit Reader(Octets octets) : octets_(octets) {}
  Octets take(std::size_t count) {
    if (count > octets_.size()) return octets_ = {};
    const Octets taken = octets_.first(count);
    octets_ = octets_.subspan(count);
    return taken;
  }
  std::uint32_t number(std::size_t count) {
    std::uint32_t number = 0;
    for (const std::uint8_t octet : take(count)) number = number << 8 | octet;
    return number;
  }
  bool empty() const { return octets_.empty(); }
  Octets rest() { return take(octets_.size()); }

 private:
  Octets octets_;
};

inline std::string_view text(Octets octets) { return {reinterpret_cast<const char*>(octets.data()), octets.size()}; }

struct Prefixes {
  Octets field;
  char family = 4;
};

// Calls visit(key) for each prefix: the key is the peer and the prefix.
template <typename Visit>
void forEachPrefix(Prefixes prefixes, std::string_view peer, Visit&& visit) {
  for (Reader reader(prefixes.field); !reader.empty();) {
    const std::uint32_t bits = reader.number(1);
    std::string key(peer);
    key += prefixes.family;
    key += static_cast<char>(bits);
    visit(key += text(reader.take((bits + 7) / 8)));
  }
}

// Of MP_REACH_NLRI and MP_UNREACH_NLRI (RFC 4760), where they are unicast.
inline Prefixes unicast(Octets value, bool reach) {
  Reader reader(value);
  const char family = reader.number(2) == 2 ? 6 : 4;
  const bool isUnicast = reader.number(1) == 1;
  if (reach) reader.take(reader.number(1) + 1);  // next hop, and a reserved octet
  return {isUnicast ? reader.rest() : Octets(), family};
}

template <typename Rib>
void readUpdate(Octets message, std::string_view peer, Rib& rib) {
  Reader reader(message);
  ReceivedAttributes received(ReceivedAttributes::Flags::judged);
  Prefixes reached;
  const auto go = [&](const std::string& key) { rib.go(key); };
  const auto come = [&](const std::string& key) {
    received.treatAsWithdraw() ? rib.go(key) : rib.come(key, received);  // RFC 7606
  };
  forEachPrefix({reader.take(reader.number(2))}, peer, go);
  PathAttributeWalk walk(reader.take(reader.number(2)));
  while (walk.next()) {
    const PathAttribute& attribute = walk.attribute();
    if (received.attributeIs(attribute)) continue;
    if (attribute.code == 14) reached = unicast(attribute.value, true);
    if (attribute.code == 15) forEachPrefix(unicast(attribute.value, false), peer, go);
  }
  received.endIs(walk);
  forEachPrefix({reader.rest()}, peer, come);
  forEachPrefix(reached, peer, come);
}

// Gives the number of UPDATEs.
template <typename Rib>
std::size_t readMrt(Octets file, Rib& rib) {
  std::size_t updates = 0;
  for (Reader records(file); !records.empty();) {
    records.take(4);
    const std::uint32_t type = records.number(2), subtype = records.number(2);
    Reader body(records.take(records.number(4)));
    if (type == 17) body.take(4);                                                // microseconds
    if ((type != 16 && type != 17) || (subtype != 1 && subtype != 4)) continue;  // messages alone
    body.take(subtype == 4 ? 8 : 4);                                             // the two ASes
    body.take(2);                                                                // interface
    const std::size_t address = body.number(2) == 2 ? 16 : 4;
    const std::string_view peer = text(body.take(address));
    body.take(address + 16 + 2);  // our address, marker and length
    if (body.number(1) != 2) continue;
    readUpdate(body.rest(), peer, rib);
    ++updates;
  }
  return updates;
}

}  // namespace mrt
