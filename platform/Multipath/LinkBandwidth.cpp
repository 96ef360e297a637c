#include "Multipath/LinkBandwidth.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

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

}  // namespace

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
