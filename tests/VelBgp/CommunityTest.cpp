#include "VelBgp/VelBgpCommunity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "VelBgp/Parse/ExtCommContainer.h"
#include "support/Death.h"
#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

constexpr std::uint64_t routeTarget = 0x0002fde800000064;

TEST(ExtCommContentTest, OctetsOrderAndText) {
  constexpr ExtCommContent content(0x43a1b2c3d4e5f607);
  static_assert(content.typeOctet() == 0x43 && content.subtypeOctet() == 0xa1 && content.octet(7) == 0x07);
  static_assert(content.localAdmin2Octets() == 0xf607 && content.localAdmin4Octets() == 0xd4e5f607);
  static_assert(!content.transitive() && ExtCommContent(0xbfffffffffffffff).transitive());
  static_assert(ExtCommContent(1) < ExtCommContent(0x8000000000000000) && !(content < content));
  EXPECT_EQ(valueToStrep(ExtCommContent(routeTarget)), "0x0002fde800000064");
  std::ostringstream stream;
  stream << std::uppercase << std::showbase << std::oct;
  stream.width(30);
  stream << content;
  stream.width(0);
  stream << ' ' << 8;
  EXPECT_EQ(stream.str(), "0x43a1b2c3d4e5f607 010");
}

TEST(ExtCommTest, TypesAndSubtypes) {
  struct {
    std::uint64_t value;
    unsigned pktType;
    const char* subtype;  // of an object that has one
    const char* debug;
  } const cases[] = {
      {0x0008fde800000064, 0x00, "extCommPktSubtypeTransTwoOctetAsBgpDataCollection",
       "<extCommPktTypeTransTwoOctetAs extCommPktSubtypeTransTwoOctetAsBgpDataCollection 0x0008fde800000064>"},
      {0x000e000000000000, 0x00, "subtype=14", "<extCommPktTypeTransTwoOctetAs subtype=14 0x000e000000000000>"},
      {0x010c000000000000, 0x01, "extCommPktSubtypeTransIpv4AddressFlowspecRedirectIp", nullptr},
      {0x0210000000000000, 0x02, "extCommPktSubtypeTransFourOctetAsCiscoVpnDistinguisher", nullptr},
      {0x0301000000000000, 0x03, "extCommPktSubtypeTransOpaqueCostCommunity", nullptr},
      {0x0607000000000000, 0x06, "subtype=7", nullptr},
      {0x060c000000000000, 0x06, "extCommPktSubtypeEvpnEviRtType2", nullptr},
      {0x0800000000000000, 0x08, "extCommPktSubtypeFlowspecRedirectNexthop", nullptr},
      {0x4080000000000000, 0x40, "extCommPktSubtypeNonTransTwoOctetAsVirtualNetworkIdentifier", nullptr},
      {0x41ff000000000000, 0x41, "subtype=255", nullptr},
      {0x4204000000000000, 0x42, "extCommPktSubtypeNonTransFourOctetAsGeneric", nullptr},
      {0x4302000000000000, 0x43, "extCommPktSubtypeNonTransRouteTarget", nullptr},
      {0x800b000000000000, 0x80, "extCommPktSubtypeTransGenericEtreeInfo", nullptr},
      {0x8108000000000000, 0x81, "extCommPktSubtypeTransGenericPart2FlowspecRedirectIpv4", nullptr},
      {0x8208000000000000, 0x82, "extCommPktSubtypeTransGenericPart3FlowspecRedirectAs4Byte", nullptr},
      {0x0400000000000000, 0x04, "none", "<extCommPktTypeTransQosMarking none 0x0400000000000000>"},
      {0x0500000000000000, 0x05, "none", nullptr},
      {0x4400000000000000, 0x44, "none", nullptr},
      {0x0700000000000001, 256, "none", "<extCommPktTypeUnknown none 0x0700000000000001>"},
      {0x8302000000000000, 256, "none", nullptr},
  };
  for (const auto& c : cases) {
    const auto subtyped = ExtCommSubtypedIs(extCommClassificationUnSpecified, ExtCommContent(c.value));
    const auto plain = ExtCommIs(extCommClassificationColor, ExtCommContent(c.value));
    std::ostringstream subtype, none, value;
    subtyped->formatSubtype(subtype);
    plain->formatSubtype(none);
    plain->formatCommunityValue(value);
    EXPECT_EQ(unsigned{subtyped->pktType()}, c.pktType);
    EXPECT_EQ(subtyped->pktSubtype().value(), c.value >> 48 & 0xff);
    EXPECT_EQ(subtype.str(), c.subtype);
    EXPECT_TRUE(plain->pktSubtype().isUnspecified());
    EXPECT_EQ(plain->classification(), extCommClassificationColor);
    EXPECT_EQ(none.str(), "unspecified");
    EXPECT_EQ(value.str(), valueToStrep(ExtCommContent(c.value)));
    EXPECT_EQ(plain->toStrep(), std::string("<") + enumName(plain->pktType()) + " " + value.str() + ">");
    EXPECT_EQ(subtyped->toStrep(), c.debug == nullptr ? subtyped->toStrep() : c.debug);
  }
}

TEST(ExtCommTest, SubtypeStringsAreForTheirOwnType) {
  struct {
    std::uint64_t typeOctet;
    std::string (ExtComm::*string)() const;
    const char* assertion;
  } const cases[] = {
      {0x00, &ExtComm::pktSubtypeTransTwoOctetAsString, "extCommPktTypeTransTwoOctetAs_ == pktType()"},
      {0x01, &ExtComm::pktSubtypeTransIpv4AddressString, "extCommPktTypeTransIpv4Address_ == pktType()"},
      {0x02, &ExtComm::pktSubtypeTransFourOctetAsString, "extCommPktTypeTransFourOctetAs_ == pktType()"},
      {0x03, &ExtComm::pktSubtypeTransOpaqueString, "extCommPktTypeTransOpaque_ == pktType()"},
      {0x06, &ExtComm::pktSubtypeEvpnString, "extCommPktTypeTransEvpn_ == pktType()"},
      {0x08, &ExtComm::pktSubtypeFlowspecRedirectNexthopString,
       "extCommPktTypeTransFlowspecRedirectNexthop_ == pktType()"},
      {0x80, &ExtComm::pktSubtypeTransGenericString, "extCommPktTypeTransGeneric_ == pktType()"},
      {0x81, &ExtComm::pktSubtypeTransGenericPart2String, "extCommPktTypeTransGenericPart2_ == pktType()"},
      {0x82, &ExtComm::pktSubtypeTransGenericPart3String, "extCommPktTypeTransGenericPart3_ == pktType()"},
      {0x40, &ExtComm::pktSubtypeNonTransTwoOctetAsString, "extCommPktTypeNonTransTwoOctetAs_ == pktType()"},
      {0x41, &ExtComm::pktSubtypeNonTransIpv4AddressString, "extCommPktTypeNonTransIpv4Address_ == pktType()"},
      {0x42, &ExtComm::pktSubtypeNonTransFourOctetAsString, "extCommPktTypeNonTransFourOctetAs_ == pktType()"},
      {0x43, &ExtComm::pktSubtypeNonTransOpaqueString, "extCommPktTypeNonTransOpaque_ == pktType()"},
  };
  const auto foreign = ExtCommSubtypedIs(extCommClassificationUnSpecified, ExtCommContent(0x0402000000000000));
  for (const auto& c : cases) {
    const ExtCommContent content(c.typeOctet << 56 | std::uint64_t{0xee} << 48);
    EXPECT_EQ((*ExtCommSubtypedIs(extCommClassificationUnSpecified, content).*c.string)(), "subtype=238");
    EXPECT_ASSERTION((*foreign.*c.string)(), c.assertion);
    EXPECT_ASSERTION((*ExtCommIs(extCommClassificationUnSpecified, content).*c.string)(),
                     "!pktSubtype().isUnspecified()");
  }
}

TEST(ExtCommTest, GenericPolicyFormNeedsBothBits) {
  using Format = ExtComm::StrepFormat;
  const auto comm = ExtCommIs(extCommClassificationUnSpecified, ExtCommContent(0x4400000000001234));
  for (int octet = 0; octet < 64; ++octet) {
    EXPECT_EQ(comm->toStrepForPolicy(Format(static_cast<std::uint8_t>(octet))),
              (octet & 6) == 6 ? "0400(NT):0x00 0x00 0x00 0x00 0x12 0x34" : "");
  }
  EXPECT_EQ(comm->toStrepForUI(false, false, false), "0400(NT):0x00 0x00 0x00 0x00 0x12 0x34");
  EXPECT_FALSE(comm->policyMatchStrepUI() || comm->isLinkBandwidth() || !comm->isValid());
  EXPECT_FALSE(comm->isLinkBandwidthWithUnspecifiedAsNumber());
}

TEST(ExtCommTest, TypePrefix) {
  EXPECT_EQ(extCommTypeAsString("", 0x40, 0x04, false), "0004(NT)");
  EXPECT_EQ(extCommTypeAsString("", 0x43, 0x00, false), "0300(NT)");
  EXPECT_EQ(extCommTypeAsString("-AS", 0xff, 0xff, true), "bfff-AS");
  EXPECT_EQ(extCommTypeAsString(std::string(3000, 'x').c_str(), 0x03, 0x0b, true), "030b" + std::string(3000, 'x'));
}

TEST(ExtCommTest, NullPointerPrintsAndTheSmallerValueIsBetter) {
  std::ostringstream stream;
  stream << static_cast<const ExtComm*>(nullptr);
  EXPECT_EQ(stream.str(), "NULL");
  const auto small = ExtCommIs(extCommClassificationUnSpecified, ExtCommContent(1));
  const auto large = ExtCommIs(extCommClassificationUnSpecified, ExtCommContent(0x8000000000000000));
  EXPECT_TRUE(small->isBetterThan(large));
  EXPECT_FALSE(large->isBetterThan(small) || small->isBetterThan(small));
}

TEST(StrepFormatTest, TextBothWays) {
  using Format = ExtComm::StrepFormat;
  EXPECT_EQ(valueToStrep(Format(0x2a)),
            "Value('Routing::Bgp::ExtComm::StrepFormat', ** {'strepFormatDefault': False, "
            "'strepFormatClassification': True, 'strepFormatUI': False, 'strepFormatJson': True, "
            "'strepFormatAsdot': False, 'strepFormatLinkBwWeighted': True})");
  const Format all(63);
  EXPECT_TRUE(all.strepFormatDefault() && all.strepFormatClassification() && all.strepFormatUI() &&
              all.strepFormatJson() && all.strepFormatAsdot() && all.strepFormatLinkBwWeighted());
  EXPECT_THROW(Format(64), Tyr::RangeException);
  for (int octet = 0; octet < 64; ++octet) {
    const Format format(static_cast<std::uint8_t>(octet));
    const std::string text = valueToStrep(format);
    EXPECT_EQ(Format::strepToValue(text), format);
    EXPECT_THROW(Format::strepToValue(text.substr(0, text.size() - 1)), Tyr::ParseException);
  }
  EXPECT_THROW(Format::strepToValue("Value('Routing::Bgp::ExtComm::StrepFormat', ** {})"), Tyr::ParseException);
}

class InterningTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    Tyr::agentMultiThreadedIs(GetParam());
    decoder = bgpParseExtCommContainerSmFactory(true);
    table = ExtCommDedupTableIs(decoder->extCommParser());
  }
  void TearDown() override {
    table.reset();
    decoder.reset();
    Tyr::agentMultiThreadedIs(false);
  }
  ExtComm::PtrConst intern(std::uint64_t value) const {
    return ExtComm::dedupContent(table.get(), ExtCommContent(value));
  }
  BgpParseExtCommContainerSm::Ptr decoder;
  ExtCommDedupTable::Ptr table;
};

INSTANTIATE_TEST_SUITE_P(Variant, InterningTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "MultiThreaded" : "SingleThreaded"; });

TEST_P(InterningTest, OneObjectPerValue) {
  const auto first = intern(routeTarget);
  const auto again = intern(routeTarget);
  const auto nonTransitive = intern(routeTarget | ExtCommContent::transitiveFlag);
  EXPECT_EQ(first, again);
  EXPECT_NE(first, nonTransitive);
  EXPECT_EQ(first->referenceCount(), 2u);
  EXPECT_TRUE(first->isDeduped());
  EXPECT_EQ(first->fwkType().unqualifiedName(), "ExtCommRouteTargetAs");
  EXPECT_EQ(first->storedHash(), ExtComm::hashOf(ExtCommContent(routeTarget)));
  const ExtCommDedupContent content{ExtCommContent(routeTarget)};
  EXPECT_EQ(content.hash(), first->hash());
  EXPECT_TRUE(first->compareByContent(content) && first->compare(again.get()) && !first->compare(nonTransitive.get()));
  EXPECT_EQ(
      ExtComm::PtrConst(static_cast<ExtComm*>(table->dedupTable().lookupByContent(content, content.hash())), false),
      first);
  EXPECT_EQ(table->size(), 2u);
}

TEST_P(InterningTest, ClassificationAndLayoutSurviveInterning) {
  const auto bandwidthOfAnyAs = intern(0x4004000000000001), wide = intern(0x0202000100000000);
  EXPECT_TRUE(dynamic_cast<const ExtCommAsNumber&>(*wide).fourByteAs());
  EXPECT_EQ(wide->classification(), extCommClassificationRouteTarget);
  EXPECT_EQ(bandwidthOfAnyAs->classification(), extCommClassificationLinkBandwidth);
}

// At every length about the edges of a block, with hits, misses and repeats mixed.
TEST_P(InterningTest, ManyAtOnceGiveTheObjectsThatOneByOneGives) {
  for (const std::uint32_t n : {1u, 2u, 63u, 64u, 65u, 128u, 200u}) {
    std::vector<ExtComm::PtrConst> before;
    std::vector<std::uint64_t> values;
    for (std::uint32_t i = 0; i < n; ++i) {
      values.push_back(routeTarget + i % 150);
      if (i % 3 == 0) before.push_back(intern(values.back()));
    }
    std::vector<ExtComm::PtrConst> all(n);
    ExtComm::dedupContents(table.get(), values.data(), n,
                           [&](std::uint32_t i, ExtComm::PtrConst comm) { all[i] = std::move(comm); });
    for (std::uint32_t i = 0; i < n; ++i) EXPECT_EQ(all[i], intern(values[i]));
    EXPECT_EQ(table->size(), std::min(n, 150u));
  }
  EXPECT_EQ(table->size(), 0u);
}

TEST_P(InterningTest, RouteTargetsAreMirrored) {
  const auto& rtList = table->producerRtList();
  auto target = intern(routeTarget);
  const auto others = {intern(0x0003fde800000064), intern(0x4002fde800000064), intern(0x030b000000000064)};
  EXPECT_EQ(rtList->rtCount(), 1u);
  EXPECT_NE(rtList->rt(RouteTarget{routeTarget}), nullptr);
  target.reset();
  EXPECT_EQ(rtList->rtCount(), 0u);
  EXPECT_EQ(table->size(), others.size());
}

TEST_P(InterningTest, ObjectsOutliveTheirTable) {
  const auto target = intern(routeTarget);
  const auto rtList = table->producerRtList();
  table.reset();
  EXPECT_EQ(rtList->rtCount(), 0u);
  EXPECT_EQ(target->toStrep(), "<RouteTarget2ByteASN 65000:100 0x0002fde800000064>");
  EXPECT_TRUE(target->everDeduped() && !target->isDeduped());
}

TEST_P(InterningTest, DumpAndErrors) {
  const auto target = intern(routeTarget);
  Keel::StringDumpContext context;
  table->dumpState(context, 4);
  EXPECT_EQ(context.text().rfind("    DedupHashTable ExtCommDedupTable ", 0), 0u);
  EXPECT_NE(context.text().find("objects #1 "), std::string::npos);
  EXPECT_THROW(ExtCommDedupTableIs(nullptr), Tyr::NullArgumentException);
}

}  // namespace
}  // namespace Routing::Bgp::test
