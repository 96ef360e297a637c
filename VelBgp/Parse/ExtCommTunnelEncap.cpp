#include "VelBgp/Parse/ExtCommTunnelEncap.h"

namespace Routing::Bgp {

TunnelType ExtCommTunnelEncap::tunnelType() const noexcept {
  const auto type = TunnelType(tunnelTypeNumber());
  return bgpIsValidEnumMember(type) ? type : tunnelTypeUnknown;
}

void ExtCommTunnelEncap::formatDerivedType(std::ostream& stream) const {
  const std::string number = std::to_string(tunnelTypeNumber());
  formatKind(stream, *this, "TunnelEncap " + number + ":" + enumName(tunnelType()));
}

std::string ExtCommTunnelEncap::toStrepForPolicy(StrepFormat format) const {
  const std::string number = tunnelType() == tunnelTypeUnknown ? "(" + std::to_string(tunnelTypeNumber()) + ")" : "";
  return std::string(format.classificationAndUI() ? "Tunnel-Encap:" : "") + enumName(tunnelType()) + number;
}

VELBGP_KIND_FACTORIES(extCommTunnelEncap, ExtCommTunnelEncap)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommTunnelEncapSm, BgpParseExtCommTunnelEncapSm)

}  // namespace Routing::Bgp
