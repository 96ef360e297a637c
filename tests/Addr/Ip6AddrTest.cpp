#include "Addr/Ip6Addr.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "Tyr/Exception.h"

namespace Routing::Addr {
namespace {

using Octets = Ip6Addr::Octets;

TEST(Ip6Addr, TextBothWays) {
  const struct {
    Octets octets;
    const char* text;
    const char* alsoRead;
  } rows[] = {
      {{}, "::", "0:0:0:0:0:0:0:0"},
      {{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, "2001:db8::1", "2001:0DB8:0::0001"},
      // The longest run; of two equal ones the first; a single zero group is written.
      {{0, 1, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 3}, "1:0:0:2::3", "1:0:0:2:0:0:0:3"},
      {{0, 1, 0, 0, 0, 0, 0, 2, 0, 3, 0, 0, 0, 0, 0, 4}, "1::2:3:0:0:4", "1:0:0:2:3::4"},
      {{0, 1, 0, 0, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7}, "1:0:2:3:4:5:6:7", "1::2:3:4:5:6:7"},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 192, 0, 2, 1}, "::ffff:192.0.2.1", "::ffff:c000:201"},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 192, 0, 2, 1}, "::192.0.2.1", "::c000:201"},
      {{255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255},
       "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
       "ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Ip6Addr(row.octets).toStrep(), row.text);
    EXPECT_EQ(Ip6Addr(std::string_view(row.text)).octets(), row.octets) << row.text;
    EXPECT_EQ(Ip6Addr(std::string_view(row.alsoRead)).octets(), row.octets) << row.alsoRead;
  }
}

TEST(Ip6Addr, RefusesAllOtherText) {
  using namespace std::string_view_literals;
  for (const std::string_view text : {""sv, ":::"sv, "1:2:3:4:5:6:7"sv, "1:2:3:4:5:6:7:8:9"sv, "::1::"sv, "12345::"sv,
                                      "g::"sv, " ::"sv, "::\0"sv, "[::]"sv, "fe80::1%lo"sv, "192.0.2.1"sv,
                                      "::192.0.2.256"sv, "::00000000000000000000000000000000000000000001"sv}) {
    EXPECT_THROW(Ip6Addr{text}, Tyr::ParseException) << text;
  }
}

TEST(Ip6Addr, OrderWordsAndStreams) {
  EXPECT_LT(Ip6Addr(Octets{0x7f, 0xff}), Ip6Addr(Octets{0x80}));
  static_assert(Ip6Addr(Octets{0, 0, 0, 0, 0, 0, 0, 0, 0xfe, 0xdc, 0xba, 0x98}).word(2) == 0xfedcba98);
  std::ostringstream stream;
  stream << std::oct << std::uppercase << std::setfill('*') << std::setw(14) << Ip6Addr("2001:db8::a") << Ip6Addr();
  EXPECT_EQ(stream.str(), "***2001:db8::a::");
}

}  // namespace
}  // namespace Routing::Addr
