#include "VelBgp/VelBgpCommunityPacketTypes.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>

#include "Tyr/Exception.h"
#include "VelBgp/VelBgpCommunity.h"

namespace {

using namespace Routing::Bgp;

// "2:RouteTarget " for each code point, "256?..." for each other member; names without `stem`. What an enumeration does
// with its rows is Tyr/Enumeration.h's affair.
template <typename E>
std::string membersOf(const std::string& stem) {
  std::string members;
  for (unsigned number = 0; number <= std::numeric_limits<std::underlying_type_t<E>>::max(); ++number) {
    const char* const name = enumName(E(number));
    EXPECT_TRUE(name != nullptr || !bgpIsValidEnumMember(E(number))) << stem << number;
    if (name == nullptr) continue;
    const std::string text(name);
    members += std::to_string(number) + (bgpIsValidEnumMember(E(number)) ? ":" : "?");
    members += (text.starts_with(stem) ? text.substr(stem.size()) : text) + " ";
  }
  return members;
}

// Deliberate: two names are misspelt.
TEST(PacketTypes, members) {
  EXPECT_EQ(membersOf<BgpExtCommPktType>("extCommPktType"),
            "0:TransTwoOctetAs 1:TransIpv4Address 2:TransFourOctetAs 3:TransOpaque 4:TransQosMarking "
            "5:TransCosCapability 6:TransEvpn 8:TransFlowspecRedirectNexthop 64:NonTransTwoOctetAs "
            "65:NonTransIpv4Address 66:NonTransFourOctetAs 67:NonTransOpaque 68:NonTransQosMarking 128:TransGeneric "
            "129:TransGenericPart2 130:TransGenericPart3 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeTransTwoOctetAs>("extCommPktSubtypeTransTwoOctetAs"),
            "2:RouteTarget 3:RouteOrigin 5:OspfDomainIdentifier 8:BgpDataCollection 9:SourceAs 10:L2VpnIdentifier "
            "16:CiscoVpnDistinguisher 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeTransIpv4Address>("extCommPktSubtypeTransIpv4Address"),
            "2:RouteTarget 3:RouteOrigin 5:OspfDomainIdentifier 7:OspfRouteId 10:L2VpnIdentifier 11:VrfRouteImport "
            "12:FlowspecRedirectIp 16:CiscoVpnDistinguisher 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeTransFourOctetAs>("extCommPktSubtypeTransFourOctetAs"),
            "2:RouteTarget 3:RouteOrigin 4:Generic 5:OspfDomainIdentifier 8:BgpDataCollection 9:SourceAs "
            "16:CiscoVpnDistinguisher 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeTransOpaque>("extCommPktSubtypeTransOpaque"),
            "1:CostCommunity 3:OutboundRouteFilter 6:OspfRouteType 11:ColorExtendedCommunity "
            "12:EncapsulationExtendedCommunity 13:DefaultGateway 256?extCommPktSubtypeTransOpaqeUnknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeEvpn>("extCommPktSubtypeEvpn"),
            "0:MacMobility 1:EsiMplsLabel 2:EsImport 3:RouterMac 4:Layer2Attributes 5:Etree 6:DFElection 8:NdFlags "
            "9:MulticastFlags 10:EviRtType0 11:EviRtType1 12:EviRtType2 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeTransFlowspecRedirectNexthop>("extCommPktSubtypeFlowspecRedirect"),
            "0:Nexthop 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeTransGeneric>("extCommPktSubtypeTransGeneric"),
            "6:FlowspecTrafficRate 7:FlowspecTrafficAction 8:FlowspecRedirectAs2Byte 9:FlowspecTrafficRemarking "
            "10:Layer2InfoExtendedCommunity 11:EtreeInfo 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeTransGenericPart2>("extCommPktSubtypeTransGenericPart2"),
            "8:FlowspecRedirectIpv4 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeTransGenericPart3>("extCommPktSubtypeTransGenericPart3"),
            "8:FlowspecRedirectAs4Byte 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeNonTransTwoOctetAs>("extCommPktSubtypeNonTransTwoOctetAs"),
            "4:LinkBandwidth 128:VirtualNetworkIdentifier 256?Unknown 257?LinkBandwidthAny ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeNonTransIpv4Address>("extCommPktSubtypeNonTransIpv4Address"), "256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeNonTransFourOctetAs>("extCommPktSubtypeNonTransFourOctetAs"),
            "4:Generic 256?extCommPktSubNonTransFourOctetAsUnknown ");
  EXPECT_EQ(membersOf<BgpExtCommPktSubtypeNonTransOpaque>("extCommPktSubtypeNonTrans"),
            "0:OriginValidationState 1:CostCommunity 2:RouteTarget 256?OpaqueUnknown ");
  EXPECT_EQ(membersOf<BgpExtCommIp6PktType>("extCommIp6PktType"),
            "0:TransIpv6Address 64:NonTransIpv6Address 256?Unknown ");
  EXPECT_EQ(membersOf<BgpExtCommIp6PktSubtypeTransIpv6Address>("extCommIp6PktSubtype"),
            "2:RouteTarget 3:RouteOrigin 4:Ospf3RouteAttributes 11:VrfRouteImport 12:FlowspecRedirectIpv6 "
            "16:CiscoVpnDistinguisher 17:UuidRouteTarget 18:InterAreaP2MPNextHop 256?TransIpv6AddressUnknown ");
  EXPECT_EQ(membersOf<BgpExtCommIp6PktSubtypeNonTransIpv6Address>("extCommIp6PktSubtypeNonTransIpv6Address"),
            "256?Unknown ");
  EXPECT_EQ(membersOf<ExtCommClassification>("extCommClassification"),
            "0:UnSpecified 1:RouteTarget 2:RouteOrigin 3:Evpn 4:TunnelEncap 5:DefaultGateway 6:Flowspec "
            "7:LinkBandwidth 8:Color 9:OriginValidationState 10:VrfRouteImport 11:SourceAs 12:L2VpnIdentifier "
            "13:OneBeyondLast ");
  static_assert(Tyr::Range<ExtCommClassification>::size() == 14);
}

// The argument is cut to 16 bits, as the enumerations are.
TEST(PacketTypes, onlyTheLow16BitsCount) {
  EXPECT_TRUE(bgpIsValidEnumMember(BgpExtCommPktType(0x7ffe0002u)));
  EXPECT_FALSE(bgpIsValidEnumMember(BgpExtCommPktType(0x00020007u)));
}

TEST(PacketTypes, optionalSubtype) {
  BgpExtCommPktSubtype subtype;
  EXPECT_TRUE(subtype.isUnspecified());
  for (const unsigned octet : {0u, 1u, 255u}) {
    subtype.valueIs(octet);
    EXPECT_EQ(subtype.value(), octet);
  }
  EXPECT_THROW(subtype.valueIs(256), Tyr::RangeException);
  EXPECT_TRUE(subtype.isUnspecified());
  EXPECT_THROW(BgpExtCommPktSubtype(256), Tyr::RangeException);
  // The low bits of an unspecified value say nothing.
  EXPECT_EQ(BgpExtCommPktSubtype(0x8000000000000007), BgpExtCommPktSubtype());
}

// -1 less, 0 equal, 1 greater, by each of the operators and in both directions.
template <typename A, typename B>
void expectOrder(const A& a, const B& b, int order) {
  EXPECT_TRUE((a == b) == (order == 0) && (b == a) == (order == 0) && (a != b) == (order != 0)) << order;
  EXPECT_TRUE((a < b) == (order < 0) && (a <= b) == (order <= 0) && (b > a) == (order < 0)) << order;
  EXPECT_TRUE((a > b) == (order > 0) && (a >= b) == (order >= 0) && (b < a) == (order > 0)) << order;
}

TEST(PacketTypes, noSubtypeIsUnequalToEveryNumberAndLess) {
  const BgpExtCommPktSubtype none, two(2), most(255);
  const auto plain = ExtCommIs(extCommClassificationUnSpecified, ExtCommContent(0x0600000000000000));
  expectOrder(plain->pktSubtype(), 2u, -1);
  expectOrder(plain->pktSubtype(), extCommPktSubtypeTransTwoOctetAsRouteTarget, -1);
  expectOrder(none, std::numeric_limits<long>::min(), -1);
  expectOrder(none, ~std::uint64_t{0}, -1);
  expectOrder(none, two, -1);
  expectOrder(none, none, 0);
  expectOrder(two, two, 0);
  expectOrder(two, 2, 0);
  expectOrder(two, std::uint8_t{2}, 0);
  expectOrder(two, extCommPktSubtypeTransTwoOctetAsRouteTarget, 0);
  expectOrder(two, extCommPktSubtypeTransTwoOctetAsRouteOrigin, -1);
  expectOrder(two, -1, 1);
  expectOrder(most, 0x8000000000000002u, -1);
  expectOrder(most, two, 1);
}

}  // namespace
