// Values by name: the communities that configuration and policy build, each from the numbers that people know it by.
//
//   extendedContent = routeTarget(65000, 100);                     // two octets of AS, four of number
//   extendedContent = routeTarget(4200000000, 100);                // an AS above 65535: four octets, and two of number
//   extendedContent = routeTarget(Addr::Ip4Addr("192.0.2.1"), 5);
//   extendedContent = linkBandwidth(65000, 1.25e9F);               // octets per second
//   standardValue = standardComm(65000, 100);
//
// What does not fit is refused, never cut: every function throws Tyr::RangeException, whose text says what was too
// large. In a constant expression the same does not compile. Numbers are taken as 64 bits, so that a negative or a
// longer one is refused as well. Bits that no argument gives are zero.
//
// RFC 1997 and RFC 8092 (standard and large communities), RFC 4360, RFC 5668 and RFC 5701 (the layouts of extended
// ones), RFC 6514, RFC 7432, RFC 8097, RFC 9012. Plain values: no ownership, any thread.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>

#include "Addr/Ip4Addr.h"
#include "Policy/CommunityValue.h"
#include "Tyr/Exception.h"
#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/VelBgpCommunity.h"

namespace Routing::Bgp {

// ---- The layouts, under any type and subtype octet

// The lower six octets as they are; higher ones are dropped.
constexpr ExtCommContent sixOctetContent(std::uint8_t type, std::uint8_t subtype, std::uint64_t octets) noexcept {
  return ExtCommContent(std::uint64_t{type} << 56 | std::uint64_t{subtype} << 48 | (octets & 0xffffffffffff));
}
// An AS of two octets, and a number of four.
constexpr ExtCommContent twoOctetAsContent(std::uint8_t type, std::uint8_t subtype, std::uint16_t asn,
                                           std::uint32_t number) noexcept {
  return sixOctetContent(type, subtype, std::uint64_t{asn} << 32 | number);
}
// The IPv4-address layout too: the address in host order in place of the AS.
constexpr ExtCommContent fourOctetAsContent(std::uint8_t type, std::uint8_t subtype, std::uint32_t asn,
                                            std::uint16_t number) noexcept {
  return sixOctetContent(type, subtype, std::uint64_t{asn} << 16 | number);
}

// What the functions below share.
namespace making {

constexpr std::uint64_t most16 = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint64_t most32 = std::numeric_limits<std::uint32_t>::max();

template <typename Number>
constexpr Number fitting(std::uint64_t value, std::uint64_t most, const char* refusal) {
  if (value > most) throw Tyr::RangeException(refusal);
  return static_cast<Number>(value);
}

constexpr std::uint16_t number16(std::uint64_t number) {
  return fitting<std::uint16_t>(number, most16, "number > 65535 not allowed");
}
constexpr std::uint32_t asNumber(std::uint64_t asn) {
  return fitting<std::uint32_t>(asn, most32, "asn > 4294967295 not allowed");
}

constexpr ExtCommContent ofAs(std::uint8_t subtype, std::uint64_t asn, std::uint64_t number) {
  if (asn <= most16) {
    return twoOctetAsContent(extCommPktTypeTransTwoOctetAs, subtype, static_cast<std::uint16_t>(asn),
                             fitting<std::uint32_t>(number, most32, "number > 4294967295 not allowed"));
  }
  const char* const refusal = "number > 65535 not allowed with asn > 65535";
  return fourOctetAsContent(extCommPktTypeTransFourOctetAs, subtype, asNumber(asn),
                            fitting<std::uint16_t>(number, most16, refusal));
}
constexpr ExtCommContent ofIp4(std::uint8_t subtype, const Addr::Ip4Addr& address, std::uint64_t number) {
  return fourOctetAsContent(extCommPktTypeTransIpv4Address, subtype, address.value(), number16(number));
}
constexpr ExtCommIp6Content ofIp6(std::uint8_t subtype, const Addr::Ip6Addr& address, std::uint64_t number) {
  return {extCommIp6PktTypeTransIpv6Address, subtype, address, number16(number)};
}

}  // namespace making

// ---- Extended communities

// Of an AS: two octets if it fits, else four, which leave the number two. Of an address: a number of two octets.
constexpr ExtCommContent routeTarget(std::uint64_t asn, std::uint64_t number) {
  return making::ofAs(extCommPktSubtypeTransTwoOctetAsRouteTarget, asn, number);
}
constexpr ExtCommContent routeTarget(const Addr::Ip4Addr& address, std::uint64_t number) {
  return making::ofIp4(extCommPktSubtypeTransIpv4AddressRouteTarget, address, number);
}
constexpr ExtCommIp6Content routeTarget(const Addr::Ip6Addr& address, std::uint64_t number) {
  return making::ofIp6(extCommIp6PktSubtypeRouteTarget, address, number);
}

// As for routeTarget().
constexpr ExtCommContent routeOrigin(std::uint64_t asn, std::uint64_t number) {
  return making::ofAs(extCommPktSubtypeTransTwoOctetAsRouteOrigin, asn, number);
}
constexpr ExtCommContent routeOrigin(const Addr::Ip4Addr& address, std::uint64_t number) {
  return making::ofIp4(extCommPktSubtypeTransIpv4AddressRouteOrigin, address, number);
}
constexpr ExtCommIp6Content routeOrigin(const Addr::Ip6Addr& address, std::uint64_t number) {
  return making::ofIp6(extCommIp6PktSubtypeRouteOrigin, address, number);
}

// The number is 0 wherever RFC 6514 has its way.
constexpr ExtCommContent sourceAs(std::uint64_t asn, std::uint64_t number = 0) {
  return making::ofAs(extCommPktSubtypeTransTwoOctetAsSourceAs, asn, number);
}

// The number, of two octets, is the VRF that the address's router means by it.
constexpr ExtCommContent vrfRouteImport(const Addr::Ip4Addr& address, std::uint64_t number) {
  return making::ofIp4(extCommPktSubtypeTransIpv4AddressVrfRouteImport, address, number);
}
constexpr ExtCommIp6Content vrfRouteImport(const Addr::Ip6Addr& address, std::uint64_t number) {
  return making::ofIp6(extCommIp6PktSubtypeVrfRouteImport, address, number);
}

// Of a link that carries so many octets per second: 0 or more, finite. The AS has two octets on the wire.
constexpr ExtCommContent linkBandwidth(std::uint64_t asn, float octetsPerSecond) {
  if (!(octetsPerSecond >= 0 && octetsPerSecond <= std::numeric_limits<float>::max())) {
    throw Tyr::RangeException("octetsPerSecond < 0 or not finite not allowed");
  }
  const auto as2 = making::fitting<std::uint16_t>(asn, making::most16, "asn > 65535 not allowed");
  const float plain = octetsPerSecond + 0.0F;  // of -0 too
  return twoOctetAsContent(extCommPktTypeNonTransTwoOctetAs, extCommPktSubtypeNonTransTwoOctetAsLinkBandwidth, as2,
                           std::bit_cast<std::uint32_t>(plain));
}

// The "color only" bits are a number of 0 to 3.
constexpr ExtCommContent color(std::uint64_t color, std::uint64_t colorOnly = 0) {
  const auto flags = making::fitting<std::uint64_t>(colorOnly, 3, "colorOnly > 3 not allowed") << 46;
  return sixOctetContent(
      extCommPktTypeTransOpaque, extCommPktSubtypeTransOpaqueColorExtendedCommunity,
      flags | making::fitting<std::uint64_t>(color, making::most32, "color > 4294967295 not allowed"));
}

// A TunnelType (VelBgp/Parse/ExtCommTunnelEncap.h), or the number of one without a name.
constexpr ExtCommContent tunnelEncap(std::uint64_t tunnelType) {
  return sixOctetContent(extCommPktTypeTransOpaque, extCommPktSubtypeTransOpaqueEncapsulationExtendedCommunity,
                         making::fitting<std::uint64_t>(tunnelType, making::most16, "tunnelType > 65535 not allowed"));
}

// RFC 8097, as on the wire: 0, 1, 2.
enum class OriginValidation : std::uint8_t { valid, notFound, invalid };

// Throws for a number that is no state.
constexpr ExtCommContent originValidationState(OriginValidation state) {
  const auto number = static_cast<std::uint64_t>(state);
  return sixOctetContent(extCommPktTypeNonTransOpaque, extCommPktSubtypeNonTransOriginValidationState,
                         making::fitting<std::uint64_t>(number, 2, "state > 2 not allowed"));
}

// Has no number.
constexpr ExtCommContent defaultGateway() noexcept {
  return sixOctetContent(extCommPktTypeTransOpaque, extCommPktSubtypeTransOpaqueDefaultGateway, 0);
}

// ---- Standard and large communities

// "A:B"
constexpr std::uint32_t standardComm(std::uint64_t asn, std::uint64_t number) {
  return making::fitting<std::uint32_t>(asn, making::most16, "asn > 65535 not allowed") << 16 |
         making::number16(number);
}

// "A:B:C"
constexpr Acl::CommunityValue largeComm(std::uint64_t asn, std::uint64_t data1, std::uint64_t data2) {
  const char* const refusal = "data > 4294967295 not allowed";
  return {making::asNumber(asn), making::fitting<std::uint32_t>(data1, making::most32, refusal),
          making::fitting<std::uint32_t>(data2, making::most32, refusal)};
}

}  // namespace Routing::Bgp
