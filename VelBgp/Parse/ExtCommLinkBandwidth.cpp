#include "VelBgp/Parse/ExtCommLinkBandwidth.h"

#include "Multipath/LinkBandwidth.h"

namespace Routing::Bgp {

bool ExtCommLinkBandwidth::isValid() const { return Ucmp::LinkBandwidth(bandwidth()).isValid(); }

bool ExtCommLinkBandwidth::isBetterThan(const PtrConst& other) const {
  TYR_ASSERT(other != nullptr);
  return bandwidth() < static_cast<const ExtCommLinkBandwidth&>(*other).bandwidth();
}

void ExtCommLinkBandwidth::formatDerivedType(std::ostream& stream) const {
  Tyr::DynamicBuffer<> buffer;
  buffer.append("LinkBandwidth ");
  formatAsNumberToBuffer(&buffer, false);
  buffer.append(':');
  buffer.appendFloat(bandwidth());
  formatKind(stream, *this, buffer.view());
}

std::string ExtCommLinkBandwidth::toStrepForPolicy(StrepFormat format) const {
  Tyr::DynamicBuffer<> buffer;
  if (format.strepFormatClassification()) buffer.append(format.strepFormatUI() ? "Link-Bandwidth-AS:" : "lbw ");
  formatAsNumberToBuffer(&buffer, format.strepFormatAsdot());
  buffer.append(':');
  if (format.classificationAndUI()) {
    Ucmp::LinkBandwidth(bandwidth()).appendTo(buffer, format.strepFormatLinkBwWeighted());
  } else {
    buffer.appendFloat(bandwidth());
  }
  return buffer.str();
}

VELBGP_KIND_FACTORIES(extCommLinkBandwidth, ExtCommLinkBandwidth)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommLinkBandwidthSm, BgpParseExtCommLinkBandwidthSm)

}  // namespace Routing::Bgp
