// Small value types of the attribute code.
// Threads: plain values. Errors: Tyr::RangeException for what is out of bounds, Tyr::ParseException from reading.
#pragma once

#include <compare>
#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <type_traits>
#include <utility>

#include "Tyr/Assert.h"
#include "Tyr/Export.h"
#include "Tyr/Strep.h"

namespace Routing::Bgp {

// An integer, or an enumerator that is one.
template <typename T>
concept BgpNumber = std::integral<T> ||(std::is_enum_v<T>&& std::convertible_to<T, std::uint64_t>);

// An optional unsigned number of up to 63 bits. Bounds are virtual, so that one set of operations serves every derived
// class; an object is a value all the same. A copy into the base keeps the number, not the bounds.
class VELBGP_EXPORT BgpMaybeU63 {
 public:
  // Deliberate: the base's range is empty, so that a plain BgpMaybeU63 can be nothing but unspecified.
  virtual void checkValue();
  virtual std::uint64_t min() const { return 1; }
  virtual std::uint64_t max() const { return 0; }
  // What valueWithUnspecifiedMapped() gives for an unspecified value.
  virtual std::uint64_t mappedUnspecifiedValue() const { return 0; }
  constexpr virtual ~BgpMaybeU63() = default;

  // The bit that means "unspecified".
  static constexpr std::uint64_t unspecifiedValue = 0x8000000000000000;

  constexpr BgpMaybeU63() noexcept = default;
  constexpr BgpMaybeU63(const BgpMaybeU63&) noexcept = default;
  constexpr BgpMaybeU63& operator=(const BgpMaybeU63&) noexcept = default;

  bool isUnspecified() const noexcept { return (value_ & unspecifiedValue) != 0; }
  // Stores, then calls checkValue(): a value out of bounds throws and leaves the object unspecified.
  void valueIs(std::uint64_t value);
  // Forgets the value.
  void valueDel() noexcept { value_ = unspecifiedValue; }

  // Asserts that there is a value.
  std::uint64_t value() const {
    TYR_ASSERT(!isUnspecified() && "Caller must check isUnspecified() before getting value()");
    return value_;
  }
  operator std::uint64_t() const { return value(); }
  explicit operator bool() const = delete;  // "is specified" or "is not zero"? Say which.
  std::uint64_t valueWithUnspecifiedMapped() const { return isUnspecified() ? mappedUnspecifiedValue() : value_; }

  // The number in decimal, or "unspecified".
  std::string toStrep() const;

  // Unspecified equals unspecified and no number, and comes before every number. No comparison with integers or
  // enumerators asserts. Both orders of
  // operands are spelt out for the numbers: Clang 14 finds the turned ones ambiguous.
  friend bool operator==(const BgpMaybeU63& a, const BgpMaybeU63& b) noexcept { return (a <=> b) == 0; }
  friend std::strong_ordering operator<=>(const BgpMaybeU63& a, const BgpMaybeU63& b) noexcept {
    return a.ordinal() <=> b.ordinal();
  }
  friend bool operator==(const BgpMaybeU63& a, BgpNumber auto b) noexcept { return a.order(b) == 0; }
  friend bool operator==(BgpNumber auto a, const BgpMaybeU63& b) noexcept { return b.order(a) == 0; }
  friend std::strong_ordering operator<=>(const BgpMaybeU63& a, BgpNumber auto b) noexcept { return a.order(b); }
  friend std::strong_ordering operator<=>(BgpNumber auto a, const BgpMaybeU63& b) noexcept { return 0 <=> b.order(a); }

 private:
  // The value, or less than every value.
  std::int64_t ordinal() const noexcept { return isUnspecified() ? -1 : static_cast<std::int64_t>(value_); }
  // The plus makes numbers of enumerators, characters and booleans.
  std::strong_ordering order(BgpNumber auto b) const noexcept {
    if (isUnspecified() || std::cmp_less(value_, +b)) return std::strong_ordering::less;
    return std::cmp_equal(value_, +b) ? std::strong_ordering::equal : std::strong_ordering::greater;
  }

  std::uint64_t value_ = unspecifiedValue;
};

VELBGP_EXPORT std::string valueToStrep(const BgpMaybeU63& value);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const BgpMaybeU63& value);
// Takes what toStrep() wrote from the front of the range. A number out of bounds is the range error of valueIs().
VELBGP_EXPORT void sequenceToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, BgpMaybeU63* value);

// Views of one word, for the small attributes of a path: 16 flags, 4 octets or 2 halves; each may be used beside the
// others. An index out of range throws Tyr::RangeException with the operation's name as its text, and so does every
// ...Del: there is nothing that could be taken out of a word.
class VELBGP_EXPORT BgpDenseU32Attr {
 public:
  constexpr BgpDenseU32Attr() noexcept = default;
  constexpr explicit BgpDenseU32Attr(std::uint32_t value) noexcept : value_(value) {}
  // Takes the reflection text from the front of the range.
  BgpDenseU32Attr(Tyr::StrepIterator& it, const Tyr::StrepIterator& end);

  constexpr std::uint32_t value() const noexcept { return value_; }
  constexpr void valueIs(std::uint32_t value) noexcept { value_ = value; }

  // Bit 0 (the least significant) to 15; the upper half has no view as flags.
  bool valueBool(unsigned index) const;
  void valueBoolIs(unsigned index, bool on);
  [[noreturn]] bool valueBoolDel(unsigned index);
  // Octet 0 (the least significant) to 3.
  std::uint8_t valueU8(unsigned index) const;
  void valueU8Is(unsigned index, std::uint8_t octet);
  [[noreturn]] std::uint8_t valueU8Del(unsigned index);
  // Half 0 (the lower one) or 1.
  std::uint16_t valueU16(unsigned index) const;
  void valueU16Is(unsigned index, std::uint16_t half);
  [[noreturn]] std::uint16_t valueU16Del(unsigned index);

  friend constexpr bool operator==(const BgpDenseU32Attr&, const BgpDenseU32Attr&) noexcept = default;

 private:
  std::uint32_t value_ = 0;
};

// "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': 171})"
VELBGP_EXPORT std::string valueToStrep(const BgpDenseU32Attr& attr);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const BgpDenseU32Attr& attr);
// Takes that text from the front of the range.
VELBGP_EXPORT void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, BgpDenseU32Attr* attr);

}  // namespace Routing::Bgp
