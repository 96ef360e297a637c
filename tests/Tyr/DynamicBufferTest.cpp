#include "Tyr/DynamicBuffer.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <tuple>

namespace {

using Tyr::DynamicBuffer;

template <typename Append>
std::string textOf(Append&& append) {
  DynamicBuffer<2> buffer;  // so that every write of three octets has to grow
  append(buffer);
  return buffer.str();
}

TEST(DynamicBuffer, numbers) {
  for (std::uint64_t power = 1; power < 10'000'000'000'000'000'000u; power *= 10) {
    for (const std::uint64_t value : {power - 1, power, ~power}) {
      EXPECT_EQ(textOf([value](auto& buffer) { buffer.appendDecimal(value); }), std::to_string(value));
    }
  }
  const std::tuple<std::uint64_t, unsigned, const char*> hexes[] = {
      {0xab, 2, "ab"}, {0x0b, 2, "0b"}, {0, 0, ""}, {0x1ab, 2, "1ab"}, {~0ull, 18, "00ffffffffffffffff"}};
  for (const auto& [value, digits, text] : hexes) {
    EXPECT_EQ(textOf([v = value, d = digits](auto& buffer) { buffer.appendHex(v, d); }), text);
  }
  EXPECT_EQ(textOf([](auto& buffer) { buffer.appendDottedQuad(0x0a640963); }), "10.100.9.99");
}

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
