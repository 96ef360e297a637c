#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <vector>

#include "VelBgp/Agent.h"
#include "VelBgp/Parse/ExtCommKind.h"
#include "support/Death.h"
#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

using CollectionsPtr = BgpParseExtCommRuleCollections::PtrConst;
using Numbers = std::vector<unsigned>;

constexpr ExtCommContent color(0x030b000000000064);
constexpr ExtCommContent evpn(0x0600000000000002);

Numbers ascending(unsigned first, unsigned last) {
  Numbers numbers(last - first + 1);
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

// Writes down which hooks are called.
class Recorder : public BgpParseExtCommPluginBaseSm {
 public:
  Recorder(const CollectionsPtr& collections, Numbers* heard)
      : BgpParseExtCommPluginBaseSm(collections), heard_(heard) {
    handleStartup();
  }
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handle, instantiateSubRule, add, number, ...) \
  void instantiateSubRule(const Key& key, const BgpParseExtCommControl& control) const override {       \
    EXPECT_EQ(control, key.rule()->control());                                                          \
    heard_->push_back(number);                                                                          \
  }
#include "VelBgp/Parse/ExtCommFamilies.def"

 private:
  Numbers* heard_;
};

// Sub-rules that make route targets out of colors, or decline.
template <bool declines>
class OddRule : public BgpParseExtComSubTypeTransOpaqueRuleBase {
 public:
  explicit OddRule(const BgpParseExtCommControl& control)
      : BgpParseExtComSubTypeTransOpaqueRuleBase(control, extCommPktSubtypeTransOpaqueColorExtendedCommunity) {
    ++live;
  }
  ~OddRule() override { --live; }
  ExtComm::PtrConst inhale(const ExtCommContent& content) const override {
    return declines ? nullptr : ExtCommIs(extCommClassificationRouteTarget, content);
  }
  static inline int live = 0;
};
template <bool declines>
using OddPlugin = BgpParseExtCommKindSm<OddRule<declines>>;

// Declines odd values.
class EvpnRule : public BgpParseExtendedCommunityTypeRuleBase {
 public:
  explicit EvpnRule(const BgpParseExtCommControl& control)
      : BgpParseExtendedCommunityTypeRuleBase(control, extCommPktTypeTransEvpn) {}
  ExtComm::PtrConst inhale(const ExtCommContent& content) const override {
    return content.value() % 2 == 1 ? nullptr : ExtCommSubtypedIs(extCommClassificationEvpn, content);
  }
};

class EvpnPlugin : public BgpParseExtCommPluginBaseSm {
 public:
  using BgpParseExtCommPluginBaseSm::BgpParseExtCommPluginBaseSm;
  void instantiateExtendedCommunityTypeSubRule(const BgpParseExtendedCommunityRuleKey& key,
                                               const BgpParseExtCommControl& control) const override {
    addExtendedCommunityTypeSubRule(key, Tyr::make<EvpnRule>(control));
  }
};

class ThrowingPlugin : public BgpParseExtCommPluginBaseSm {
 public:
  using BgpParseExtCommPluginBaseSm::BgpParseExtCommPluginBaseSm;
  void instantiateExtCommSubTypeTransGenericSubRule(const BgpParseExtCommSubTypeTransGenericRuleKey&,
                                                    const BgpParseExtCommControl&) const override {
    throw std::runtime_error("no room");
  }
};

class RuleTreeTest : public testing::Test {
 protected:
  template <typename Plugin>
  Tyr::Ptr<Plugin> plug() const {
    return Tyr::make<Plugin>(collections);
  }
  void build() { root = bgpParseExtendedCommunityRuleFactory(BgpParseExtCommControl(collections)); }
  ExtComm::PtrConst decode(const ExtCommContent& content) const { return root->parseExtendedCommunity(content); }
  std::string_view typeOf(const ExtCommContent& content) const { return decode(content)->fwkType().unqualifiedName(); }

  BgpParseExtCommRuleCollections::Ptr collections = BgpParseExtCommRuleCollectionsIs();
  BgpParseExtendedCommunityRule::Ptr root;
};

TEST_F(RuleTreeTest, RulesAreAnnouncedInTheOrderOfTheTable) {
  Numbers announced, early, late, deaf;
  const auto handle = collections->notifieeList().attach([&](unsigned n, const auto&) { announced.push_back(n); });
  const auto earlyPlugin = Tyr::make<Recorder>(collections, &early);
  Tyr::make<Recorder>(collections, &deaf).reset();  // gone before anything is announced
  const auto alone = Tyr::make<Recorder>(nullptr, &deaf);
  EXPECT_EQ(early, Numbers());
  build();
  Numbers built = ascending(131, 143);
  built.push_back(130);
  EXPECT_EQ(announced, built);
  EXPECT_EQ(early, built);
  const auto latePlugin = Tyr::make<Recorder>(collections, &late);
  EXPECT_EQ(late, ascending(130, 143));
  announced.clear();
  early.clear();
  root.reset();
  EXPECT_EQ(announced.front(), 130u);
  // Deliberate: the hooks are called for what leaves, too.
  EXPECT_EQ(early, announced);
  std::sort(announced.begin(), announced.end());
  EXPECT_EQ(announced, ascending(130, 143));
  EXPECT_EQ(deaf, Numbers());
}

TEST_F(RuleTreeTest, ALaterSubRuleReplacesAndReleasesTheEarlier) {
  const auto first = plug<OddPlugin<true>>();
  const auto second = plug<OddPlugin<false>>();
  build();
  EXPECT_EQ(decode(color)->classification(), extCommClassificationRouteTarget);
  EXPECT_EQ(OddRule<true>::live, 0);
  const auto late = plug<OddPlugin<true>>();
  EXPECT_EQ(typeOf(color), "ExtCommSubtyped");  // declined, which leaves it to the type's own
  EXPECT_EQ(OddRule<false>::live, 0);
  root.reset();
  EXPECT_EQ(OddRule<true>::live, 0);
}

TEST_F(RuleTreeTest, SubRulesCanBeTakenOut) {
  const auto plugin = plug<OddPlugin<false>>();
  build();
  auto* const opaque = collections->extendedCommSubTypeTransOpaqueRuleInstance().begin()->rule();
  EXPECT_EQ(opaque->subTypeRuleDel(extCommPktSubtypeTransOpaqueDefaultGateway), nullptr);
  const auto taken = opaque->subTypeRuleDel(extCommPktSubtypeTransOpaqueColorExtendedCommunity);
  EXPECT_EQ(typeOf(color), "ExtCommSubtyped");
  opaque->subTypeRuleIs(taken);
  EXPECT_EQ(typeOf(color), "ExtComm");
  opaque->subTypeRuleDelAll();
  EXPECT_EQ(opaque->subTypeRuleCount(), 0u);
  EXPECT_THROW(opaque->subTypeRuleIs(nullptr), Tyr::NullArgumentException);
}

TEST_F(RuleTreeTest, APluginMayAddAWholeType) {
  const auto plugin = plug<EvpnPlugin>();
  build();
  EXPECT_EQ(decode(evpn)->classification(), extCommClassificationEvpn);
  EXPECT_EQ(typeOf(ExtCommContent(evpn.value() + 1)), "ExtComm");
  EXPECT_NE(root->typeRuleDel(extCommPktTypeTransEvpn), nullptr);
  EXPECT_EQ(root->typeRuleDel(extCommPktTypeTransEvpn), nullptr);
  root->typeRuleDelAll();
  root->ip6TypeRuleDelAll();
  EXPECT_EQ(root->ip6TypeRuleDel(extCommIp6PktTypeNonTransIpv6Address), nullptr);
  EXPECT_EQ(typeOf(color), "ExtComm");
  EXPECT_THROW(root->typeRuleIs(nullptr), Tyr::NullArgumentException);
  EXPECT_THROW(root->ip6TypeRuleIs(nullptr), Tyr::NullArgumentException);
}

TEST_F(RuleTreeTest, Ipv6ValuesDecodeByTypeAndSubtype) {
  const auto rule = Tyr::make<BgpParseExtCommIp6TransRule>(BgpParseExtCommControl());
  rule->subTypeRuleIs(Tyr::make<Ip6SubRule>(extCommIp6PktSubtypeRouteTarget, extCommClassificationRouteTarget));
  rule->subTypeRuleIs(Tyr::make<Ip6SubRule>(extCommIp6PktSubtypeRouteOrigin, extCommClassificationColor, true));
  build();
  root->ip6TypeRuleIs(rule);
  const auto decode6 = [this](std::uint8_t type, std::uint8_t subtype) {
    const ExtCommIp6Content content = ip6(type, subtype, "2001:db8::1", 7);
    const auto decoded = root->parseExtendedCommunityIp6(content);
    EXPECT_EQ(decoded->getContent(), content);
    return std::string(decoded->fwkType().unqualifiedName()) + " " + std::to_string(decoded->classification());
  };
  EXPECT_EQ(decode6(0x00, 0x02), "ExtCommIp6Subtyped 1");
  EXPECT_EQ(decode6(0x00, 0x03), "ExtCommIp6Subtyped 0");  // declined
  EXPECT_EQ(decode6(0x00, 0x04), "ExtCommIp6Subtyped 0");  // no rule
  EXPECT_EQ(decode6(0x40, 0x02), "ExtCommIp6Subtyped 0");
  EXPECT_EQ(decode6(0x01, 0x02), "ExtCommIp6 0");
}

// A key that stayed would name a rule that was never finished.
TEST_F(RuleTreeTest, AHookThatThrowsLeavesNoKeyBehind) {
  const auto plugin = plug<ThrowingPlugin>();
  EXPECT_THROW(build(), std::runtime_error);
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, ...) EXPECT_TRUE(collections->ruleInstance().empty());
#include "VelBgp/Parse/ExtCommFamilies.def"
}

// Deliberate: the first text has its operands the other way round.
TEST_F(RuleTreeTest, ANullSubRuleStopsTheProcess) {
  const auto plugin = BgpParseExtCommPluginBaseSmIs(collections);
  build();
#define BGP_PARSE_EXT_COMM_ROOT(Rule, Key, ruleInstance, handle, instantiate, addSubRule, ...) \
  EXPECT_ASSERTION(plugin->addSubRule(*collections->ruleInstance().begin(), nullptr), "__null != rule");
#define BGP_PARSE_EXT_COMM_FAMILY(Rule, Key, ruleInstance, handle, instantiate, addSubRule, ...) \
  EXPECT_ASSERTION(plugin->addSubRule(*collections->ruleInstance().begin(), nullptr), "rule != __null");
#include "VelBgp/Parse/ExtCommFamilies.def"
}

}  // namespace
}  // namespace Routing::Bgp::test
