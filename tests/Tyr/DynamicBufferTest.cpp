#include "Tyr/DynamicBuffer.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace {

using Tyr::DynamicBuffer;

template <typename Append>
std::string textOf(Append&& append) {
  DynamicBuffer<2> buffer;  // so that every write of three octets has to grow
  append(buffer);
  return buffer.str();
}

// clang-format off
TEST(DynamicBuffer, numbers) {
  const std::pair<std::uint64_t, const char*> decimals[] = {
      {0, "0"}, {9, "9"}, {10, "10"}, {99, "99"}, {100, "100"}, {65535, "65535"}, {100000, "100000"},
      {4294967295, "4294967295"}, {4294967296, "4294967296"}, {18446744073709551615u, "18446744073709551615"}};
  for (const auto& [value, text] : decimals) {
    EXPECT_EQ(textOf([v = value](auto& buffer) { buffer.appendDecimal(v); }), text);
  }
  const struct { std::uint64_t value; unsigned digits; const char* text; } hexes[] = {
      {0xab, 2, "ab"}, {0x0b, 2, "0b"}, {0, 0, ""}, {0x1ab, 2, "1ab"}, {0x0002fde800000064, 16, "0002fde800000064"},
      {~0ull, 18, "00ffffffffffffffff"}};
  for (const auto& c : hexes) {
    EXPECT_EQ(textOf([&c](auto& buffer) { buffer.appendHex(c.value, c.digits); }), c.text);
  }
  const std::pair<std::uint32_t, const char*> quads[] = {
      {0, "0.0.0.0"}, {0xffffffff, "255.255.255.255"}, {0xc0000201, "192.0.2.1"}, {0x0a640963, "10.100.9.99"}};
  for (const auto& [address, text] : quads) {
    EXPECT_EQ(textOf([a = address](auto& buffer) { buffer.appendDottedQuad(a); }), text);
  }
}
// clang-format on

TEST(DynamicBuffer, floatIsWhatADefaultStreamPrints) {
  for (const double value :
       {0.0, 1.25e8, 0.5, 123456.0, 1234567.0, 999999.5, 1e-4, 1e-5, 3.4028234663852886e38, 1.4e-45, -2.25,
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    std::ostringstream stream;
    stream << value;
    EXPECT_EQ(textOf([value](auto& buffer) { buffer.appendFloat(value); }), stream.str());
  }
}

TEST(DynamicBuffer, growsAsAnnounced) {
  DynamicBuffer<16> buffer;
  buffer.append(std::string(16, 'a'));
  EXPECT_EQ(buffer.capacity(), 16u);  // what just fits does not grow
  buffer.append('b');
  EXPECT_EQ(buffer.capacity(), 32u);  // twice the used size
  buffer.append(std::string(50, 'c'));
  EXPECT_EQ(buffer.capacity(), 67u);  // used and needed, which is more
  buffer.reserve(700);
  buffer.append(std::string(633, 'd'));
  buffer.append('e');
  EXPECT_EQ(buffer.capacity(), 1024u);  // twice the used size, but no more than 1024
  buffer.append(std::string(324, 'f'));
  EXPECT_EQ(buffer.capacity(), 1025u);
  EXPECT_EQ(buffer.view(),
            std::string(16, 'a') + 'b' + std::string(50, 'c') + std::string(633, 'd') + 'e' + std::string(324, 'f'));
  buffer.clear();
  EXPECT_TRUE(buffer.empty());
}

TEST(DynamicBuffer, takesAPartOfItself) {
  DynamicBuffer<4> buffer;
  buffer.append("abcd");
  buffer.append(buffer.view().substr(1));  // moves to the heap on the way
  buffer.append(buffer.view());
  EXPECT_EQ(buffer.view(), "abcdbcdabcdbcd");
  buffer.append(std::string_view());
  EXPECT_EQ(buffer.size(), 14u);
}

TEST(DynamicBuffer, refusesWhatNoMemoryHolds) {
  DynamicBuffer<4> buffer;
  buffer.append("ab");
  volatile std::size_t tooMany = std::numeric_limits<std::size_t>::max() / 2;  // the compiler is not to look through it
  EXPECT_THROW(buffer.append(std::string_view(buffer.data(), tooMany)), std::length_error);
  EXPECT_EQ(buffer.view(), "ab");
}

}  // namespace
