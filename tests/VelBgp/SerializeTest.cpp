#include "VelBgp/VelBgpSerialize.h"

#include <limits>
#include <stdexcept>

#include "support/Death.h"

namespace {

using namespace Routing::Bgp;

std::string hex(const std::string& octets) {
  std::string text;
  for (const unsigned char octet : octets) {
    text += "0123456789abcdef"[octet >> 4];
    text += "0123456789abcdef"[octet & 15];
  }
  return text;
}

static_assert(!std::is_copy_constructible_v<Serialize> && !std::is_copy_assignable_v<SerializePathAttributeAutoExtLen>);

TEST(Serialize, appendsInNetworkOrder) {
  Serialize buffer;
  buffer.addU8(0x01);
  buffer.addU16hton(0x0203);
  buffer.addU32hton(0x04050607);
  buffer.addU64hton(0x08090a0b0c0d0e0f);
  buffer.addBytes("\x10\x11", 2);
  buffer.addBytes(nullptr, 0);
  EXPECT_EQ(hex(buffer.serializedBytes(0)), "0102030405060708090a0b0c0d0e0f1011");
  EXPECT_EQ(hex(buffer.serializedBytes(15)), "1011");
  EXPECT_EQ(buffer.serializedBytes(17), "");
  EXPECT_EQ(buffer.serializedBytes(18), "");
  EXPECT_EQ(buffer.capacity(), 4096u);
}

TEST(Serialize, leavesTheInlineOctetsOnlyWhenItMust) {
  Serialize buffer;
  std::string expected;
  for (unsigned i = 0; i < 20000; ++i) {
    buffer.addU16hton(static_cast<std::uint16_t>(i));
    expected += static_cast<char>(i >> 8);
    expected += static_cast<char>(i);
    ASSERT_TRUE(i != 2047 || buffer.capacity() == 4096);
  }
  EXPECT_GE(buffer.capacity(), 40000u);
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
  EXPECT_EQ(hex(buffer.serializedBytes(0)), "01");
}

TEST(PathAttribute, headers) {
  struct Row {
    unsigned type, flags, size;
    const char* header;
  };
  const Row rows[] = {{16, 0xc0, 8, "c01008"},      {16, 0xc0, 0, "c01000"},     {16, 0xc0, 255, "c010ff"},
                      {16, 0xc0, 256, "d0100100"},  {16, 0xc0, 300, "d010012c"}, {16, 0xd0, 8, "d0100008"},
                      {32, 0xe0, 12, "e0200c"},     {255, 0x40, 1, "40ff01"},    {8, 0xd0, 65535, "d008ffff"},
                      {25, 0xc0, 65535, "d019ffff"}};
  for (const Row& row : rows) {
    const auto type = BgpPathAttrType(row.type);
    const auto flags = BgpPathAttrFlag(row.flags);
    SerializePathAttribute attribute(type, flags, row.size);
    EXPECT_EQ(hex(attribute.serializedBytes(0)), row.header);
    EXPECT_EQ(attribute.headerLength(), std::string(row.header).size() / 2);
    EXPECT_EQ(attribute.attributeSize(), row.size);
    EXPECT_GE(attribute.capacity(), row.size + 4);
    const auto* const place = attribute.data();
    for (unsigned i = 0; i < row.size; ++i) attribute.addU8(0xaa);
    EXPECT_EQ(attribute.data(), place);  // made room for at the start
    attribute.clearAndReInit(BgpPathAttrType::community, BgpPathAttrFlag::optional, 4);
    EXPECT_EQ(hex(attribute.serializedBytes(0)), "800804");
    EXPECT_EQ(attribute.headerLength(), 3u);
    attribute.reInitHdr(type, flags, row.size);  // where the writing stands
    EXPECT_EQ(hex(attribute.serializedBytes(3)), row.header);
  }
}

std::string autoLength(std::size_t valueOctets, unsigned flags) {
  SerializePathAttributeAutoExtLen attribute;
  for (std::size_t i = 0; i < valueOctets; ++i) attribute.addU8(static_cast<std::uint8_t>(i + 1));
  const std::string value = attribute.serializeAttributeValue();
  EXPECT_EQ(value.size(), valueOctets);
  const std::string whole = attribute.patchHdrAndStringify(BgpPathAttrType::extCommunity, BgpPathAttrFlag(flags));
  EXPECT_EQ(whole, attribute.patchHdrAndStringify(BgpPathAttrType::extCommunity, BgpPathAttrFlag(flags)));
  if ((flags & 0x10) == 0) {
    EXPECT_EQ(attribute.serializeAttributeValue(), value);
    EXPECT_EQ(whole.substr(whole.size() - valueOctets), value);
  }
  return hex(whole);
}

TEST(PathAttributeAutoExtLen, headerEndsWhereTheValueBegins) {
  const struct {
    std::size_t octets;
    unsigned flags;
    std::string begin;
  } rows[] = {{0, 0xc0, "c01000"},         {3, 0xc0, "c01003010203"},   {255, 0xc0, "c010ff0102"},
              {256, 0xc0, "d01001000102"}, {300, 0xd0, "d010012c0102"}, {65535, 0xc0, "d010ffff0102"},
              {3, 0xd0, "d01000030203"},  // deliberate: a long header runs over a short value
              {0, 0xd0, "d01000"},         {65536, 0xc0, "c010000102"},  // deliberate: the value is counted in 16 bits
              {65537, 0xc0, "c010010102"}};
  for (const auto& row : rows) {
    EXPECT_EQ(autoLength(row.octets, row.flags).substr(0, row.begin.size()), row.begin) << row.octets;
  }
}

TEST(PrefixSidAttribute, tlvHeader) {
  SerializedBgpPrefixSidAttribute tlv(srv6L3service, 0x0123);
  tlv.addU8(0xff);
  EXPECT_EQ(hex(tlv.serializedBytes(0)), "050123ff");
}

TEST(SerializeDeathTest, whatNoHeaderCanSay) {
  const auto write = [](BgpPathAttrType type, std::uint32_t size) {
    SerializePathAttribute attribute(type, BgpPathAttrFlag::optionalTransitive, size);
  };
  EXPECT_ASSERTION(write(BgpPathAttrType::attrTypeUnknown, 8), "attrType <= 0xFF");
  EXPECT_ASSERTION(write(BgpPathAttrType::extCommunity, 65536), "attrSize <= 0xFFFF");
  EXPECT_ASSERTION(write(BgpPathAttrType::extCommunity, 0xffffffff), "attrSize <= 0xFFFF");
  EXPECT_ASSERTION(SerializedBgpPrefixSidAttribute(invalidTlv, 1), "type <= 0xFF");
}

}  // namespace
