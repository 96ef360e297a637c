// Route origins, or sites of origin (RFC 4360, RFC 5668): the site that a route was learnt from. Of the transitive
// types only.
//
//   ExtCommRouteOriginAs, ExtCommRouteOriginIpv4Address    the communities
//   BgpParseExtCommRouteOriginSm                           the plugin that teaches a decoder to make them
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors; an object that was built by
// hand with a type octet of no route origin stops the process when its debugging form is asked for.
#pragma once

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommRouteOriginAs : public ExtCommAsNumber {
 public:
  ExtCommRouteOriginAs(const ExtCommContent& content, bool fourByteAs) noexcept
      : ExtCommAsNumber(extCommClassificationRouteOrigin, content, fourByteAs) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

 protected:
  ~ExtCommRouteOriginAs() override = default;
};

class VELBGP_EXPORT ExtCommRouteOriginIpv4Address : public ExtCommIpv4Address {
 public:
  explicit ExtCommRouteOriginIpv4Address(const ExtCommContent& content) noexcept
      : ExtCommIpv4Address(extCommClassificationRouteOrigin, content) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

 protected:
  ~ExtCommRouteOriginIpv4Address() override = default;
};
static_assert(sizeof(ExtCommRouteOriginAs) == sizeof(ExtComm));
static_assert(sizeof(ExtCommRouteOriginIpv4Address) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommRouteOriginAsFactory(const ExtCommContent& content, bool fourByteAs);
VELBGP_EXPORT ExtComm::PtrConst ExtCommRouteOriginAsIs(const ExtCommContent& content, bool fourByteAs);
VELBGP_EXPORT ExtComm::PtrConst extCommRouteOriginIpv4AddressFactory(const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommRouteOriginIpv4AddressIs(const ExtCommContent& content);

class VELBGP_EXPORT BgpParseExtComSubTypeTransTwoOctetAsRouteOriginRule
    : public KindRule<BgpParseExtComSubTypeTransTwoOctetAsRuleBase, extCommPktSubtypeTransTwoOctetAsRouteOrigin,
                      ExtCommRouteOriginAs, false> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtComSubTypeTransFourOctetAsRouteOriginRule
    : public KindRule<BgpParseExtComSubTypeTransFourOctetAsRuleBase, extCommPktSubtypeTransFourOctetAsRouteOrigin,
                      ExtCommRouteOriginAs, true> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtComSubTypeTransIpv4AddressRouteOriginRule
    : public KindRule<BgpParseExtComSubTypeTransIpv4AddressRuleBase, extCommPktSubtypeTransIpv4AddressRouteOrigin,
                      ExtCommRouteOriginIpv4Address> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommRouteOriginSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommRouteOriginSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeTransTwoOctetAsSubRule(const BgpParseExtCommSubTypeTransTwoOctetAsRuleKey& key,
                                                       const BgpParseExtCommControl& control) const override;
  void instantiateExtCommSubTypeTransIpv4AddressSubRule(const BgpParseExtCommSubTypeTransIpv4AddressRuleKey& key,
                                                        const BgpParseExtCommControl& control) const override;
  void instantiateExtCommSubTypeTransFourOctetAsSubRule(const BgpParseExtCommSubTypeTransFourOctetAsRuleKey& key,
                                                        const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommRouteOriginSm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommRouteOriginSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommRouteOriginSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
