// VRF route import communities (RFC 6514): the VRF of the upstream router that a multicast route was imported from.
//
//   ExtCommVrfRouteImportIpv4Address     the community
//   BgpParseExtCommVrfRouteImportSm      the plugin that teaches a decoder to make it
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommVrfRouteImportIpv4Address
    : public ExtCommLabelledKind<ExtCommVrfRouteImportIpv4Address, ExtCommIpv4Address> {
 public:
  static constexpr ExtCommIpv4Labels labels = {"Routing::Bgp::ExtCommVrfRouteImportIpv4Address",
                                               extCommClassificationVrfRouteImport,
                                               {"VrfRouteImport ", "VRF-Route-Import:"},
                                               "VRI:"};
  using ExtCommLabelledKind::ExtCommLabelledKind;

 protected:
  ~ExtCommVrfRouteImportIpv4Address() override = default;
};
VELBGP_EXPORT ExtCommKindFactory extCommVrfRouteImportIpv4AddressFactory, ExtCommVrfRouteImportIpv4AddressIs;

class VELBGP_EXPORT BgpParseExtComSubTypeTransIpv4AddressVrfRouteImportRule
    : public KindRule<extCommPktSubtypeTransIpv4AddressVrfRouteImport, ExtCommVrfRouteImportIpv4Address> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommVrfRouteImportSm
    : public BgpParseExtCommKindSm<BgpParseExtComSubTypeTransIpv4AddressVrfRouteImportRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommVrfRouteImportSmFactory, BgpParseExtCommVrfRouteImportSmIs;

}  // namespace Routing::Bgp
