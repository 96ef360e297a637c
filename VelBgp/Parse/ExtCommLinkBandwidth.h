// Link bandwidth (draft-ietf-idr-link-bandwidth): how much the link behind a route carries, for unequal-cost multipath.
//
//   ExtCommLinkBandwidth               the community; its bandwidth is a float of bytes per second, as on the wire
//   BgpParseExtCommLinkBandwidthSm     the plugin that teaches a decoder to make it
//
// Only the non-transitive community is one; a transitive one with the same subtype is generic.
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors.
#pragma once

#include <bit>

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommLinkBandwidth : public ExtCommAsNumber {
 public:
  explicit ExtCommLinkBandwidth(const ExtCommContent& content) noexcept
      : ExtCommAsNumber(extCommClassificationLinkBandwidth, content, false) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;
  // As the multipath library judges the bandwidth.
  bool isValid() const override;
  // Deliberate: the smaller bandwidth is the better one, as with every community. A NaN is neither better nor worse
  // than anything. `other` is a link bandwidth and not null, which stops the process.
  bool isBetterThan(const PtrConst& other) const override;
  bool isLinkBandwidth() const override;
  // AS number 0: any AS's bandwidth.
  bool isLinkBandwidthWithUnspecifiedAsNumber() const override;

  float bandwidth() const noexcept { return std::bit_cast<float>(getContent().localAdmin4Octets()); }

 protected:
  ~ExtCommLinkBandwidth() override = default;
};
static_assert(sizeof(ExtCommLinkBandwidth) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommLinkBandwidthFactory(const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommLinkBandwidthIs(const ExtCommContent& content);

class VELBGP_EXPORT BgpParseExtComSubTypeNonTransTwoOctetAsLinkBandwidthRule
    : public KindRule<BgpParseExtComSubTypeNonTransTwoOctetAsRuleBase, extCommPktSubtypeNonTransTwoOctetAsLinkBandwidth,
                      ExtCommLinkBandwidth> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommLinkBandwidthSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommLinkBandwidthSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeNonTransTwoOctetAsSubRule(const BgpParseExtCommSubTypeNonTransTwoOctetAsRuleKey& key,
                                                          const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommLinkBandwidthSm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommLinkBandwidthSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommLinkBandwidthSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
