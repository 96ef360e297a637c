#include "VelBgp/BgpPathAttributeEnums.h"

#include <ostream>

namespace Routing::Bgp {

const char* bgpPathAttrTypeShowString(BgpPathAttrType type) noexcept {
  constexpr const char* unlisted = "Invalid attribute";
  const auto code = static_cast<std::uint16_t>(type);
  if (code > 0xff) return unlisted;
  const Tyr::EnumRow* const row = tyrEnumTable(type).row(code);
  return row == nullptr ? unlisted : row->text;
}

std::string valueToStrep(const BgpUpdateMsgAttributeFlags& flags) { return std::to_string(flags.value()); }

std::ostream& operator<<(std::ostream& stream, const BgpUpdateMsgAttributeFlags& flags) {
  return stream << valueToStrep(flags);
}

void sequenceToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, BgpUpdateMsgAttributeFlags* flags) {
  *flags = BgpUpdateMsgAttributeFlags(static_cast<std::uint8_t>(Tyr::readUnsigned(it, end, 0xff)));
}

}  // namespace Routing::Bgp
