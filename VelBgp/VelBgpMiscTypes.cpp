#include "VelBgp/VelBgpMiscTypes.h"

#include <limits>
#include <ostream>
#include <string_view>

#include "Tyr/Exception.h"

namespace Routing::Bgp {
namespace {

constexpr std::string_view unspecifiedText = "unspecified";
constexpr std::string_view denseOpening = "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': ";
constexpr std::string_view denseClosing = "})";

// The shift of field `index` of `bits` bits among `count`; `operation` is the text of the error.
unsigned shiftOf(unsigned index, unsigned count, unsigned bits, const char* operation) {
  if (index >= count) throw Tyr::RangeException(operation);
  return index * bits;
}

constexpr std::uint32_t maskOf(unsigned bits) { return (1u << bits) - 1; }

std::uint32_t replaced(std::uint32_t word, unsigned shift, unsigned bits, std::uint32_t field) {
  return (word & ~(maskOf(bits) << shift)) | (field << shift);
}

}  // namespace

void BgpMaybeU63::checkValue() {
  if (isUnspecified() || (value_ >= min() && value_ <= max())) return;
  valueDel();  // Deliberate: before the throw, so that who catches it holds an object without a wrong value.
  throw Tyr::RangeException("value < min or > max not allowed");
}

void BgpMaybeU63::valueIs(std::uint64_t value) {
  value_ = value;  // Deliberate: stored before the check, which resets it.
  checkValue();
}

std::string BgpMaybeU63::toStrep() const {
  return isUnspecified() ? std::string(unspecifiedText) : std::to_string(value_);
}

std::string valueToStrep(const BgpMaybeU63& value) { return value.toStrep(); }

std::ostream& operator<<(std::ostream& stream, const BgpMaybeU63& value) { return stream << value.toStrep(); }

void sequenceToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, BgpMaybeU63* value) {
  Tyr::StrepIterator next = it;
  if (next != end && *next == unspecifiedText.front()) {
    Tyr::expectText(next, end, unspecifiedText);
    value->valueDel();
  } else {
    value->valueIs(Tyr::readUnsigned(next, end, BgpMaybeU63::unspecifiedValue - 1));
  }
  it = next;
}

BgpDenseU32Attr::BgpDenseU32Attr(Tyr::StrepIterator& it, const Tyr::StrepIterator& end) {
  Tyr::StrepIterator next = it;
  Tyr::expectText(next, end, denseOpening);
  const auto value = Tyr::readUnsigned(next, end, std::numeric_limits<std::uint32_t>::max());
  Tyr::expectText(next, end, denseClosing);
  value_ = static_cast<std::uint32_t>(value);
  it = next;
}

// A view of `count` fields of `bits` bits. Each operation's name is the text of its error.
#define DENSE_VIEW(field, Field, count, bits)                                                                    \
  Field BgpDenseU32Attr::field(unsigned index) const {                                                           \
    return static_cast<Field>(value_ >> shiftOf(index, count, bits, "BgpDenseU32Attr::" #field) & maskOf(bits)); \
  }                                                                                                              \
  void BgpDenseU32Attr::field##Is(unsigned index, Field value) {                                                 \
    value_ = replaced(value_, shiftOf(index, count, bits, "BgpDenseU32Attr::" #field "Is"), bits, value);        \
  }                                                                                                              \
  Field BgpDenseU32Attr::field##Del(unsigned) { throw Tyr::RangeException("BgpDenseU32Attr::" #field "Del"); }
DENSE_VIEW(valueBool, bool, 16, 1)
DENSE_VIEW(valueU8, std::uint8_t, 4, 8)
DENSE_VIEW(valueU16, std::uint16_t, 2, 16)

std::string valueToStrep(const BgpDenseU32Attr& attr) {
  return std::string(denseOpening).append(std::to_string(attr.value())).append(denseClosing);
}

std::ostream& operator<<(std::ostream& stream, const BgpDenseU32Attr& attr) { return stream << valueToStrep(attr); }

void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, BgpDenseU32Attr* attr) {
  *attr = BgpDenseU32Attr(it, end);
}

}  // namespace Routing::Bgp
