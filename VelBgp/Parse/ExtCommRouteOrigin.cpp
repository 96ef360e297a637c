#include "VelBgp/Parse/ExtCommRouteOrigin.h"

#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {
namespace {

constexpr ExtCommAsLabels asLabels = {{"Routing::Bgp::ExtCommRouteOriginAs"},
                                      "RouteOrigin2ByteASN ",
                                      "RouteOrigin4ByteASN ",
                                      "Route-Origin-AS:",
                                      "Route-Origin-AS4:",
                                      "SoO:"};
constexpr ExtCommIpv4Labels ipv4Labels = {
    {"Routing::Bgp::ExtCommRouteOriginIpv4Address"}, "RouteOrigin ", "Route-Origin-IP:", "SoO:"};

}  // namespace

const Tyr::FwkType& ExtCommRouteOriginAs::fwkType() const { return asLabels.fwkType; }

void ExtCommRouteOriginAs::formatDerivedType(std::ostream& stream) const { formatKind(stream, *this, asLabels); }

std::string ExtCommRouteOriginAs::toStrepForPolicy(StrepFormat format) const {
  return kindToStrep(*this, format, asLabels);
}

const Tyr::FwkType& ExtCommRouteOriginIpv4Address::fwkType() const { return ipv4Labels.fwkType; }

void ExtCommRouteOriginIpv4Address::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, ipv4Labels);
}

std::string ExtCommRouteOriginIpv4Address::toStrepForPolicy(StrepFormat format) const {
  return kindToStrep(*this, format, ipv4Labels);
}

ExtComm::PtrConst extCommRouteOriginAsFactory(const ExtCommContent& content, bool fourByteAs) {
  return Tyr::make<ExtCommRouteOriginAs>(content, fourByteAs);
}

ExtComm::PtrConst ExtCommRouteOriginAsIs(const ExtCommContent& content, bool fourByteAs) {
  return extCommRouteOriginAsFactory(content, fourByteAs);
}

ExtComm::PtrConst extCommRouteOriginIpv4AddressFactory(const ExtCommContent& content) {
  return Tyr::make<ExtCommRouteOriginIpv4Address>(content);
}

ExtComm::PtrConst ExtCommRouteOriginIpv4AddressIs(const ExtCommContent& content) {
  return extCommRouteOriginIpv4AddressFactory(content);
}

BgpParseExtCommRouteOriginSm::BgpParseExtCommRouteOriginSm(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommRouteOriginSm::instantiateExtCommSubTypeTransTwoOctetAsSubRule(
    const BgpParseExtCommSubTypeTransTwoOctetAsRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransTwoOctetAsSubRule(key, Tyr::make<BgpParseExtComSubTypeTransTwoOctetAsRouteOriginRule>(control));
}

void BgpParseExtCommRouteOriginSm::instantiateExtCommSubTypeTransIpv4AddressSubRule(
    const BgpParseExtCommSubTypeTransIpv4AddressRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransIpv4AddressSubRule(key,
                                           Tyr::make<BgpParseExtComSubTypeTransIpv4AddressRouteOriginRule>(control));
}

void BgpParseExtCommRouteOriginSm::instantiateExtCommSubTypeTransFourOctetAsSubRule(
    const BgpParseExtCommSubTypeTransFourOctetAsRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransFourOctetAsSubRule(key,
                                           Tyr::make<BgpParseExtComSubTypeTransFourOctetAsRouteOriginRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommRouteOriginSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommRouteOriginSm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommRouteOriginSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommRouteOriginSmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
