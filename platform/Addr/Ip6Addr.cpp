#include "Addr/Ip6Addr.h"

#include <arpa/inet.h>

#include <algorithm>
#include <ostream>

#include "Tyr/DynamicBuffer.h"
#include "Tyr/Exception.h"

namespace Routing::Addr {

std::optional<Ip6Addr> Ip6Addr::read(std::string_view text) noexcept {
  char terminated[INET6_ADDRSTRLEN] = {};
  if (text.size() >= sizeof(terminated) || text.find('\0') != text.npos) return std::nullopt;
  std::copy(text.begin(), text.end(), terminated);
  Octets octets;
  return inet_pton(AF_INET6, terminated, octets.data()) == 1 ? std::optional(Ip6Addr(octets)) : std::nullopt;
}

Ip6Addr::Ip6Addr(std::string_view text) {
  const auto address = read(text);
  if (!address) throw Tyr::ParseException("not an IPv6 address");
  *this = *address;
}

std::string Ip6Addr::toStrep() const {
  Tyr::DynamicBuffer<> buffer;
  appendTo(buffer);
  return buffer.str();
}

void Ip6Addr::appendTo(Tyr::DynamicBufferInterface& buffer) const {
  char text[INET6_ADDRSTRLEN];
  buffer.append(inet_ntop(AF_INET6, octets_.data(), text, sizeof(text)));
}

std::ostream& operator<<(std::ostream& stream, const Ip6Addr& address) { return stream << address.toStrep(); }

}  // namespace Routing::Addr
