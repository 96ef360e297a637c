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

TEST(Enumeration, numbersBeyondTheOctets) {
  static_assert(bgpIsValidEnumMember(Signal::wellKnown) && bgpIsValidEnumMember(Signal::stop));
  static_assert(!bgpIsValidEnumMember(Signal::unknown) && bgpIsValidEnumMember(Signal(1)));
  EXPECT_FALSE(bgpIsValidEnumMember(Signal(2)));
  EXPECT_FALSE(bgpIsValidEnumMember(Signal(0xffffff02)));
  EXPECT_EQ(House::SignalInstance(0xffffff01), Signal::wellKnown);
  EXPECT_STREQ(enumName(Signal::unknown), "unknown");
  EXPECT_EQ(enumName(Signal(257)), nullptr);
}

TEST(Enumeration, displayTexts) {
  EXPECT_STREQ(tyrEnumTable(Signal::go).row(1)->text, "Go on");
  EXPECT_STREQ(tyrEnumTable(Signal::go).row(256)->text, "?");
  EXPECT_EQ(tyrEnumTable(Signal::go).row(0)->text, nullptr);
}

TEST(Enumeration, namesAndNumbersThatAreNone) {
  EXPECT_THROW(House::SignalInstance(2), Tyr::RangeException);
  EXPECT_THROW(House::SignalInstance(0x1ffffff01), Tyr::RangeException);  // would be a member without its upper bits
  EXPECT_THROW(stringValue(Signal(7)), Tyr::RangeException);
  EXPECT_THROW(House::SignalInstance("sto"), Tyr::BadNameException);
  EXPECT_THROW(House::SignalInstance(""), Tyr::BadNameException);
  EXPECT_THROW(House::SignalInstance(std::string("stop\0", 5)), Tyr::BadNameException);
  std::ostringstream stream;
  stream << Signal(7);
  EXPECT_EQ(stream.str(), "7");
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
