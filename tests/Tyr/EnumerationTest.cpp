#include "Tyr/Enumeration.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "Tyr/Exception.h"

namespace House {

#define TYR_ENUMERATIONS "Tyr/EnumerationTest.def"
#include "Tyr/EnumerationDeclare.def"

}  // namespace House

namespace {

using House::Signal;

static_assert(Tyr::Range<House::Digit>::size() == 2);
static_assert(!Tyr::enumRowsDense(tyrEnumTable(Signal::stop).rows));

constexpr Tyr::EnumRow sameNumber[] = {{1, "a", nullptr, true}, {1, "b", nullptr, true}};
constexpr Tyr::EnumRow lookalike[] = {{1, "a", nullptr, true}, {255, "b", nullptr, false}};
constexpr Tyr::EnumRow sameLargeNumber[] = {{300, "a", nullptr, false}, {300, "b", nullptr, false}};
constexpr bool isSound(std::span<const Tyr::EnumRow> rows) { return Tyr::enumRowsSound(rows, Tyr::enumIndexOf(rows)); }
static_assert(!isSound(sameNumber) && !isSound(sameLargeNumber) && !isSound(lookalike));

static_assert(bgpIsValidEnumMember(Signal::wellKnown) && bgpIsValidEnumMember(Signal::stop));
static_assert(!bgpIsValidEnumMember(Signal::unknown) && bgpIsValidEnumMember(Signal(1)));
static_assert(!bgpIsValidEnumMember(Signal(2)) && !bgpIsValidEnumMember(Signal(0xffffff02)));
static_assert(enumName(Signal(257)) == nullptr && tyrEnumTable(Signal::go).row(0)->text == nullptr);

TEST(Enumeration, everyNameBothWays) {
  const struct {
    Signal member;
    std::uint32_t number;
    const char* name;
  } rows[] = {{Signal::stop, 0, "stop"},
              {Signal::go, 1, "go"},
              {Signal::wellKnown, 0xffffff01, "wellKnown"},
              {Signal::unknown, 256, "unknown"}};
  for (const auto& row : rows) {
    EXPECT_STREQ(enumName(row.member), row.name);
    EXPECT_EQ(stringValue(row.member), row.name);
    EXPECT_EQ(valueToStrep(row.member), row.name);
    EXPECT_EQ(House::SignalInstance(std::string(row.name)), row.member);
    EXPECT_EQ(House::SignalInstance(row.number), row.member);
  }
  EXPECT_STREQ(tyrEnumTable(Signal::go).row(1)->text, "Go on");
  EXPECT_STREQ(tyrEnumTable(Signal::go).row(256)->text, "?");
}

TEST(Enumeration, namesAndNumbersThatAreNone) {
  EXPECT_THROW(House::SignalInstance(2), Tyr::RangeException);
  EXPECT_THROW(House::SignalInstance(0x1ffffff01), Tyr::RangeException);  // would be a member without its upper bits
  EXPECT_THROW(stringValue(Signal(7)), Tyr::RangeException);
  EXPECT_THROW(House::SignalInstance("sto"), Tyr::BadNameException);
  EXPECT_THROW(House::SignalInstance(""), Tyr::BadNameException);
  EXPECT_THROW(House::SignalInstance(std::string("stop\0", 5)), Tyr::BadNameException);
  std::ostringstream stream;
  stream << Signal(7) << Signal::stop;
  EXPECT_EQ(stream.str(), "7stop");
}

TEST(Enumeration, readsAWholeNameFromASequence) {
  const std::tuple<std::string, Signal, const char*> rows[] = {
      {"wellKnown,stop", Signal::wellKnown, ",stop"},
      {"stop", Signal::stop, ""},
      {",go", Signal::unknown, ",go"},
      {"stopper", Signal::unknown, "stopper"}};  // a name alone, none, what only begins like one
  for (const auto& [text, expected, rest] : rows) {
    Tyr::StrepIterator it = text.data();
    Signal signal = Signal::unknown;
    const auto read = [&, end = it + text.size()] { sequenceToValue(it, end, &signal); };
    if (expected == Signal::unknown) {
      EXPECT_THROW(read(), Tyr::BadNameException);
    } else {
      read();
    }
    EXPECT_EQ(signal, expected);
    EXPECT_STREQ(it, rest);
  }
}

}  // namespace
