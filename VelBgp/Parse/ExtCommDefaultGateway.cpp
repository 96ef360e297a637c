#include "VelBgp/Parse/ExtCommDefaultGateway.h"

#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {
namespace {

constexpr const char* label = "DefaultGateway";

}  // namespace

const Tyr::FwkType& ExtCommDefaultGateway::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::ExtCommDefaultGateway"};
  return type;
}

void ExtCommDefaultGateway::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, [](Tyr::DynamicBufferInterface& buffer) { buffer.append(label); });
}

std::string ExtCommDefaultGateway::toStrepForPolicy(StrepFormat) const { return label; }

ExtComm::PtrConst extCommDefaultGatewayFactory(const ExtCommContent& content) {
  return Tyr::make<ExtCommDefaultGateway>(content);
}

ExtComm::PtrConst ExtCommDefaultGatewayIs(const ExtCommContent& content) {
  return extCommDefaultGatewayFactory(content);
}

BgpParseExtCommDefaultGatewaySm::BgpParseExtCommDefaultGatewaySm(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommDefaultGatewaySm::instantiateExtCommSubTypeTransOpaqueSubRule(
    const BgpParseExtCommSubTypeTransOpaqueRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransOpaqueSubRule(key, Tyr::make<BgpParseExtComSubTypeTransOpaqueDefaultGatewayRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommDefaultGatewaySmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommDefaultGatewaySm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommDefaultGatewaySmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommDefaultGatewaySmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
