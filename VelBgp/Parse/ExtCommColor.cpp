#include "VelBgp/Parse/ExtCommColor.h"

namespace Routing::Bgp {
namespace {

void appendColor(Tyr::DynamicBufferInterface& buffer, const char* label, const ExtCommColor& extComm) {
  buffer.append(label);
  buffer.append("CO(");
  buffer.append(static_cast<char>('0' + (extComm.colorOnlyBits() >> 1)));
  buffer.append(static_cast<char>('0' + (extComm.colorOnlyBits() & 1)));
  buffer.append("):");
  buffer.appendDecimal(extComm.color());
}

}  // namespace

void ExtCommColor::formatDerivedType(std::ostream& stream) const {
  Tyr::DynamicBuffer<> buffer;
  appendColor(buffer, "Color ", *this);
  formatKind(stream, *this, buffer.view());
}

std::string ExtCommColor::toStrepForPolicy(StrepFormat) const {
  Tyr::DynamicBuffer<> buffer;
  appendColor(buffer, "Color:", *this);
  return buffer.str();
}

VELBGP_KIND_FACTORIES(extCommColor, ExtCommColor)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommColorSm, BgpParseExtCommColorSm)

}  // namespace Routing::Bgp
