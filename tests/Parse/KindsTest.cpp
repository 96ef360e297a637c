#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>

#include "VelBgp/Parse/ExtCommColor.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/Parse/ExtCommLinkBandwidth.h"
#include "VelBgp/Parse/ExtCommRouteOrigin.h"
#include "VelBgp/Parse/ExtCommRouteTarget.h"
#include "VelBgp/Parse/ExtCommSourceAs.h"
#include "VelBgp/Parse/ExtCommTunnelEncap.h"
#include "support/Death.h"
#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

using Format = ExtComm::StrepFormat;
constexpr auto none = std::nullopt;

struct Row {
  std::uint64_t value;
  std::string type;
  int classification;
  std::string debug;
  std::string policy;                             // neither the classification nor the UI bit
  std::optional<std::string> classificationOnly;  // as policy
  std::string ui;
  std::optional<std::string> uiAsdot = none;     // as ui
  std::optional<std::string> uiWeighted = none;  // as ui
};

const Row rows[] = {
    {0x0002fde800000064, "ExtCommRouteTargetAs", 1, "<RouteTarget2ByteASN 65000:100 0x0002fde800000064>", "65000:100",
     "RT:65000:100", "Route-Target-AS:65000:100"},
    {0x0002ffffffffffff, "ExtCommRouteTargetAs", 1, "<RouteTarget2ByteASN 65535:4294967295 0x0002ffffffffffff>",
     "65535:4294967295", "RT:65535:4294967295", "Route-Target-AS:65535:4294967295"},
    {0x02020003000a0005, "ExtCommRouteTargetAs", 1, "<RouteTarget4ByteASN 196618:5 0x02020003000a0005>", "196618:5",
     "RT:196618:5", "Route-Target-AS4:196618:5", "Route-Target-AS4:3.10:5"},
    {0x0202000100000000, "ExtCommRouteTargetAs", 1, "<RouteTarget4ByteASN 65536:0 0x0202000100000000>", "65536:0",
     "RT:65536:0", "Route-Target-AS4:65536:0", "Route-Target-AS4:1.0:0"},
    {0x02020000ffff0000, "ExtCommRouteTargetAs", 1, "<RouteTarget4ByteASN 65535:0 0x02020000ffff0000>", "65535:0",
     "RT:65535:0", "Route-Target-AS4:65535:0"},
    {0x01020a0102030007, "ExtCommRouteTargetIpv4Address", 1, "<RouteTarget 10.1.2.3:7 0x01020a0102030007>",
     "10.1.2.3:7", "RT:10.1.2.3:7", "Route-Target-IP:10.1.2.3:7"},
    {0x0003fde800000064, "ExtCommRouteOriginAs", 2, "<RouteOrigin2ByteASN 65000:100 0x0003fde800000064>", "65000:100",
     "SoO:65000:100", "Route-Origin-AS:65000:100"},
    {0x0203ffffffffffff, "ExtCommRouteOriginAs", 2, "<RouteOrigin4ByteASN 4294967295:65535 0x0203ffffffffffff>",
     "4294967295:65535", "SoO:4294967295:65535", "Route-Origin-AS4:4294967295:65535",
     "Route-Origin-AS4:65535.65535:65535"},
    {0x0103ffffffffffff, "ExtCommRouteOriginIpv4Address", 2, "<RouteOrigin 255.255.255.255:65535 0x0103ffffffffffff>",
     "255.255.255.255:65535", "SoO:255.255.255.255:65535", "Route-Origin-IP:255.255.255.255:65535"},
    {0x0009fde800000000, "ExtCommSourceAs", 11, "<SourceAs2ByteASN 65000:0 0x0009fde800000000>", "65000:0",
     "SAS:65000:0", "Source-AS:65000:0"},
    {0x02090003000a0000, "ExtCommSourceAs", 11, "<SourceAs4ByteASN 196618:0 0x02090003000a0000>", "196618:0",
     "SAS:196618:0", "Source-AS4:196618:0", "Source-AS4:3.10:0"},
    {0x010bc0a8000100ff, "ExtCommVrfRouteImportIpv4Address", 10, "<VrfRouteImport 192.168.0.1:255 0x010bc0a8000100ff>",
     "192.168.0.1:255", "VRI:192.168.0.1:255", "VRF-Route-Import:192.168.0.1:255"},
    {0x4004fde84cee6b28, "ExtCommLinkBandwidth", 7, "<LinkBandwidth 65000:1.25e+08 0x4004fde84cee6b28>",
     "65000:1.25e+08", "lbw 65000:1.25e+08", "Link-Bandwidth-AS:65000:1 Gbps", none,
     "Link-Bandwidth-AS:65000:1 Gbps (weight 125000000)"},
    {0x4004000000000000, "ExtCommLinkBandwidth", 7, "<LinkBandwidth 0:0 0x4004000000000000>", "0:0", "lbw 0:0",
     "Link-Bandwidth-AS:0:0 bps", none, "Link-Bandwidth-AS:0:0 bps (no weight)"},
    {0x400400017fc00000, "ExtCommLinkBandwidth", 7, "<LinkBandwidth 1:nan 0x400400017fc00000>", "1:nan", "lbw 1:nan",
     "Link-Bandwidth-AS:1:nan", none, "Link-Bandwidth-AS:1:nan (no weight)"},
    {0x030b000000000064, "ExtCommColor", 8, "<Color CO(00):100 0x030b000000000064>", "Color:CO(00):100", none,
     "Color:CO(00):100"},
    {0x030b4000ffffffff, "ExtCommColor", 8, "<Color CO(01):4294967295 0x030b4000ffffffff>", "Color:CO(01):4294967295",
     none, "Color:CO(01):4294967295"},
    {0x030bbfff00000000, "ExtCommColor", 8, "<Color CO(10):0 0x030bbfff00000000>", "Color:CO(10):0", none,
     "Color:CO(10):0"},
    {0x030c000000000008, "ExtCommTunnelEncap", 4, "<TunnelEncap 8:tunnelTypeVxlan 0x030c000000000008>",
     "tunnelTypeVxlan", none, "Tunnel-Encap:tunnelTypeVxlan"},
    {0x030cffffffff0001, "ExtCommTunnelEncap", 4, "<TunnelEncap 1:tunnelTypeL2tpv3OverIp 0x030cffffffff0001>",
     "tunnelTypeL2tpv3OverIp", none, "Tunnel-Encap:tunnelTypeL2tpv3OverIp"},
    {0x030c000000000000, "ExtCommTunnelEncap", 4, "<TunnelEncap 0:tunnelTypeUnknown 0x030c000000000000>",
     "tunnelTypeUnknown", none, "Tunnel-Encap:tunnelTypeUnknown"},
    {0x030c00000000000d, "ExtCommTunnelEncap", 4, "<TunnelEncap 13:tunnelTypeUnknown 0x030c00000000000d>",
     "tunnelTypeUnknown", none, "Tunnel-Encap:tunnelTypeUnknown"},
    {0x030c00000000ffff, "ExtCommTunnelEncap", 4, "<TunnelEncap 65535:tunnelTypeUnknown 0x030c00000000ffff>",
     "tunnelTypeUnknown", none, "Tunnel-Encap:tunnelTypeUnknown"},
    {0x030d000000000000, "ExtCommDefaultGateway", 5, "<DefaultGateway 0x030d000000000000>", "DefaultGateway", none,
     "DefaultGateway"},
    {0x4300000000000000, "ExtCommOriginValidationState", 9, "<OriginValidationState valid 0x4300000000000000>", "",
     none, "Origin-Validation-State:valid"},
    {0x4300000000000001, "ExtCommOriginValidationState", 9, "<OriginValidationState not-found 0x4300000000000001>", "",
     none, "Origin-Validation-State:not-found"},
    {0x4300ffffffffff02, "ExtCommOriginValidationState", 9, "<OriginValidationState invalid 0x4300ffffffffff02>", "",
     none, "Origin-Validation-State:invalid"},
    {0x4300000000000003, "ExtCommOriginValidationState", 9, "<OriginValidationState unknown(3) 0x4300000000000003>", "",
     none, "Origin-Validation-State:unknown"},
    // Nobody's: the fallback of their type.
    {0x0008fde800000064, "ExtCommAsNumber", 0,
     "<extCommPktTypeTransTwoOctetAs extCommPktSubtypeTransTwoOctetAsBgpDataCollection ASN=65000 0x0008fde800000064>",
     "65000:100", none, "0008-AS:65000:100"},
    {0x4002fde800000064, "ExtCommAsNumber", 0,
     "<extCommPktTypeNonTransTwoOctetAs subtype=2 ASN=65000 0x4002fde800000064>", "65000:100", none,
     "0002-AS(NT):65000:100"},
    {0x0004fde84cee6b28, "ExtCommAsNumber", 0, "<extCommPktTypeTransTwoOctetAs subtype=4 ASN=65000 0x0004fde84cee6b28>",
     "65000:1290693416", none, "0004-AS:65000:1290693416"},
    {0x42040003000a0005, "ExtCommAsNumber", 0,
     "<extCommPktTypeNonTransFourOctetAs extCommPktSubtypeNonTransFourOctetAsGeneric ASN=196618 0x42040003000a0005>",
     "196618:5", none, "0204-AS4(NT):196618:5", "0204-AS4(NT):3.10:5"},
    {0x01070a0102030007, "ExtCommIpv4Address", 0,
     "<extCommPktTypeTransIpv4Address extCommPktSubtypeTransIpv4AddressOspfRouteId 10.1.2.3 0x01070a0102030007>",
     "10.1.2.3:7", none, "0107-IP:10.1.2.3:7"},
    {0x41020a0102030007, "ExtCommIpv4Address", 0,
     "<extCommPktTypeNonTransIpv4Address subtype=2 10.1.2.3 0x41020a0102030007>", "10.1.2.3:7", none,
     "0102-IP(NT):10.1.2.3:7"},
    {0x0306000000000100, "ExtCommSubtyped", 0,
     "<extCommPktTypeTransOpaque extCommPktSubtypeTransOpaqueOspfRouteType 0x0306000000000100>", "", none,
     "0306:0x00 0x00 0x00 0x00 0x01 0x00"},
    {0x8006fde801020304, "ExtCommSubtyped", 0,
     "<extCommPktTypeTransGeneric extCommPktSubtypeTransGenericFlowspecTrafficRate 0x8006fde801020304>", "", none,
     "8006:0xfd 0xe8 0x01 0x02 0x03 0x04"},
    // Types without rules: plain objects.
    {0x0600000000001234, "ExtComm", 0, "<extCommPktTypeTransEvpn 0x0600000000001234>", "", none,
     "0600:0x00 0x00 0x00 0x00 0x12 0x34"},
    {0x0700000000000001, "ExtComm", 0, "<extCommPktTypeUnknown 0x0700000000000001>", "", none,
     "0700:0x00 0x00 0x00 0x00 0x00 0x01"},
    {0x4400000000001234, "ExtComm", 0, "<extCommPktTypeNonTransQosMarking 0x4400000000001234>", "", none,
     "0400(NT):0x00 0x00 0x00 0x00 0x12 0x34"},
    {0xffffffffffffffff, "ExtComm", 0, "<extCommPktTypeUnknown 0xffffffffffffffff>", "", none,
     "bfff(NT):0xff 0xff 0xff 0xff 0xff 0xff"},
};

constexpr std::uint8_t classificationBit = 0x02, uiBit = 0x04, jsonBit = 0x08, asdotBit = 0x10;

TEST(KindsTest, EveryKindInEveryText) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.debug);
    const auto comm = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(row.value));
    const std::string plain = row.policy, classified = row.classificationOnly.value_or(plain);
    EXPECT_EQ(comm->fwkType().name, "Routing::Bgp::" + row.type);
    EXPECT_EQ(comm->classification(), row.classification);
    EXPECT_EQ(comm->community(), row.value);
    EXPECT_TRUE(comm->notificationActive() && !comm->everDeduped());
    EXPECT_EQ(comm->policyMatchStrepUI(), row.type == "ExtCommOriginValidationState");
    EXPECT_EQ(comm->isLinkBandwidth(), row.type == "ExtCommLinkBandwidth");
    EXPECT_EQ(comm->toStrep(), row.debug);
    EXPECT_EQ(comm->toStrepForPolicy(Format()), plain);
    EXPECT_EQ(comm->toStrepForPolicy(Format(uiBit | jsonBit)), plain);
    EXPECT_EQ(comm->toStrepForPolicy(Format(classificationBit)), classified);
    EXPECT_EQ(comm->toStrepForPolicy(Format(classificationBit | uiBit)), row.ui);
    EXPECT_EQ(comm->toStrepForUI(false, false, false), row.ui);
    EXPECT_EQ(comm->toStrepForUI(false, false, true), row.ui);
    EXPECT_EQ(comm->toStrepForUI(true, false, false), row.uiAsdot.value_or(row.ui));
    EXPECT_EQ(comm->toStrepForUI(false, true, false), row.uiWeighted.value_or(row.ui));
    for (int flags = 0; flags < 8; ++flags) {
      const bool asdot = flags & 1, weighted = flags & 2, json = flags & 4;
      EXPECT_EQ(decoder->extCommParser()->showString(row.value, asdot, weighted, json),
                comm->toStrepForUI(asdot, weighted, json));
    }
  }
  const auto dotted = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(0x02020003000a0005));
  EXPECT_EQ(dotted->toStrepForPolicy(Format(asdotBit)), "3.10:5");
  EXPECT_EQ(dotted->toStrepForPolicy(Format(asdotBit | classificationBit)), "RT:3.10:5");
}

TEST(KindsTest, DebuggingFormsNeitherUseNorChangeTheStreamsState) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  for (const Row& row : rows) {
    std::ostringstream stream;
    stream << std::hex << std::showbase << std::uppercase << std::left;
    stream.fill('*');
    stream.width(200);
    stream << decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(row.value)).get();
    EXPECT_EQ(stream.str(), row.debug);
    EXPECT_EQ(stream.width(), 200);
    stream.width(0);
    stream << 255;
    EXPECT_EQ(stream.str(), row.debug + "0XFF");
  }
}

TEST(KindsTest, FormsOfObjectsBuiltByHand) {
  const auto base = ExtCommAsNumberIs(extCommClassificationUnSpecified, ExtCommContent(0x0002fde800000064), false);
  EXPECT_EQ(base->toStrep(),
            "<extCommPktTypeTransTwoOctetAs extCommPktSubtypeTransTwoOctetAsRouteTarget ASN=65000 0x0002fde800000064>");
  EXPECT_EQ(base->toStrepForUI(true, false, false), "0002-AS:65000:100");
  const auto wide = ExtCommAsNumberIs(extCommClassificationUnSpecified, ExtCommContent(0x02020003000a0005), true);
  EXPECT_EQ(wide->toStrepForUI(true, false, false), "0202-AS4:3.10:5");
  const auto ip = ExtCommIpv4AddressIs(extCommClassificationUnSpecified, ExtCommContent(0x01020a0102030007));
  EXPECT_EQ(ip->toStrepForUI(false, false, false), "0102-IP:10.1.2.3:7");
  EXPECT_EQ(dynamic_cast<const ExtCommIpv4Address&>(*ip).ipv4Address().toStrep(), "10.1.2.3");
}

TEST(KindsTest, FieldsOfTheTwoAsLayouts) {
  struct {
    std::uint64_t value;
    bool fourByteAs;
    std::uint32_t asNumber, localAdmin;
    const char *asplain, *asdot;
  } const cases[] = {
      {0x0002fde800000064, false, 65000, 100, "65000", "65000"},
      {0x0002ffffffffffff, false, 65535, 4294967295, "65535", "65535"},
      {0x02020000ffff8000, true, 65535, 32768, "65535", "65535"},
      {0x020200010000ffff, true, 65536, 65535, "65536", "1.0"},
      {0x02020003000a0005, true, 196618, 5, "196618", "3.10"},
  };
  for (const auto& c : cases) {
    const auto comm = Tyr::make<ExtCommRouteTargetAs>(ExtCommContent(c.value), c.fourByteAs);
    EXPECT_EQ(comm->fourByteAs(), c.fourByteAs);
    EXPECT_EQ(comm->classification(), extCommClassificationRouteTarget);
    EXPECT_EQ(comm->asNumber(), c.asNumber);
    EXPECT_EQ(comm->localAdmin(), c.localAdmin);
    EXPECT_EQ(comm->formatAsNumber(false), c.asplain);
    EXPECT_EQ(comm->formatAsNumber(true), c.asdot);
  }
}

TEST(KindsTest, LinkBandwidthsCompareAsFloats) {
  constexpr std::uint32_t zero = 0, minusZero = 0x80000000, one = 0x3f800000, minusTwo = 0xc0000000,
                          infinity = 0x7f800000, nan = 0x7fc00000;
  const auto make = [](std::uint32_t bits, std::uint64_t as = 1) {
    return ExtCommLinkBandwidthIs(ExtCommContent(0x4004000000000000 | as << 32 | bits));
  };
  struct {
    std::uint32_t bits, other;
    bool better, valid;
  } const cases[] = {{zero, one, true, false},      {one, zero, false, true},        {one, one, false, true},
                     {minusTwo, one, true, false},  {zero, minusZero, false, false}, {one, infinity, true, true},
                     {infinity, one, false, false}, {nan, one, false, false},        {one, nan, false, true}};
  for (const auto& c : cases) {
    EXPECT_EQ(make(c.bits)->isBetterThan(make(c.other)), c.better) << c.bits << " " << c.other;
    EXPECT_EQ(make(c.bits)->isValid(), c.valid) << c.bits;
  }
  EXPECT_TRUE(make(one, 0)->isLinkBandwidthWithUnspecifiedAsNumber());
  EXPECT_FALSE(make(one, 1)->isLinkBandwidthWithUnspecifiedAsNumber());
  EXPECT_DEATH(make(one)->isBetterThan(nullptr), "");
}

TEST(KindsTest, FieldsOfTheOpaqueKinds) {
  EXPECT_EQ(Tyr::make<ExtCommColor>(ExtCommContent(0x030bc00100000064))->colorOnlyBits(), 3);
  const auto encap = Tyr::make<ExtCommTunnelEncap>(ExtCommContent(0x030c00000000000c));
  EXPECT_EQ(encap->tunnelType(), tunnelTypeVxlanGpe);
  const std::pair<int, const char*> tunnelTypes[] = {
      {1, "tunnelTypeL2tpv3OverIp"}, {2, "tunnelTypeGre"},   {7, "tunnelTypeIpInIp"},     {8, "tunnelTypeVxlan"},
      {9, "tunnelTypeNvgre"},        {10, "tunnelTypeMpls"}, {11, "tunnelTypeMplsInGre"}, {12, "tunnelTypeVxlanGpe"}};
  for (const auto& [number, name] : tunnelTypes) EXPECT_EQ(stringValue(TunnelType(number)), name);
}

// Objects that no rule makes: the debugging form cannot name their layout.
TEST(KindsTest, LabelsNeedATransitiveAsType) {
  const ExtCommContent nonTransitive(0x4002fde800000064);
  for (const auto factory : {extCommRouteTargetAsFactory, extCommRouteOriginAsFactory, extCommSourceAsFactory}) {
    EXPECT_ASSERTION(factory(nonTransitive, false)->toStrep(), "unexpected type");
    EXPECT_NE(factory(nonTransitive, false)->toStrepForUI(false, false, false), "");
  }
}

}  // namespace
}  // namespace Routing::Bgp::test
