#include "Tyr/Strep.h"

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

// Reads `value` from the front; gives what is left behind it.
template <typename Read, typename Value>
std::string restAfter(const std::string& text, Read&& read, const Value& value) {
  StrepIterator it = text.data();
  const StrepIterator end = it + text.size();
  EXPECT_EQ(read(it, end), value) << text;
  return {it, end};
}

// A reader of numbers up to `max`.
auto number(std::uint64_t max) {
  return [max](StrepIterator& it, const StrepIterator& end) { return Tyr::readUnsigned(it, end, max); };
}

TEST(Strep, readersStopBehindTheirPiece) {
  StrepIterator it = "abcd";
  Tyr::expectText(it, it + 4, "abc");
  EXPECT_STREQ(it, "d");
  EXPECT_EQ(restAfter("TrueFalse", Tyr::readBool, true), "False");
  EXPECT_EQ(restAfter("False})", Tyr::readBool, false), "})");
  EXPECT_EQ(restAfter("255x", number(255), 255u), "x");
  EXPECT_EQ(restAfter("18446744073709551615", number(~0ull), ~0ull), "");
  EXPECT_EQ(restAfter("0x0002fde8000000640", Tyr::readHex64, 0x0002fde800000064u), "0");
  EXPECT_EQ(restAfter("aB_9-", Tyr::readIdentifier, "aB_9"), "-");
}

TEST(Strep, failuresThrowAndMoveNothing) {
  using Read = std::function<void(StrepIterator&, const StrepIterator&)>;
  const Read text = [](auto& it, auto& end) { Tyr::expectText(it, end, "abc"); };
  const Read hex = Tyr::readHex64;
  // clang-format off
  const std::pair<const char*, Read> cases[] = {
      {"abd", text}, {"ab", text}, {"", text}, {"true", Tyr::readBool}, {"Fals", Tyr::readBool}, {"", Tyr::readBool},
      {"256", number(255)}, {"-1", number(9)}, {" 1", number(9)}, {"", number(9)},
      {"18446744073709551616", number(~0ull)}, {"0x0002fde80000006", hex}, {"0x0002FDE800000064", hex},
      {"0002fde800000064", hex}, {"0x-002fde800000064", hex}, {"-a", Tyr::readIdentifier}, {"", Tyr::readIdentifier},
      {"(nil)", Tyr::readPointer}};
  // clang-format on
  for (const auto& [input, read] : cases) {
    StrepIterator it = input;
    EXPECT_THROW(read(it, input + std::string_view(input).size()), Tyr::ParseException) << input;
    EXPECT_EQ(it, input);
  }
}

TEST(Strep, pointersAndBooleansRoundTrip) {
  const int object = 0;
  EXPECT_EQ(Tyr::pointerToStrep(nullptr), "0x0000000000000000");
  for (const void* pointer : {static_cast<const void*>(&object), static_cast<const void*>(nullptr)}) {
    EXPECT_EQ(Tyr::readWhole(Tyr::pointerToStrep(pointer), Tyr::readPointer), pointer);
  }
  EXPECT_EQ(Tyr::valueToStrep(true) + Tyr::valueToStrep(false), "TrueFalse");
  EXPECT_THROW(Tyr::readWhole("True ", Tyr::readBool), Tyr::ParseException);
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
  try {
    Door tooMany(8);
    ADD_FAILURE();
  } catch (const Tyr::RangeException& e) {
    EXPECT_STREQ(e.what(), "House::Door > 7 not allowed");
  }
}

TEST(FlagSet, textRoundTrips) {
  const std::string text = "Value('House::Door', ** {'open': True, 'locked': False, 'painted': True})";
  EXPECT_EQ(testing::PrintToString(Door(0x05)), text);
  for (unsigned value = 0; value < 8; ++value) {
    EXPECT_EQ(Door::strepToValue(valueToStrep(Door(value))), Door(value));
  }
  const auto read = [](StrepIterator& it, const StrepIterator& end) { return Door(it, end); };
  EXPECT_EQ(restAfter(text + "tail", read, Door(0x05)), "tail");
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
