#include "VelBgp/Parse/ExtCommRouteOrigin.h"

namespace Routing::Bgp {

VELBGP_AS_KIND_FACTORIES(extCommRouteOriginAs, ExtCommRouteOriginAs)
VELBGP_KIND_FACTORIES(extCommRouteOriginIpv4Address, ExtCommRouteOriginIpv4Address)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommRouteOriginSm, BgpParseExtCommRouteOriginSm)

}  // namespace Routing::Bgp
