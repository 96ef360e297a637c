// Default gateway communities (RFC 7432): the advertised address is an anycast gateway's. They carry no value.
//
//   ExtCommDefaultGateway               the community; its text is the same in every format
//   BgpParseExtCommDefaultGatewaySm     the plugin that teaches a decoder to make it
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommDefaultGateway : public ExtCommKind<ExtCommDefaultGateway, ExtCommSubtyped> {
 public:
  static constexpr ExtCommLabels labels = {"Routing::Bgp::ExtCommDefaultGateway", extCommClassificationDefaultGateway};
  using ExtCommKind::ExtCommKind;

  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

 protected:
  ~ExtCommDefaultGateway() override = default;
};
VELBGP_EXPORT ExtCommKindFactory extCommDefaultGatewayFactory, ExtCommDefaultGatewayIs;

class VELBGP_EXPORT BgpParseExtComSubTypeTransOpaqueDefaultGatewayRule
    : public KindRule<extCommPktSubtypeTransOpaqueDefaultGateway, ExtCommDefaultGateway> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommDefaultGatewaySm
    : public BgpParseExtCommKindSm<BgpParseExtComSubTypeTransOpaqueDefaultGatewayRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommDefaultGatewaySmFactory, BgpParseExtCommDefaultGatewaySmIs;

}  // namespace Routing::Bgp
