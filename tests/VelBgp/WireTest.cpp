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

// The same octets wherever they are put, and not one beside them.
template <typename List>
std::string written(const List& list, unsigned filter) {
  const AttributeWriter writer(list, AttributeWriter::Filter(filter));
  const std::string octets = writer.str().value();
  EXPECT_TRUE(writer.fits() && writer.size() == octets.size());
  std::string room(octets.size() + 1, '\xaa'), appended = "before";
  const std::span span(reinterpret_cast<std::uint8_t*>(room.data()), octets.size());
  EXPECT_TRUE(octets.empty() || !writer.write(span.first(octets.size() - 1)));
  EXPECT_EQ(room, std::string(octets.size() + 1, '\xaa'));
  EXPECT_TRUE(writer.write(span) && writer.appendTo(appended));
  EXPECT_TRUE(room == octets + '\xaa' && appended == "before" + octets);
  return boost::algorithm::hex_lower(octets);
}

// Of several bandwidths and validation states the length counts all, and nothing to send is no header.
TEST(AttributeWriter, Filters) {
  const Agent agent;
  const auto extended = agent.intern({0x0002fde800000064, 0x4002fde800000064, 0x4004fde84c6e6b28, 0x4004fde84cee6b28,
                                      0x4300000000000000, 0x4300000000000002});
  const std::string target = "0002fde800000064", bandwidths = "4004fde84c6e6b284004fde84cee6b28",
                    states = "43000000000000004300000000000002", ip6Target = "0002" + std::string(36, '1'),
                    everything = target + "4002fde800000064" + bandwidths + states;
  const auto ip6 = ip6Target + "4002" + std::string(36, '1'), plain = std::string("0001006400010065");
  const struct {
    unsigned filter;
    std::string extended, ip6, standard;
  } rows[] = {
      {0, "", "", ""},
      {1, "c01030" + everything, "c01928" + ip6, "c00808" + plain},
      {2, "c01008" + target, "c01914" + ip6Target, "c00808" + plain},
      {4, "c01010" + bandwidths, "", ""},
      {8, "c01010" + states, "", ""},
      {14, "c01028" + target + bandwidths + states, "c01914" + ip6Target, "c00808" + plain},
      {15, "c01030" + everything, "c01928" + ip6, "c00808" + plain},
  };
  const Addr::Ip6Addr ones(std::string_view("1111:1111:1111:1111:1111:1111:1111:1111"));
  const auto open = agent.ip6Builder({{0, 2, ones, 0x1111}, {0x40, 2, ones, 0x1111}});  // not interned yet
  for (const auto& row : rows) {
    SCOPED_TRACE(row.filter);
    EXPECT_EQ(written(extended, row.filter), row.extended);
    EXPECT_EQ(written(open, row.filter), row.ip6);
    EXPECT_EQ(written(agent.internIp6({{0x40, 2, ones, 0x1111}, {0, 2, ones, 0x1111}}), row.filter), row.ip6);
    EXPECT_EQ(written(agent.internStandard({0x10065, 0x10064}), row.filter), row.standard);
    EXPECT_EQ(written(agent.intern({}), row.filter) + written(agent.internLarge({}), row.filter), "");
    EXPECT_EQ(written(CommList::PtrConst(), row.filter) + written(agent.internStandard({}), row.filter), "");
  }
}

}  // namespace
}  // namespace Routing::Bgp::test
