// The code points of extended communities, and what they are called.
//
// An enumerator's name is its text. Tyr/Enumeration.h tells the functions that each enumeration has:
// bgpIsValidEnumMember, stringValue, valueToStrep, operator<<, BgpExtCommPktTypeInstance and its like, sequenceToValue.
//
// Members that are no code points have numbers that no octet can have: 256 for each ...Unknown, 257 for
// extCommPktSubtypeNonTransTwoOctetAsLinkBandwidthAny. Of ExtCommClassification every member is valid, the last as
// well.
//
// Threads: constants and plain values.
#pragma once

#include "Tyr/Enumeration.h"
#include "VelBgp/VelBgpMiscTypes.h"

namespace Routing::Bgp {

#define TYR_ENUMERATIONS "VelBgp/VelBgpCommunityPacketTypes.def"
#include "Tyr/EnumerationDeclare.def"

#define TYR_ENUMERATIONS "VelBgp/ExtCommClassification.def"
#include "Tyr/EnumerationDeclare.def"

// A subtype octet, or none: unspecified, or 0 to 255.
class VELBGP_EXPORT BgpExtCommPktSubtype final : public BgpMaybeU63 {
 public:
  constexpr BgpExtCommPktSubtype() noexcept = default;
  constexpr BgpExtCommPktSubtype(const BgpExtCommPktSubtype&) noexcept = default;
  constexpr BgpExtCommPktSubtype& operator=(const BgpExtCommPktSubtype&) noexcept = default;
  // Not defaulted: GCC 12 would refuse constants of the class.
  constexpr ~BgpExtCommPktSubtype() override {}
  // Throws as valueIs() does.
  explicit BgpExtCommPktSubtype(std::uint64_t value) { valueIs(value); }

  std::uint64_t min() const override { return 0; }
  std::uint64_t max() const override { return 255; }
};

// The name of `octet` in `subtypes`, or "subtype=" and the octet in decimal if it is no code point there.
VELBGP_EXPORT std::string extCommSubtypeText(const Tyr::EnumTable& subtypes, std::uint8_t octet);

// The same, of an enumeration of subtypes.
template <typename Subtype>
std::string extCommSubtypeString(std::uint8_t octet) {
  return extCommSubtypeText(tyrEnumTable(Subtype{}), octet);
}

}  // namespace Routing::Bgp
