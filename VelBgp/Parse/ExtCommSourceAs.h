// Source AS communities (RFC 6514): the AS of the root of a multicast VPN's upstream. Of the transitive types only.
//
//   ExtCommSourceAs                the community
//   BgpParseExtCommSourceAsSm      the plugin that teaches a decoder to make it
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors; an object that was built by
// hand with a type octet of no source AS stops the process when its debugging form is asked for.
#pragma once

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommSourceAs : public ExtCommAsNumber {
 public:
  ExtCommSourceAs(const ExtCommContent& content, bool fourByteAs) noexcept
      : ExtCommAsNumber(extCommClassificationSourceAs, content, fourByteAs) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

 protected:
  ~ExtCommSourceAs() override = default;
};
static_assert(sizeof(ExtCommSourceAs) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommSourceAsFactory(const ExtCommContent& content, bool fourByteAs);
VELBGP_EXPORT ExtComm::PtrConst ExtCommSourceAsIs(const ExtCommContent& content, bool fourByteAs);

class VELBGP_EXPORT BgpParseExtComSubTypeTransTwoOctetAsSourceAsRule
    : public KindRule<BgpParseExtComSubTypeTransTwoOctetAsRuleBase, extCommPktSubtypeTransTwoOctetAsSourceAs,
                      ExtCommSourceAs, false> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtComSubTypeTransFourOctetAsSourceAsRule
    : public KindRule<BgpParseExtComSubTypeTransFourOctetAsRuleBase, extCommPktSubtypeTransFourOctetAsSourceAs,
                      ExtCommSourceAs, true> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommSourceAsSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommSourceAsSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeTransTwoOctetAsSubRule(const BgpParseExtCommSubTypeTransTwoOctetAsRuleKey& key,
                                                       const BgpParseExtCommControl& control) const override;
  void instantiateExtCommSubTypeTransFourOctetAsSubRule(const BgpParseExtCommSubTypeTransFourOctetAsRuleKey& key,
                                                        const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommSourceAsSm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommSourceAsSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommSourceAsSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
