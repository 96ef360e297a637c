#include "VelBgp/Parse/ExtCommSourceAs.h"

namespace Routing::Bgp {

VELBGP_AS_KIND_FACTORIES(extCommSourceAs, ExtCommSourceAs)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommSourceAsSm, BgpParseExtCommSourceAsSm)

}  // namespace Routing::Bgp
