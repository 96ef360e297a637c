#include "VelBgp/VelBgpSerialize.h"

#include <boost/algorithm/hex.hpp>
#include <limits>
#include <stdexcept>

#include "support/Death.h"

namespace {

using namespace Routing::Bgp;
using boost::algorithm::hex_lower;

static_assert(!std::is_copy_constructible_v<Serialize> && !std::is_copy_assignable_v<SerializePathAttributeAutoExtLen>);

TEST(Serialize, appendsInNetworkOrder) {
  Serialize buffer;
  buffer.addU8(0x01);
  buffer.addU16hton(0x0203);
  buffer.addU32hton(0x04050607);
  buffer.addU64hton(0x08090a0b0c0d0e0f);
  buffer.addBytes("\x10\x11", 2);
  buffer.addBytes(nullptr, 0);
  EXPECT_EQ(hex_lower(buffer.serializedBytes(0)), "0102030405060708090a0b0c0d0e0f1011");
  EXPECT_EQ(hex_lower(buffer.serializedBytes(15)), "1011");
  EXPECT_EQ(buffer.serializedBytes(18), "");
}

TEST(Serialize, leavesTheInlineOctetsOnlyWhenItMust) {
  Serialize buffer;
  std::string expected;
  for (unsigned i = 0; i < 20000; ++i) {
    buffer.addU16hton(static_cast<std::uint16_t>(i));
    expected += {static_cast<char>(i >> 8), static_cast<char>(i)};
    EXPECT_EQ(buffer.capacity() == 4096u, i < 2048) << i;
  }
  EXPECT_EQ(buffer.serializedBytes(0), expected);
  buffer.growBuffer(10);  // never shrinks
  EXPECT_EQ(buffer.serializedBytes(0), expected);
}

TEST(Serialize, refusesMoreThanItCanCount) {
  Serialize buffer;
  buffer.addU8(1);
  volatile std::size_t tooMany = std::numeric_limits<std::uint32_t>::max();
  EXPECT_THROW(buffer.addBytes("", tooMany), std::length_error);
  EXPECT_THROW(buffer.addBytes("", tooMany * 2), std::length_error);
  EXPECT_EQ(hex_lower(buffer.serializedBytes(0)), "01");
}

TEST(PathAttribute, headers) {
  struct Row {
    unsigned type, flags, size;
    const char* header;
  };
  const Row rows[] = {{16, 0xc0, 0, "c01000"},   {32, 0xe0, 255, "e020ff"}, {16, 0xc0, 256, "d0100100"},
                      {16, 0xd0, 8, "d0100008"}, {255, 0x40, 1, "40ff01"},  {25, 0xc0, 65535, "d019ffff"}};
  for (const Row& row : rows) {
    const auto type = BgpPathAttrType(row.type);
    const auto flags = BgpPathAttrFlag(row.flags);
    SerializePathAttribute attribute(type, flags, row.size);
    EXPECT_EQ(hex_lower(attribute.serializedBytes(0)), row.header);
    EXPECT_EQ(attribute.headerLength(), std::string(row.header).size() / 2);
    EXPECT_EQ(attribute.attributeSize(), row.size);
    EXPECT_GE(attribute.capacity(), row.size + 4);
    const auto* const place = attribute.data();
    for (unsigned i = 0; i < row.size; ++i) attribute.addU8(0xaa);
    EXPECT_EQ(attribute.data(), place);  // made room for at the start
    attribute.clearAndReInit(BgpPathAttrType::community, BgpPathAttrFlag::optional, 4);
    EXPECT_EQ(hex_lower(attribute.serializedBytes(0)), "800804");
    EXPECT_EQ(attribute.headerLength(), 3u);
    attribute.reInitHdr(type, flags, row.size);  // where the writing stands
    EXPECT_EQ(hex_lower(attribute.serializedBytes(3)), row.header);
  }
}

TEST(PathAttributeAutoExtLen, headerEndsWhereTheValueBegins) {
  const struct {
    std::size_t octets;
    unsigned flags;
    std::string begin;
  } rows[] = {
      {0, 0xc0, "c01000"},           {3, 0xc0, "c01003010203"}, {255, 0xc0, "c010ff0102"}, {256, 0xc0, "d01001000102"},
      {65535, 0xd0, "d010ffff0102"}, {3, 0xd0, "d01000030203"},  // deliberate: a long header runs over a short value
      {65537, 0xc0, "c010010102"}};                              // deliberate: the value is counted in 16 bits
  for (const auto& row : rows) {
    SerializePathAttributeAutoExtLen attribute;
    for (std::size_t i = 0; i < row.octets; ++i) attribute.addU8(static_cast<std::uint8_t>(i + 1));
    const std::string value = attribute.serializeAttributeValue();
    EXPECT_EQ(value.size(), row.octets);
    const auto whole = [&] {
      return attribute.patchHdrAndStringify(BgpPathAttrType::extCommunity, BgpPathAttrFlag(row.flags));
    };
    const std::string first = whole();
    EXPECT_EQ(hex_lower(first.substr(0, row.begin.size() / 2)), row.begin) << row.octets;
    EXPECT_EQ(whole(), first);
    EXPECT_TRUE(row.octets == 3 || first.ends_with(value));
  }
}

TEST(PrefixSidAttribute, tlvHeader) {
  SerializedBgpPrefixSidAttribute tlv(srv6L3service, 0x0123);
  tlv.addU8(0xff);
  EXPECT_EQ(hex_lower(tlv.serializedBytes(0)), "050123ff");
}

// Sizes beyond 65535 are tested with the lists.
TEST(SerializeDeathTest, whatNoHeaderCanSay) {
  EXPECT_ASSERTION(SerializePathAttribute(BgpPathAttrType::attrTypeUnknown, BgpPathAttrFlag::optional, 8),
                   "attrType <= 0xFF");
  EXPECT_ASSERTION(SerializedBgpPrefixSidAttribute(invalidTlv, 1), "type <= 0xFF");
}

}  // namespace
