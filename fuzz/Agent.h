// What an agent has: a decoder, and tables of values and lists. And values as they stand in an attribute.
#pragma once

#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "fuzz/Fuzz.h"

namespace VelBgpFuzz {

using namespace Routing::Bgp;

struct Agent {
  explicit Agent(bool mvpn) : decoder(bgpParseExtCommContainerSmFactory(mvpn)) {}

  BgpParseExtCommContainerSm::Ptr decoder;
  ExtCommDedupTable::Ptr communities = ExtCommDedupTableIs(decoder->extCommParser());
  ExtCommIp6DedupTable::Ptr ip6Communities = ExtCommIp6DedupTableIs(decoder->extCommParser());
  ExtCommListDedupTable::Ptr extended = ExtCommListDedupTableIs();
  ExtCommIp6ListDedupTable::Ptr extendedIp6 = ExtCommIp6ListDedupTableIs();
  LargeCommListDedupTable::Ptr large = LargeCommListDedupTableIs();
  CommListDedupTable::Ptr standard = CommListDedupTableIs();
};

// With and without what the toggle "Mvpn" guards.
inline const Agent& agent(bool mvpn) {
  static const Agent with(true), without(false);
  return mvpn ? with : without;
}

template <typename Value>
Value takeValue(Input& input) {
  return input.number<Value>();
}
template <>
inline CommunityValue takeValue(Input& input) {
  const auto first = input.number<std::uint32_t>();
  const auto second = input.number<std::uint32_t>();
  return {first, second, input.number<std::uint32_t>()};
}
template <>
inline ExtCommIp6Content takeValue(Input& input) {
  const std::uint16_t type = input.number<std::uint16_t>();
  Routing::Addr::Ip6Addr::Octets address{};
  std::ranges::copy(input.take(address.size()), address.begin());
  return {static_cast<std::uint8_t>(type >> 8), static_cast<std::uint8_t>(type), Routing::Addr::Ip6Addr(address),
          input.number<std::uint16_t>()};
}

// The whole ones among the octets.
template <typename Value>
std::vector<Value> valuesOf(Octets octets) {
  std::vector<Value> values;
  Input input(octets.first(octets.size() - octets.size() % sizeof(Value)));
  while (!input.empty()) values.push_back(takeValue<Value>(input));
  return values;
}

}  // namespace VelBgpFuzz
