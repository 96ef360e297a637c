#include <gtest/gtest.h>

#include <iomanip>
#include <locale>
#include <sstream>

#include "Addr/Ip4Addr.h"
#include "Addr/Ip6Addr.h"
#include "Tyr/Exception.h"

namespace Routing::Addr {
namespace {

using namespace std::string_view_literals;

TEST(Addr, Ip4TextBothWays) {
  const std::pair<std::uint32_t, std::string_view> rows[] = {
      {0, "0.0.0.0"}, {0x0a010203, "10.1.2.3"}, {0xc0a80a64, "192.168.10.100"}, {0xffffffff, "255.255.255.255"}};
  for (const auto& [value, text] : rows) {
    EXPECT_EQ(Ip4Addr(value).toStrep(), text);
    EXPECT_EQ(Ip4Addr(text), Ip4Addr(value)) << text;
  }
}

TEST(Addr, Ip6TextBothWays) {
  const struct {
    Ip6Addr::Octets octets;
    std::string_view text, alsoRead;
  } rows[] = {
      {{}, "::", "0:0:0:0:0:0:0:0"},
      {{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, "2001:db8::1", "2001:0DB8:0::0001"},
      // The longest run; of two equal ones the first; a single zero group is written.
      {{0, 1, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 3}, "1:0:0:2::3", "1:0:0:2:0:0:0:3"},
      {{0, 1, 0, 0, 0, 0, 0, 2, 0, 3, 0, 0, 0, 0, 0, 4}, "1::2:3:0:0:4", "1:0:0:2:3::4"},
      {{0, 1, 0, 0, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7}, "1:0:2:3:4:5:6:7", "1::2:3:4:5:6:7"},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 192, 0, 2, 1}, "::ffff:192.0.2.1", "::ffff:c000:201"},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 192, 0, 2, 1}, "::192.0.2.1", "::c000:201"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Ip6Addr(row.octets).toStrep(), row.text);
    EXPECT_EQ(Ip6Addr(row.text), Ip6Addr(row.octets)) << row.text;
    EXPECT_EQ(Ip6Addr(row.alsoRead), Ip6Addr(row.octets)) << row.alsoRead;
  }
}

TEST(Addr, RefusesAllOtherText) {
  for (const auto text : {""sv, "1"sv, "1.2.3."sv, "1.2.3.4."sv, "1.2.3.4.5"sv, ".1.2.3"sv, "1..2.3"sv, "256.0.0.0"sv,
                          "1.2.3.4294967297"sv, "01.2.3.4"sv, "1.2.3.00"sv, " 1.2.3.4"sv, "1.2.3.4 "sv, "-1.2.3.4"sv,
                          "+1.2.3.4"sv, "0x1.2.3.4"sv, "1.2.3.4\0"sv, "1,2,3,4"sv}) {
    EXPECT_THROW(Ip4Addr{text}, Tyr::ParseException) << text;
    EXPECT_THROW(Ip6Addr{text}, Tyr::ParseException) << text;
  }
  for (const auto text :
       {":::"sv, "1:2:3:4:5:6:7"sv, "::1::"sv, "12345::"sv, "g::"sv, " ::"sv, "::\0"sv, "fe80::1%lo"sv, "192.0.2.1"sv,
        "::192.0.2.256"sv, "::00000000000000000000000000000000000000000001"sv}) {
    EXPECT_THROW(Ip6Addr{text}, Tyr::ParseException) << text;
  }
}

// A stream left in hexadecimal, or in a locale that groups digits, must not change an address.
TEST(Addr, OrderWordsAndStreams) {
  EXPECT_LT(Ip4Addr(0x0affffff), Ip4Addr(0xc0000000));
  EXPECT_LT(Ip6Addr({0x7f, 0xff}), Ip6Addr({0x80}));
  static_assert(Ip6Addr({0, 0, 0, 0, 0, 0, 0, 0, 0xfe, 0xdc, 0xba, 0x98}).word(2) == 0xfedcba98);
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\1"; }
  };
  std::ostringstream stream;
  stream.imbue(std::locale(std::locale(), new Grouping));
  stream << std::hex << std::showbase << std::uppercase << std::setfill('*') << std::setw(14) << Ip4Addr(0x0a016464)
         << Ip4Addr(7) << std::setw(14) << Ip6Addr("2001:db8::a") << Ip6Addr() << 16;
  EXPECT_EQ(stream.str(), "**10.1.100.1000.0.0.7***2001:db8::a::0X1'0");
}

}  // namespace
}  // namespace Routing::Addr
