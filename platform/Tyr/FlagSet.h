// Flag sets: up to eight named booleans in one octet, listed once, lowest bit first.
//
//   #define DOOR_FLAGS(FLAG) FLAG(open) FLAG(locked)
//   class Door { TYR_FLAG_SET(Door, "House::Door", DOOR_FLAGS) };
//
// The list gives:
//   bits      Door::openBit (0x01), Door::lockedBit (0x02)
//   flags     bool locked() const, void lockedIs(bool)
//   octet     value(); Door(octet) throws Tyr::RangeException for a number with a bit that no member has
//   members   Door::names(), each with its bit, in their order
//   text      valueToStrep(door) and stream << door: "Value('House::Door', ** {'open': True, 'locked': False})"
//   reading   Door(it, end) and strepToValue(it, end, &door) take that text from the front of a range,
//             Door::strepToValue(text) takes a whole text; Tyr::ParseException otherwise, and nothing is changed
//   equality  operator==
// The class may be nested in another and may add operations of its own; behind the macro it is public. Two sets that
// look alike may number their bits differently: convert between them by name, never by octet.
//
// Threads: plain values.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

#include "Tyr/Export.h"
#include "Tyr/Strep.h"

namespace Tyr {

struct FlagName {
  const char* name;
  std::uint8_t bit;
};

// What the macro below forwards to.
VELBGP_EXPORT std::string flagSetToStrep(const char* type, std::span<const FlagName> names, std::uint8_t value);
VELBGP_EXPORT std::ostream& flagSetToStream(std::ostream& stream, const char* type, std::span<const FlagName> names,
                                            std::uint8_t value);
VELBGP_EXPORT std::uint8_t flagSetFromStrep(const char* type, std::span<const FlagName> names, StrepIterator& it,
                                            const StrepIterator& end);
[[noreturn]] VELBGP_EXPORT void throwFlagSetRange(const char* type, unsigned mask);

}  // namespace Tyr

#define TYR_FLAG_SET_INDEX(flag) flag##Index_,
#define TYR_FLAG_SET_NAME(flag) ::Tyr::FlagName{#flag, flag##Bit},
#define TYR_FLAG_SET_MEMBER(flag)                                                      \
  static constexpr std::uint8_t flag##Bit = 1u << flag##Index_;                        \
  constexpr bool flag() const noexcept { return (value_ & flag##Bit) != 0; }           \
  constexpr void flag##Is(bool on) noexcept {                                          \
    value_ = static_cast<std::uint8_t>(on ? value_ | flag##Bit : value_ & ~flag##Bit); \
  }

#define TYR_FLAG_SET(Set, qualifiedName, FLAGS)                                                                    \
 private:                                                                                                          \
  enum : unsigned { FLAGS(TYR_FLAG_SET_INDEX) flagCount_ };                                                        \
  static_assert(flagCount_ <= 8, "a flag set is one octet");                                                       \
  static constexpr unsigned mask_ = (1u << flagCount_) - 1;                                                        \
  static constexpr const char* type_ = qualifiedName;                                                              \
  std::uint8_t value_ = 0;                                                                                         \
                                                                                                                   \
 public:                                                                                                           \
  FLAGS(TYR_FLAG_SET_MEMBER)                                                                                       \
                                                                                                                   \
 private:                                                                                                          \
  static constexpr ::Tyr::FlagName names_[] = {FLAGS(TYR_FLAG_SET_NAME)};                                          \
                                                                                                                   \
 public:                                                                                                           \
  constexpr Set() noexcept = default;                                                                              \
  constexpr explicit Set(unsigned value) : value_(static_cast<std::uint8_t>(value)) {                              \
    if (value > mask_) ::Tyr::throwFlagSetRange(type_, mask_);                                                     \
  }                                                                                                                \
  Set(::Tyr::StrepIterator& it, const ::Tyr::StrepIterator& end)                                                   \
      : value_(::Tyr::flagSetFromStrep(type_, names_, it, end)) {}                                                 \
  constexpr std::uint8_t value() const noexcept { return value_; }                                                 \
  static constexpr std::span<const ::Tyr::FlagName> names() noexcept { return names_; }                            \
  static Set strepToValue(std::string_view text) {                                                                 \
    return ::Tyr::readWhole(text, [](auto& it, const auto& end) { return Set(it, end); });                         \
  }                                                                                                                \
  [[maybe_unused]] friend void strepToValue(::Tyr::StrepIterator& it, const ::Tyr::StrepIterator& end, Set* set) { \
    *set = Set(it, end);                                                                                           \
  }                                                                                                                \
  [[maybe_unused]] friend std::string valueToStrep(const Set& set) {                                               \
    return ::Tyr::flagSetToStrep(type_, names_, set.value_);                                                       \
  }                                                                                                                \
  [[maybe_unused]] friend std::ostream& operator<<(std::ostream& stream, const Set& set) {                         \
    return ::Tyr::flagSetToStream(stream, type_, names_, set.value_);                                              \
  }                                                                                                                \
  [[maybe_unused]] friend constexpr bool operator==(const Set&, const Set&) noexcept = default;
