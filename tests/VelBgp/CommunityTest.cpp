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

using SubtypeString = std::string (ExtComm::*)() const;

struct TypeRow {
  std::uint64_t value;
  const char* type;
  const char* subtype;
  SubtypeString string = nullptr;  // of the types that have subtypes
};
const TypeRow typeRows[] = {
    {0x0008fde800000064, "TransTwoOctetAs", "extCommPktSubtypeTransTwoOctetAsBgpDataCollection",
     &ExtComm::pktSubtypeTransTwoOctetAsString},
    {0x000e000000000000, "TransTwoOctetAs", "subtype=14", &ExtComm::pktSubtypeTransTwoOctetAsString},
    {0x010c000000000000, "TransIpv4Address", "extCommPktSubtypeTransIpv4AddressFlowspecRedirectIp",
     &ExtComm::pktSubtypeTransIpv4AddressString},
    {0x0210000000000000, "TransFourOctetAs", "extCommPktSubtypeTransFourOctetAsCiscoVpnDistinguisher",
     &ExtComm::pktSubtypeTransFourOctetAsString},
    {0x0301000000000000, "TransOpaque", "extCommPktSubtypeTransOpaqueCostCommunity",
     &ExtComm::pktSubtypeTransOpaqueString},
    {0x060c000000000000, "TransEvpn", "extCommPktSubtypeEvpnEviRtType2", &ExtComm::pktSubtypeEvpnString},
    {0x0800000000000000, "TransFlowspecRedirectNexthop", "extCommPktSubtypeFlowspecRedirectNexthop",
     &ExtComm::pktSubtypeFlowspecRedirectNexthopString},
    {0x4080000000000000, "NonTransTwoOctetAs", "extCommPktSubtypeNonTransTwoOctetAsVirtualNetworkIdentifier",
     &ExtComm::pktSubtypeNonTransTwoOctetAsString},
    {0x41ff000000000000, "NonTransIpv4Address", "subtype=255", &ExtComm::pktSubtypeNonTransIpv4AddressString},
    {0x4204000000000000, "NonTransFourOctetAs", "extCommPktSubtypeNonTransFourOctetAsGeneric",
     &ExtComm::pktSubtypeNonTransFourOctetAsString},
    {0x4302000000000000, "NonTransOpaque", "extCommPktSubtypeNonTransRouteTarget",
     &ExtComm::pktSubtypeNonTransOpaqueString},
    {0x800b000000000000, "TransGeneric", "extCommPktSubtypeTransGenericEtreeInfo",
     &ExtComm::pktSubtypeTransGenericString},
    {0x8108000000000000, "TransGenericPart2", "extCommPktSubtypeTransGenericPart2FlowspecRedirectIpv4",
     &ExtComm::pktSubtypeTransGenericPart2String},
    {0x8208000000000000, "TransGenericPart3", "extCommPktSubtypeTransGenericPart3FlowspecRedirectAs4Byte",
     &ExtComm::pktSubtypeTransGenericPart3String},
    {0x0400000000000000, "TransQosMarking", "none"},
    {0x4400000000000000, "NonTransQosMarking", "none"},
    {0x0700000000000001, "Unknown", "none"},
};

TEST(ExtCommTest, TypesAndSubtypes) {
  const auto foreign = ExtCommSubtypedIs(extCommClassificationUnSpecified, ExtCommContent(0x0402000000000000));
  for (const TypeRow& row : typeRows) {
    const auto subtyped = ExtCommSubtypedIs(extCommClassificationUnSpecified, ExtCommContent(row.value));
    const auto plain = ExtCommIs(extCommClassificationColor, ExtCommContent(row.value));
    const std::string type = std::string("extCommPktType") + row.type, value = valueToStrep(plain->getContent());
    std::ostringstream formatted;
    subtyped->formatSubtype(formatted << "");
    plain->formatSubtype(formatted << ' ');
    plain->formatCommunityValue(formatted << ' ');
    EXPECT_EQ(formatted.str(), std::string(row.subtype) + " unspecified " + value);
    EXPECT_EQ(subtyped->pktSubtype().value(), row.value >> 48 & 0xff);
    EXPECT_EQ(plain->classification(), extCommClassificationColor);
    EXPECT_EQ(plain->toStrep(), "<" + type + " " + value + ">");
    EXPECT_EQ(subtyped->toStrep(), "<" + type + " " + row.subtype + " " + value + ">");
    if (row.string == nullptr) continue;
    EXPECT_EQ((*subtyped.*row.string)(), row.subtype);
    EXPECT_ASSERTION((*foreign.*row.string)(), type + "_ == pktType()");
    EXPECT_ASSERTION((*plain.*row.string)(), "!pktSubtype().isUnspecified()");
  }
}

TEST(ExtCommTest, GenericPolicyFormNeedsBothBits) {
  const auto comm = ExtCommIs(extCommClassificationUnSpecified, ExtCommContent(0x4400000000001234));
  for (int octet = 0; octet < 64; ++octet) {
    EXPECT_EQ(comm->toStrepForPolicy(ExtComm::StrepFormat(static_cast<std::uint8_t>(octet))),
              (octet & 6) == 6 ? "0400(NT):0x00 0x00 0x00 0x00 0x12 0x34" : "");
  }
  EXPECT_FALSE(comm->isLinkBandwidthWithUnspecifiedAsNumber() || !comm->isValid());
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

// What a flag set does with its members is Tyr/FlagSet.h's affair.
TEST(StrepFormatTest, MembersInTheirOrder) {
  using Format = ExtComm::StrepFormat;
  const std::string text =
      "Value('Routing::Bgp::ExtComm::StrepFormat', ** {'strepFormatDefault': False, 'strepFormatClassification': True, "
      "'strepFormatUI': False, 'strepFormatJson': True, 'strepFormatAsdot': False, 'strepFormatLinkBwWeighted': True})";
  EXPECT_EQ(valueToStrep(Format(0x2a)), text);
  EXPECT_EQ(Format::strepToValue(text), Format(0x2a));
  EXPECT_TRUE(Format(63).strepFormatDefault());
  EXPECT_THROW(Format(64), Tyr::RangeException);
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
  EXPECT_TRUE(dynamic_cast<const ExtCommAsNumber&>(*intern(0x0202000100000000)).fourByteAs());  // kept by interning
  EXPECT_EQ(first->classification(), extCommClassificationRouteTarget);
  EXPECT_EQ(first->storedHash(), ExtComm::hashOf(ExtCommContent(routeTarget)));
  const ExtCommDedupContent content{ExtCommContent(routeTarget)};
  EXPECT_EQ(content.hash(), first->hash());
  EXPECT_TRUE(first->compareByContent(content) && first->compare(again.get()) && !first->compare(nonTransitive.get()));
  EXPECT_EQ(
      ExtComm::PtrConst(static_cast<ExtComm*>(table->dedupTable().lookupByContent(content, content.hash())), false),
      first);
  EXPECT_EQ(table->size(), 2u);
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

TEST_P(InterningTest, DumpAndObjectsThatOutliveTheirTable) {
  const auto target = intern(routeTarget);
  Keel::StringDumpContext context;
  table->dumpState(context, 4);
  EXPECT_EQ(context.text().rfind("    DedupHashTable ExtCommDedupTable ", 0), 0u);
  EXPECT_NE(context.text().find("objects #1 "), std::string::npos);
  const auto rtList = table->producerRtList();
  table.reset();
  EXPECT_EQ(rtList->rtCount(), 0u);
  EXPECT_EQ(target->toStrep(), "<RouteTarget2ByteASN 65000:100 0x0002fde800000064>");
  EXPECT_TRUE(target->everDeduped() && !target->isDeduped());
  EXPECT_THROW(ExtCommDedupTableIs(nullptr), Tyr::NullArgumentException);
}

}  // namespace
}  // namespace Routing::Bgp::test
