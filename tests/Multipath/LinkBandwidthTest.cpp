#include "Multipath/LinkBandwidth.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "Tyr/DynamicBuffer.h"

namespace Routing::Ucmp {
namespace {

using Limits = std::numeric_limits<float>;

TEST(LinkBandwidth, Texts) {
  const struct {
    float value;
    bool valid;
    const char* plain;
    const char* weighted;
  } rows[] = {
      {125e6F, true, "1 Gbps", "1 Gbps (weight 125000000)"},
      {156250000, true, "1.25 Gbps", "1.25 Gbps (weight 156250000)"},
      {12500, true, "100 Kbps", "100 Kbps (weight 12500)"},
      {1.25e9F, true, "10 Gbps", "10 Gbps (weight 1250000000)"},
      {1, true, "8 bps", "8 bps (weight 1)"},
      {0.1F, true, "0.8 bps", "0.8 bps (weight 0.1)"},
      {124.9375F, true, "999.5 bps", "999.5 bps (weight 124.9375)"},
      {125, true, "1 Kbps", "1 Kbps (weight 125)"},
      // Into the next unit: 999.9999, 999.99995, 999.9999 of a unit; and 999.9992, which is not enough.
      {124.99999F, true, "1 Kbps", "1 Kbps (weight 124.99999)"},
      {124999.99F, true, "1 Mbps", "1 Mbps (weight 124999.99)"},
      {124999992, true, "1 Gbps", "1 Gbps (weight 124999992)"},
      {124999904, true, "999.999 Mbps", "999.999 Mbps (weight 124999904)"},
      // Ties go to the even digit: 1.0005, 1.0015 and 999.9995 Kbps, 0.0625 and 0.1875 bps.
      {125.0625F, true, "1 Kbps", "1 Kbps (weight 125.0625)"},
      {125.1875F, true, "1.002 Kbps", "1.002 Kbps (weight 125.1875)"},
      {124999.9375F, true, "1 Mbps", "1 Mbps (weight 124999.94)"},
      {0.0078125F, true, "0.062 bps", "0.062 bps (weight 0.0078125)"},
      {0.0234375F, true, "0.188 bps", "0.188 bps (weight 0.0234375)"},
      {125.0625F + 0.0000153F, true, "1.001 Kbps", "1.001 Kbps (weight 125.062515)"},
      {1e15F, true, "8 Pbps", "8 Pbps (weight 999999986991104)"},
      {1.25e23F, true, "1 Ybps", "1 Ybps (weight 125000001731053481885696)"},
      {Limits::max(), true, "2722258773.108 Qbps",
       "2722258773.108 Qbps (weight 340282346638528859811704183484516925440)"},
      {0.0000625F, true, "0.001 bps", "0.001 bps (weight 0.0000625)"},
      {Limits::min(), true, "0 bps", "0 bps (weight 0.000000000000000000000000000000000000011754944)"},
      {Limits::denorm_min(), true, "0 bps", "0 bps (weight 0.000000000000000000000000000000000000000000001)"},
      {0, false, "0 bps", "0 bps (no weight)"},
      {-0.0F, false, "0 bps", "0 bps (no weight)"},
      {-Limits::min(), false, "0 bps", "0 bps (no weight)"},
      {-156250000, false, "-1.25 Gbps", "-1.25 Gbps (no weight)"},
      {Limits::infinity(), false, "inf", "inf (no weight)"},
      {-Limits::infinity(), false, "-inf", "-inf (no weight)"},
      {Limits::quiet_NaN(), false, "nan", "nan (no weight)"},
      {-Limits::signaling_NaN(), false, "nan", "nan (no weight)"},
  };
  for (const auto& row : rows) {
    const LinkBandwidth bandwidth(row.value);
    EXPECT_EQ(bandwidth.isValid(), row.valid) << row.value;
    EXPECT_EQ(bandwidth.toStrep(false), row.plain) << row.value;
    EXPECT_EQ(bandwidth.toStrep(true), row.weighted) << row.value;
  }
}

TEST(LinkBandwidth, AppendsWhatItAnswers) {
  Tyr::DynamicBuffer<> buffer;
  buffer.append("65000:");
  LinkBandwidth(125).appendTo(buffer, true);
  EXPECT_EQ(buffer.view(), "65000:1 Kbps (weight 125)");
}

// The text of a finite magnitude, made from its exact decimal expansion by hand, digit by digit.
std::string reference(float value) {
  static const char* const units[] = {"bps",  "Kbps", "Mbps", "Gbps", "Tbps", "Pbps",
                                      "Ebps", "Zbps", "Ybps", "Rbps", "Qbps"};
  char exact[256];
  std::snprintf(exact, sizeof exact, "%.150f", std::fabs(static_cast<double>(value)) * 8);
  std::string digits = exact;
  const std::size_t whole = digits.find('.');
  digits.erase(whole, 1);
  std::size_t unit = std::min<std::size_t>((whole - 1) / 3, 10);
  const std::size_t kept = whole - 3 * unit + 3;
  const std::string rest = digits.substr(kept), half = "5" + std::string(rest.size() - 1, '0');
  digits.resize(kept);
  if (rest > half || (rest == half && (digits.back() - '0') % 2 == 1)) {
    digits.insert(0, 1, '0');
    std::size_t at = digits.size() - 1;
    for (; digits[at] == '9'; --at) digits[at] = '0';
    ++digits[at];
    if (digits[0] == '0') digits.erase(0, 1);
  }
  if (digits == "1000000" && unit < 10) {
    digits = "1000";
    ++unit;
  }
  const bool zero = digits.find_first_not_of('0') == std::string::npos;
  digits.insert(digits.size() - 3, 1, '.');
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.back() == '.') digits.pop_back();
  return (value < 0 && !zero ? "-" : "") + digits + " " + units[unit];
}

// A stride through all bit patterns; an odd number, so that every exponent and sign meets every kind of fraction.
TEST(LinkBandwidth, AnyBitPatternIsRoundedCorrectlyAndItsWeightIsExact) {
  constexpr std::uint64_t stride = 48'611;
  for (std::uint64_t pattern = 0; pattern < 1ULL << 32; pattern += stride) {
    const float value = std::bit_cast<float>(static_cast<std::uint32_t>(pattern));
    const std::string plain = LinkBandwidth(value).toStrep(false), weighted = LinkBandwidth(value).toStrep(true);
    ASSERT_LE(weighted.size(), 80U);
    if (std::isfinite(value)) {
      ASSERT_EQ(plain, reference(value)) << pattern;
    }
    const std::string mark = plain + " (weight ";
    if (LinkBandwidth(value).isValid()) {
      ASSERT_EQ(weighted.substr(0, mark.size()), mark);
      ASSERT_EQ(std::strtof(weighted.c_str() + mark.size(), nullptr), value) << weighted;
    } else {
      ASSERT_EQ(weighted, plain + " (no weight)");
    }
  }
}

}  // namespace
}  // namespace Routing::Ucmp
