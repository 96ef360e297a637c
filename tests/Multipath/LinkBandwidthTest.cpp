#include "Multipath/LinkBandwidth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

namespace Routing::Ucmp {
namespace {

using Limits = std::numeric_limits<float>;

TEST(LinkBandwidth, Texts) {
  const std::pair<float, std::string> rows[] = {
      {Limits::max(), "2722258773.108 Qbps (weight 340282346638528859811704183484516925440)"},
      {Limits::denorm_min(), "0 bps (weight 0.000000000000000000000000000000000000000000001)"},
      {-0.0F, "0 bps (no weight)"},
      {-Limits::min(), "0 bps (no weight)"},
      {Limits::infinity(), "inf (no weight)"},
      {-Limits::infinity(), "-inf (no weight)"},
      {Limits::quiet_NaN(), "nan (no weight)"},
      {-Limits::signaling_NaN(), "nan (no weight)"},
  };
  for (const auto& [value, text] : rows) EXPECT_EQ(LinkBandwidth(value).toStrep(true), text);
}

// The plain text of a finite number, from the digits that printf rounds to.
std::string reference(float value) {
  const double bits = std::fabs(static_cast<double>(value)) * 8;
  const auto printed = [bits](const char* format, int precision) {
    char text[64];
    std::snprintf(text, sizeof text, format, precision, bits);
    return std::string(text);
  };
  const auto exponent = [](const std::string& text) { return std::atoi(text.c_str() + text.find('e') + 1); };
  std::string text = printed("%.*f", 3);
  int unit = 0;
  if (bits >= 1) {
    text = printed("%.*e", 17);
    text = printed("%.*e", exponent(text) % 3 + 3 + std::max(exponent(text) / 3 - 10, 0) * 3);
    unit = std::min(exponent(text) / 3, 10);
    const int whole = exponent(text) - 3 * unit + 1;
    text.erase(text.find('e')).erase(1, 1).insert(static_cast<std::size_t>(whole), 1, '.');
  }
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return (value < 0 && text != "0" ? "-" : "") + text + " " + (unit > 0 ? " KMGTPEZYRQ"[unit] + std::string() : "") +
         "bps";
}

void expectRightTexts(float value) {
  const LinkBandwidth bandwidth(value);
  const bool valid = value > 0 && value <= Limits::max();
  ASSERT_EQ(bandwidth.isValid(), valid) << value;
  const std::string plain = bandwidth.toStrep(false), weighted = bandwidth.toStrep(true);
  ASSERT_TRUE(!std::isfinite(value) || plain == reference(value)) << plain;
  const std::string mark = plain + (valid ? " (weight " : " (no weight)");
  ASSERT_EQ(weighted.substr(0, mark.size()), mark);
  ASSERT_TRUE(!valid || std::strtof(weighted.c_str() + mark.size(), nullptr) == value) << weighted;
}

TEST(LinkBandwidth, AnyNumberIsRoundedCorrectlyAndItsWeightIsExact) {
  // Ties, what just reaches the next unit, and what just does not.
  for (const float value : {125.0625F, 125.0625F + 0.0000153F, 124999.9375F, 0.0078125F, 0.0234375F, 124.99999F,
                            124999.99F, 124.9375F, 0.0000625F, 125.0F, 1e15F, 1.25e23F, 0.0F}) {
    expectRightTexts(value);
  }
  // A stride through all bit patterns; an odd number, so that every exponent and sign meets every kind of fraction.
  for (std::uint64_t pattern = 0; pattern < 1ULL << 32; pattern += 48'611) {
    ASSERT_NO_FATAL_FAILURE(expectRightTexts(std::bit_cast<float>(static_cast<std::uint32_t>(pattern))));
  }
}

}  // namespace
}  // namespace Routing::Ucmp
