#include "Tyr/Strep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "Tyr/Exception.h"
#include "Tyr/FlagSet.h"

namespace {

using Tyr::StrepIterator;

struct House {
#define DOOR_FLAGS(FLAG) FLAG(open) FLAG(locked) FLAG(painted)
  class Door {
    TYR_FLAG_SET(Door, "House::Door", DOOR_FLAGS)

   public:
    constexpr bool shut() const { return !open(); }
  };
};
using Door = House::Door;

#define EIGHT_FLAGS(FLAG) FLAG(a) FLAG(b) FLAG(c) FLAG(d) FLAG(e) FLAG(f) FLAG(g) FLAG(h)
class Eight {
  TYR_FLAG_SET(Eight, "Eight", EIGHT_FLAGS)
};

// A reader whose piece is given as it prints.
using Read = std::function<std::string(StrepIterator&, const StrepIterator&)>;
template <typename Piece>
Read reader(Piece read) {
  return [read](auto& it, auto& end) { return testing::PrintToString(read(it, end)); };
}
Read number(std::uint64_t max) {
  return reader([max](auto& it, auto& end) { return Tyr::readUnsigned(it, end, max); });
}

TEST(Strep, readersStopBehindTheirPieceOrMoveNothing) {
  const Read text = [](auto& it, auto& end) { return Tyr::expectText(it, end, "abc"), "abc"; };
  const Read boolean = reader(Tyr::readBool), hex = reader(Tyr::readHex64), pointer = reader(Tyr::readPointer);
  const Read name = [](auto& it, auto& end) { return std::string(Tyr::readIdentifier(it, end)); };
  const char* const none = nullptr;
  // clang-format off
  const struct { std::string_view input; Read read; const char* piece; std::string_view rest; } rows[] = {
      {"abcd", text, "abc", "d"}, {"TrueFalse", boolean, "true", "False"}, {"False})", boolean, "false", "})"},
      {"255x", number(255), "255", "x"}, {"18446744073709551615", number(~0ull), "18446744073709551615", ""},
      {"0x0002fde8000000640", hex, "842122827661412", "0"}, {"aB_9-", name, "aB_9", "-"},
      {"abd", text, none, "abd"}, {"ab", text, none, "ab"}, {"", text, none, ""}, {"true", boolean, none, "true"},
      {"Fals", boolean, none, "Fals"}, {"", boolean, none, ""}, {"256", number(255), none, "256"},
      {"-1", number(9), none, "-1"}, {" 1", number(9), none, " 1"}, {"", number(9), none, ""},
      {"18446744073709551616", number(~0ull), none, "18446744073709551616"},
      {"0x0002fde80000006", hex, none, "0x0002fde80000006"}, {"0x0002FDE800000064", hex, none, "0x0002FDE800000064"},
      {"0002fde800000064", hex, none, "0002fde800000064"}, {"0x-002fde800000064", hex, none, "0x-002fde800000064"},
      {"-a", name, none, "-a"}, {"", name, none, ""}, {"(nil)", pointer, none, "(nil)"}};
  // clang-format on
  for (const auto& [input, read, piece, rest] : rows) {
    StrepIterator it = input.data();
    const StrepIterator end = it + input.size();
    if (piece != none) {
      EXPECT_EQ(read(it, end), piece);
    } else {
      EXPECT_THROW(read(it, end), Tyr::ParseException) << input;
    }
    EXPECT_EQ(std::string_view(it, static_cast<std::size_t>(end - it)), rest);
  }
}

TEST(FlagSet, bitsCountFromTheFirstMember) {
  Door door;
  door.lockedIs(true);
  door.paintedIs(true);
  EXPECT_EQ(door.value(), 0x06);
  door.lockedIs(false);
  EXPECT_TRUE(door == Door(0x04) && door.shut() && door.painted() && !door.locked());
  std::string names;
  for (const auto& flag : Door::names()) names += std::string(flag.name) + std::to_string(flag.bit) + " ";
  EXPECT_EQ(names, "open1 locked2 painted4 ");
  EXPECT_EQ(Eight(255).value(), 255);
  EXPECT_THROW(Eight(256), Tyr::RangeException);
  EXPECT_THAT([] { Door tooMany(8); }, testing::ThrowsMessage<Tyr::RangeException>("House::Door > 7 not allowed"));
}

TEST(FlagSet, textRoundTrips) {
  const std::string text = "Value('House::Door', ** {'open': True, 'locked': False, 'painted': True})";
  EXPECT_EQ(testing::PrintToString(Door(0x05)), text);
  for (unsigned value = 0; value < 8; ++value) {
    EXPECT_EQ(Door::strepToValue(valueToStrep(Door(value))), Door(value));
  }
  const std::string longer = text + "tail";
  StrepIterator it = longer.data();
  EXPECT_EQ(Door(it, it + longer.size()), Door(0x05));
  EXPECT_STREQ(it, "tail");
}

TEST(FlagSet, everyTornOrAlteredTextIsRefused) {
  const std::string text = valueToStrep(Door(0x05));
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string altered = text;
    altered[i] ^= 1;
    for (const std::string& broken : {text.substr(0, i), altered}) {
      StrepIterator it = broken.data();
      Door door(0x02);
      EXPECT_THROW(strepToValue(it, it + broken.size(), &door), Tyr::ParseException) << broken;
      EXPECT_EQ(it, broken.data());
      EXPECT_EQ(door, Door(0x02));
    }
  }
  EXPECT_THROW(Door::strepToValue(text + " "), Tyr::ParseException);
  EXPECT_THROW(Eight::strepToValue(text), Tyr::ParseException);
}

}  // namespace
