#include "VelBgp/Parse/ExtCommColor.h"

#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {
namespace {

void appendColor(Tyr::DynamicBufferInterface& buffer, const ExtCommColor& extComm) {
  buffer.append("CO(");
  buffer.append(static_cast<char>('0' + (extComm.colorOnlyBits() >> 1)));
  buffer.append(static_cast<char>('0' + (extComm.colorOnlyBits() & 1)));
  buffer.append("):");
  buffer.appendDecimal(extComm.color());
}

}  // namespace

const Tyr::FwkType& ExtCommColor::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::ExtCommColor"};
  return type;
}

void ExtCommColor::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, [this](Tyr::DynamicBufferInterface& buffer) {
    buffer.append("Color ");
    appendColor(buffer, *this);
  });
}

std::string ExtCommColor::toStrepForPolicy(StrepFormat) const {
  Tyr::DynamicBuffer<> buffer;
  buffer.append("Color:");
  appendColor(buffer, *this);
  return buffer.str();
}

ExtComm::PtrConst extCommColorFactory(const ExtCommContent& content) { return Tyr::make<ExtCommColor>(content); }

ExtComm::PtrConst ExtCommColorIs(const ExtCommContent& content) { return extCommColorFactory(content); }

BgpParseExtCommColorSm::BgpParseExtCommColorSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommColorSm::instantiateExtCommSubTypeTransOpaqueSubRule(
    const BgpParseExtCommSubTypeTransOpaqueRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransOpaqueSubRule(key, Tyr::make<BgpParseExtComSubTypeTransOpaqueColorRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommColorSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommColorSm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommColorSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommColorSmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
