// An IPv6 address and its compressed text (RFC 5952 but for IPv4-compatible addresses).
//
// A value of 16 octets in address order (2001:db8::1 starts with 0x20, 0x01), ordered octet by octet. Owns nothing; as
// safe between threads as an array.
// Errors: reading text throws Tyr::ParseException.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "Tyr/Export.h"

namespace Tyr {
class DynamicBufferInterface;
}

namespace Routing::Addr {

class Ip6Addr {
 public:
  using Octets = std::array<std::uint8_t, 16>;

  constexpr Ip6Addr() noexcept = default;
  constexpr explicit Ip6Addr(const Octets& octets) noexcept : octets_(octets) {}
  // Every form that inet_pton takes, and no other.
  VELBGP_EXPORT explicit Ip6Addr(std::string_view text);
  // The same; nothing in place of the exception.
  VELBGP_EXPORT static std::optional<Ip6Addr> read(std::string_view text) noexcept;

  constexpr const Octets& octets() const noexcept { return octets_; }
  // Octets 4 * index to 4 * index + 3, the first most significant; index 0 to 3.
  constexpr std::uint32_t word(unsigned index) const noexcept {
    const std::uint8_t* octet = &octets_[4 * index];
    return std::uint32_t{octet[0]} << 24 | std::uint32_t{octet[1]} << 16 | std::uint32_t{octet[2]} << 8 | octet[3];
  }

  // As inet_ntop prints: lower case, the longest run of zero groups as "::", IPv4-mapped and IPv4-compatible addresses
  // with a dotted quad.
  VELBGP_EXPORT std::string toStrep() const;
  VELBGP_EXPORT void appendTo(Tyr::DynamicBufferInterface& buffer) const;

  friend constexpr auto operator<=>(const Ip6Addr&, const Ip6Addr&) noexcept = default;

 private:
  Octets octets_{};
};

// Honours the stream's width and fill; its number formatting has no effect.
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const Ip6Addr& address);

}  // namespace Routing::Addr
