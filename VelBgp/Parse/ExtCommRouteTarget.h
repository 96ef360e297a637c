// Route targets (RFC 4360, RFC 5668): which VPNs a route belongs to. Of the transitive types only; a non-transitive
// community with a route target's subtype is none.
//
//   ExtCommRouteTargetAs, ExtCommRouteTargetIpv4Address    the communities
//   BgpParseExtCommRouteTargetSm                           the plugin that teaches a decoder to make them
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommRouteTargetAs : public ExtCommLabelledKind<ExtCommRouteTargetAs, ExtCommAsNumber> {
 public:
  static constexpr ExtCommAsLabels labels = {"Routing::Bgp::ExtCommRouteTargetAs",
                                             extCommClassificationRouteTarget,
                                             {"RouteTarget2ByteASN ", "Route-Target-AS:"},
                                             {"RouteTarget4ByteASN ", "Route-Target-AS4:"},
                                             "RT:"};
  using ExtCommLabelledKind::ExtCommLabelledKind;

 protected:
  ~ExtCommRouteTargetAs() override = default;
};
VELBGP_EXPORT ExtCommAsKindFactory extCommRouteTargetAsFactory, ExtCommRouteTargetAsIs;

class VELBGP_EXPORT ExtCommRouteTargetIpv4Address
    : public ExtCommLabelledKind<ExtCommRouteTargetIpv4Address, ExtCommIpv4Address> {
 public:
  static constexpr ExtCommIpv4Labels labels = {"Routing::Bgp::ExtCommRouteTargetIpv4Address",
                                               extCommClassificationRouteTarget,
                                               {"RouteTarget ", "Route-Target-IP:"},
                                               "RT:"};
  using ExtCommLabelledKind::ExtCommLabelledKind;

 protected:
  ~ExtCommRouteTargetIpv4Address() override = default;
};
VELBGP_EXPORT ExtCommKindFactory extCommRouteTargetIpv4AddressFactory, ExtCommRouteTargetIpv4AddressIs;

class VELBGP_EXPORT BgpParseExtComSubTypeTransTwoOctetAsRouteTargetRule
    : public KindRule<extCommPktSubtypeTransTwoOctetAsRouteTarget, ExtCommRouteTargetAs, false> {
 public:
  using KindRule::KindRule;
};
class VELBGP_EXPORT BgpParseExtComSubTypeTransFourOctetAsRouteTargetRule
    : public KindRule<extCommPktSubtypeTransFourOctetAsRouteTarget, ExtCommRouteTargetAs, true> {
 public:
  using KindRule::KindRule;
};
class VELBGP_EXPORT BgpParseExtComSubTypeTransIpv4AddressRouteTargetRule
    : public KindRule<extCommPktSubtypeTransIpv4AddressRouteTarget, ExtCommRouteTargetIpv4Address> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommRouteTargetSm
    : public BgpParseExtCommKindSm<BgpParseExtComSubTypeTransTwoOctetAsRouteTargetRule,
                                   BgpParseExtComSubTypeTransFourOctetAsRouteTargetRule,
                                   BgpParseExtComSubTypeTransIpv4AddressRouteTargetRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommRouteTargetSmFactory, BgpParseExtCommRouteTargetSmIs;

}  // namespace Routing::Bgp
