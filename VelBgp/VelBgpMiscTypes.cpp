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

std::uint32_t replaced(std::uint32_t word, unsigned shift, std::uint32_t mask, std::uint32_t field) {
  return (word & ~(mask << shift)) | (field << shift);
}

}  // namespace

void BgpMaybeU63::checkValue() {
  if (isUnspecified() || (value_ >= min() && value_ <= max())) return;
  valueDel();  // Deliberate: before the throw, so that who catches it holds an object without a wrong value.
  throw Tyr::RangeException("value < min or > max not allowed");
}

std::uint64_t BgpMaybeU63::min() const { return 1; }
std::uint64_t BgpMaybeU63::max() const { return 0; }
std::uint64_t BgpMaybeU63::mappedUnspecifiedValue() const { return 0; }

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

bool BgpDenseU32Attr::valueBool(unsigned index) const {
  return (value_ >> shiftOf(index, 16, 1, "BgpDenseU32Attr::valueBool") & 1) != 0;
}
void BgpDenseU32Attr::valueBoolIs(unsigned index, bool on) {
  value_ = replaced(value_, shiftOf(index, 16, 1, "BgpDenseU32Attr::valueBoolIs"), 1, on);
}
bool BgpDenseU32Attr::valueBoolDel(unsigned) { throw Tyr::RangeException("BgpDenseU32Attr::valueBoolDel"); }

std::uint8_t BgpDenseU32Attr::valueU8(unsigned index) const {
  return static_cast<std::uint8_t>(value_ >> shiftOf(index, 4, 8, "BgpDenseU32Attr::valueU8"));
}
void BgpDenseU32Attr::valueU8Is(unsigned index, std::uint8_t octet) {
  value_ = replaced(value_, shiftOf(index, 4, 8, "BgpDenseU32Attr::valueU8Is"), 0xff, octet);
}
std::uint8_t BgpDenseU32Attr::valueU8Del(unsigned) { throw Tyr::RangeException("BgpDenseU32Attr::valueU8Del"); }

std::uint16_t BgpDenseU32Attr::valueU16(unsigned index) const {
  return static_cast<std::uint16_t>(value_ >> shiftOf(index, 2, 16, "BgpDenseU32Attr::valueU16"));
}
void BgpDenseU32Attr::valueU16Is(unsigned index, std::uint16_t half) {
  value_ = replaced(value_, shiftOf(index, 2, 16, "BgpDenseU32Attr::valueU16Is"), 0xffff, half);
}
std::uint16_t BgpDenseU32Attr::valueU16Del(unsigned) { throw Tyr::RangeException("BgpDenseU32Attr::valueU16Del"); }

std::string valueToStrep(const BgpDenseU32Attr& attr) {
  return std::string(denseOpening).append(std::to_string(attr.value())).append(denseClosing);
}

std::ostream& operator<<(std::ostream& stream, const BgpDenseU32Attr& attr) { return stream << valueToStrep(attr); }

void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, BgpDenseU32Attr* attr) {
  *attr = BgpDenseU32Attr(it, end);
}

}  // namespace Routing::Bgp
