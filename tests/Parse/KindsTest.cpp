#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
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

struct Expected {
  std::string type;
  int classification;
};

// By type octet and subtype octet.
const std::map<unsigned, Expected> kinds = {
    {0x0002, {"ExtCommRouteTargetAs", 1}},
    {0x0102, {"ExtCommRouteTargetIpv4Address", 1}},
    {0x0202, {"ExtCommRouteTargetAs", 1}},
    {0x0003, {"ExtCommRouteOriginAs", 2}},
    {0x0103, {"ExtCommRouteOriginIpv4Address", 2}},
    {0x0203, {"ExtCommRouteOriginAs", 2}},
    {0x0009, {"ExtCommSourceAs", 11}},
    {0x0209, {"ExtCommSourceAs", 11}},
    {0x010b, {"ExtCommVrfRouteImportIpv4Address", 10}},
    {0x030b, {"ExtCommColor", 8}},
    {0x030c, {"ExtCommTunnelEncap", 4}},
    {0x030d, {"ExtCommDefaultGateway", 5}},
    {0x4004, {"ExtCommLinkBandwidth", 7}},
    {0x4300, {"ExtCommOriginValidationState", 9}},
};
// By type octet: what nobody claims.
const std::map<unsigned, std::string> fallbacks = {
    {0x00, "ExtCommAsNumber"}, {0x01, "ExtCommIpv4Address"}, {0x02, "ExtCommAsNumber"}, {0x03, "ExtCommSubtyped"},
    {0x40, "ExtCommAsNumber"}, {0x41, "ExtCommIpv4Address"}, {0x42, "ExtCommAsNumber"}, {0x43, "ExtCommSubtyped"},
    {0x80, "ExtCommSubtyped"}, {0x81, "ExtCommSubtyped"},    {0x82, "ExtCommSubtyped"}};

Expected expectedOf(unsigned pair) {
  if (const auto found = kinds.find(pair); found != kinds.end()) return found->second;
  const auto found = fallbacks.find(pair >> 8);
  return {found == fallbacks.end() ? "ExtComm" : found->second, 0};
}

TEST(KindsTest, EveryTypeAndSubtypeBecomesItsClass) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  for (unsigned pair = 0; pair <= 0xffff; ++pair) {
    // Six octets that differ from pair to pair, with all bits in play.
    const std::uint64_t value = std::uint64_t{pair} << 48 | (pair * 0x9e3779b97f4a7c15u) >> 16;
    const Expected expected = expectedOf(pair);
    const auto comm = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(value));
    ASSERT_NE(comm, nullptr);
    ASSERT_EQ(comm->fwkType().name, "Routing::Bgp::" + expected.type) << pair;
    ASSERT_EQ(comm->classification(), expected.classification);
    ASSERT_EQ(comm->community(), value);
    ASSERT_EQ(comm->pktSubtype().isUnspecified(), expected.type == "ExtComm");
    ASSERT_TRUE(comm->notificationActive() && !comm->everDeduped());
    ASSERT_EQ(comm->policyMatchStrepUI(), expected.type == "ExtCommOriginValidationState");
    ASSERT_EQ(comm->isLinkBandwidth(), expected.type == "ExtCommLinkBandwidth");
    ASSERT_TRUE(comm->toStrep().ends_with(" " + valueToStrep(comm->getContent()) + ">")) << pair;
    ASSERT_NE(comm->toStrepForUI(false, false, false), "") << pair;
  }
}

constexpr std::uint8_t classificationBit = 0x02, uiBit = 0x04, jsonBit = 0x08, asdotBit = 0x10;

// A debugging form neither uses nor changes the stream's state.
void checkDebug(const ExtComm& comm, const std::string& debug) {
  EXPECT_EQ(comm.toStrep(), debug);
  std::ostringstream stream;
  stream << std::hex << std::showbase << std::uppercase << std::left;
  stream.fill('*');
  stream.width(200);
  stream << comm;
  EXPECT_EQ(stream.width(0), 200);
  stream << 255;
  EXPECT_EQ(stream.str(), debug + "0XFF");
}

TEST(KindsTest, EveryKindInEveryText) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  std::ifstream file(VELBGP_KINDS_FILE);
  ASSERT_TRUE(file);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) continue;
    SCOPED_TRACE(line);
    std::istringstream columns(line);
    std::string text, debug, policy, policyClassification, ui, uiAsdot, uiWeighted;
    for (auto* column : {&text, &debug, &policy, &policyClassification, &ui, &uiAsdot, &uiWeighted}) {
      std::getline(columns, *column, '\t');
    }
    const std::uint64_t value = std::stoull(text, nullptr, 16);
    const auto comm = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(value));
    checkDebug(*comm, "<" + debug + " " + text + ">");
    EXPECT_EQ(comm->toStrepForPolicy(Format()), policy);
    EXPECT_EQ(comm->toStrepForPolicy(Format(uiBit | jsonBit)), policy);
    EXPECT_EQ(comm->toStrepForPolicy(Format(classificationBit)), policyClassification);
    EXPECT_EQ(comm->toStrepForPolicy(Format(classificationBit | uiBit)), ui);
    EXPECT_EQ(comm->toStrepForUI(false, false, true), ui);
    EXPECT_EQ(comm->toStrepForUI(true, false, false), uiAsdot);
    EXPECT_EQ(comm->toStrepForUI(false, true, false), uiWeighted);
    EXPECT_EQ(decoder->extCommParser()->showString(value, true, false, true), uiAsdot);
    EXPECT_EQ(decoder->extCommParser()->showString(value, false, true, false), uiWeighted);
  }
  const auto dotted = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(0x02020003000a0005));
  EXPECT_EQ(dotted->toStrepForPolicy(Format(asdotBit)), "3.10:5");
  EXPECT_EQ(dotted->toStrepForPolicy(Format(asdotBit | classificationBit)), "RT:3.10:5");
}

// An heir whose AS numbers have another text.
template <typename Kind>
class Spelt final : public Kind {
 public:
  using Kind::Kind;
  std::string formatAsNumber(bool asdot) const override { return asdot ? "dotted" : "plain"; }
};

TEST(KindsTest, EveryTextShowsTheAsNumberAsAnHeirFormatsIt) {
  const ExtCommContent target(0x0002fde800000064), bandwidth(0x4004fde84cee6b28);
  const struct {
    Tyr::Ptr<ExtCommAsNumber> comm;
    const char *debug, *policy, *uiAsdot;
  } cases[] = {
      {Tyr::make<Spelt<ExtCommAsNumber>>(extCommClassificationUnSpecified, ExtCommContent(0x0008fde800000064), false),
       "<extCommPktTypeTransTwoOctetAs extCommPktSubtypeTransTwoOctetAsBgpDataCollection ASN=plain 0x0008fde800000064>",
       "plain:100", "0008-AS:dotted:100"},
      {Tyr::make<Spelt<ExtCommRouteTargetAs>>(target, false), "<RouteTarget2ByteASN plain:100 0x0002fde800000064>",
       "plain:100", "Route-Target-AS:dotted:100"},
      {Tyr::make<Spelt<ExtCommLinkBandwidth>>(bandwidth), "<LinkBandwidth plain:1.25e+08 0x4004fde84cee6b28>",
       "plain:1.25e+08", "Link-Bandwidth-AS:dotted:1 Gbps"}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.comm->toStrep(), c.debug);
    EXPECT_EQ(c.comm->toStrepForPolicy(Format()), c.policy);
    EXPECT_EQ(c.comm->toStrepForUI(true, false, false), c.uiAsdot);
    Tyr::DynamicBuffer<> buffer;
    c.comm->formatAsNumberToBuffer(&buffer, true);
    EXPECT_EQ(buffer.view(), "dotted");
  }
}

// A kind from outside the library, for a subtype that nobody claims there.
class Domain : public ExtCommLabelledKind<Domain, ExtCommIpv4Address> {
 public:
  static constexpr ExtCommIpv4Labels labels = {
      "Outside::Domain", extCommClassificationL2VpnIdentifier, {"Domain ", "Domain-IP:"}, "DOM:"};
  using ExtCommLabelledKind::ExtCommLabelledKind;

 protected:
  ~Domain() override = default;
};
class DomainRule : public KindRule<extCommPktSubtypeTransIpv4AddressOspfDomainIdentifier, Domain> {
 public:
  using KindRule::KindRule;
};
class DomainSm : public BgpParseExtCommKindSm<DomainRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};

TEST(KindsTest, AKindMayComeFromOutside) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  decoder->extCommParserSmsEnq(Tyr::make<DomainSm>(decoder->parseExtCommRuleCollections()));
  const auto comm = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(0x01050a0102030007));
  EXPECT_STREQ(comm->fwkType().name, "Outside::Domain");
  EXPECT_EQ(comm->classification(), extCommClassificationL2VpnIdentifier);
  EXPECT_EQ(comm->toStrep(), "<Domain 10.1.2.3:7 0x01050a0102030007>");
  EXPECT_EQ(comm->toStrepForPolicy(Format(classificationBit)), "DOM:10.1.2.3:7");
  const auto untouched = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(0x0005fde800000064));
  EXPECT_EQ(untouched->fwkType().unqualifiedName(), "ExtCommAsNumber");  // the same octet of another family
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

TEST(KindsTest, FieldsOfObjectsBuiltByHand) {
  // The layout is what the maker says.
  const ExtCommContent target(0x02020003000a0005);
  const auto wide = Tyr::make<ExtCommRouteTargetAs>(target, true),
             narrow = Tyr::make<ExtCommRouteTargetAs>(target, false);
  EXPECT_TRUE(wide->fourByteAs() && wide->asNumber() == 196618 && wide->localAdmin() == 5);
  EXPECT_TRUE(!narrow->fourByteAs() && narrow->asNumber() == 3 && narrow->localAdmin() == 655365);
  const auto ip = Tyr::make<ExtCommRouteTargetIpv4Address>(ExtCommContent(0x01020a0102030007));
  EXPECT_TRUE(ip->ipv4Address().toStrep() == "10.1.2.3" && ip->localAdmin() == 7);
  const auto color = Tyr::make<ExtCommColor>(ExtCommContent(0x030bc00100000064));
  EXPECT_TRUE(color->colorOnlyBits() == 3 && color->color() == 100);
  const auto encap = Tyr::make<ExtCommTunnelEncap>(ExtCommContent(0x030c00000000000d));
  EXPECT_TRUE(encap->tunnelType() == tunnelTypeUnknown && encap->tunnelTypeNumber() == 13);
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
