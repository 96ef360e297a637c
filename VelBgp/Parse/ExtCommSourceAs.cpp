#include "VelBgp/Parse/ExtCommSourceAs.h"

#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {
namespace {

constexpr ExtCommAsLabels labels = {
    {"Routing::Bgp::ExtCommSourceAs"}, "SourceAs2ByteASN ", "SourceAs4ByteASN ", "Source-AS:", "Source-AS4:", "SAS:"};

}  // namespace

const Tyr::FwkType& ExtCommSourceAs::fwkType() const { return labels.fwkType; }

void ExtCommSourceAs::formatDerivedType(std::ostream& stream) const { formatKind(stream, *this, labels); }

std::string ExtCommSourceAs::toStrepForPolicy(StrepFormat format) const { return kindToStrep(*this, format, labels); }

ExtComm::PtrConst extCommSourceAsFactory(const ExtCommContent& content, bool fourByteAs) {
  return Tyr::make<ExtCommSourceAs>(content, fourByteAs);
}

ExtComm::PtrConst ExtCommSourceAsIs(const ExtCommContent& content, bool fourByteAs) {
  return extCommSourceAsFactory(content, fourByteAs);
}

BgpParseExtCommSourceAsSm::BgpParseExtCommSourceAsSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommSourceAsSm::instantiateExtCommSubTypeTransTwoOctetAsSubRule(
    const BgpParseExtCommSubTypeTransTwoOctetAsRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransTwoOctetAsSubRule(key, Tyr::make<BgpParseExtComSubTypeTransTwoOctetAsSourceAsRule>(control));
}

void BgpParseExtCommSourceAsSm::instantiateExtCommSubTypeTransFourOctetAsSubRule(
    const BgpParseExtCommSubTypeTransFourOctetAsRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeTransFourOctetAsSubRule(key, Tyr::make<BgpParseExtComSubTypeTransFourOctetAsSourceAsRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommSourceAsSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommSourceAsSm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommSourceAsSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommSourceAsSmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
