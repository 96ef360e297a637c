#include "VelBgp/VelBgpCommunityPacketTypes.h"

namespace Routing::Bgp {

std::string extCommSubtypeText(const Tyr::EnumTable& subtypes, std::uint8_t octet) {
  if (subtypes.valid(octet)) return subtypes.name(octet);
  return "subtype=" + std::to_string(octet);
}

}  // namespace Routing::Bgp
