#include "VelBgp/VelBgpMiscTypes.h"

#include <string>

#include "Tyr/Exception.h"
#include "support/Death.h"

namespace {

using namespace Routing::Bgp;

template <typename Function>
std::string rangeErrorOf(Function&& function) {
  try {
    function();
  } catch (const Tyr::RangeException& e) {
    return e.what();
  }
  return "no error";
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

TEST(MaybeU63, outOfBoundsLeavesItUnspecified) {
  const char* const text = "value < min or > max not allowed";
  BgpMaybeU63 plain;
  TenToTwenty bounded;
  plain.checkValue();
  for (const std::uint64_t value : {0u, 1u, 5u}) {
    EXPECT_EQ(rangeErrorOf([&] { plain.valueIs(value); }), text);
    EXPECT_TRUE(plain.isUnspecified());
  }
  for (const std::uint64_t value : {9u, 21u}) {
    bounded.valueIs(15);
    EXPECT_EQ(rangeErrorOf([&] { bounded.valueIs(value); }), text);
    EXPECT_TRUE(bounded.isUnspecified());
  }
  bounded.valueIs(10);
  bounded.valueIs(20);
  bounded.checkValue();
  EXPECT_EQ(bounded.value(), 20u);
  bounded.valueDel();
  EXPECT_TRUE(bounded.isUnspecified());
}

// How they compare is tested with the subtypes, PacketTypesTest.cpp.
TEST(MaybeU63, unspecifiedIsMapped) {
  EXPECT_EQ(Wide().valueWithUnspecifiedMapped(), 77u);
  EXPECT_EQ(Wide(0).valueWithUnspecifiedMapped(), 0u);
  EXPECT_EQ(BgpMaybeU63().valueWithUnspecifiedMapped(), 0u);
  EXPECT_TRUE(Wide(0x8000000000000005).isUnspecified() && Wide(0) < Wide(0x7fffffffffffffff));
}

TEST(MaybeU63DeathTest, readingAnUnspecifiedValue) {
  const char* const text = "!isUnspecified() && \"Caller must check isUnspecified() before getting value()\"";
  const Wide unspecified;
  EXPECT_ASSERTION(static_cast<void>(unspecified.value()), text);
  EXPECT_ASSERTION(static_cast<void>(static_cast<std::uint64_t>(unspecified)), text);
}

TEST(MaybeU63, textRoundTrips) {
  for (const char* const text : {"unspecified", "0", "255", "9223372036854775807"}) {
    const std::string behind = std::string(text) + ", ";
    Tyr::StrepIterator it = behind.data();
    Wide value(3);
    sequenceToValue(it, it + behind.size(), &value);
    EXPECT_STREQ(it, ", ");
    EXPECT_EQ(testing::PrintToString(value), text);
    EXPECT_EQ(valueToStrep(value), text);
  }
  const auto expectRefused = [](std::string_view text, auto value) {
    const auto before = value;
    Tyr::StrepIterator it = text.data();
    EXPECT_ANY_THROW(sequenceToValue(it, it + text.size(), &value)) << text;
    EXPECT_EQ(it, text.data());
    EXPECT_EQ(value, before);
  };
  for (const char* const text : {"", "un", "-1", "9223372036854775808", "Unspecified"}) expectRefused(text, Wide(3));
  expectRefused("21", TenToTwenty());
}

TEST(DenseU32Attr, viewsShareTheWord) {
  BgpDenseU32Attr attr;
  attr.valueU8Is(3, 171);
  EXPECT_EQ(attr.value(), 0xab000000u);
  attr.valueU16Is(0, 0x1234);
  attr.valueU8Is(2, 0x56);
  EXPECT_EQ(attr.value(), 0xab561234u);
  EXPECT_EQ(attr.valueU16(1), 0xab56);
  EXPECT_EQ(attr.valueU16(0), 0x1234);
  const unsigned octets[] = {0x34, 0x12, 0x56, 0xab};
  for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(attr.valueU8(i), octets[i]);
  unsigned bits = 0;
  for (unsigned i = 0; i < 16; ++i) bits |= attr.valueBool(i) ? 1u << i : 0;
  EXPECT_EQ(bits, 0x1234u);
  attr.valueBoolIs(15, true);
  attr.valueBoolIs(2, false);
  EXPECT_EQ(attr.value(), 0xab569230u);
  attr.valueU16Is(1, 0);
  attr.valueU8Is(0, 0);
  EXPECT_EQ(attr.value(), 0x00009200u);
}

TEST(DenseU32Attr, indexesOutOfRangeAndDeletionsNameTheirOperation) {
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

TEST(DenseU32Attr, textRoundTrips) {
  const std::string text = "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': 4294967295})";
  EXPECT_EQ(testing::PrintToString(BgpDenseU32Attr(0xffffffff)), text);
  EXPECT_EQ(valueToStrep(BgpDenseU32Attr(0xffffffff)), text);
  BgpDenseU32Attr attr(171);
  const auto read = [&attr](const std::string& from) {
    Tyr::StrepIterator it = from.data();
    strepToValue(it, it + from.size(), &attr);
    return std::string(it, from.data() + from.size());
  };
  const std::string tooLarge = "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': 4294967296})";
  for (const std::string& broken : {tooLarge, text.substr(0, text.size() - 1), std::string()}) {
    EXPECT_THROW(read(broken), Tyr::ParseException) << broken;
    EXPECT_EQ(attr, BgpDenseU32Attr(171));
  }
  EXPECT_EQ(read(text + "tail"), "tail");
  EXPECT_EQ(attr, BgpDenseU32Attr(0xffffffff));
}

}  // namespace
