// An IPv4 address and its dotted-quad text.
//
// A value of one 32-bit word in host order (10.0.0.1 is 0x0a000001), ordered as that number. Owns nothing; as safe
// between threads as a number.
// Errors: reading text throws Tyr::ParseException.
#pragma once

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

class Ip4Addr {
 public:
  constexpr Ip4Addr() noexcept = default;
  constexpr explicit Ip4Addr(std::uint32_t value) noexcept : value_(value) {}
  // Exactly four decimal numbers up to 255 with dots between them. Leading zeros are refused: to some programs they
  // mean octal numbers.
  VELBGP_EXPORT explicit Ip4Addr(std::string_view text);
  // The same; nothing in place of the exception.
  VELBGP_EXPORT static std::optional<Ip4Addr> read(std::string_view text) noexcept;

  constexpr std::uint32_t value() const noexcept { return value_; }

  // "192.0.2.1"
  VELBGP_EXPORT std::string toStrep() const;
  VELBGP_EXPORT void appendTo(Tyr::DynamicBufferInterface& buffer) const;

  friend constexpr auto operator<=>(const Ip4Addr&, const Ip4Addr&) noexcept = default;

 private:
  std::uint32_t value_ = 0;
};

// Honours the stream's width and fill; its number formatting has no effect.
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const Ip4Addr& address);

}  // namespace Routing::Addr
