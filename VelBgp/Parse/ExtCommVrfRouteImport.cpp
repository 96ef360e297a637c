#include "VelBgp/Parse/ExtCommVrfRouteImport.h"

namespace Routing::Bgp {

VELBGP_KIND_FACTORIES(extCommVrfRouteImportIpv4Address, ExtCommVrfRouteImportIpv4Address)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommVrfRouteImportSm, BgpParseExtCommVrfRouteImportSm)

}  // namespace Routing::Bgp
