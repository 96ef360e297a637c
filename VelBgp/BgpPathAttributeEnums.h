// Path attributes by number and by name: type codes, flags, the fixed sizes of headers, and the codes of the Prefix-SID
// attribute.
//
// An enumerator's name is its text; Tyr/Enumeration.h tells the functions that the enumerations have. Numbers that are
// our own choice: AspType counts from 0, attrTypeUnknown and the members that begin with "invalid" are 256 (but for
// invalidPathAttr, which is 0 on the wire), those that begin with "unknown" 257, so that no octet means them.
//
// Threads: constants and plain values.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "Tyr/Enumeration.h"
#include "Tyr/Export.h"
#include "Tyr/Strep.h"

namespace Routing::Bgp {

#define TYR_ENUMERATIONS "VelBgp/BgpPathAttributeEnums.def"
#include "Tyr/EnumerationDeclare.def"

// For people; "Invalid attribute" for every code without a name. Never fails.
VELBGP_EXPORT const char* bgpPathAttrTypeShowString(BgpPathAttrType type) noexcept;

// Octets of the fields of a path attribute's header. Plain numbers: two members may have the same.
enum BgpPathAttrPktConstants : std::uint32_t { flagOctets = 1, codeOctets = 1, lenOctets = 1, extendedLenOctets = 2 };
// Octets of the fields of MP_REACH_NLRI (RFC 4760).
enum BgpMultiProtocolAttrPktConstants : std::uint32_t {
  afiOctets = 2,
  safiOctets = 1,
  nhLenForReachOctets = 1,
  mpReachRsvdOctets = 1
};

// The flags octet of a path attribute. Its text is the octet in decimal.
class BgpUpdateMsgAttributeFlags {
 public:
  // In the octet (RFC 4271).
  static constexpr std::uint8_t optionalBit = 0x80;
  static constexpr std::uint8_t transitiveBit = 0x40;
  static constexpr std::uint8_t partialBit = 0x20;
  static constexpr std::uint8_t extendedLengthBit = 0x10;

  constexpr BgpUpdateMsgAttributeFlags() noexcept = default;
  constexpr explicit BgpUpdateMsgAttributeFlags(std::uint8_t value) noexcept : value_(value) {}

  constexpr std::uint8_t value() const noexcept { return value_; }
  constexpr void valueIs(std::uint8_t value) noexcept { value_ = value; }

  constexpr bool optional() const noexcept { return has(optionalBit); }
  constexpr bool transitive() const noexcept { return has(transitiveBit); }
  constexpr bool partial() const noexcept { return has(partialBit); }
  constexpr bool extendedLength() const noexcept { return has(extendedLengthBit); }
  constexpr void optionalIs(bool on) noexcept { bitIs(optionalBit, on); }
  constexpr void transitiveIs(bool on) noexcept { bitIs(transitiveBit, on); }
  constexpr void partialIs(bool on) noexcept { bitIs(partialBit, on); }
  constexpr void extendedLengthIs(bool on) noexcept { bitIs(extendedLengthBit, on); }

  friend constexpr bool operator==(const BgpUpdateMsgAttributeFlags&, const BgpUpdateMsgAttributeFlags&) = default;

 private:
  constexpr bool has(std::uint8_t bit) const noexcept { return (value_ & bit) != 0; }
  constexpr void bitIs(std::uint8_t bit, bool on) noexcept {
    value_ = static_cast<std::uint8_t>(on ? value_ | bit : value_ & ~bit);
  }

  std::uint8_t value_ = 0;
};

VELBGP_EXPORT std::string valueToStrep(const BgpUpdateMsgAttributeFlags& flags);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const BgpUpdateMsgAttributeFlags& flags);
// Takes the number from the front of the range; Tyr::ParseException for what is no octet.
VELBGP_EXPORT void sequenceToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end,
                                   BgpUpdateMsgAttributeFlags* flags);

}  // namespace Routing::Bgp
