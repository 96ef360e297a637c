// Origin validation state (RFC 8097): what another router of the AS found out about a route's origin.
//
//   ExtCommOriginValidationState               the community; it has a text for the show commands' format alone, which
//                                              is therefore the one that route policy matches too
//   BgpParseExtCommOriginValidationStateSm     the plugin that teaches a decoder to make it
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommOriginValidationState : public ExtCommKind<ExtCommOriginValidationState, ExtCommSubtyped> {
 public:
  static constexpr ExtCommLabels labels = {"Routing::Bgp::ExtCommOriginValidationState",
                                           extCommClassificationOriginValidationState};
  using ExtCommKind::ExtCommKind;

  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;
  bool policyMatchStrepUI() const override { return true; }

  // 0 valid, 1 not found, 2 invalid; anything else means nothing to us.
  std::uint8_t state() const noexcept { return getContent().octet(7); }

 protected:
  ~ExtCommOriginValidationState() override = default;
};
VELBGP_EXPORT ExtCommKindFactory extCommOriginValidationStateFactory, ExtCommOriginValidationStateIs;

class VELBGP_EXPORT BgpParseExtComSubTypeNonTransOpaqueOriginValidationStateRule
    : public KindRule<extCommPktSubtypeNonTransOriginValidationState, ExtCommOriginValidationState> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommOriginValidationStateSm
    : public BgpParseExtCommKindSm<BgpParseExtComSubTypeNonTransOpaqueOriginValidationStateRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommOriginValidationStateSmFactory,
    BgpParseExtCommOriginValidationStateSmIs;

}  // namespace Routing::Bgp
