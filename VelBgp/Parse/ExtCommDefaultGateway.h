// Default gateway communities (RFC 7432): the advertised address is an anycast gateway's. They carry no value.
//
//   ExtCommDefaultGateway               the community; its text is the same in every format
//   BgpParseExtCommDefaultGatewaySm     the plugin that teaches a decoder to make it
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors.
#pragma once

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommDefaultGateway : public ExtCommSubtyped {
 public:
  explicit ExtCommDefaultGateway(const ExtCommContent& content) noexcept
      : ExtCommSubtyped(extCommClassificationDefaultGateway, content) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

 protected:
  ~ExtCommDefaultGateway() override = default;
};
static_assert(sizeof(ExtCommDefaultGateway) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommDefaultGatewayFactory(const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommDefaultGatewayIs(const ExtCommContent& content);

class VELBGP_EXPORT BgpParseExtComSubTypeTransOpaqueDefaultGatewayRule
    : public KindRule<BgpParseExtComSubTypeTransOpaqueRuleBase, extCommPktSubtypeTransOpaqueDefaultGateway,
                      ExtCommDefaultGateway> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommDefaultGatewaySm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommDefaultGatewaySm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeTransOpaqueSubRule(const BgpParseExtCommSubTypeTransOpaqueRuleKey& key,
                                                   const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommDefaultGatewaySm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommDefaultGatewaySmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommDefaultGatewaySmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
