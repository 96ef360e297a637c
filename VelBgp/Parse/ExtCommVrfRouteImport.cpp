#include "VelBgp/Parse/ExtCommVrfRouteImport.h"

#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {
namespace {

constexpr ExtCommIpv4Labels labels = {
    {"Routing::Bgp::ExtCommVrfRouteImportIpv4Address"}, "VrfRouteImport ", "VRF-Route-Import:", "VRI:"};

}  // namespace

const Tyr::FwkType& ExtCommVrfRouteImportIpv4Address::fwkType() const { return labels.fwkType; }

void ExtCommVrfRouteImportIpv4Address::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, labels);
}

std::string ExtCommVrfRouteImportIpv4Address::toStrepForPolicy(StrepFormat format) const {
  return kindToStrep(*this, format, labels);
}

ExtComm::PtrConst extCommVrfRouteImportIpv4AddressFactory(const ExtCommContent& content) {
  return Tyr::make<ExtCommVrfRouteImportIpv4Address>(content);
}

ExtComm::PtrConst ExtCommVrfRouteImportIpv4AddressIs(const ExtCommContent& content) {
  return extCommVrfRouteImportIpv4AddressFactory(content);
}

BgpParseExtCommVrfRouteImportSm::BgpParseExtCommVrfRouteImportSm(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommVrfRouteImportSm::instantiateExtCommSubTypeTransIpv4AddressSubRule(
    const BgpParseExtCommSubTypeTransIpv4AddressRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransIpv4AddressSubRule(key,
                                           Tyr::make<BgpParseExtComSubTypeTransIpv4AddressVrfRouteImportRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommVrfRouteImportSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommVrfRouteImportSm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommVrfRouteImportSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommVrfRouteImportSmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
