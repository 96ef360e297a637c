// Attributes from the wire and to the wire. Lengths are tested with the interned lists, lists from a store with the
// stashed ones, what other programs read in tests/wire, any octets by the fuzzer.
#include <gtest/gtest.h>

#include <boost/algorithm/hex.hpp>
#include <sstream>
#include <string>

#include "VelBgp/AttributeWriter.h"
#include "VelBgp/CommunityTables.h"
#include "VelBgp/PathLists.h"
#include "VelBgp/ReceivedAttributes.h"
#include "VelBgp/WordLists.h"

namespace Routing::Bgp::test {
namespace {

std::vector<std::uint8_t> octetsOf(const std::string& hex) {
  std::vector<std::uint8_t> octets;
  boost::algorithm::unhex(hex, std::back_inserter(octets));
  return octets;
}

// "8=4@3 " is a value of four octets at the third, "Empty 16@7 " a fault.
std::string told(const ReceivedAttributes& received, AttributeOctets block) {
  std::ostringstream text;
  for (const unsigned code : {8, 16, 25, 32}) {
    const AttributeOctets value = received.value(BgpPathAttrType(code));
    if (!value.empty()) text << code << '=' << value.size() << '@' << value.data() - block.data() << ' ';
  }
  for (const auto& [verdict, attribute, times] : received.faults()) {
    text << stringValue(verdict).substr(std::string("attributeVerdict").size()) << ' ' << unsigned{attribute.code}
         << '@' << attribute.offset << (times == 1 ? "" : " times " + std::to_string(times)) << ' ';
  }
  return text.str() + (received.treatAsWithdraw() ? "withdraw" : "");
}

const std::string standard = "c0080400010064", extended = "c010080002fde800000064", origin = "40010100",
                  large = "c0200c000000010000000200000003", ip6 = "c01914000220010db80000000000000000000000010064";

TEST(ReceivedAttributes, Verdicts) {
  const struct {
    std::string block, told, judged = told;  // with flags ignored, and judged
  } rows[] = {
      {"", ""},
      {origin + large + "c00700" + ip6 + extended + standard, "8=4@59 16=8@48 25=20@25 32=12@7 "},
      {"d008000400010064" + extended, "8=4@4 16=8@11 "},  // a length of two octets where one would do
      {"ef080400010064", "8=4@3 "},                       // partial, and bits without a meaning
      {"40080400010064" + standard + standard, "8=4@3 Repeated 8@7 times 2 ",
       "WrongFlags 8@0 Repeated 8@7 times 2 withdraw"},
      {"801000", "Empty 16@0 withdraw", "WrongFlags 16@0 withdraw"},
      {"c00800" + standard + "c0200bffffffffffffffffffffff", "Empty 8@0 Repeated 8@3 NoMultiple 32@10 withdraw"},
      {extended + "c0100100" + standard, "8=4@18 16=8@3 Repeated 16@11 "},
      {standard + "c0", "8=4@3 HeaderCut 0@7 withdraw"},
      {standard + "d01000", "8=4@3 HeaderCut 0@7 withdraw"},
      {standard + "c010090002fde800000064", "8=4@3 ValueCut 16@7 withdraw"},
      {"d002ffff" + standard, "ValueCut 2@0 withdraw"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.block);
    const auto block = octetsOf(row.block);
    EXPECT_EQ(told(ReceivedAttributes(block), block), row.told);
    EXPECT_EQ(told(ReceivedAttributes(block, ReceivedAttributes::Flags::judged), block), row.judged);
  }
  EXPECT_STREQ(attributeVerdictText(attributeVerdictEmpty), "no value, expected at least one");
  EXPECT_STREQ(attributeVerdictText(AttributeVerdict(9)), "unknown");
}

// However many attributes a peer repeats, what is told of them has its place.
TEST(ReceivedAttributes, AllFaultsOfALongBlock) {
  std::string hex;
  for (int i = 0; i < 1000; ++i) hex += "c00800c01003000000c01900c02000";
  const auto block = octetsOf(hex + "c0");
  const ReceivedAttributes received(block);
  EXPECT_EQ(received.faults().size(), ReceivedAttributes::mostFaults);
  EXPECT_EQ(told(received, block),
            "Empty 8@0 NoMultiple 16@3 Empty 25@9 Empty 32@12 Repeated 8@15 times 999 Repeated 16@18 times 999 "
            "Repeated 25@24 times 999 Repeated 32@27 times 999 HeaderCut 0@15000 withdraw");
}

TEST(ReceivedAttributes, AWalkOfTheCallersOwn) {
  const auto block = octetsOf(origin + standard + "40020602010000fde8" + extended + "c0");
  std::ostringstream others;
  ReceivedAttributes received;
  PathAttributeWalk walk(block);
  while (walk.next()) {
    const PathAttribute& attribute = walk.attribute();
    if (received.attributeIs(attribute)) continue;
    others << unsigned{attribute.code} << '@' << attribute.offset << '+' << attribute.value.data() - block.data() << ' '
           << attribute.value.size() << ' ' << attribute.flags << ", ";
  }
  EXPECT_FALSE(walk.next());
  for (int i = 0; i < 20; ++i) received.endIs(walk);
  EXPECT_EQ(others.str(), "1@0+3 1 64, 2@11+14 6 64, ");
  EXPECT_EQ(told(received, block), told(ReceivedAttributes(block), block));
}

TEST(ReceivedAttributes, Lists) {
  const CommunityTables tables(true);
  const auto block = octetsOf(large + "c0080cffffff0100010064ffffff01" + ip6 + "c01000" + extended);
  const PathLists lists = dedupAttributes(tables, ReceivedAttributes(block));
  EXPECT_EQ(lists.standard->toStrep() + ' ' + lists.large->toStrep(), "1:100 no-export 1:2:3");
  EXPECT_EQ(lists.extendedIp6->commsStringForm(), "2001:db8::1:100 ");
  EXPECT_EQ(lists.extended, nullptr);  // of two the first stands, malformed as it is
  const auto good = octetsOf(extended);
  EXPECT_EQ(stringify(dedupAttributes(tables, ReceivedAttributes(good)).extended.get()),
            "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> ]");
}

// By hand: what passes a filter, of values in network order.
bool passes(unsigned code, AttributeOctets value, unsigned filter) {
  const bool transitive = code == 8 || code == 32 || (value[0] & 0x40) == 0;
  const bool bandwidth = code == 16 && value[0] == 0x40 && value[1] == 4;
  const bool validity = code == 16 && value[0] == 0x43 && value[1] == 0;
  return (filter & 1) != 0 || ((filter & 2) != 0 && transitive) || ((filter & 4) != 0 && bandwidth) ||
         ((filter & 8) != 0 && validity);
}
std::string passing(unsigned code, AttributeOctets values, std::size_t each, unsigned filter) {
  std::string passed;
  for (; !values.empty(); values = values.subspan(each)) {
    if (passes(code, values, filter)) passed.append(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(each));
  }
  return passed;
}

template <typename List>
void expectWritten(const List& list, unsigned code, std::size_t each, unsigned bits) {
  SCOPED_TRACE(std::to_string(code) + " under " + std::to_string(bits));
  const std::string whole = AttributeWriter(list).str().value();
  const std::string values = passing(
      code,
      {reinterpret_cast<const std::uint8_t*>(whole.data()) + (whole.size() > 258 ? 4 : 3), list->comms().size() * each},
      each, bits);
  const AttributeWriter writer(list, AttributeWriter::Filter(bits));
  EXPECT_EQ(writer.communities(), values.size() / each);
  std::string appended = "before";
  ASSERT_TRUE(writer.fits() && writer.appendTo(appended));
  EXPECT_EQ(appended, "before" + writer.str().value());
  EXPECT_EQ(appended.size(), 6 + writer.size());
  std::vector<std::uint8_t> room(writer.size() + 1, 0xaa);
  EXPECT_TRUE(writer.size() == 0 || !writer.write(std::span(room).first(writer.size() - 1)));
  EXPECT_EQ(room, std::vector<std::uint8_t>(room.size(), 0xaa));
  ASSERT_TRUE(writer.write(room));
  EXPECT_EQ(room.back(), 0xaa);
  room.pop_back();
  EXPECT_EQ(std::string(room.begin(), room.end()), appended.substr(6));
  const ReceivedAttributes received(room, ReceivedAttributes::Flags::judged);
  const AttributeOctets value = received.value(BgpPathAttrType(code));
  EXPECT_EQ(std::string(value.begin(), value.end()), values);
  EXPECT_TRUE(received.faults().empty() &&
              writer.size() == (values.empty() ? 0 : values.size() + (values.size() > 255 ? 4 : 3)));
}

// Of several bandwidths and validation states the length counts all, and nothing to send is no header.
TEST(AttributeWriter, Filters) {
  const Agent agent;
  const Values mixed{0x0002fde800000064, 0x4004fde84cee6b28, 0x4004fde84c6e6b28, 0x4300000000000002,
                     0x4300000000000000, 0x4002fde800000064, 0x0004fde84cee6b28};
  Values many = mixed;
  for (std::uint64_t i = 0; i < 70; ++i) many.push_back((i % 2 == 0 ? 0x0002fde800010000 : 0x4004000100000000) + i);
  for (unsigned filter = 0; filter < 16; ++filter) {
    for (const Values& values : {mixed, many, Values{mixed[0]}, Values{mixed[1]}, Values()}) {
      expectWritten(agent.intern(values), 16, 8, filter);
    }
    for (const Words& words : {Words(), Words{1}, Words{3}, Words{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}}) {
      expectWritten(ExtendedIp6::intern(agent, words), 25, 20, filter);
      expectWritten(agent.ip6Builder(valuesOfWords<ExtendedIp6>(words)), 25, 20, filter);  // never interned
      expectWritten(Large::intern(agent, words), 32, 12, filter);
      expectWritten(Standard::intern(agent, words), 8, 4, filter);
    }
  }
  EXPECT_EQ(AttributeWriter(CommList::PtrConst()).str(), "");
  EXPECT_EQ(boost::algorithm::hex_lower(
                AttributeWriter(agent.intern(mixed), ExtCommList::serialization(false, true, false)).str().value()),
            "c010200002fde8000000640004fde84cee6b284004fde84c6e6b284004fde84cee6b28");
}

}  // namespace
}  // namespace Routing::Bgp::test
