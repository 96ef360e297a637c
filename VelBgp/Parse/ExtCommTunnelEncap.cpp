#include "VelBgp/Parse/ExtCommTunnelEncap.h"

#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {

const Tyr::FwkType& ExtCommTunnelEncap::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::ExtCommTunnelEncap"};
  return type;
}

TunnelType ExtCommTunnelEncap::tunnelType() const noexcept {
  const auto type = TunnelType(tunnelTypeNumber());
  return bgpIsValidEnumMember(type) ? type : tunnelTypeUnknown;
}

void ExtCommTunnelEncap::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, [this](Tyr::DynamicBufferInterface& buffer) {
    buffer.append("TunnelEncap ");
    buffer.appendDecimal(tunnelTypeNumber());
    buffer.append(':');
    buffer.append(enumName(tunnelType()));
  });
}

std::string ExtCommTunnelEncap::toStrepForPolicy(StrepFormat format) const {
  return std::string(format.classificationAndUI() ? "Tunnel-Encap:" : "") + enumName(tunnelType());
}

ExtComm::PtrConst extCommTunnelEncapFactory(const ExtCommContent& content) {
  return Tyr::make<ExtCommTunnelEncap>(content);
}

ExtComm::PtrConst ExtCommTunnelEncapIs(const ExtCommContent& content) { return extCommTunnelEncapFactory(content); }

BgpParseExtCommTunnelEncapSm::BgpParseExtCommTunnelEncapSm(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommTunnelEncapSm::instantiateExtCommSubTypeTransOpaqueSubRule(
    const BgpParseExtCommSubTypeTransOpaqueRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransOpaqueSubRule(key, Tyr::make<BgpParseExtComSubTypeTransOpaqueTunnelEncapRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommTunnelEncapSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommTunnelEncapSm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommTunnelEncapSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommTunnelEncapSmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
