// VRF route import communities (RFC 6514): the VRF of the upstream router that a multicast route was imported from.
//
//   ExtCommVrfRouteImportIpv4Address     the community
//   BgpParseExtCommVrfRouteImportSm      the plugin that teaches a decoder to make it
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors.
#pragma once

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommVrfRouteImportIpv4Address : public ExtCommIpv4Address {
 public:
  explicit ExtCommVrfRouteImportIpv4Address(const ExtCommContent& content) noexcept
      : ExtCommIpv4Address(extCommClassificationVrfRouteImport, content) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

 protected:
  ~ExtCommVrfRouteImportIpv4Address() override = default;
};
static_assert(sizeof(ExtCommVrfRouteImportIpv4Address) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommVrfRouteImportIpv4AddressFactory(const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommVrfRouteImportIpv4AddressIs(const ExtCommContent& content);

class VELBGP_EXPORT BgpParseExtComSubTypeTransIpv4AddressVrfRouteImportRule
    : public KindRule<BgpParseExtComSubTypeTransIpv4AddressRuleBase, extCommPktSubtypeTransIpv4AddressVrfRouteImport,
                      ExtCommVrfRouteImportIpv4Address> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommVrfRouteImportSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommVrfRouteImportSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeTransIpv4AddressSubRule(const BgpParseExtCommSubTypeTransIpv4AddressRuleKey& key,
                                                        const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommVrfRouteImportSm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommVrfRouteImportSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommVrfRouteImportSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
