#include "VelBgp/VelBgpCommunityPacketTypes.h"

namespace Routing::Bgp {

std::uint64_t BgpExtCommPktSubtype::min() const { return 0; }
std::uint64_t BgpExtCommPktSubtype::max() const { return 255; }

std::string extCommSubtypeText(const Tyr::EnumTable& subtypes, std::uint8_t octet) {
  if (subtypes.valid(octet)) return subtypes.name(octet);
  return "subtype=" + std::to_string(octet);
}

}  // namespace Routing::Bgp
