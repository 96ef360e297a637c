#include "VelBgp/VelBgpMiscTypes.h"

#include <sstream>

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

TEST(MaybeU63, order) {
  const Wide unspecified, zero(0), one(1), most(0x7fffffffffffffff), other(0x8000000000000005);
  const Wide* const ascending[] = {&unspecified, &zero, &one, &most};
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t k = 0; k < std::size(ascending); ++k) {
      EXPECT_EQ(*ascending[i] < *ascending[k], i < k) << i << " " << k;
      EXPECT_EQ(*ascending[i] == *ascending[k], i == k) << i << " " << k;
    }
  }
  EXPECT_TRUE(other == unspecified);
  EXPECT_FALSE(other < unspecified || unspecified < other);
  EXPECT_EQ(unspecified.valueWithUnspecifiedMapped(), 77u);
  EXPECT_EQ(zero.valueWithUnspecifiedMapped(), 0u);
  EXPECT_EQ(BgpMaybeU63().valueWithUnspecifiedMapped(), 0u);
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
    std::ostringstream stream;
    stream << value;
    EXPECT_EQ(stream.str(), text);
    EXPECT_EQ(valueToStrep(value), text);
    EXPECT_EQ(value.toStrep(), text);
  }
  for (const char* const text : {"", "un", "-1", "9223372036854775808", "Unspecified"}) {
    const std::string_view whole = text;
    Tyr::StrepIterator it = whole.data();
    Wide value(3);
    EXPECT_THROW(sequenceToValue(it, it + whole.size(), &value), Tyr::ParseException) << text;
    EXPECT_EQ(it, whole.data());
    EXPECT_EQ(value, Wide(3));
  }
  const std::string_view tooLarge = "21";
  Tyr::StrepIterator it = tooLarge.data();
  TenToTwenty bounded;
  EXPECT_THROW(sequenceToValue(it, it + tooLarge.size(), &bounded), Tyr::RangeException);
  EXPECT_EQ(it, tooLarge.data());
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
  const unsigned huge = 0xffffffff;
  for (const unsigned more : {0u, huge}) {
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
  std::ostringstream stream;
  stream << BgpDenseU32Attr(0xffffffff);
  const std::string text = "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': 4294967295})";
  EXPECT_EQ(stream.str(), text);
  Tyr::StrepIterator it = text.data();
  BgpDenseU32Attr attr(171);
  strepToValue(it, text.data() + text.size(), &attr);
  EXPECT_EQ(attr, BgpDenseU32Attr(0xffffffff));
  EXPECT_EQ(it, text.data() + text.size());
  EXPECT_EQ(valueToStrep(BgpDenseU32Attr(171)), "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': 171})");
  const std::string tooLarge = "Value('Routing::Bgp::BgpDenseU32Attr', ** {'value': 4294967296})";
  for (const std::string& broken : {tooLarge, text.substr(0, text.size() - 1), std::string()}) {
    it = broken.data();
    EXPECT_THROW(strepToValue(it, broken.data() + broken.size(), &attr), Tyr::ParseException) << broken;
    EXPECT_EQ(it, broken.data());
    EXPECT_EQ(attr, BgpDenseU32Attr(0xffffffff));
  }
}

}  // namespace
