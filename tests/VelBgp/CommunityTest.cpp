#include "VelBgp/VelBgpCommunity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "VelBgp/Agent.h"
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

// Each line of the file has a value, its type and its subtype, "none" where the type has no subtypes.
TEST(ExtCommTest, TypesAndSubtypes) {
  std::ifstream file(VELBGP_SUBTYPES_FILE);
  std::uint64_t value = 0;
  std::string type, subtype;
  ASSERT_TRUE(file);
  while (file >> std::hex >> value >> type >> subtype) {
    const ExtCommContent content(value);
    const auto subtyped = ExtCommSubtypedIs(extCommClassificationUnSpecified, content);
    const auto plain = ExtCommIs(extCommClassificationColor, content);
    const std::string text = valueToStrep(plain->getContent());
    std::ostringstream formatted;
    subtyped->formatSubtype(formatted);
    plain->formatSubtype(formatted << ' ');
    plain->formatCommunityValue(formatted << ' ');
    EXPECT_EQ(formatted.str(), subtype + " unspecified " + text);
    EXPECT_EQ(subtyped->pktSubtype().value(), content.subtypeOctet());
    EXPECT_EQ(plain->classification(), extCommClassificationColor);
    EXPECT_EQ(plain->toStrep(), "<" + type + " " + text + ">");
    EXPECT_EQ(subtyped->toStrep(), "<" + type + " " + subtype + " " + text + ">");
    std::string named;
#define EXT_COMM_SUBTYPE_STRING(pktTypeOfRow, pktSubtypeString, PktSubtype) \
  if (plain->pktType() == pktTypeOfRow) named += subtyped->pktSubtypeString();
#include "VelBgp/ExtCommSubtypeStrings.def"
    EXPECT_EQ(named, subtype == "none" ? "" : subtype);
  }
  const auto evpn = ExtCommIs(extCommClassificationUnSpecified, ExtCommContent(0x0602000000000000));
  EXPECT_ASSERTION(evpn->pktSubtypeTransOpaqueString(), "extCommPktTypeTransOpaque_ == pktType()");
  EXPECT_ASSERTION(evpn->pktSubtypeEvpnString(), "!pktSubtype().isUnspecified()");
}

TEST(ExtCommTest, TypePrefix) {
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
  EXPECT_TRUE(small->isValid() && !small->isLinkBandwidthWithUnspecifiedAsNumber());
}

// What decoded ones print is tested with the tool.
TEST(ExtCommIp6Test, TextsOfPlainAndSubtypedOnes) {
  const ExtCommIp6Content content = ip6(0x40, 0x02, "fe80::abcd", 65535);
  const auto plain = extCommIp6Factory(extCommClassificationColor, content);
  const auto subtyped = ExtCommIp6SubtypedIs(extCommClassificationUnSpecified, content);
  std::ostringstream subtypes, debug;
  subtyped->formatSubtype(subtypes);
  plain->formatSubtype(subtypes << ' ');
  ExtCommIp6SubtypedIs(extCommClassificationUnSpecified, ip6(1, 2, "::", 0))->formatSubtype(subtypes << ' ');
  EXPECT_EQ(subtypes.str(), "subtype=2 unspecified none");
  debug << std::hex << std::setfill('*') << std::setw(150) << *subtyped;
  EXPECT_EQ(debug.str(), "<extCommIp6PktTypeNonTransIpv6Address subtype=2 addr=fe80::abcd localAdmin=65535>");
  EXPECT_EQ(plain->toStrep(), "<extCommIp6PktTypeNonTransIpv6Address addr=fe80::abcd localAdmin=65535>");
  EXPECT_TRUE(plain->compare(subtyped.get()) && plain->hash() == subtyped->hash() && !plain->everDeduped());
  for (unsigned octet = 0; octet < 32; ++octet) {
    EXPECT_EQ(subtyped->toStrepForPolicy(ExtCommIp6::StrepFormat(octet)),
              (octet & 6) == 6 ? "0002-IP6(NT):fe80::abcd:65535" : "fe80::abcd:65535");
  }
  EXPECT_ASSERTION(plain->pktSubtypeTransIpv6AddressAsString(), "extCommIp6PktTypeTransIpv6Address_ == pktType()");
  EXPECT_ASSERTION(plain->pktSubtypeNonTransIpv6AddressAsString(), "!pktSubtype().isUnspecified()");
}

TEST(ExtCommIp6Test, StrepFormatIsConvertedByName) {
  using Format = ExtCommIp6::StrepFormat;
  const std::pair<unsigned, unsigned> rows[] = {{1, 1}, {2, 2}, {4, 4}, {8, 0}, {0x10, 8}, {0x20, 0x10}};
  for (const auto& [of8Octets, of20Octets] : rows) {
    EXPECT_EQ(Format(ExtComm::StrepFormat(of8Octets)), Format(of20Octets));
  }
}

class InterningTest : public testing::TestWithParam<bool>, protected Agent {
 protected:
  InterningTest() : Agent(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(Variant, InterningTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "MultiThreaded" : "SingleThreaded"; });

TEST_P(InterningTest, OneObjectPerValue) {
  const auto first = internOne(routeTarget), again = internOne(routeTarget);
  const auto nonTransitive = internOne(routeTarget | ExtCommContent::transitiveFlag);
  EXPECT_TRUE(first == again && first != nonTransitive && first->isDeduped() && first->referenceCount() == 2);
  EXPECT_TRUE(dynamic_cast<const ExtCommAsNumber&>(*internOne(0x0202000100000000)).fourByteAs());  // kept by interning
  EXPECT_EQ(first->classification(), extCommClassificationRouteTarget);
  EXPECT_EQ(first->storedHash(), ExtComm::hashOf(ExtCommContent(routeTarget)));
  const ExtCommDedupContent content{ExtCommContent(routeTarget)};
  EXPECT_EQ(content.hash(), first->hash());
  EXPECT_TRUE(first->compareByContent(content) && first->compare(again.get()) && !first->compare(nonTransitive.get()));
  EXPECT_EQ(
      ExtComm::PtrConst(static_cast<ExtComm*>(comms->dedupTable().lookupByContent(content, content.hash())), false),
      first);
  EXPECT_EQ(comms->size(), 2u);
  EXPECT_THROW(ExtCommDedupTableIs(nullptr), Tyr::NullArgumentException);
}

// At every length about the edges of a block, with hits, misses and repeats mixed.
TEST_P(InterningTest, ManyAtOnceGiveTheObjectsThatOneByOneGives) {
  for (const std::uint32_t n : {1u, 2u, 63u, 64u, 65u, 128u, 200u}) {
    std::vector<ExtComm::PtrConst> before;
    std::vector<std::uint64_t> values;
    for (std::uint32_t i = 0; i < n; ++i) {
      values.push_back(routeTarget + i % 150);
      if (i % 3 == 0) before.push_back(internOne(values.back()));
    }
    std::vector<ExtComm::PtrConst> all(n);
    ExtComm::dedupContents(comms.get(), values.data(), n,
                           [&](std::uint32_t i, ExtComm::PtrConst comm) { all[i] = std::move(comm); });
    for (std::uint32_t i = 0; i < n; ++i) EXPECT_EQ(all[i], internOne(values[i]));
    EXPECT_EQ(comms->size(), std::min(n, 150u));
  }
  EXPECT_EQ(comms->size(), 0u);
}

TEST_P(InterningTest, OneObjectPerIp6Content) {
  const ExtCommIp6Content target = ip6(0x00, 0x02, "2001:db8::1", 100);
  const auto first = internOne(target), unknown = internOne(ip6(0x01, 0x02, "2001:db8::1", 100));
  EXPECT_EQ(first->classification(), extCommClassificationRouteTarget);
  EXPECT_EQ(first->fwkType().unqualifiedName(), "ExtCommIp6Subtyped");
  EXPECT_TRUE(first->isDeduped() && first->notificationActive() && !first->compare(unknown.get()));
  const ExtCommIp6DedupContent content(target);
  auto* const found = static_cast<ExtCommIp6*>(ip6Comms->dedupTable().lookupByContent(content, content.hash()));
  EXPECT_EQ(ExtCommIp6::PtrConst(found, false), first);
  // The classification takes no part in what is the same.
  const auto other = Tyr::make<ExtCommIp6>(extCommClassificationColor, target);
  EXPECT_EQ(ExtCommIp6::PtrConst(static_cast<ExtCommIp6*>(ip6Comms->dedupTable().dedup(other.get())), false), first);
  EXPECT_THROW(ExtCommIp6DedupTableIs(nullptr), Tyr::NullArgumentException);
}

}  // namespace
}  // namespace Routing::Bgp::test
