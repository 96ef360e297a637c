#include "Tyr/Enumeration.h"

#include <gtest/gtest.h>

#include <sstream>

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
constexpr Tyr::EnumRow sameName[] = {{1, "a", nullptr, true}, {2, "a", nullptr, true}};
constexpr Tyr::EnumRow lookalike[] = {{1, "a", nullptr, true}, {255, "b", nullptr, false}};
static_assert(!Tyr::enumRowsSound(sameNumber) && !Tyr::enumRowsSound(sameName) && !Tyr::enumRowsSound(lookalike));

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
  const std::string text = "wellKnown,stop)stopper";
  Tyr::StrepIterator it = text.data();
  const Tyr::StrepIterator end = it + text.size();
  Signal signal = Signal::go;
  sequenceToValue(it, end, &signal);
  EXPECT_EQ(signal, Signal::wellKnown);
  EXPECT_EQ(*it, ',');
  EXPECT_THROW(sequenceToValue(it, end, &signal), Tyr::BadNameException);  // no name at all
  EXPECT_EQ(*it++, ',');
  sequenceToValue(it, end, &signal);
  EXPECT_EQ(signal, Signal::stop);
  ++it;
  signal = Signal::go;
  EXPECT_THROW(sequenceToValue(it, end, &signal), Tyr::BadNameException);  // only begins like a name
  EXPECT_EQ(signal, Signal::go);
  EXPECT_EQ(std::string(it, end), "stopper");
}

}  // namespace
