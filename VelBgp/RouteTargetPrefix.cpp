#include "VelBgp/RouteTargetPrefix.h"

#include <algorithm>
#include <bit>
#include <ostream>

#include "Tyr/Assert.h"
#include "Tyr/Exception.h"

namespace Routing::Bgp {
namespace {

void checkLength(std::uint8_t length) {
  if (length <= RouteTargetPrefix::maxLength) return;
  throw Tyr::RangeException("Routing::Bgp::RouteTargetPrefix::length < 0 or > 64 not allowed");
}

std::uint8_t readLength(Tyr::StrepIterator& it, const Tyr::StrepIterator& end) {
  Tyr::expectText(it, end, ", 'length': ");
  const auto length = static_cast<std::uint8_t>(Tyr::readUnsigned(it, end, 0xff));
  try {
    checkLength(length);
  } catch (const Tyr::RangeException& error) {
    throw Tyr::DeserializationException("length", error.what());
  }
  Tyr::expectText(it, end, "})");
  return length;
}

}  // namespace

RouteTargetPrefix::RouteTargetPrefix(const RouteTarget& prefix, std::uint8_t length)
    : prefix_(prefix), length_(length) {
  checkLength(length_);
}

RouteTargetPrefix::RouteTargetPrefix(Tyr::StrepIterator& it, const Tyr::StrepIterator& end) {
  Tyr::StrepIterator next = it;  // `it` moves only when all was read
  Tyr::expectText(next, end, "Value('Routing::Bgp::RouteTargetPrefix', ** {'prefix': ");
  prefix_.value = Tyr::readHex64(next, end);
  length_ = readLength(next, end);
  it = next;
}

void RouteTargetPrefix::lengthIs(std::uint8_t length) {
  if (length == length_) return;
  length_ = length;
  checkLength(length_);
}

void RouteTargetPrefix::bitlenIs(std::size_t bitlen) {
  TYR_ASSERT_TEXT(0 == (bitlen >> 8), "0 == ( bitlen >> 8 )");
  lengthIs(static_cast<std::uint8_t>(bitlen));
  prefix_.value &= mask(bitlen);
}

std::uint64_t RouteTargetPrefix::mask(std::size_t) const noexcept {
  if (length_ >= maxLength) return ~std::uint64_t{0};  // a rejected length may still be there
  return length_ == 0 ? 0 : ~std::uint64_t{0} << (maxLength - length_);
}

std::size_t RouteTargetPrefix::commonPrefixLen(const RouteTargetPrefix& other) const noexcept {
  const std::size_t shorter = std::min(length_, other.length_);
  const auto agreeing = static_cast<std::size_t>(std::countl_zero(prefix_.value ^ other.prefix_.value));
  return std::min(shorter, agreeing);
}

std::uint32_t RouteTargetPrefix::hash(std::uint32_t seed) const noexcept {
  Keel::HashMix mix(seed);
  mix.mixBytes4(Keel::singleAttributeHash(prefix_.value, 0));
  mix.mixBytes1(length_);
  return mix.value();
}

std::string RouteTargetPrefix::toStrep(bool asDot) const {
  if (prefix_.value == 0 && length_ == 0) return "0/0";
  return prefix_.toStrep(asDot) + "/" + std::to_string(length_);
}

std::string valueToStrep(const RouteTargetPrefix& prefix) {
  return "Value('Routing::Bgp::RouteTargetPrefix', ** {'prefix': " + valueToStrep(prefix.prefix()) +
         ", 'length': " + std::to_string(prefix.length()) + "})";
}

std::ostream& operator<<(std::ostream& stream, const RouteTargetPrefix& prefix) {
  return stream << valueToStrep(prefix);
}

void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, RouteTargetPrefix* prefix) {
  *prefix = RouteTargetPrefix(it, end);
}

}  // namespace Routing::Bgp
