// Link bandwidth (draft-ietf-idr-link-bandwidth): how much the link behind a route carries, for unequal-cost multipath.
//
//   ExtCommLinkBandwidth               the community; its bandwidth is a float of bytes per second, as on the wire
//   BgpParseExtCommLinkBandwidthSm     the plugin that teaches a decoder to make it
//
// Only the non-transitive community is one; a transitive one with the same subtype is generic.
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include <bit>

#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommLinkBandwidth : public ExtCommKind<ExtCommLinkBandwidth, ExtCommAsNumber> {
 public:
  static constexpr ExtCommLabels labels = {"Routing::Bgp::ExtCommLinkBandwidth", extCommClassificationLinkBandwidth};
  explicit ExtCommLinkBandwidth(const ExtCommContent& content) noexcept : ExtCommKind(content, false) {}

  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;
  // As the multipath library judges the bandwidth.
  bool isValid() const override;
  // Deliberate: the smaller bandwidth is the better one, as with every community. A NaN is neither better nor worse
  // than anything. `other` is a link bandwidth and not null, which stops the process.
  bool isBetterThan(const PtrConst& other) const override;
  bool isLinkBandwidth() const override { return true; }
  // AS number 0: any AS's bandwidth.
  bool isLinkBandwidthWithUnspecifiedAsNumber() const override { return asNumber() == 0; }

  float bandwidth() const noexcept { return std::bit_cast<float>(getContent().localAdmin4Octets()); }

 protected:
  ~ExtCommLinkBandwidth() override = default;
};
VELBGP_EXPORT ExtCommKindFactory extCommLinkBandwidthFactory, ExtCommLinkBandwidthIs;

class VELBGP_EXPORT BgpParseExtComSubTypeNonTransTwoOctetAsLinkBandwidthRule
    : public KindRule<extCommPktSubtypeNonTransTwoOctetAsLinkBandwidth, ExtCommLinkBandwidth> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommLinkBandwidthSm
    : public BgpParseExtCommKindSm<BgpParseExtComSubTypeNonTransTwoOctetAsLinkBandwidthRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommLinkBandwidthSmFactory, BgpParseExtCommLinkBandwidthSmIs;

}  // namespace Routing::Bgp
