// Origin validation state (RFC 8097): what another router of the AS found out about a route's origin.
//
//   ExtCommOriginValidationState               the community; it has a text for the show commands' format alone, which
//                                              is therefore the one that route policy matches too
//   BgpParseExtCommOriginValidationStateSm     the plugin that teaches a decoder to make it
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors.
#pragma once

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommOriginValidationState : public ExtCommSubtyped {
 public:
  explicit ExtCommOriginValidationState(const ExtCommContent& content) noexcept
      : ExtCommSubtyped(extCommClassificationOriginValidationState, content) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;
  bool policyMatchStrepUI() const override;

  // 0 valid, 1 not found, 2 invalid; anything else means nothing to us.
  std::uint8_t state() const noexcept { return getContent().octet(7); }

 protected:
  ~ExtCommOriginValidationState() override = default;
};
static_assert(sizeof(ExtCommOriginValidationState) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommOriginValidationStateFactory(const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommOriginValidationStateIs(const ExtCommContent& content);

class VELBGP_EXPORT BgpParseExtComSubTypeNonTransOpaqueOriginValidationStateRule
    : public KindRule<BgpParseExtComSubTypeNonTransOpaqueRuleBase, extCommPktSubtypeNonTransOriginValidationState,
                      ExtCommOriginValidationState> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommOriginValidationStateSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommOriginValidationStateSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeNonTransOpaqueSubRule(const BgpParseExtCommSubTypeNonTransOpaqueRuleKey& key,
                                                      const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommOriginValidationStateSm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommOriginValidationStateSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommOriginValidationStateSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
