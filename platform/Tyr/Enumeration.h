// Enumerations that have names: one table of rows gives the type, its names, the validity test, printing and parsing.
//
// A table is a file with the ending .def that holds, for each of its enumerations,
//
//   TYR_ENUM_BEGIN(BgpExtCommPktType, std::uint16_t)             // or TYR_ENUM_CLASS_BEGIN, for an enum class
//   TYR_ENUM_WIRE(BgpExtCommPktType, extCommPktTypeTransOpaque, 0x03)
//   TYR_ENUM_WIRE_TEXT(BgpExtCommPktType, extCommPktTypeTransEvpn, 0x06, "EVPN")   // with a display text
//   TYR_ENUM_OTHER(BgpExtCommPktType, extCommPktTypeUnknown, 256)                  // not a code point: above 255
//   TYR_ENUM_END(BgpExtCommPktType)
//
// and becomes types and functions where a header, inside the enumerations' namespace, says
//
//   #define TYR_ENUMERATIONS "VelBgp/VelBgpCommunityPacketTypes.def"
//   #include "Tyr/EnumerationDeclare.def"
//
// Each enumeration E then has, in its namespace:
//
//   bool bgpIsValidEnumMember(E)           true for the WIRE rows; O(1) for octets
//   const char* enumName(E)                the enumerator's name, for the program's life; null for a number without one
//   std::string stringValue(E)             the same name; Tyr::RangeException for a number without one,
//   std::string valueToStrep(const E&)     as from this one
//   std::ostream& operator<<(std::ostream&, const E&)
//                                          the same name; for a number without one, the number: a log must not throw
//   E EInstance(unsigned long)             the enumerator with this number; Tyr::RangeException if there is none
//   E EInstance(std::string_view)          the enumerator with this name; Tyr::BadNameException if there is none
//   void sequenceToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, E*)
//                                          takes a name from the front of the range; Tyr::BadNameException if there is
//                                          none, and nothing is changed
//   const Tyr::EnumTable& tyrEnumTable(E)  the rows
//
// A table that gives a name or a number twice, or a number of 0 to 255 to a row that is no code point, does not
// compile.
//
// Threads: constant data and functions without state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

#include "Tyr/Export.h"
#include "Tyr/Strep.h"

namespace Tyr {

struct EnumRow {
  std::uint32_t number;
  const char* name;
  // The text for displays, or null.
  const char* text;
  // A code point, not one of the additional members.
  bool wire;
};

// From the low octets straight to their rows: place 0 to 255 holds the row's position plus one, or 0.
using EnumIndex = std::array<std::uint8_t, 256>;

struct EnumTable {
  const char* type;
  std::span<const EnumRow> rows;
  const EnumIndex& index;

  // Where in the rows the member with this number is; rows.size() if there is none.
  constexpr std::size_t place(unsigned long number) const noexcept {
    if (number < index.size()) return index[number] == 0 ? rows.size() : index[number] - 1u;
    std::size_t i = 0;
    while (i < rows.size() && rows[i].number != number) ++i;
    return i;
  }
  // Null if there is none.
  constexpr const EnumRow* row(unsigned long number) const noexcept {
    const std::size_t i = place(number);
    return i == rows.size() ? nullptr : &rows[i];
  }
  // Whether it is a member that may be on the wire.
  constexpr bool valid(unsigned long number) const noexcept {
    const std::size_t i = place(number);
    return i != rows.size() && rows[i].wire;
  }
  // Its name, on the wire or not; null for a number that has none.
  constexpr const char* name(unsigned long number) const noexcept {
    const std::size_t i = place(number);
    return i == rows.size() ? nullptr : rows[i].name;
  }
};

// The machine room of the functions above.
template <typename E>
constexpr std::uint32_t enumNumber(E e) noexcept {
  return static_cast<std::uint32_t>(e);
}
// What each enumeration's functions of like names do, by number.
VELBGP_EXPORT std::string enumStringValue(const EnumTable& table, unsigned long number);
VELBGP_EXPORT std::ostream& enumToStream(std::ostream& stream, const EnumTable& table, unsigned long number);
VELBGP_EXPORT std::uint32_t enumInstance(const EnumTable& table, unsigned long number);
VELBGP_EXPORT std::uint32_t enumInstance(const EnumTable& table, std::string_view name);
VELBGP_EXPORT std::uint32_t enumFromSequence(const EnumTable& table, StrepIterator& it, const StrepIterator& end);

// For each octet the row that has it, from 1; 0 where none has.
constexpr EnumIndex enumIndexOf(std::span<const EnumRow> rows) {
  EnumIndex index{};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].number < index.size()) index[rows[i].number] = static_cast<std::uint8_t>(i + 1);
  }
  return index;
}

// No number twice, and no member that looks like an octet. That no name is there twice is the enumeration's own affair.
constexpr bool enumRowsSound(std::span<const EnumRow> rows, const EnumIndex& index) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const bool isOctet = rows[i].number <= 0xff;
    if (isOctet && (!rows[i].wire || index[rows[i].number] != i + 1)) return false;
    for (std::size_t k = 0; k < i && !isOctet; ++k) {
      if (rows[k].number == rows[i].number) return false;
    }
  }
  return rows.size() <= 0xff;
}

// Whether the rows are numbered as they stand: 0, 1, 2, ...
constexpr bool enumRowsDense(std::span<const EnumRow> rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].number != i) return false;
  }
  return true;
}

// The range of an enumeration whose members are 0, 1, 2, ... in this order: what an array indexed by it needs.
template <typename E>
struct Range {
  static constexpr std::size_t size() noexcept {
    static_assert(enumRowsDense(tyrEnumTable(E{}).rows), "only a dense enumeration has a range");
    return tyrEnumTable(E{}).rows.size();
  }
};

}  // namespace Tyr
