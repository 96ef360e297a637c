#include "VelBgp/BgpPathAttributeEnums.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <sstream>
#include <string>

#include "Tyr/Exception.h"

namespace {

using namespace Routing::Bgp;

struct Named {
  const char* enumerator;
  const char* shown;
};

// clang-format off
const std::map<unsigned, Named> attributes = {
    {0, {"invalidPathAttr", "Invalid Path Attribute"}}, {1, {"origin", "Origin"}}, {2, {"asPath", "AS Path"}},
    {3, {"nextHop", "Nexthop"}}, {4, {"multiExitDisc", "MED"}}, {5, {"localPref", "Local Preference"}},
    {6, {"atomicAggregate", "Atomic Aggregator"}}, {7, {"aggregator", "Aggregator"}}, {8, {"community", "Community"}},
    {9, {"originatorId", "Originator ID"}}, {10, {"clusterList", "Cluster List"}}, {12, {"advertiser", "Advertiser"}},
    {13, {"rcidPath", "RCID Path"}}, {14, {"mpReachNlri", "MP Reach NLRI"}},
    {15, {"mpUnreachNlri", "MP Unreach NLRI"}}, {16, {"extCommunity", "Extended Community"}},
    {17, {"as4Path", "AS4 Path"}}, {18, {"as4Aggregator", "AS4 Aggregator"}}, {22, {"pmsiTunnel", "PMSI Tunnel"}},
    {23, {"tunnelEncapsulation", "Tunnel Encapsulation"}},
    {25, {"extCommunityIp6", "IPv6 Address Specific Extended Community"}},
    {26, {"accumulatedIgpMetric", "Accumulated IGP Metric"}}, {29, {"bgpLs", "Link State"}},
    {32, {"largeCommunity", "Large Community"}}, {36, {"domainPath", "Domain Path"}},
    {40, {"prefixSid", "BGP Prefix-SID"}}, {128, {"attrSet", "Attribute Set"}},
    {255, {"reservedForDevelopment", "Reserved for Development"}}};
// clang-format on

TEST(PathAttributeEnums, everyTypeCode) {
  for (unsigned code = 0; code <= 0xffff; ++code) {
    const auto type = BgpPathAttrType(code);
    const auto expected = attributes.find(code);
    ASSERT_EQ(bgpIsValidEnumMember(type), expected != attributes.end()) << code;
    if (expected == attributes.end()) {
      ASSERT_STREQ(bgpPathAttrTypeShowString(type), "Invalid attribute") << code;
      continue;
    }
    EXPECT_STREQ(bgpPathAttrTypeShowString(type), expected->second.shown);
    EXPECT_EQ(stringValue(type), expected->second.enumerator);
    EXPECT_EQ(BgpPathAttrTypeInstance(expected->second.enumerator), type);
  }
  EXPECT_EQ(stringValue(BgpPathAttrType::attrTypeUnknown), "attrTypeUnknown");
  EXPECT_GT(static_cast<unsigned>(BgpPathAttrType::attrTypeUnknown), 255u);
  EXPECT_THROW(BgpPathAttrTypeInstance(11), Tyr::RangeException);
}

template <typename E>
std::string printed(std::initializer_list<unsigned> numbers) {
  std::ostringstream stream;
  for (const unsigned number : numbers) stream << E(number) << ' ';
  return stream.str();
}

TEST(PathAttributeEnums, otherNames) {
  EXPECT_EQ(printed<BgpPathAttrFlag>({0x40, 0x80, 0xc0, 0xe0}),
            "transitive optional optionalTransitive optionalTransitivePartial ");
  EXPECT_EQ(printed<PrefixSidTlvType>({1, 2, 3, 4, 5, 6, invalidTlv}),
            "labelIndexTlv ipv6SidTlv originatorSrgbTlv deprecatedTlv srv6L3service srv6L2service invalidTlv ");
  EXPECT_EQ(printed<Srv6ServiceSubTlvType>({1, invalidSubTlv, unknownSubTlv}),
            "sidInformationSubTlv invalidSubTlv unknownSubTlv ");
  EXPECT_EQ(printed<Srv6ServiceSubSubTlvType>({1, invalidSubSubTlv, unknownSubSubTlv}),
            "sidStructureSubSubTlv invalidSubSubTlv unknownSubSubTlv ");
  const char* const origins[] = {"aspTypeLocal",      "aspTypeIbgp",      "aspTypeEbgp",
                                 "aspTypeConfedEbgp", "aspTypeAggregate", "aspTypeDefaultOriginate"};
  for (const char* origin : origins) EXPECT_LT(AspTypeInstance(origin), aspTypeMax) << origin;
  EXPECT_EQ(aspTypeMax, std::size(origins));
}

TEST(PathAttributeEnums, constantsPrintAsNumbers) {
  std::ostringstream stream;
  stream << flagOctets << codeOctets << lenOctets << extendedLenOctets << ' ' << afiOctets << safiOctets
         << nhLenForReachOctets << mpReachRsvdOctets;
  EXPECT_EQ(stream.str(), "1112 2111");
}

TEST(PathAttributeEnums, flagsOctet) {
  for (unsigned octet = 0; octet <= 255; ++octet) {
    const BgpUpdateMsgAttributeFlags flags(static_cast<std::uint8_t>(octet));
    EXPECT_EQ(flags.optional(), (octet & 0x80) != 0);
    EXPECT_EQ(flags.transitive(), (octet & 0x40) != 0);
    EXPECT_EQ(flags.partial(), (octet & 0x20) != 0);
    EXPECT_EQ(flags.extendedLength(), (octet & 0x10) != 0);
  }
  BgpUpdateMsgAttributeFlags flags(0x2f);
  flags.optionalIs(true);
  flags.transitiveIs(true);
  flags.extendedLengthIs(true);
  flags.partialIs(false);
  std::ostringstream stream;
  stream << flags;
  EXPECT_EQ(stream.str(), "223");
  const std::string text = "192)256";
  Tyr::StrepIterator it = text.data();
  const Tyr::StrepIterator end = it + text.size();
  sequenceToValue(it, end, &flags);
  EXPECT_EQ(flags, BgpUpdateMsgAttributeFlags(0xc0));
  EXPECT_EQ(*it++, ')');
  EXPECT_THROW(sequenceToValue(it, end, &flags), Tyr::ParseException);
  EXPECT_EQ(flags.value(), 0xc0);
}

}  // namespace
