#include "VelBgp/Parse/ExtCommRouteTarget.h"

#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {
namespace {

constexpr ExtCommAsLabels asLabels = {{"Routing::Bgp::ExtCommRouteTargetAs"},
                                      "RouteTarget2ByteASN ",
                                      "RouteTarget4ByteASN ",
                                      "Route-Target-AS:",
                                      "Route-Target-AS4:",
                                      "RT:"};
constexpr ExtCommIpv4Labels ipv4Labels = {
    {"Routing::Bgp::ExtCommRouteTargetIpv4Address"}, "RouteTarget ", "Route-Target-IP:", "RT:"};

}  // namespace

const Tyr::FwkType& ExtCommRouteTargetAs::fwkType() const { return asLabels.fwkType; }

void ExtCommRouteTargetAs::formatDerivedType(std::ostream& stream) const { formatKind(stream, *this, asLabels); }

std::string ExtCommRouteTargetAs::toStrepForPolicy(StrepFormat format) const {
  return kindToStrep(*this, format, asLabels);
}

const Tyr::FwkType& ExtCommRouteTargetIpv4Address::fwkType() const { return ipv4Labels.fwkType; }

void ExtCommRouteTargetIpv4Address::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, ipv4Labels);
}

std::string ExtCommRouteTargetIpv4Address::toStrepForPolicy(StrepFormat format) const {
  return kindToStrep(*this, format, ipv4Labels);
}

ExtComm::PtrConst extCommRouteTargetAsFactory(const ExtCommContent& content, bool fourByteAs) {
  return Tyr::make<ExtCommRouteTargetAs>(content, fourByteAs);
}

ExtComm::PtrConst ExtCommRouteTargetAsIs(const ExtCommContent& content, bool fourByteAs) {
  return extCommRouteTargetAsFactory(content, fourByteAs);
}

ExtComm::PtrConst extCommRouteTargetIpv4AddressFactory(const ExtCommContent& content) {
  return Tyr::make<ExtCommRouteTargetIpv4Address>(content);
}

ExtComm::PtrConst ExtCommRouteTargetIpv4AddressIs(const ExtCommContent& content) {
  return extCommRouteTargetIpv4AddressFactory(content);
}

BgpParseExtCommRouteTargetSm::BgpParseExtCommRouteTargetSm(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommRouteTargetSm::instantiateExtCommSubTypeTransTwoOctetAsSubRule(
    const BgpParseExtCommSubTypeTransTwoOctetAsRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransTwoOctetAsSubRule(key, Tyr::make<BgpParseExtComSubTypeTransTwoOctetAsRouteTargetRule>(control));
}

void BgpParseExtCommRouteTargetSm::instantiateExtCommSubTypeTransIpv4AddressSubRule(
    const BgpParseExtCommSubTypeTransIpv4AddressRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransIpv4AddressSubRule(key,
                                           Tyr::make<BgpParseExtComSubTypeTransIpv4AddressRouteTargetRule>(control));
}

void BgpParseExtCommRouteTargetSm::instantiateExtCommSubTypeTransFourOctetAsSubRule(
    const BgpParseExtCommSubTypeTransFourOctetAsRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransFourOctetAsSubRule(key,
                                           Tyr::make<BgpParseExtComSubTypeTransFourOctetAsRouteTargetRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommRouteTargetSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommRouteTargetSm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommRouteTargetSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommRouteTargetSmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
