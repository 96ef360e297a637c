// Route targets (RFC 4360, RFC 5668): which VPNs a route belongs to. Of the transitive types only; a non-transitive
// community with a route target's subtype is none.
//
//   ExtCommRouteTargetAs, ExtCommRouteTargetIpv4Address    the communities
//   BgpParseExtCommRouteTargetSm                           the plugin that teaches a decoder to make them
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors; an object that was built by
// hand with a type octet of no route target stops the process when its debugging form is asked for.
#pragma once

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommRouteTargetAs : public ExtCommAsNumber {
 public:
  ExtCommRouteTargetAs(const ExtCommContent& content, bool fourByteAs) noexcept
      : ExtCommAsNumber(extCommClassificationRouteTarget, content, fourByteAs) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

 protected:
  ~ExtCommRouteTargetAs() override = default;
};

class VELBGP_EXPORT ExtCommRouteTargetIpv4Address : public ExtCommIpv4Address {
 public:
  explicit ExtCommRouteTargetIpv4Address(const ExtCommContent& content) noexcept
      : ExtCommIpv4Address(extCommClassificationRouteTarget, content) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

 protected:
  ~ExtCommRouteTargetIpv4Address() override = default;
};
static_assert(sizeof(ExtCommRouteTargetAs) == sizeof(ExtComm));
static_assert(sizeof(ExtCommRouteTargetIpv4Address) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommRouteTargetAsFactory(const ExtCommContent& content, bool fourByteAs);
VELBGP_EXPORT ExtComm::PtrConst ExtCommRouteTargetAsIs(const ExtCommContent& content, bool fourByteAs);
VELBGP_EXPORT ExtComm::PtrConst extCommRouteTargetIpv4AddressFactory(const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommRouteTargetIpv4AddressIs(const ExtCommContent& content);

class VELBGP_EXPORT BgpParseExtComSubTypeTransTwoOctetAsRouteTargetRule
    : public KindRule<BgpParseExtComSubTypeTransTwoOctetAsRuleBase, extCommPktSubtypeTransTwoOctetAsRouteTarget,
                      ExtCommRouteTargetAs, false> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtComSubTypeTransFourOctetAsRouteTargetRule
    : public KindRule<BgpParseExtComSubTypeTransFourOctetAsRuleBase, extCommPktSubtypeTransFourOctetAsRouteTarget,
                      ExtCommRouteTargetAs, true> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtComSubTypeTransIpv4AddressRouteTargetRule
    : public KindRule<BgpParseExtComSubTypeTransIpv4AddressRuleBase, extCommPktSubtypeTransIpv4AddressRouteTarget,
                      ExtCommRouteTargetIpv4Address> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommRouteTargetSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommRouteTargetSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeTransTwoOctetAsSubRule(const BgpParseExtCommSubTypeTransTwoOctetAsRuleKey& key,
                                                       const BgpParseExtCommControl& control) const override;
  void instantiateExtCommSubTypeTransIpv4AddressSubRule(const BgpParseExtCommSubTypeTransIpv4AddressRuleKey& key,
                                                        const BgpParseExtCommControl& control) const override;
  void instantiateExtCommSubTypeTransFourOctetAsSubRule(const BgpParseExtCommSubTypeTransFourOctetAsRuleKey& key,
                                                        const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommRouteTargetSm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommRouteTargetSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommRouteTargetSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
