// Tunnel encapsulation communities (RFC 9012): how the route's next hop takes tunnelled traffic.
//
//   ExtCommTunnelEncap               the community; a type without a name shows its number: "tunnelTypeUnknown(19)"
//   TunnelType                       the tunnel types that have a name here
//   BgpParseExtCommTunnelEncapSm     the plugin that teaches a decoder to make it
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include "Tyr/Enumeration.h"
#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

#define TYR_ENUMERATIONS "VelBgp/Parse/ExtCommTunnelType.def"
#include "Tyr/EnumerationDeclare.def"

class VELBGP_EXPORT ExtCommTunnelEncap : public ExtCommKind<ExtCommTunnelEncap, ExtCommSubtyped> {
 public:
  static constexpr ExtCommLabels labels = {"Routing::Bgp::ExtCommTunnelEncap", extCommClassificationTunnelEncap};
  using ExtCommKind::ExtCommKind;

  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

  // tunnelTypeUnknown for a number without a name.
  TunnelType tunnelType() const noexcept;
  std::uint16_t tunnelTypeNumber() const noexcept { return getContent().localAdmin2Octets(); }

 protected:
  ~ExtCommTunnelEncap() override = default;
};
VELBGP_EXPORT ExtCommKindFactory extCommTunnelEncapFactory, ExtCommTunnelEncapIs;

class VELBGP_EXPORT BgpParseExtComSubTypeTransOpaqueTunnelEncapRule
    : public KindRule<extCommPktSubtypeTransOpaqueEncapsulationExtendedCommunity, ExtCommTunnelEncap> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommTunnelEncapSm
    : public BgpParseExtCommKindSm<BgpParseExtComSubTypeTransOpaqueTunnelEncapRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommTunnelEncapSmFactory, BgpParseExtCommTunnelEncapSmIs;

}  // namespace Routing::Bgp
