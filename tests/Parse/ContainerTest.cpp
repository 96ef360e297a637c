#include "VelBgp/Parse/ExtCommContainer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

std::string_view typeOf(const BgpParseExtCommContainerSm& container, std::uint64_t value) {
  return container.extCommParser()->parseExtendedCommunity(ExtCommContent(value))->fwkType().unqualifiedName();
}

TEST(ContainerTest, PluginsStandInOrderOfCreation) {
  const auto container = bgpParseExtCommContainerSmFactory(true);
  std::uint32_t index = 0;
  for (const std::string kind : {"RouteOrigin", "RouteTarget", "TunnelEncap", "DefaultGateway", "LinkBandwidth",
                                 "Color", "OriginValidationState", "VrfRouteImport", "SourceAs"}) {
    const auto& entry = container->extCommParserSms().at(index);
    const BgpParseExtCommPluginBaseSm& plugin = *entry.plugin;
    EXPECT_NE(std::string(typeid(plugin).name()).find("BgpParseExtComm" + kind + "Sm"), std::string::npos) << kind;
    EXPECT_TRUE(plugin.notificationActive());
    EXPECT_EQ(entry.index, index++);
  }
  EXPECT_EQ(container->extCommParserSms().size(), index);
  EXPECT_TRUE(container->notificationActive() && container->extCommParser()->notificationActive());
}

// What the file says is kept for the life of the process, also when it is gone.
TEST(ContainerTest, TheToggleFileDecidesOncePerProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto pluginsTwice = [file = testing::TempDir() + "MvpnLib.json"] {
    std::ofstream(file) << "{\"Mvpn\": false}";
    setenv("FEATURE_TOGGLE_DIR", testing::TempDir().c_str(), 1);
    const auto first = BgpParseExtCommContainerSmIs()->extCommParserSms().size();
    std::filesystem::remove(file);
    std::exit(static_cast<int>(10 * first + BgpParseExtCommContainerSmIs()->extCommParserSms().size()));
  };
  EXPECT_EXIT(pluginsTwice(), testing::ExitedWithCode(77), "");
}

TEST(ContainerTest, QueueByIndex) {
  const auto container = bgpParseExtCommContainerSmFactory(false);
  const auto plugin = BgpParseExtCommPluginBaseSmIs(nullptr), other = BgpParseExtCommPluginBaseSmIs(nullptr);
  EXPECT_EQ(container->extCommParserSmsEnq(plugin), 7u);
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
  container->extCommParserSmsIs(0xffffffff, plugin);
  EXPECT_THROW(container->extCommParserSmsEnq(plugin), Tyr::RangeException);
  EXPECT_THROW(container->extCommParserSmsEnq(nullptr), Tyr::NullArgumentException);
  container->extCommParserSmsDelAll();
  EXPECT_TRUE(!container->extCommParserSmsFront() && !container->extCommParserSmsBack());
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
