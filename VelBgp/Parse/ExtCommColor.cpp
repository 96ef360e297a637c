#include "VelBgp/Parse/ExtCommColor.h"

namespace Routing::Bgp {
namespace {

std::string colorText(const char* label, const ExtCommColor& extComm) {
  Tyr::DynamicBuffer<> buffer;
  buffer.append(label);
  buffer.append("CO(");
  buffer.append(static_cast<char>('0' + (extComm.colorOnlyBits() >> 1)));
  buffer.append(static_cast<char>('0' + (extComm.colorOnlyBits() & 1)));
  buffer.append("):");
  buffer.appendDecimal(extComm.color());
  return buffer.str();
}

}  // namespace

void ExtCommColor::formatDerivedType(std::ostream& stream) const {
  formatKind(stream, *this, colorText("Color ", *this));
}

std::string ExtCommColor::toStrepForPolicy(StrepFormat) const { return colorText("Color:", *this); }

VELBGP_KIND_FACTORIES(extCommColor, ExtCommColor)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommColorSm, BgpParseExtCommColorSm)

}  // namespace Routing::Bgp
