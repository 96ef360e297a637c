#include "Multipath/LinkBandwidth.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

#include "Tyr/DynamicBuffer.h"

namespace Routing::Ucmp {
namespace {

__extension__ using Unsigned128 = unsigned __int128;

// Of the units above bits per second, each a thousand of the one before.
constexpr std::string_view prefixes = "KMGTPEZYRQ";

constexpr Unsigned128 powerOfFive(unsigned exponent) {
  Unsigned128 power = 1;
  while (exponent-- > 0) power *= 5;
  return power;
}

constexpr std::uint64_t divideToNearestEven(Unsigned128 dividend, Unsigned128 divisor) {
  const auto quotient = static_cast<std::uint64_t>(dividend / divisor);
  const Unsigned128 twice = 2 * (dividend % divisor);
  return quotient + (twice > divisor || (twice == divisor && quotient % 2 == 1) ? 1 : 0);
}

// The thousandths of a unit, which is the largest that the bits fill, or bits per second. One division, hence one
// rounding, of numbers that 128 bits hold exactly. Below 1,000 bits the exponent of a 24-bit significand is at most
// -14; from the second unit on it is at least -14 and at most 107, and the divisor is below 2^104.
std::uint64_t thousandths(double bits, std::size_t unit) {
  int exponent;
  const auto significand = static_cast<std::uint32_t>(std::frexp(bits, &exponent) * (1 << 24));
  exponent -= 24;
  if (unit == 0) {
    // Not even half of a thousandth, and the divisor might not fit.
    if (exponent < -40) return 0;
    return divideToNearestEven(Unsigned128(significand) * 1000, Unsigned128(1) << -exponent);
  }
  const unsigned tens = static_cast<unsigned>(unit - 1) * 3;
  const int twos = exponent - static_cast<int>(tens);
  return divideToNearestEven(Unsigned128(significand) << (twos > 0 ? twos : 0), powerOfFive(tens)
                                                                                    << (twos < 0 ? -twos : 0));
}

void formatThousandths(Tyr::DynamicBufferInterface& buffer, std::uint64_t value) {
  buffer.appendDecimal(value / 1000);
  auto decimals = static_cast<unsigned>(value % 1000);
  if (decimals == 0) return;
  buffer.append('.');
  for (unsigned place = 100; decimals != 0; decimals %= place, place /= 10) {
    buffer.append(static_cast<char>('0' + decimals / place));
  }
}

void formatPlain(Tyr::DynamicBufferInterface& buffer, float octetsPerSecond) {
  if (std::isnan(octetsPerSecond)) return buffer.append("nan");
  if (std::isinf(octetsPerSecond)) return buffer.append(octetsPerSecond < 0 ? "-inf" : "inf");
  const double bits = std::fabs(static_cast<double>(octetsPerSecond)) * 8;
  std::size_t unit = 0;
  // Above 1e21 a limit is not exact, but no float lies between it and the true power of ten.
  for (double limit = 1e3; unit < prefixes.size() && bits >= limit; limit *= 1e3) ++unit;
  std::uint64_t value = thousandths(bits, unit);
  if (value == 1'000'000 && unit < prefixes.size()) {
    value = 1000;
    ++unit;
  }
  if (octetsPerSecond < 0 && value != 0) buffer.append('-');
  formatThousandths(buffer, value);
  buffer.append(' ');
  if (unit > 0) buffer.append(prefixes[unit - 1]);
  buffer.append("bps");
}

void formatWeight(Tyr::DynamicBufferInterface& buffer, float octetsPerSecond) {
  std::array<char, 64> text;  // the longest is the smallest normal number's, 48 characters
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), octetsPerSecond, std::chars_format::fixed);
  buffer.append(" (weight ");
  buffer.append(std::string_view(text.data(), static_cast<std::size_t>(end - text.data())));
  buffer.append(')');
}

// ---- Reading

constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string_view takeDigits(std::string_view& text) noexcept {
  std::size_t length = 0;
  while (length < text.size() && isDigit(text[length])) ++length;
  const std::string_view digits = text.substr(0, length);
  text.remove_prefix(length);
  return digits;
}

std::string_view trimmed(std::string_view text) noexcept {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// A decimal number of any length: its digits without leading zeros, and the power of ten of the last one. More digits
// than decide about the nearest float (114) are told by one that is not zero.
class Decimal {
 public:
  void digitsAre(std::string_view digits, bool fraction) noexcept {
    for (const char digit : digits) digitIs(digit, fraction);
  }
  void exponentIs(std::string_view digits, bool negative) noexcept {
    std::int64_t exponent = 0;
    for (const char digit : digits) exponent = std::min<std::int64_t>(exponent * 10 + (digit - '0'), 1 << 30);
    exponent_ += negative ? -exponent : exponent;
  }
  // In the unit of which there are 10^exponent / 8 to an octet.
  void bitsAre(unsigned exponent) noexcept {
    exponent_ += exponent - std::int64_t{3};
    unsigned carry = 0;
    for (std::size_t i = size_; i-- > 0; carry /= 10) {
      carry += static_cast<unsigned>(digits_[spare + i] - '0') * 125;
      digits_[spare + i] = static_cast<char>('0' + carry % 10);
    }
    for (std::size_t i = spare; i-- > 0; carry /= 10) digits_[i] = static_cast<char>('0' + carry % 10);
    begin_ = 0;
  }
  bool isZero() const noexcept { return size_ == 0; }
  // Infinite, or zero, for a number that no float is near to.
  float nearest() const noexcept {
    if (isZero()) return 0;
    const std::int64_t magnitude = exponent_ + static_cast<std::int64_t>(size_);
    if (magnitude > 50) return std::numeric_limits<float>::infinity();
    if (magnitude < -60) return 0;
    std::array<char, longest + spare + 8> text;
    char* end = std::copy(digits_.data() + begin_, digits_.data() + spare + size_, text.data());
    *end++ = 'e';
    end = std::to_chars(end, text.data() + text.size(), exponent_).ptr;
    float value = 0;
    const auto error = std::from_chars(text.data(), end, value).ec;
    if (error == std::errc::result_out_of_range) return magnitude > 0 ? std::numeric_limits<float>::infinity() : 0;
    return value;
  }

 private:
  static constexpr std::size_t longest = 130;
  static constexpr std::size_t spare = 3;  // in front, for a product with 125

  void digitIs(char digit, bool fraction) noexcept {
    if (size_ == 0 && digit == '0') {
      exponent_ -= fraction ? 1 : 0;
    } else if (size_ < longest) {
      digits_[spare + size_++] = digit;
      exponent_ -= fraction ? 1 : 0;
    } else {
      exponent_ += fraction ? 0 : 1;
      if (digit != '0') digits_[spare + longest - 1] = std::max(digits_[spare + longest - 1], '1');
    }
  }

  std::array<char, spare + longest> digits_;
  std::size_t begin_ = spare;
  std::size_t size_ = 0;
  std::int64_t exponent_ = 0;
};

LinkBandwidthReading failed(std::string_view place, const char* problem, const char* expected) noexcept {
  return {LinkBandwidth(0), place, problem, expected};
}

// The power of ten of a unit; nothing if it is none.
std::optional<unsigned> exponentOf(std::string_view unit) noexcept {
  if (unit == "bps") return 0;
  if (unit.size() != 4 || unit.substr(1) != "bps") return std::nullopt;
  for (std::size_t i = 0; i < prefixes.size(); ++i) {
    const char small = static_cast<char>(prefixes[i] | 0x20);
    if (unit[0] == prefixes[i] || unit[0] == small) return static_cast<unsigned>(3 * (i + 1));
  }
  return std::nullopt;
}

// The number, and what stands behind it.
bool takeDecimal(std::string_view& text, Decimal& decimal) noexcept {
  const std::string_view whole = takeDigits(text);
  decimal.digitsAre(whole, false);
  if (text.size() > 1 && text[0] == '.' && isDigit(text[1])) {
    text.remove_prefix(1);
    decimal.digitsAre(takeDigits(text), true);
  }
  if (text.empty() || (text[0] | 0x20) != 'e') return !whole.empty();
  const std::size_t sign = text.size() > 1 && (text[1] == '+' || text[1] == '-') ? 1 : 0;
  if (text.size() <= 1 + sign || !isDigit(text[1 + sign])) return !whole.empty();
  const bool negative = sign == 1 && text[1] == '-';
  text.remove_prefix(1 + sign);
  decimal.exponentIs(takeDigits(text), negative);
  return !whole.empty();
}

// A number and perhaps a unit.
LinkBandwidthReading readPlain(std::string_view text) noexcept {
  if (text.starts_with('-') || text.starts_with("inf") || text.starts_with("nan")) {
    return failed(text, "is negative, infinite or no number", "a bandwidth of 0 or more; others are typed in hex");
  }
  std::string_view unit = text;
  Decimal decimal;
  if (!takeDecimal(unit, decimal)) return failed(text, "is no bandwidth", "a decimal number, and perhaps a unit");
  unit = trimmed(unit);
  if (!unit.empty()) {
    const auto exponent = exponentOf(unit);
    const char* const units = "bps, Kbps ... Qbps, which are bits, or no unit for octets per second";
    if (!exponent) return failed(unit, "is no unit", units);
    decimal.bitsAre(*exponent);
  }
  const float nearest = decimal.nearest();
  if (std::isinf(nearest)) return failed(text, "is too large for a bandwidth", "what a float of octets holds");
  if (nearest == 0 && !decimal.isZero()) return failed(text, "is too small for a bandwidth", "0 or what a float holds");
  return {LinkBandwidth(nearest), text};
}

// Whether the number and the weight are one bandwidth.
bool agree(std::string_view text, float number, float weight) noexcept {
  if (number == weight) return true;
  if (isDigit(text.back())) return false;
  Tyr::DynamicBuffer<> shown;
  formatPlain(shown, weight);
  return readPlain(shown.view()).bandwidth.octetsPerSecond() == number;
}

LinkBandwidthReading readWeighted(std::string_view text, std::string_view note) noexcept {
  const LinkBandwidthReading plain = readPlain(text);
  if (plain.problem != nullptr) return plain;
  const float number = plain.bandwidth.octetsPerSecond();
  LinkBandwidthReading weight{LinkBandwidth(0), note};
  if (note != "no weight") {
    constexpr std::string_view label = "weight ";
    const std::string_view digits = note.starts_with(label) ? trimmed(note.substr(label.size())) : "";
    if (digits.empty() || !isDigit(digits.back())) return failed(note, "is no weight", "weight NUMBER, or no weight");
    weight = readPlain(digits);
    if (weight.problem != nullptr) return weight;
  }
  if (agree(text, number, weight.bandwidth.octetsPerSecond())) return weight;
  return failed(note, "does not agree with the bandwidth in front of it", "its octets per second");
}

}  // namespace

LinkBandwidthReading LinkBandwidth::read(std::string_view text) noexcept {
  const std::size_t open = text.rfind('(');
  if (open == text.npos || text.back() != ')') return readPlain(text);
  return readWeighted(trimmed(text.substr(0, open)), text.substr(open + 1, text.size() - open - 2));
}

bool LinkBandwidth::isValid() const noexcept { return std::isfinite(octetsPerSecond_) && octetsPerSecond_ > 0; }

std::string LinkBandwidth::toStrep(bool weighted) const {
  Tyr::DynamicBuffer<> buffer;
  appendTo(buffer, weighted);
  return buffer.str();
}

void LinkBandwidth::appendTo(Tyr::DynamicBufferInterface& buffer, bool weighted) const {
  formatPlain(buffer, octetsPerSecond_);
  if (!weighted) return;
  if (isValid()) {
    formatWeight(buffer, octetsPerSecond_);
  } else {
    buffer.append(" (no weight)");
  }
}

}  // namespace Routing::Ucmp
