#include "VelBgp/Parse/ExtCommOriginValidationState.h"

#include <iterator>

#include "VelBgp/Parse/ExtCommImpl.h"

namespace Routing::Bgp {
namespace {

constexpr const char* stateNames[] = {"valid", "not-found", "invalid"};

// Null for a state without a name.
const char* stateName(std::uint8_t state) { return state < std::size(stateNames) ? stateNames[state] : nullptr; }

}  // namespace

const Tyr::FwkType& ExtCommOriginValidationState::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::ExtCommOriginValidationState"};
  return type;
}

bool ExtCommOriginValidationState::policyMatchStrepUI() const { return true; }

void ExtCommOriginValidationState::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, [this](Tyr::DynamicBufferInterface& buffer) {
    buffer.append("OriginValidationState ");
    if (const char* name = stateName(state())) return buffer.append(name);
    buffer.append("unknown(");
    buffer.appendDecimal(state());
    buffer.append(')');
  });
}

std::string ExtCommOriginValidationState::toStrepForPolicy(StrepFormat format) const {
  if (!format.classificationAndUI()) return std::string();
  const char* name = stateName(state());
  return std::string("Origin-Validation-State:") + (name == nullptr ? "unknown" : name);
}

ExtComm::PtrConst extCommOriginValidationStateFactory(const ExtCommContent& content) {
  return Tyr::make<ExtCommOriginValidationState>(content);
}

ExtComm::PtrConst ExtCommOriginValidationStateIs(const ExtCommContent& content) {
  return extCommOriginValidationStateFactory(content);
}

BgpParseExtCommOriginValidationStateSm::BgpParseExtCommOriginValidationStateSm(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : BgpParseExtCommPluginBaseSm(ruleCollections) {
  handleStartup();
}

void BgpParseExtCommOriginValidationStateSm::instantiateExtCommSubTypeNonTransOpaqueSubRule(
    const BgpParseExtCommSubTypeNonTransOpaqueRuleKey& key, const BgpParseExtCommControl& control) const {
  addExtCommSubTypeNonTransOpaqueSubRule(
      key, Tyr::make<BgpParseExtComSubTypeNonTransOpaqueOriginValidationStateRule>(control));
}

BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommOriginValidationStateSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommOriginValidationStateSm>(ruleCollections);
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommOriginValidationStateSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return bgpParseExtCommOriginValidationStateSmFactory(ruleCollections);
}

}  // namespace Routing::Bgp
