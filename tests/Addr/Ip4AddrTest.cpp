#include "Addr/Ip4Addr.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <locale>
#include <sstream>

#include "Tyr/Exception.h"

namespace Routing::Addr {
namespace {

TEST(Ip4Addr, TextBothWays) {
  const struct {
    std::uint32_t value;
    const char* text;
  } rows[] = {{0, "0.0.0.0"},
              {1, "0.0.0.1"},
              {0x0a010203, "10.1.2.3"},
              {0xc0a80a64, "192.168.10.100"},
              {0x7fffffff, "127.255.255.255"},
              {0xffffffff, "255.255.255.255"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Ip4Addr(row.value).toStrep(), row.text);
    EXPECT_EQ(Ip4Addr(std::string_view(row.text)).value(), row.value) << row.text;
  }
}

TEST(Ip4Addr, RefusesAllOtherText) {
  using namespace std::string_view_literals;
  for (const std::string_view text :
       {""sv,         "1"sv,         "1.2.3"sv,     "1.2.3."sv,           "1.2.3.4."sv,  "1.2.3.4.5"sv, ".1.2.3"sv,
        "1..2.3"sv,   "256.0.0.0"sv, "1.2.3.256"sv, "1.2.3.4294967297"sv, "01.2.3.4"sv,  "1.2.3.00"sv,  " 1.2.3.4"sv,
        "1.2.3.4 "sv, "1. 2.3.4"sv,  "-1.2.3.4"sv,  "+1.2.3.4"sv,         "0x1.2.3.4"sv, "1.2.3.4\0"sv, "1,2,3,4"sv}) {
    EXPECT_THROW(Ip4Addr{text}, Tyr::ParseException) << text;
  }
}

TEST(Ip4Addr, OrdersAsANumber) {
  EXPECT_LT(Ip4Addr(0x0affffff), Ip4Addr(0xc0000000));
  EXPECT_EQ(Ip4Addr(), Ip4Addr(0));
}

// A stream left in hexadecimal, or in a locale that groups digits, must not change an address.
TEST(Ip4Addr, StreamFormattingDoesNotReachTheNumbers) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\1"; }
  };
  std::ostringstream stream;
  stream.imbue(std::locale(std::locale(), new Grouping));
  stream << std::hex << std::showbase << std::setfill('*') << std::setw(14) << Ip4Addr(0x0a016464) << Ip4Addr(7) << 16;
  EXPECT_EQ(stream.str(), "**10.1.100.1000.0.0.70x1'0");
}

}  // namespace
}  // namespace Routing::Addr
