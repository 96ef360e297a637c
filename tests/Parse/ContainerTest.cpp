#include "VelBgp/Parse/ExtCommContainer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "VelBgp/Parse/ExtCommColor.h"
#include "VelBgp/Parse/ExtCommDefaultGateway.h"
#include "VelBgp/Parse/ExtCommLinkBandwidth.h"
#include "VelBgp/Parse/ExtCommOriginValidationState.h"
#include "VelBgp/Parse/ExtCommRouteOrigin.h"
#include "VelBgp/Parse/ExtCommRouteTarget.h"
#include "VelBgp/Parse/ExtCommSourceAs.h"
#include "VelBgp/Parse/ExtCommTunnelEncap.h"
#include "VelBgp/Parse/ExtCommVrfRouteImport.h"
#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

std::string_view typeOf(const BgpParseExtCommContainerSm& container, std::uint64_t value) {
  return container.extCommParser()->parseExtendedCommunity(ExtCommContent(value))->fwkType().unqualifiedName();
}

template <typename... Plugins>
void expectPlugins(const BgpParseExtCommContainerSm& container) {
  const std::type_info* const expected[] = {&typeid(Plugins)...};
  const auto& queue = container.extCommParserSms();
  ASSERT_EQ(queue.size(), std::size(expected));
  for (std::size_t i = 0; i < queue.size(); ++i) {
    EXPECT_EQ(queue[i].index, i);
    const BgpParseExtCommPluginBaseSm& plugin = *queue[i].plugin;
    EXPECT_TRUE(typeid(plugin) == *expected[i] && plugin.notificationActive()) << i;
  }
}

TEST(ContainerTest, PluginsStandInOrderOfCreation) {
  const auto container = bgpParseExtCommContainerSmFactory(true);
  expectPlugins<BgpParseExtCommRouteOriginSm, BgpParseExtCommRouteTargetSm, BgpParseExtCommTunnelEncapSm,
                BgpParseExtCommDefaultGatewaySm, BgpParseExtCommLinkBandwidthSm, BgpParseExtCommColorSm,
                BgpParseExtCommOriginValidationStateSm, BgpParseExtCommVrfRouteImportSm, BgpParseExtCommSourceAsSm>(
      *container);
  EXPECT_TRUE(container->notificationActive() && container->extCommParser()->notificationActive());
}

TEST(ContainerTest, WithoutMvpnItsKindsAreGeneric) {
  const auto container = bgpParseExtCommContainerSmFactory(false);
  EXPECT_EQ(container->extCommParserSms().size(), 7u);
  EXPECT_EQ(typeOf(*container, 0x010b0a0102030007), "ExtCommIpv4Address");
  EXPECT_EQ(typeOf(*container, 0x0009fde800000000), "ExtCommAsNumber");
  EXPECT_EQ(typeOf(*container, 0x02090003000a0000), "ExtCommAsNumber");
  EXPECT_EQ(typeOf(*container, 0x01020a0102030007), "ExtCommRouteTargetIpv4Address");
}

// The answer is kept for the life of the process, so each case has one of its own.
TEST(ContainerTest, TheToggleFileDecidesOncePerProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto dir = std::filesystem::path(testing::TempDir()) / "mvpn-toggle";
  std::filesystem::create_directories(dir);
  const auto pluginsWith = [&dir](const std::string& text) {
    std::ofstream(dir / "MvpnLib.json") << text;
    setenv("FEATURE_TOGGLE_DIR", dir.c_str(), 1);
    const auto first = BgpParseExtCommContainerSmIs()->extCommParserSms().size();
    std::filesystem::remove(dir / "MvpnLib.json");
    const auto second = BgpParseExtCommContainerSmIs()->extCommParserSms().size();
    std::exit(first == second ? static_cast<int>(first) : 99);
  };
  EXPECT_EXIT(pluginsWith("{\"Mvpn\": false}"), testing::ExitedWithCode(7), "");
  EXPECT_EXIT(pluginsWith("{\"Mvpn\": true}"), testing::ExitedWithCode(9), "");
  EXPECT_EXIT(pluginsWith("{\"Other\": false}"), testing::ExitedWithCode(9), "");
  std::filesystem::remove_all(dir);
}

TEST(ContainerTest, QueueByIndex) {
  const auto container = bgpParseExtCommContainerSmFactory(false);
  const auto plugin = BgpParseExtCommPluginBaseSmIs(nullptr);
  const auto other = BgpParseExtCommPluginBaseSmIs(nullptr);
  EXPECT_EQ(container->extCommParserSmsEnq(plugin), 7u);
  EXPECT_EQ(container->extCommParserSmsBack(), plugin);
  EXPECT_EQ(container->extCommParserSmsDel(7u), plugin);
  EXPECT_EQ(container->extCommParserSmsDel(7u), nullptr);
  EXPECT_EQ(container->extCommParserSmsEnq(plugin), 7u);  // an index that was the last is given again
  container->extCommParserSmsIs(7, other);
  EXPECT_EQ(container->extCommParserSmsBack(), other);
  container->extCommParserSmsIs(20, plugin);
  EXPECT_EQ(container->extCommParserSmsEnq(other), 21u);
  container->extCommParserSmsIs(10, plugin);
  std::vector<std::uint32_t> indices;
  for (const auto& entry : container->extCommParserSms()) indices.push_back(entry.index);
  EXPECT_EQ(indices, (std::vector<std::uint32_t>{0, 1, 2, 3, 4, 5, 6, 7, 10, 20, 21}));
  const auto front = container->extCommParserSmsFront();
  EXPECT_EQ(container->extCommParserSmsDeq(), front);
  EXPECT_EQ(container->extCommParserSmsDel(container->extCommParserSms().end() - 1), other);
  EXPECT_EQ(container->extCommParserSms().size(), 9u);
  container->extCommParserSmsIs(0xffffffff, plugin);
  EXPECT_THROW(container->extCommParserSmsEnq(plugin), Tyr::RangeException);
  EXPECT_THROW(container->extCommParserSmsEnq(nullptr), Tyr::NullArgumentException);
  container->extCommParserSmsDelAll();
  EXPECT_EQ(container->extCommParserSmsFront(), nullptr);
  EXPECT_EQ(container->extCommParserSmsBack(), nullptr);
  EXPECT_EQ(container->extCommParserSmsDeq(), nullptr);
  EXPECT_EQ(container->extCommParserSmsEnq(plugin), 21u);  // never below one that was given before
}

class WitnessSm : public BgpParseExtCommPluginBaseSm {
 public:
  WitnessSm(const BgpParseExtCommRuleCollections::PtrConst& collections, int* colors)
      : BgpParseExtCommPluginBaseSm(collections), colors_(colors) {}
  ~WitnessSm() override { *colors_ = -*colors_; }
  void instantiateExtCommSubTypeTransOpaqueSubRule(const BgpParseExtCommSubTypeTransOpaqueRuleKey& key,
                                                   const BgpParseExtCommControl&) const override {
    // The color plugin, which stands before this one in the queue, has filled the dying rule again.
    if (key.rule()->subTypeRule(extCommPktSubtypeTransOpaqueColorExtendedCommunity)) ++*colors_;
  }

 private:
  int* colors_;
};

TEST(ContainerTest, TheTreeGoesWhilePluginsAreThereToHearIt) {
  auto container = bgpParseExtCommContainerSmFactory(true);
  int colors = 0;
  container->extCommParserSmsEnq(Tyr::make<WitnessSm>(container->parseExtCommRuleCollections(), &colors));
  container.reset();
  EXPECT_EQ(colors, -1);  // heard once, then destroyed
}

TEST(ContainerTest, PartsCanBeMadeAnewAndATreeOutlivesItsContainer) {
  auto container = bgpParseExtCommContainerSmFactory(true);
  const auto collections = container->parseExtCommRuleCollectionsDel();
  EXPECT_EQ(container->parseExtCommRuleCollections(), nullptr);
  const auto root = container->extCommParserDel();
  container->extCommParserIs(BgpParseExtCommControl(collections));
  EXPECT_EQ(typeOf(*container, 0x030b000000000064), "ExtCommColor");
  EXPECT_NE(container->parseExtCommRuleCollectionsIs(), collections);
  container.reset();
  const auto comm = root->parseExtendedCommunity(ExtCommContent(0x030b000000000064));
  EXPECT_EQ(comm->fwkType().unqualifiedName(), "ExtCommColor");
}

}  // namespace
}  // namespace Routing::Bgp::test
