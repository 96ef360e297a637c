#include "VelBgp/RouteTargetPrefix.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Tyr/Exception.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

constexpr std::uint64_t target = 0x0002fde800000064, all = ~std::uint64_t{0}, top = std::uint64_t{1} << 63;
constexpr const char* outOfRange = "Routing::Bgp::RouteTargetPrefix::length < 0 or > 64 not allowed";

RouteTargetPrefix prefix(std::uint64_t value, unsigned length) {
  return {RouteTarget{value}, static_cast<std::uint8_t>(length)};
}

TEST(RouteTargetPrefix, MaskBitsAndCutting) {
  const struct {
    unsigned length;
    std::uint64_t mask;
  } rows[] = {{0, 0}, {1, top}, {16, 0xffff000000000000}, {63, all - 1}, {64, all}};
  for (const auto& row : rows) {
    const RouteTargetPrefix whole = prefix(all, row.length);
    for (const std::size_t argument : {0, 1, 64}) EXPECT_EQ(whole.mask(argument), row.mask);
    RouteTargetPrefix cut = prefix(all, 64);
    cut.bitlenIs(row.length);
    EXPECT_EQ(cut.prefixBits(), row.mask);
    EXPECT_EQ(cut.bitlen(), row.length);
    EXPECT_EQ(whole.prefixBits(), all);  // construction cuts nothing
  }
  for (unsigned i = 0; i < 64; ++i) EXPECT_EQ(prefix(target, 0).extractBit(i), (target >> (63 - i) & 1) != 0) << i;
}

TEST(RouteTargetPrefix, LengthsOutOfRange) {
  RouteTargetPrefix changed = prefix(target, 48);
  const auto errorOf = [](const auto& call) -> std::string {
    try {
      call();
    } catch (const Tyr::RangeException& error) {
      return error.what();
    }
    return "no error";
  };
  EXPECT_EQ(errorOf([] { prefix(target, 65); }), outOfRange);
  EXPECT_EQ(errorOf([&] { changed.lengthIs(65); }), outOfRange);
  EXPECT_EQ(changed.length(), 65);  // stored before the check
  EXPECT_NO_THROW(changed.lengthIs(65));
  changed = prefix(target, 48);
  EXPECT_EQ(errorOf([&] { changed.bitlenIs(255); }), outOfRange);
  EXPECT_EQ(changed.prefixBits(), target);
  EXPECT_ASSERTION(changed.bitlenIs(256), "0 == ( bitlen >> 8 )");
}

TEST(RouteTargetPrefix, CommonLength) {
  const struct {
    RouteTargetPrefix a, b;
    std::size_t common;
  } rows[] = {{prefix(target, 10), prefix(target, 20), 10},
              {prefix(target, 64), prefix(target, 64), 64},
              {prefix(0, 64), prefix(top, 64), 0},
              {prefix(target, 64), prefix(target + 1, 64), 63},
              {prefix(target, 64), prefix(target ^ top, 0), 0},
              {prefix(0xff00, 64), prefix(0xfe00, 55), 55},
              {prefix(0xff00, 64), prefix(0xfe00, 60), 55}};
  for (const auto& row : rows) {
    EXPECT_EQ(row.a.commonPrefixLen(row.b), row.common);
    EXPECT_EQ(row.b.commonPrefixLen(row.a), row.common);
  }
}

// By value first; bits below the length count.
TEST(RouteTargetPrefix, OrderEqualityHash) {
  const RouteTargetPrefix rows[] = {prefix(0, 0), prefix(0, 8), prefix(1, 8), prefix(2, 0), prefix(top, 0)};
  for (const auto& a : rows) {
    for (const auto& b : rows) {
      EXPECT_EQ(a < b, &a < &b);
      EXPECT_EQ(a == b, &a == &b);
      EXPECT_EQ(a.hash() == b.hash(), &a == &b);
    }
    EXPECT_TRUE(a.hash() == a.hash(0) && a.hash() != a.hash(1));
  }
}

TEST(RouteTargetPrefix, Texts) {
  const struct {
    std::uint64_t value;
    unsigned length;
    const char* plain;
    const char* dotted;
  } rows[] = {{0, 0, "0/0", "0/0"},
              {0, 1, "0:0/1", "0:0/1"},
              {target, 0, "65000:100/0", "65000:100/0"},
              {target, 48, "65000:100/48", "65000:100/48"},
              {0x0202000300010064, 64, "196609:100/64", "3.1:100/64"},
              {0x01020a0000010064, 64, "10.0.0.1:100/64", "10.0.0.1:100/64"},
              {0x4302000300010064, 64, "3:65636/64", "3:65636/64"}};  // no such route target: as a two-octet AS
  for (const auto& row : rows) {
    EXPECT_EQ(prefix(row.value, row.length).toStrep(false), row.plain);
    EXPECT_EQ(prefix(row.value, row.length).toStrep(true), row.dotted);
  }
}

TEST(RouteTargetPrefix, ReflectionText) {
  const std::string text = "Value('Routing::Bgp::RouteTargetPrefix', ** {'prefix': 0x0002fde800000064, 'length': 48})";
  EXPECT_EQ(valueToStrep(prefix(target, 48)), text);
  EXPECT_EQ(testing::PrintToString(prefix(target, 48)), text);
  const auto read = [](const std::string& from) {
    return Tyr::readWhole(from, [](auto& it, const auto& end) { return RouteTargetPrefix(it, end); });
  };
  EXPECT_EQ(read(text), prefix(target, 48));
  for (std::size_t cut = 0; cut < text.size(); ++cut) EXPECT_THROW(read(text.substr(0, cut)), Tyr::ParseException);
  try {
    read("Value('Routing::Bgp::RouteTargetPrefix', ** {'prefix': 0x0002fde800000064, 'length': 65})");
    ADD_FAILURE() << "no exception";
  } catch (const Tyr::DeserializationException& error) {
    EXPECT_EQ(error.attribute(), "length");
    EXPECT_THAT(error.what(), testing::HasSubstr(outOfRange));
  }
}

}  // namespace
}  // namespace Routing::Bgp::test
