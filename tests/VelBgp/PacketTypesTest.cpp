#include "VelBgp/VelBgpCommunityPacketTypes.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Tyr/Exception.h"

namespace {

using namespace Routing::Bgp;

// The two conversions that bear their enumeration's name.
template <typename E>
struct Instance {
  E (*ofNumber)(unsigned long);
  E (*ofName)(const std::string&);
};

template <typename E>
void checkMember(const Instance<E>& instance, E member, const std::string& name) {
  std::ostringstream stream;
  stream << member;
  for (const std::string& text :
       {stringValue(member), valueToStrep(member), std::string(enumName(member)), stream.str()}) {
    EXPECT_EQ(text, name);
  }
  Tyr::StrepIterator it = name.data();
  E read{};
  sequenceToValue(it, name.data() + name.size(), &read);
  EXPECT_EQ(it, name.data() + name.size());
  for (const E same : {read, instance.ofName(name), instance.ofNumber(member)}) EXPECT_EQ(same, member);
}

// `points`: all code points, each with what follows the stem in its name; `others`: the names of the other members.
template <typename E>
void checkEnumeration(const Instance<E>& instance, const std::string& stem,
                      const std::map<unsigned, std::string>& points, const std::vector<std::string>& others) {
  std::size_t members = 0;
  for (unsigned number = 0; number <= 0xffff; ++number) {
    const E e = E(number);
    const auto point = points.find(number);
    ASSERT_EQ(bgpIsValidEnumMember(e), point != points.end()) << stem << number;
    if (enumName(e) != nullptr) ++members;
    if (point != points.end()) checkMember(instance, e, stem + point->second);
  }
  EXPECT_EQ(members, points.size() + others.size());
  for (const std::string& name : others) {
    EXPECT_GT(instance.ofName(name), 255);
    checkMember(instance, instance.ofName(name), name);
  }
  EXPECT_THROW(instance.ofName(stem), Tyr::BadNameException);
  for (const unsigned long number : {7ul, 255ul, 258ul, 0x10000ul, 0x10002ul}) {
    if (points.contains(number)) continue;
    EXPECT_THROW(instance.ofNumber(number), Tyr::RangeException) << stem << number;
  }
}

#define CHECK_ENUMERATION(E, ...) checkEnumeration(Instance<E>{E##Instance, E##Instance}, __VA_ARGS__)

// clang-format off
TEST(PacketTypes, typeOctets) {
  CHECK_ENUMERATION(BgpExtCommPktType, "extCommPktType",
    {{0x00, "TransTwoOctetAs"}, {0x01, "TransIpv4Address"}, {0x02, "TransFourOctetAs"},
     {0x03, "TransOpaque"}, {0x04, "TransQosMarking"}, {0x05, "TransCosCapability"}, {0x06, "TransEvpn"},
     {0x08, "TransFlowspecRedirectNexthop"}, {0x40, "NonTransTwoOctetAs"}, {0x41, "NonTransIpv4Address"},
     {0x42, "NonTransFourOctetAs"}, {0x43, "NonTransOpaque"}, {0x44, "NonTransQosMarking"},
     {0x80, "TransGeneric"}, {0x81, "TransGenericPart2"}, {0x82, "TransGenericPart3"}},
    {"extCommPktTypeUnknown"});
  EXPECT_EQ(extCommPktTypeUnknown, 256);
}

TEST(PacketTypes, transitiveSubtypes) {
  CHECK_ENUMERATION(BgpExtCommPktSubtypeTransTwoOctetAs, "extCommPktSubtypeTransTwoOctetAs",
    {{2, "RouteTarget"}, {3, "RouteOrigin"}, {5, "OspfDomainIdentifier"}, {8, "BgpDataCollection"},
     {9, "SourceAs"}, {10, "L2VpnIdentifier"}, {16, "CiscoVpnDistinguisher"}},
    {"extCommPktSubtypeTransTwoOctetAsUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeTransIpv4Address, "extCommPktSubtypeTransIpv4Address",
    {{2, "RouteTarget"}, {3, "RouteOrigin"}, {5, "OspfDomainIdentifier"}, {7, "OspfRouteId"},
     {10, "L2VpnIdentifier"}, {11, "VrfRouteImport"}, {12, "FlowspecRedirectIp"},
     {16, "CiscoVpnDistinguisher"}},
    {"extCommPktSubtypeTransIpv4AddressUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeTransFourOctetAs, "extCommPktSubtypeTransFourOctetAs",
    {{2, "RouteTarget"}, {3, "RouteOrigin"}, {4, "Generic"}, {5, "OspfDomainIdentifier"},
     {8, "BgpDataCollection"}, {9, "SourceAs"}, {16, "CiscoVpnDistinguisher"}},
    {"extCommPktSubtypeTransFourOctetAsUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeTransOpaque, "extCommPktSubtypeTransOpaque",
    {{1, "CostCommunity"}, {3, "OutboundRouteFilter"}, {6, "OspfRouteType"}, {11, "ColorExtendedCommunity"},
     {12, "EncapsulationExtendedCommunity"}, {13, "DefaultGateway"}},
    {"extCommPktSubtypeTransOpaqeUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeEvpn, "extCommPktSubtypeEvpn",
    {{0, "MacMobility"}, {1, "EsiMplsLabel"}, {2, "EsImport"}, {3, "RouterMac"}, {4, "Layer2Attributes"},
     {5, "Etree"}, {6, "DFElection"}, {8, "NdFlags"}, {9, "MulticastFlags"}, {10, "EviRtType0"},
     {11, "EviRtType1"}, {12, "EviRtType2"}},
    {"extCommPktSubtypeEvpnUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeTransFlowspecRedirectNexthop, "extCommPktSubtypeFlowspecRedirect",
    {{0, "Nexthop"}}, {"extCommPktSubtypeFlowspecRedirectUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeTransGeneric, "extCommPktSubtypeTransGeneric",
    {{6, "FlowspecTrafficRate"}, {7, "FlowspecTrafficAction"}, {8, "FlowspecRedirectAs2Byte"},
     {9, "FlowspecTrafficRemarking"}, {10, "Layer2InfoExtendedCommunity"}, {11, "EtreeInfo"}},
    {"extCommPktSubtypeTransGenericUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeTransGenericPart2, "extCommPktSubtypeTransGenericPart2",
    {{8, "FlowspecRedirectIpv4"}}, {"extCommPktSubtypeTransGenericPart2Unknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeTransGenericPart3, "extCommPktSubtypeTransGenericPart3",
    {{8, "FlowspecRedirectAs4Byte"}}, {"extCommPktSubtypeTransGenericPart3Unknown"});
}

TEST(PacketTypes, nonTransitiveSubtypes) {
  CHECK_ENUMERATION(BgpExtCommPktSubtypeNonTransTwoOctetAs, "extCommPktSubtypeNonTransTwoOctetAs",
    {{4, "LinkBandwidth"}, {128, "VirtualNetworkIdentifier"}},
    {"extCommPktSubtypeNonTransTwoOctetAsLinkBandwidthAny", "extCommPktSubtypeNonTransTwoOctetAsUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeNonTransIpv4Address, "extCommPktSubtypeNonTransIpv4Address",
    {}, {"extCommPktSubtypeNonTransIpv4AddressUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeNonTransFourOctetAs, "extCommPktSubtypeNonTransFourOctetAs",
    {{4, "Generic"}}, {"extCommPktSubNonTransFourOctetAsUnknown"});
  CHECK_ENUMERATION(BgpExtCommPktSubtypeNonTransOpaque, "extCommPktSubtypeNonTrans",
    {{0, "OriginValidationState"}, {1, "CostCommunity"}, {2, "RouteTarget"}},
    {"extCommPktSubtypeNonTransOpaqueUnknown"});
}

TEST(PacketTypes, ip6) {
  CHECK_ENUMERATION(BgpExtCommIp6PktType, "extCommIp6PktType",
    {{0x00, "TransIpv6Address"}, {0x40, "NonTransIpv6Address"}}, {"extCommIp6PktTypeUnknown"});
  EXPECT_EQ(extCommIp6PktTypeUnknown, 256);
  CHECK_ENUMERATION(BgpExtCommIp6PktSubtypeTransIpv6Address, "extCommIp6PktSubtype",
    {{0x02, "RouteTarget"}, {0x03, "RouteOrigin"}, {0x04, "Ospf3RouteAttributes"}, {0x0b, "VrfRouteImport"},
     {0x0c, "FlowspecRedirectIpv6"}, {0x10, "CiscoVpnDistinguisher"}, {0x11, "UuidRouteTarget"},
     {0x12, "InterAreaP2MPNextHop"}},
    {"extCommIp6PktSubtypeTransIpv6AddressUnknown"});
  CHECK_ENUMERATION(BgpExtCommIp6PktSubtypeNonTransIpv6Address, "extCommIp6PktSubtypeNonTransIpv6Address",
    {}, {"extCommIp6PktSubtypeNonTransIpv6AddressUnknown"});
}
// clang-format on

TEST(PacketTypes, classifications) {
  const char* const names[] = {"UnSpecified",     "RouteTarget",           "RouteOrigin",    "Evpn",
                               "TunnelEncap",     "DefaultGateway",        "Flowspec",       "LinkBandwidth",
                               "Color",           "OriginValidationState", "VrfRouteImport", "SourceAs",
                               "L2VpnIdentifier", "OneBeyondLast"};
  static_assert(Tyr::Range<ExtCommClassification>::size() == std::size(names));
  for (unsigned i = 0; i < std::size(names); ++i) {
    EXPECT_EQ(stringValue(ExtCommClassification(i)), std::string("extCommClassification") + names[i]);
  }
  EXPECT_THROW(ExtCommClassificationInstance(14), Tyr::RangeException);
}

// The argument is cut to 16 bits, as the enumerations are.
TEST(PacketTypes, onlyTheLow16BitsCount) {
  EXPECT_TRUE(bgpIsValidEnumMember(BgpExtCommPktType(0x7ffe0002u)));
  EXPECT_FALSE(bgpIsValidEnumMember(BgpExtCommPktType(0x00020007u)));
}

TEST(PacketTypes, subtypeStrings) {
  EXPECT_EQ(extCommSubtypeString<BgpExtCommPktSubtypeTransTwoOctetAs>(0x02),
            "extCommPktSubtypeTransTwoOctetAsRouteTarget");
  EXPECT_EQ(extCommSubtypeString<BgpExtCommPktSubtypeTransTwoOctetAs>(0x0e), "subtype=14");
  EXPECT_EQ(extCommSubtypeString<BgpExtCommPktSubtypeTransTwoOctetAs>(0), "subtype=0");
  EXPECT_EQ(extCommSubtypeString<BgpExtCommPktSubtypeEvpn>(7), "subtype=7");
  for (unsigned octet = 0; octet <= 255; ++octet) {
    EXPECT_EQ(extCommSubtypeString<BgpExtCommPktSubtypeNonTransIpv4Address>(static_cast<std::uint8_t>(octet)),
              "subtype=" + std::to_string(octet));
  }
}

TEST(PacketTypes, optionalSubtype) {
  BgpExtCommPktSubtype subtype;
  EXPECT_TRUE(subtype.isUnspecified());
  for (const unsigned octet : {0u, 1u, 255u}) {
    subtype.valueIs(octet);
    EXPECT_EQ(subtype, octet);
  }
  EXPECT_THROW(subtype.valueIs(256), Tyr::RangeException);
  EXPECT_TRUE(subtype.isUnspecified());
  EXPECT_THROW(BgpExtCommPktSubtype(256), Tyr::RangeException);
  EXPECT_EQ(BgpExtCommPktSubtype(0x8000000000000000), BgpExtCommPktSubtype());
  // The low bits of an unspecified value say nothing.
  EXPECT_EQ(BgpExtCommPktSubtype(0x8000000000000007), BgpExtCommPktSubtype());
}

}  // namespace
