// Tunnel encapsulation communities (RFC 9012): how the route's next hop takes tunnelled traffic.
//
//   ExtCommTunnelEncap               the community
//   TunnelType                       the tunnel types that have a name here
//   BgpParseExtCommTunnelEncapSm     the plugin that teaches a decoder to make it
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors.
#pragma once

#include "Tyr/Enumeration.h"
#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

#define TYR_ENUMERATIONS "VelBgp/Parse/ExtCommTunnelType.def"
#include "Tyr/EnumerationDeclare.def"

class VELBGP_EXPORT ExtCommTunnelEncap : public ExtCommSubtyped {
 public:
  explicit ExtCommTunnelEncap(const ExtCommContent& content) noexcept
      : ExtCommSubtyped(extCommClassificationTunnelEncap, content) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

  // tunnelTypeUnknown for a number without a name.
  TunnelType tunnelType() const noexcept;
  std::uint16_t tunnelTypeNumber() const noexcept { return getContent().localAdmin2Octets(); }

 protected:
  ~ExtCommTunnelEncap() override = default;
};
static_assert(sizeof(ExtCommTunnelEncap) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommTunnelEncapFactory(const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommTunnelEncapIs(const ExtCommContent& content);

class VELBGP_EXPORT BgpParseExtComSubTypeTransOpaqueTunnelEncapRule
    : public KindRule<BgpParseExtComSubTypeTransOpaqueRuleBase,
                      extCommPktSubtypeTransOpaqueEncapsulationExtendedCommunity, ExtCommTunnelEncap> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommTunnelEncapSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommTunnelEncapSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeTransOpaqueSubRule(const BgpParseExtCommSubTypeTransOpaqueRuleKey& key,
                                                   const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommTunnelEncapSm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommTunnelEncapSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommTunnelEncapSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
