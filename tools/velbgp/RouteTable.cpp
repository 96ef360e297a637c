#include "tools/velbgp/RouteTable.h"

#include "tools/velbgp/Console.h"
#include "tools/velbgp/RouteText.h"
#include "tools/velbgp/Wire.h"

namespace VelBgpTool {

namespace {

std::string peerOctets(const MrtPeer& peer) {
  return Wire().u32(peer.address.empty() ? 0 : peer.as).text(textOf(peer.address)).str();
}

// Peer and AS, family, what is there, path identifier, bits, and the octets of a prefix or of NLRI.
constexpr std::size_t peerSize = 4;

}  // namespace

std::uint32_t RouteStock::keyOf(const Route& route) {
  const RouteTarget& target = route.target;
  Wire key;
  key.u32(peers.numberOf(peerOctets(route.peer))).u16(target.family.afi).u8(target.family.safi);
  key.u8((target.isPrefix ? 1U : 0U) | (target.hasPathId ? 2U : 0U)).u32(target.nlri.pathId).u8(target.nlri.bits);
  if (target.isPrefix) {
    const auto octets = maskedOctets(target.nlri);
    key.text(textOf(Octets(octets).first((target.nlri.bits + 7) / 8)));
  } else {
    key.text(textOf(target.nlri.octets));
  }
  return keys.numberOf(key.view());
}

RouteStock::Key RouteStock::keyAt(std::uint32_t number) const {
  Key key;
  Cursor rest(keys.octetsAt(number));
  std::uint32_t peer = 0;
  std::uint32_t there = 0;
  RouteTarget& target = key.target;
  rest.number(peerSize, peer);
  rest.twoOctets(target.family.afi);
  rest.octet(target.family.safi);
  rest.octet(there);
  rest.number(4, target.nlri.pathId);
  rest.octet(target.nlri.bits);
  target.nlri.octets = rest.rest();
  target.isPrefix = (there & 1) != 0;
  target.hasPathId = (there & 2) != 0;
  Cursor who(peers.octetsAt(peer));
  who.number(4, key.peer.as);
  key.peer.address = who.rest();
  return key;
}

RouteFacts KeptRoute::facts(const RouteStock& stock) const {
  RouteFacts facts;
  facts.hasAsPath = asPath != none;
  if (facts.hasAsPath) facts.asPath = stock.texts.at(asPath);
  facts.origin = origin;
  if (nextHop != none) facts.nextHop = stock.texts.octetsAt(nextHop);
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (lists[kind] != none) facts.lists[kind] = stock.texts.octetsAt(lists[kind]);
  }
  return facts;
}

bool RouteTable::stands(const KeptRoute& route) const {
  if (route.type == Route::Type::withdraw) return false;
  const auto peer = static_cast<std::uint32_t>(bigEndian(stock_.keys.octetsAt(route.key).first(peerSize)));
  return peer >= epochs_.size() || route.epoch == epochs_[peer];
}

const KeptRoute* RouteTable::find(std::uint32_t key) const {
  if (key >= places_.size() || places_[key] == KeptRoute::none) return nullptr;
  const KeptRoute& route = routes_[places_[key]];
  return stands(route) ? &route : nullptr;
}

KeptRoute& RouteTable::placeOf(std::uint32_t key) {
  if (key >= places_.size())
    places_.resize(std::max<std::size_t>(key + std::size_t{1}, 2 * places_.size()), KeptRoute::none);
  if (places_[key] == KeptRoute::none) {
    places_[key] = static_cast<std::uint32_t>(routes_.size());
    routes_.emplace_back();
  }
  return routes_[places_[key]];
}

std::uint32_t& RouteTable::epochOf(std::uint32_t peer) {
  if (peer >= epochs_.size()) epochs_.resize(peer + std::size_t{1});
  return epochs_[peer];
}

void RouteTable::routeIs(Route& route) {
  if (route.local) return;
  KeptRoute kept;
  kept.key = stock_.keyOf(route);
  kept.type = route.type;
  if (route.type != Route::Type::withdraw) {
    const RouteFacts facts = factsOf(route);
    if (facts.hasAsPath) kept.asPath = stock_.texts.numberOf(facts.asPath);
    if (!facts.nextHop.empty()) kept.nextHop = stock_.texts.numberOf(facts.nextHop);
    for (std::size_t kind = 0; kind < kindCount; ++kind) {
      if (!facts.lists[kind].empty()) kept.lists[kind] = stock_.texts.numberOf(facts.lists[kind]);
    }
    kept.origin = facts.origin;
    kept.time = route.time;
    kept.passes = filters_.pass(route);
    kept.epoch = epochOf(stock_.peers.numberOf(peerOctets(route.peer)));
  }
  placeOf(kept.key) = kept;
}

void RouteTable::stateChangeIs(const MrtRecord& record) {
  const MrtStateChange& change = record.stateChange();
  constexpr std::uint32_t established = MrtStateChange::established;
  if (change.oldState != established || change.newState == established) return;
  ++epochOf(stock_.peers.numberOf(peerOctets(change.peer)));
}

void RouteTable::faultIs(std::uint64_t offset, const std::string& fault) {
  console_.error({source_, offset, true}, fault);
}

}  // namespace VelBgpTool
