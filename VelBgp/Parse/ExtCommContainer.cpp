#include "VelBgp/Parse/ExtCommContainer.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Toggle/Toggle.h"
#include "Tyr/Exception.h"
#include "VelBgp/Parse/ExtCommColor.h"
#include "VelBgp/Parse/ExtCommDefaultGateway.h"
#include "VelBgp/Parse/ExtCommLinkBandwidth.h"
#include "VelBgp/Parse/ExtCommOriginValidationState.h"
#include "VelBgp/Parse/ExtCommRouteOrigin.h"
#include "VelBgp/Parse/ExtCommRouteTarget.h"
#include "VelBgp/Parse/ExtCommSourceAs.h"
#include "VelBgp/Parse/ExtCommTunnelEncap.h"
#include "VelBgp/Parse/ExtCommVrfRouteImport.h"

namespace Routing::Bgp {
namespace {

using PluginFactory = BgpParseExtCommPluginBaseSm::Ptr (*)(const BgpParseExtCommRuleCollections::PtrConst&);

// In the order in which they are made, and so add their sub-rules.
constexpr PluginFactory pluginFactories[] = {
    BgpParseExtCommRouteOriginSmIs,           BgpParseExtCommRouteTargetSmIs,   BgpParseExtCommTunnelEncapSmIs,
    BgpParseExtCommDefaultGatewaySmIs,        BgpParseExtCommLinkBandwidthSmIs, BgpParseExtCommColorSmIs,
    BgpParseExtCommOriginValidationStateSmIs,
};
constexpr PluginFactory mvpnPluginFactories[] = {BgpParseExtCommVrfRouteImportSmIs, BgpParseExtCommSourceAsSmIs};

void requirePlugin(const BgpParseExtCommPluginBaseSm::Ptr& plugin) {
  if (plugin == nullptr) throw Tyr::NullArgumentException("extCommParserSms");
}

}  // namespace

bool toggleMvpnEnabled() {
  static const bool enabled = Toggle::getToggleState("Mvpn", "MvpnLib.json", true);
  return enabled;
}

BgpParseExtCommContainerSm::BgpParseExtCommContainerSm() : BgpParseExtCommContainerSm(toggleMvpnEnabled()) {}

BgpParseExtCommContainerSm::BgpParseExtCommContainerSm(bool mvpn) { handleInitialized(mvpn); }

// The tree goes while every plugin is there to hear its rules leave; the collections last, with the rules that hold
// them.
BgpParseExtCommContainerSm::~BgpParseExtCommContainerSm() {
  parseExtCommRuleCollectionsDel();
  extCommParserDel();
  extCommParserSmsDelAll();
}

void BgpParseExtCommContainerSm::handleInitialized(bool mvpn) {
  parseExtCommRuleCollectionsIs();
  for (const PluginFactory make : pluginFactories) extCommParserSmsEnq(make(parseExtCommRuleCollections_));
  if (mvpn) {
    for (const PluginFactory make : mvpnPluginFactories) extCommParserSmsEnq(make(parseExtCommRuleCollections_));
  }
  extCommParserIs(BgpParseExtCommControl(parseExtCommRuleCollections_));
}

const BgpParseExtCommRuleCollections::Ptr& BgpParseExtCommContainerSm::parseExtCommRuleCollectionsIs() {
  return parseExtCommRuleCollections_ = BgpParseExtCommRuleCollectionsIs();
}

BgpParseExtCommRuleCollections::Ptr BgpParseExtCommContainerSm::parseExtCommRuleCollectionsDel() {
  return std::exchange(parseExtCommRuleCollections_, nullptr);
}

const BgpParseExtendedCommunityRule::Ptr& BgpParseExtCommContainerSm::extCommParserIs(
    const BgpParseExtCommControl& control) {
  return extCommParser_ = bgpParseExtendedCommunityRuleFactory(control);
}

BgpParseExtendedCommunityRule::Ptr BgpParseExtCommContainerSm::extCommParserDel() {
  return std::exchange(extCommParser_, nullptr);
}

std::uint32_t BgpParseExtCommContainerSm::extCommParserSmsEnq(const BgpParseExtCommPluginBaseSm::Ptr& plugin) {
  requirePlugin(plugin);
  std::uint32_t index = extCommParserSmsNextIndex_;
  if (!extCommParserSms_.empty()) {
    const std::uint32_t last = extCommParserSms_.back().index;
    if (last == std::numeric_limits<std::uint32_t>::max()) {
      throw Tyr::RangeException("BgpParseExtCommContainerSm::extCommParserSmsEnq");
    }
    index = std::max(last + 1, index);
  }
  extCommParserSms_.push_back({index, plugin});
  return extCommParserSmsNextIndex_ = index;
}

BgpParseExtCommContainerSm::ExtCommParserSms::iterator BgpParseExtCommContainerSm::placeOf(std::uint32_t index) {
  return std::lower_bound(extCommParserSms_.begin(), extCommParserSms_.end(), index,
                          [](const TyrExtCommParserSms& entry, std::uint32_t i) { return entry.index < i; });
}

void BgpParseExtCommContainerSm::extCommParserSmsIs(std::uint32_t index,
                                                    const BgpParseExtCommPluginBaseSm::Ptr& plugin) {
  requirePlugin(plugin);
  const auto place = placeOf(index);
  if (place != extCommParserSms_.end() && place->index == index) {
    place->plugin = plugin;
  } else {
    extCommParserSms_.insert(place, {index, plugin});
  }
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommContainerSm::extCommParserSmsDeq() {
  return extCommParserSms_.empty() ? nullptr : extCommParserSmsDel(extCommParserSms_.cbegin());
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommContainerSm::extCommParserSmsDel(std::uint32_t index) {
  const auto place = placeOf(index);
  if (place == extCommParserSms_.end() || place->index != index) return nullptr;
  return extCommParserSmsDel(ExtCommParserSms::const_iterator(place));
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommContainerSm::extCommParserSmsDel(
    ExtCommParserSms::const_iterator place) {
  BgpParseExtCommPluginBaseSm::Ptr plugin = place->plugin;
  extCommParserSms_.erase(place);
  return plugin;
}

void BgpParseExtCommContainerSm::extCommParserSmsDelAll() { extCommParserSms_.clear(); }

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommContainerSm::extCommParserSmsFront() const {
  return extCommParserSms_.empty() ? nullptr : extCommParserSms_.front().plugin;
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommContainerSm::extCommParserSmsBack() const {
  return extCommParserSms_.empty() ? nullptr : extCommParserSms_.back().plugin;
}

BgpParseExtCommContainerSm::Ptr bgpParseExtCommContainerSmFactory() { return Tyr::make<BgpParseExtCommContainerSm>(); }

BgpParseExtCommContainerSm::Ptr bgpParseExtCommContainerSmFactory(bool mvpn) {
  return Tyr::make<BgpParseExtCommContainerSm>(mvpn);
}

BgpParseExtCommContainerSm::Ptr BgpParseExtCommContainerSmIs() { return bgpParseExtCommContainerSmFactory(); }

}  // namespace Routing::Bgp
