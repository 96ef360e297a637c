#include "Addr/Ip4Addr.h"

#include <charconv>
#include <ostream>

#include "Tyr/DynamicBuffer.h"
#include "Tyr/Exception.h"

namespace Routing::Addr {
namespace {

// Reads one of the four numbers and steps over it; null when there is none.
const char* readOctet(const char* it, const char* end, std::uint32_t& value) {
  std::uint8_t octet = 0;
  const auto [stop, error] = std::from_chars(it, end, octet);
  const bool leadingZero = stop - it > 1 && *it == '0';
  if (error != std::errc() || leadingZero) return nullptr;
  value = value << 8 | octet;
  return stop;
}

}  // namespace

std::optional<Ip4Addr> Ip4Addr::read(std::string_view text) noexcept {
  std::uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const char* it = readOctet(text.data(), end, value);
  for (int more = 3; it != nullptr && more > 0; --more) {
    it = it != end && *it == '.' ? readOctet(it + 1, end, value) : nullptr;
  }
  return it != end || it == nullptr ? std::nullopt : std::optional(Ip4Addr(value));
}

Ip4Addr::Ip4Addr(std::string_view text) {
  const auto address = read(text);
  if (!address) throw Tyr::ParseException("not an IPv4 address in dotted-quad form");
  *this = *address;
}

std::string Ip4Addr::toStrep() const {
  Tyr::DynamicBuffer<> buffer;
  appendTo(buffer);
  return buffer.str();
}

void Ip4Addr::appendTo(Tyr::DynamicBufferInterface& buffer) const { buffer.appendDottedQuad(value_); }

std::ostream& operator<<(std::ostream& stream, const Ip4Addr& address) { return stream << address.toStrep(); }

}  // namespace Routing::Addr
