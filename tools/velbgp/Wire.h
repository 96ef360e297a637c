// Octets in network order, as they are written one after the other.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "VelBgp/ValueText.h"

namespace VelBgpTool {

class Wire {
 public:
  template <unsigned count>
  Wire& number(std::uint64_t value) {
    for (unsigned i = count; i-- != 0;) octets_ += static_cast<char>(value >> (8 * i));
    return *this;
  }
  Wire& u8(std::uint64_t value) { return number<1>(value); }
  Wire& u16(std::uint64_t value) { return number<2>(value); }
  Wire& u32(std::uint64_t value) { return number<4>(value); }
  Wire& u64(std::uint64_t value) { return number<8>(value); }
  Wire& text(std::string_view octets) {
    octets_ += octets;
    return *this;
  }
  std::string_view view() const { return octets_; }
  std::string str() const { return octets_; }
  std::size_t size() const { return octets_.size(); }

 private:
  std::string octets_;
};

// A value of each kind as it stands in an attribute.
inline std::string wireOf(const Routing::Bgp::ExtCommContent& content) { return Wire().u64(content.value()).str(); }
inline std::string wireOf(const Routing::Bgp::ExtCommIp6Content& content) {
  Wire out;
  out.u8(content.type()).u8(content.subtype());
  for (const std::uint8_t octet : content.addr().octets()) out.u8(octet);
  return out.u16(content.localAdmin()).str();
}
inline std::string wireOf(const Routing::Bgp::CommunityValue& value) {
  return Wire().u32(value.globalAdmin()).u32(value.localData1()).u32(value.localData2()).str();
}
inline std::string wireOf(std::uint32_t value) { return Wire().u32(value).str(); }

}  // namespace VelBgpTool
