// Small value types of the attribute code.
//
//   BgpMaybeU63       an optional unsigned number of up to 63 bits, whose bounds a derived class sets
//   BgpDenseU32Attr   16 flags, 4 octets or 2 halves in one 32-bit word, for the small attributes of a path
//
// Threads: plain values. Errors: Tyr::RangeException for what is out of bounds, Tyr::ParseException from reading.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "Tyr/Assert.h"
#include "Tyr/Export.h"
#include "Tyr/Strep.h"

namespace Routing::Bgp {

// Bounds are virtual, so that one set of operations serves every derived class; an object is a value all the same: it
// is copied, and never deleted through this class. A copy into the base keeps the number, not the bounds.
class VELBGP_EXPORT BgpMaybeU63 {
 public:
  // Deliberate: the base's range is empty, so that a plain BgpMaybeU63 can be nothing but unspecified.
  virtual void checkValue();
  virtual std::uint64_t min() const;
  virtual std::uint64_t max() const;
  // What valueWithUnspecifiedMapped() gives for an unspecified value.
  virtual std::uint64_t mappedUnspecifiedValue() const;

  // The bit that means "unspecified".
  static constexpr std::uint64_t unspecifiedValue = 0x8000000000000000;

  constexpr BgpMaybeU63() noexcept = default;

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

  friend bool operator==(const BgpMaybeU63& a, const BgpMaybeU63& b) noexcept {
    return a.isUnspecified() ? b.isUnspecified() : a.value_ == b.value_;
  }
  // Unspecified comes before every number.
  friend bool operator<(const BgpMaybeU63& a, const BgpMaybeU63& b) noexcept {
    if (a.isUnspecified() || b.isUnspecified()) return a.isUnspecified() && !b.isUnspecified();
    return a.value_ < b.value_;
  }

 private:
  std::uint64_t value_ = unspecifiedValue;
};

VELBGP_EXPORT std::string valueToStrep(const BgpMaybeU63& value);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const BgpMaybeU63& value);
// Takes what toStrep() wrote from the front of the range. A number out of bounds is the range error of valueIs().
VELBGP_EXPORT void sequenceToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, BgpMaybeU63* value);

// Views of one word; each may be used beside the others. An index out of range throws Tyr::RangeException with the
// operation's name as its text, and so does every ...Del: there is nothing that could be taken out of a word.
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
