// Small values: optional numbers, words with views, flags octets, contents of 20 octets, prefixes of route targets.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <utility>

#include "Tyr/Exception.h"
#include "VelBgp/Agent.h"
#include "VelBgp/BgpPathAttributeEnums.h"
#include "VelBgp/RouteTargetPrefix.h"
#include "VelBgp/VelBgpMiscTypes.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

using namespace std::string_literals;

template <typename Function>
std::string rangeErrorOf(Function&& function) {
  try {
    function();
  } catch (const Tyr::RangeException& e) {
    return e.what();
  }
  return "no error";
}

template <typename Value>
void read(Tyr::StrepIterator& it, const std::string& text, Value& value) {
  const Tyr::StrepIterator end = text.data() + text.size();
  if constexpr (requires { strepToValue(it, end, &value); }) {
    strepToValue(it, end, &value);
  } else {
    sequenceToValue(it, end, &value);
  }
}
// What is refused changes neither the place nor the value.
template <typename Value>
void expectRefused(const std::string& text, Value value) {
  const Value before = value;
  Tyr::StrepIterator it = text.data();
  EXPECT_THROW(read(it, text, value), std::exception) << text;
  EXPECT_EQ(it, text.data());
  EXPECT_EQ(value, before);
}
// Read from the front of a longer text.
template <typename Value>
void expectRoundTrip(const std::string& text, Value value) {
  const std::string behind = text + ", ";
  Tyr::StrepIterator it = behind.data();
  read(it, behind, value);
  EXPECT_STREQ(it, ", ");
  EXPECT_EQ(testing::PrintToString(value), text);
  EXPECT_EQ(valueToStrep(value), text);
}

class Wide final : public BgpMaybeU63 {
 public:
  Wide() = default;
  explicit Wide(std::uint64_t value) { valueIs(value); }
  std::uint64_t min() const override { return 0; }
  std::uint64_t max() const override { return 0x7fffffffffffffff; }
  std::uint64_t mappedUnspecifiedValue() const override { return 77; }
};

class TenToTwenty final : public BgpMaybeU63 {
 public:
  std::uint64_t min() const override { return 10; }
  std::uint64_t max() const override { return 20; }
};

TEST(MaybeU63, OutOfBoundsLeavesItUnspecified) {
  BgpMaybeU63 plain;
  TenToTwenty bounded;
  plain.checkValue();
  EXPECT_EQ(rangeErrorOf([&] { plain.valueIs(0); }), "value < min or > max not allowed");
  for (const std::uint64_t value : {9u, 21u}) {
    bounded.valueIs(15);
    EXPECT_EQ(rangeErrorOf([&] { bounded.valueIs(value); }), "value < min or > max not allowed");
    EXPECT_TRUE(bounded.isUnspecified());
  }
  bounded.valueIs(10);
  bounded.valueIs(20);
  bounded.checkValue();
  EXPECT_EQ(bounded.value(), 20u);
  bounded.valueDel();
  EXPECT_TRUE(bounded.isUnspecified());
  constexpr BgpExtCommPktSubtype none;
  EXPECT_TRUE(none.isUnspecified());
  EXPECT_THROW(BgpExtCommPktSubtype(256), Tyr::RangeException);
}

TEST(MaybeU63, UnspecifiedIsMappedButNotRead) {
  const Wide unspecified(0x8000000000000005);  // the low bits say nothing
  EXPECT_EQ(unspecified, Wide());
  EXPECT_EQ(unspecified.valueWithUnspecifiedMapped(), 77u);
  EXPECT_EQ(Wide(0).valueWithUnspecifiedMapped(), 0u);
  EXPECT_EQ(BgpMaybeU63().valueWithUnspecifiedMapped(), 0u);
  const char* const text = "!isUnspecified() && \"Caller must check isUnspecified() before getting value()\"";
  EXPECT_ASSERTION(static_cast<void>(unspecified.value()), text);
  EXPECT_ASSERTION(static_cast<void>(static_cast<std::uint64_t>(unspecified)), text);
}

TEST(MaybeU63, TextRoundTrips) {
  for (const char* const text : {"unspecified", "0", "9223372036854775807"}) expectRoundTrip(text, Wide(3));
  for (const char* const text : {"", "un", "-1", "9223372036854775808", "Unspecified"}) expectRefused(text, Wide(3));
  expectRefused("21", TenToTwenty());
}

// -1 less, 0 equal, 1 greater, by each of the operators and in both directions.
template <typename A, typename B>
void expectOrder(const A& a, const B& b, int order) {
  EXPECT_TRUE((a == b) == (order == 0) && (b == a) == (order == 0) && (a != b) == (order != 0)) << order;
  EXPECT_TRUE((a < b) == (order < 0) && (a <= b) == (order <= 0) && (b > a) == (order < 0)) << order;
  EXPECT_TRUE((a > b) == (order > 0) && (a >= b) == (order >= 0) && (b < a) == (order > 0)) << order;
}

TEST(MaybeU63, UnspecifiedIsUnequalToEveryNumberAndLess) {
  const BgpExtCommPktSubtype none, two(2), most(255);
  expectOrder(none, std::numeric_limits<long>::min(), -1);
  expectOrder(none, ~std::uint64_t{0}, -1);
  expectOrder(none, extCommPktSubtypeTransTwoOctetAsRouteTarget, -1);
  expectOrder(none, two, -1);
  expectOrder(none, none, 0);
  expectOrder(two, two, 0);
  expectOrder(two, std::uint8_t{2}, 0);
  expectOrder(two, extCommPktSubtypeTransTwoOctetAsRouteTarget, 0);
  expectOrder(two, extCommPktSubtypeTransTwoOctetAsRouteOrigin, -1);
  expectOrder(two, -1, 1);
  expectOrder(most, 0x8000000000000002u, -1);
  expectOrder(most, two, 1);
}

TEST(DenseU32Attr, ViewsShareTheWord) {
  BgpDenseU32Attr attr;
  attr.valueU8Is(3, 171);
  attr.valueU16Is(0, 0x1234);
  attr.valueU8Is(2, 0x56);
  EXPECT_EQ(attr.value(), 0xab561234u);
  EXPECT_EQ(attr.valueU16(1), 0xab56);
  EXPECT_EQ(attr.valueU16(0), 0x1234);
  unsigned octets = 0, bits = 0;
  for (unsigned i = 0; i < 4; ++i) octets |= unsigned{attr.valueU8(i)} << 8 * i;
  for (unsigned i = 0; i < 16; ++i) bits |= attr.valueBool(i) ? 1u << i : 0;
  EXPECT_EQ(octets, attr.value());
  EXPECT_EQ(bits, 0x1234u);
  attr.valueBoolIs(15, true);
  attr.valueBoolIs(2, false);
  EXPECT_EQ(attr.value(), 0xab569230u);
  attr.valueU16Is(1, 0);
  attr.valueU8Is(0, 0);
  EXPECT_EQ(attr.value(), 0x00009200u);
}

TEST(DenseU32Attr, IndexesOutOfRangeAndDeletionsNameTheirOperation) {
  BgpDenseU32Attr attr(0xffffffff);
  for (const unsigned more : {0u, 0xffffffff}) {
    EXPECT_EQ(rangeErrorOf([&] { attr.valueBool(16 | more); }), "BgpDenseU32Attr::valueBool");
    EXPECT_EQ(rangeErrorOf([&] { attr.valueBoolIs(16 | more, false); }), "BgpDenseU32Attr::valueBoolIs");
    EXPECT_EQ(rangeErrorOf([&] { attr.valueU8(4 | more); }), "BgpDenseU32Attr::valueU8");
    EXPECT_EQ(rangeErrorOf([&] { attr.valueU8Is(4 | more, 0); }), "BgpDenseU32Attr::valueU8Is");
    EXPECT_EQ(rangeErrorOf([&] { attr.valueU16(2 | more); }), "BgpDenseU32Attr::valueU16");
    EXPECT_EQ(rangeErrorOf([&] { attr.valueU16Is(2 | more, 0); }), "BgpDenseU32Attr::valueU16Is");
  }
  EXPECT_EQ(rangeErrorOf([&] { attr.valueBoolDel(0); }), "BgpDenseU32Attr::valueBoolDel");
  EXPECT_EQ(rangeErrorOf([&] { attr.valueU8Del(0); }), "BgpDenseU32Attr::valueU8Del");
  EXPECT_EQ(rangeErrorOf([&] { attr.valueU16Del(0); }), "BgpDenseU32Attr::valueU16Del");
  EXPECT_EQ(attr.value(), 0xffffffffu);
}

TEST(DenseU32Attr, TextRoundTrips) {
  const std::string text = "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': 4294967295})";
  expectRoundTrip(text, BgpDenseU32Attr(171));
  const std::string tooLarge = "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': 4294967296})";
  for (const std::string& broken : {tooLarge, text.substr(0, text.size() - 1), std::string()}) {
    expectRefused(broken, BgpDenseU32Attr(171));
  }
}

TEST(PathAttributeFlags, BitsAndText) {
  for (unsigned octet = 0; octet <= 255; ++octet) {
    const BgpUpdateMsgAttributeFlags flags(static_cast<std::uint8_t>(octet));
    const unsigned read =
        flags.optional() << 7 | flags.transitive() << 6 | flags.partial() << 5 | flags.extendedLength() << 4;
    EXPECT_EQ(read, octet & 0xf0);
  }
  BgpUpdateMsgAttributeFlags flags(0x2f);
  flags.optionalIs(true);
  flags.transitiveIs(true);
  flags.extendedLengthIs(true);
  flags.partialIs(false);
  std::ostringstream stream;
  stream << flags << ' ' << flagOctets << codeOctets << lenOctets << extendedLenOctets << ' ' << afiOctets << safiOctets
         << nhLenForReachOctets << mpReachRsvdOctets;  // these are numbers as well
  EXPECT_EQ(stream.str(), "223 1112 2111");
  const std::string text = "192)256";
  Tyr::StrepIterator it = text.data();
  sequenceToValue(it, it + text.size(), &flags);
  EXPECT_EQ(flags, BgpUpdateMsgAttributeFlags(0xc0));
  EXPECT_STREQ(it, ")256");
  expectRefused("256", flags);
}

// Each comes behind the one before by one field, so that the order of the fields shows.
TEST(ExtCommIp6ContentTest, OrderedFieldByField) {
  const std::vector<ExtCommIp6Content> ascending = {
      ip6(0, 0, "::", 0), ip6(0, 0, "::", 1),    ip6(0, 0, "::", 0x8000), ip6(0, 0, "::1", 0),   ip6(0, 0, "8000::", 0),
      ip6(0, 1, "::", 0), ip6(0, 0x80, "::", 0), ip6(1, 0, "::", 0),      ip6(0x40, 0, "::", 9), ip6(0x80, 0, "::", 0)};
  for (std::size_t i = 1; i < ascending.size(); ++i) {
    EXPECT_TRUE(ascending[i - 1] < ascending[i] && !(ascending[i] < ascending[i - 1])) << i;
    EXPECT_NE(ascending[i - 1].hash(), ascending[i].hash()) << i;
  }
}

// Whatever the octets.
TEST(ExtCommIp6ContentTest, TextRoundTrips) {
  const std::pair<ExtCommIp6Content, std::string> rows[] = {
      {ip6('A', 'B', "2001:db8::1", 100), "type=A;subtype=B;addr=2001:db8::1;localAdmin=100"},
      {ip6(0x40, 0, "::ffff:192.0.2.1", 65535), "type=@;subtype=\0;addr=::ffff:192.0.2.1;localAdmin=65535"s},
      {ip6(';', 0xff, "fe80::a", 7), "type=;;subtype=\xff;addr=fe80::a;localAdmin=7"},
  };
  for (const auto& [content, text] : rows) {
    EXPECT_EQ(valueToStrep(content), text);
    expectRoundTrip(text, ip6(0, 0, "::", 0));
    for (std::size_t cut = 0; cut < text.find("localAdmin=") + 12; ++cut) expectRefused(text.substr(0, cut), content);
  }
  for (const char* text : {"type=AA;subtype=B;addr=::1;localAdmin=1", "type=A;subtype=B;addr=::g;localAdmin=1",
                           "type=A;subtype=B;addr=::1;localAdmin=65536"}) {
    expectRefused(text, rows[0].first);
  }
  EXPECT_THROW(ExtCommIp6Content::strepToValue("type=A;subtype=B;addr=::1;localAdmin=1 "), Tyr::ParseException);
}

constexpr std::uint64_t target = 0x0002fde800000064, all = ~std::uint64_t{0}, top = std::uint64_t{1} << 63;

RouteTargetPrefix prefix(std::uint64_t value, unsigned length) {
  return {RouteTarget{value}, static_cast<std::uint8_t>(length)};
}

TEST(RouteTargetPrefix, MaskBitsAndCutting) {
  const std::pair<unsigned, std::uint64_t> rows[] = {
      {0, 0}, {1, top}, {16, 0xffff000000000000}, {63, all - 1}, {64, all}};
  for (const auto& [length, mask] : rows) {
    const RouteTargetPrefix whole = prefix(all, length);
    for (const std::size_t argument : {0, 1, 64}) EXPECT_EQ(whole.mask(argument), mask);
    RouteTargetPrefix cut = prefix(all, 64);
    cut.bitlenIs(length);
    EXPECT_TRUE(cut.prefixBits() == mask && cut.bitlen() == length) << length;
    EXPECT_EQ(whole.prefixBits(), all);  // construction cuts nothing
  }
  for (unsigned i = 0; i < 64; ++i) EXPECT_EQ(prefix(target, 0).extractBit(i), (target >> (63 - i) & 1) != 0) << i;
}

TEST(RouteTargetPrefix, LengthsOutOfRange) {
  const char* const outOfRange = "Routing::Bgp::RouteTargetPrefix::length < 0 or > 64 not allowed";
  RouteTargetPrefix changed = prefix(target, 48);
  EXPECT_EQ(rangeErrorOf([] { prefix(target, 65); }), outOfRange);
  EXPECT_EQ(rangeErrorOf([&] { changed.lengthIs(65); }), outOfRange);
  EXPECT_EQ(changed.length(), 65);  // stored before the check
  EXPECT_NO_THROW(changed.lengthIs(65));
  changed = prefix(target, 48);
  EXPECT_EQ(rangeErrorOf([&] { changed.bitlenIs(255); }), outOfRange);
  EXPECT_EQ(changed.prefixBits(), target);
  EXPECT_ASSERTION(changed.bitlenIs(256), "0 == ( bitlen >> 8 )");
}

TEST(RouteTargetPrefix, CommonLength) {
  const auto common = [](const RouteTargetPrefix& a, const RouteTargetPrefix& b) {
    EXPECT_EQ(a.commonPrefixLen(b), b.commonPrefixLen(a));
    return a.commonPrefixLen(b);
  };
  EXPECT_EQ(common(prefix(target, 10), prefix(target, 20)), 10u);
  EXPECT_EQ(common(prefix(target, 64), prefix(target, 64)), 64u);
  EXPECT_EQ(common(prefix(0, 64), prefix(top, 64)), 0u);
  EXPECT_EQ(common(prefix(target, 64), prefix(target + 1, 64)), 63u);
  EXPECT_EQ(common(prefix(0xff00, 64), prefix(0xfe00, 60)), 55u);
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
  EXPECT_EQ(prefix(0, 0).toStrep(true), "0/0");
  EXPECT_EQ(prefix(0, 1).toStrep(false), "0:0/1");
  EXPECT_EQ(prefix(target, 0).toStrep(false), "65000:100/0");
  EXPECT_EQ(prefix(0x0202000300010064, 64).toStrep(false), "196609:100/64");
  EXPECT_EQ(prefix(0x0202000300010064, 64).toStrep(true), "3.1:100/64");
  EXPECT_EQ(prefix(0x01020a0000010064, 64).toStrep(true), "10.0.0.1:100/64");
  EXPECT_EQ(prefix(0x4302000300010064, 64).toStrep(true), "3:65636/64");  // no such route target: as a two-octet AS
}

TEST(RouteTargetPrefix, ReflectionText) {
  const std::string text = "Value('Routing::Bgp::RouteTargetPrefix', ** {'prefix': 0x0002fde800000064, 'length': 48})";
  expectRoundTrip(text, prefix(0, 0));
  for (std::size_t cut = 0; cut < text.size(); ++cut) expectRefused(text.substr(0, cut), prefix(1, 2));
  const std::string tooLong =
      "Value('Routing::Bgp::RouteTargetPrefix', ** {'prefix': 0x0000000000000001, 'length': 65})";
  try {
    Tyr::StrepIterator it = tooLong.data();
    RouteTargetPrefix(it, it + tooLong.size());
    ADD_FAILURE() << "no exception";
  } catch (const Tyr::DeserializationException& error) {
    EXPECT_EQ(error.attribute(), "length");
    EXPECT_THAT(error.what(), testing::HasSubstr("length < 0 or > 64 not allowed"));
  }
}

}  // namespace
}  // namespace Routing::Bgp::test
