#include "VelBgp/Parse/ExtCommLinkBandwidth.h"

#include "Multipath/LinkBandwidth.h"
#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {

const Tyr::FwkType& ExtCommLinkBandwidth::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::ExtCommLinkBandwidth"};
  return type;
}

bool ExtCommLinkBandwidth::isValid() const { return Ucmp::LinkBandwidth(bandwidth()).isValid(); }

bool ExtCommLinkBandwidth::isBetterThan(const PtrConst& other) const {
  TYR_ASSERT(other != nullptr);
  return bandwidth() < static_cast<const ExtCommLinkBandwidth&>(*other).bandwidth();
}

bool ExtCommLinkBandwidth::isLinkBandwidth() const { return true; }

bool ExtCommLinkBandwidth::isLinkBandwidthWithUnspecifiedAsNumber() const { return asNumber() == 0; }

void ExtCommLinkBandwidth::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, [this](Tyr::DynamicBufferInterface& buffer) {
    buffer.append("LinkBandwidth ");
    formatAsNumberToBuffer(&buffer, false);
    buffer.append(':');
    buffer.appendFloat(bandwidth());
  });
}

std::string ExtCommLinkBandwidth::toStrepForPolicy(StrepFormat format) const {
  Tyr::DynamicBuffer<> buffer;
  if (format.strepFormatClassification()) buffer.append(format.strepFormatUI() ? "Link-Bandwidth-AS:" : "lbw ");
  formatAsNumberToBuffer(&buffer, format.strepFormatAsdot());
  buffer.append(':');
  if (format.classificationAndUI()) {
    Ucmp::LinkBandwidth(bandwidth()).appendTo(buffer, format.strepFormatLinkBwWeighted());
  } else {
    buffer.appendFloat(bandwidth());
  }
  return buffer.str();
}

ExtComm::PtrConst extCommLinkBandwidthFactory(const ExtCommContent& content) {
  return Tyr::make<ExtCommLinkBandwidth>(content);
}

ExtComm::PtrConst ExtCommLinkBandwidthIs(const ExtCommContent& content) { return extCommLinkBandwidthFactory(content); }

BgpParseExtCommLinkBandwidthSm::BgpParseExtCommLinkBandwidthSm(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommLinkBandwidthSm::instantiateExtCommSubTypeNonTransTwoOctetAsSubRule(
    const BgpParseExtCommSubTypeNonTransTwoOctetAsRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeNonTransTwoOctetAsSubRule(
      key, Tyr::make<BgpParseExtComSubTypeNonTransTwoOctetAsLinkBandwidthRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommLinkBandwidthSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommLinkBandwidthSm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommLinkBandwidthSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommLinkBandwidthSmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
