#include "VelBgp/Parse/ExtCommRouteTarget.h"

namespace Routing::Bgp {

VELBGP_AS_KIND_FACTORIES(extCommRouteTargetAs, ExtCommRouteTargetAs)
VELBGP_KIND_FACTORIES(extCommRouteTargetIpv4Address, ExtCommRouteTargetIpv4Address)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommRouteTargetSm, BgpParseExtCommRouteTargetSm)

}  // namespace Routing::Bgp
