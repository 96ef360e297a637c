// A prefix of 0 to 64 bits over route-target values: the key of a trie or of a longest-prefix match (RFC 4684).
//
// Bit 0 is the most significant bit of the value, the first bit of the community's type octet. A plain value; bits
// below the length are kept and take part in equality, order and hash, only bitlenIs() clears them.
// Errors: Tyr::RangeException for a length above 64.
#pragma once

#include <compare>

#include "Tyr/Strep.h"
#include "VelBgp/NotifyingRouteTargetList.h"

namespace Routing::Bgp {

class VELBGP_EXPORT RouteTargetPrefix {
 public:
  // Bits: all of a route target.
  static constexpr unsigned maxLength = 64;

  RouteTargetPrefix() noexcept = default;
  RouteTargetPrefix(const RouteTarget& prefix, std::uint8_t length);
  // Takes the reflection text from the front of the range. Throws Tyr::ParseException, and
  // Tyr::DeserializationException of the attribute "length" for one above 64.
  RouteTargetPrefix(Tyr::StrepIterator& it, const Tyr::StrepIterator& end);

  const RouteTarget& prefix() const noexcept { return prefix_; }
  std::uint8_t length() const noexcept { return length_; }
  // Deliberate: stores first, then checks; a length above 64 throws and stays.
  void lengthIs(std::uint8_t length);

  // What a trie asks of its keys.
  std::uint64_t prefixBits() const noexcept { return prefix_.value; }
  std::uint8_t bitlen() const noexcept { return length_; }
  // lengthIs(), then clears the bits below. Asserts that the length fits in an octet.
  void bitlenIs(std::size_t bitlen);
  // Ones above the prefix's own length. Deliberate: the argument takes no part.
  std::uint64_t mask(std::size_t n) const noexcept;
  // Whether its first bits are the prefix's.
  bool covers(const RouteTarget& rt) const noexcept { return ((rt.value ^ prefix_.value) & mask(length_)) == 0; }
  // Index 0 to 63; there are no bits behind.
  bool extractBit(std::size_t index) const noexcept {
    return index < maxLength && (prefix_.value & (topBit >> index)) != 0;
  }
  // How many leading bits agree, at most the smaller length.
  std::size_t commonPrefixLen(const RouteTargetPrefix& other) const noexcept;

  std::uint32_t hash(std::uint32_t seed = 0) const noexcept;

  // "65000:100/48"; the route target's text, "/" and the length. With neither bits nor length "0/0".
  std::string toStrep(bool asDot) const;

  // By value, then by length.
  friend auto operator<=>(const RouteTargetPrefix&, const RouteTargetPrefix&) noexcept = default;

 private:
  static constexpr std::uint64_t topBit = 0x8000000000000000;

  RouteTarget prefix_;
  std::uint8_t length_ = 0;
};

// "Value('Routing::Bgp::RouteTargetPrefix', ** {'prefix': 0x0002fde800000064, 'length': 48})"
VELBGP_EXPORT std::string valueToStrep(const RouteTargetPrefix& prefix);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const RouteTargetPrefix& prefix);
// Takes that text from the front of the range.
VELBGP_EXPORT void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, RouteTargetPrefix* prefix);

}  // namespace Routing::Bgp
