#include "VelBgp/Parse/ExtCommDefaultGateway.h"

namespace Routing::Bgp {
namespace {

constexpr const char* label = "DefaultGateway";

}  // namespace

void ExtCommDefaultGateway::formatDerivedType(std::ostream& stream) const { formatKind(stream, *this, label); }

std::string ExtCommDefaultGateway::toStrepForPolicy(StrepFormat) const { return label; }

VELBGP_KIND_FACTORIES(extCommDefaultGateway, ExtCommDefaultGateway)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommDefaultGatewaySm, BgpParseExtCommDefaultGatewaySm)

}  // namespace Routing::Bgp
