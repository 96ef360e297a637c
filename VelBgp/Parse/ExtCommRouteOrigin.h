// Route origins, or sites of origin (RFC 4360, RFC 5668): the site that a route was learnt from. Of the transitive
// types only.
//
//   ExtCommRouteOriginAs, ExtCommRouteOriginIpv4Address    the communities
//   BgpParseExtCommRouteOriginSm                           the plugin that teaches a decoder to make them
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommRouteOriginAs : public ExtCommLabelledKind<ExtCommRouteOriginAs, ExtCommAsNumber> {
 public:
  static constexpr ExtCommAsLabels labels = {"Routing::Bgp::ExtCommRouteOriginAs",
                                             extCommClassificationRouteOrigin,
                                             {"RouteOrigin2ByteASN ", "Route-Origin-AS:"},
                                             {"RouteOrigin4ByteASN ", "Route-Origin-AS4:"},
                                             "SoO:"};
  using ExtCommLabelledKind::ExtCommLabelledKind;

 protected:
  ~ExtCommRouteOriginAs() override = default;
};
VELBGP_EXPORT ExtCommAsKindFactory extCommRouteOriginAsFactory, ExtCommRouteOriginAsIs;

class VELBGP_EXPORT ExtCommRouteOriginIpv4Address
    : public ExtCommLabelledKind<ExtCommRouteOriginIpv4Address, ExtCommIpv4Address> {
 public:
  static constexpr ExtCommIpv4Labels labels = {"Routing::Bgp::ExtCommRouteOriginIpv4Address",
                                               extCommClassificationRouteOrigin,
                                               {"RouteOrigin ", "Route-Origin-IP:"},
                                               "SoO:"};
  using ExtCommLabelledKind::ExtCommLabelledKind;

 protected:
  ~ExtCommRouteOriginIpv4Address() override = default;
};
VELBGP_EXPORT ExtCommKindFactory extCommRouteOriginIpv4AddressFactory, ExtCommRouteOriginIpv4AddressIs;

class VELBGP_EXPORT BgpParseExtComSubTypeTransTwoOctetAsRouteOriginRule
    : public KindRule<extCommPktSubtypeTransTwoOctetAsRouteOrigin, ExtCommRouteOriginAs, false> {
 public:
  using KindRule::KindRule;
};
class VELBGP_EXPORT BgpParseExtComSubTypeTransFourOctetAsRouteOriginRule
    : public KindRule<extCommPktSubtypeTransFourOctetAsRouteOrigin, ExtCommRouteOriginAs, true> {
 public:
  using KindRule::KindRule;
};
class VELBGP_EXPORT BgpParseExtComSubTypeTransIpv4AddressRouteOriginRule
    : public KindRule<extCommPktSubtypeTransIpv4AddressRouteOrigin, ExtCommRouteOriginIpv4Address> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommRouteOriginSm
    : public BgpParseExtCommKindSm<BgpParseExtComSubTypeTransTwoOctetAsRouteOriginRule,
                                   BgpParseExtComSubTypeTransFourOctetAsRouteOriginRule,
                                   BgpParseExtComSubTypeTransIpv4AddressRouteOriginRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommRouteOriginSmFactory, BgpParseExtCommRouteOriginSmIs;

}  // namespace Routing::Bgp
