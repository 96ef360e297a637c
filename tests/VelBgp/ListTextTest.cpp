#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Keel/DumpContext.h"
#include "Policy/PosixRegex.h"
#include "VelBgp/ListTables.h"
#include "VelBgp/VelBgpCommunity.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

using RouteMap::PosixRegex;
constexpr std::uint64_t target = 0x0002fde800000064, color = 0x030b000000000064, bandwidth = 0x4004fde84cee6b28,
                        valid = 0x4300000000000000, invalid = 0x4300000000000002;
// Without a text for matching.
constexpr std::uint64_t cost = 0x0301000000000000, ospfRouteType = 0x0306000000000000, unknown = 0x0700000000000001;

class ListTextTest : public testing::Test, protected ListTables {
 protected:
  ListTextTest() : ListTables(false) {}
};

// Every octet prints and is read back; every damage to a text is refused.
template <typename Set>
void expectFlagTexts(const std::string& name, const std::vector<std::string>& members) {
  const unsigned count = 1u << members.size();
  for (unsigned octet = 0; octet < count; ++octet) {
    std::string text = "Value('" + name + "', ** {";
    for (std::size_t i = 0; i < members.size(); ++i) {
      text += (i == 0 ? "'" : ", '") + members[i] + "': " + ((octet >> i & 1) != 0 ? "True" : "False");
    }
    text += "})";
    const Set set(static_cast<std::uint8_t>(octet));
    EXPECT_EQ(valueToStrep(set), text);
    EXPECT_EQ(Set::strepToValue(text), set);
  }
  EXPECT_THROW(Set(static_cast<std::uint8_t>(count)), Tyr::RangeException);
  const std::string text = valueToStrep(Set(1));
  for (std::size_t cut = 0; cut < text.size(); ++cut) {
    std::string wrong = text;
    wrong[cut] ^= 1;
    EXPECT_THROW(Set::strepToValue(wrong), Tyr::ParseException) << wrong;
    EXPECT_THROW(Set::strepToValue(text.substr(0, cut)), Tyr::ParseException) << cut;
  }
}

TEST_F(ListTextTest, FlagSets) {
  expectFlagTexts<ExtCommList::CommVectorAttrs>(
      "Routing::Bgp::ExtCommList::CommVectorAttrs",
      {"sorted", "hasLinkBandwidth", "hasLinkBandwidthWithUnspecifiedAsNumber", "hasOriginValidationState",
       "hasPolicyMatchStrepUICommunities", "hasPrunableValues"});
  expectFlagTexts<ExtCommClassificationList::CommVectorAttrs>(
      "Routing::Bgp::ExtCommClassificationList::CommVectorAttrs", {"sorted", "hasPrunableValues"});
  expectFlagTexts<ExtCommList::Serialization>("Routing::Bgp::ExtCommList::Serialization",
                                              {"all", "transitive", "linkBandwidth", "originAsValidity"});
}

TEST_F(ListTextTest, Contents) {
  const ExtCommClassificationListContent part(extCommClassificationRouteTarget);
  EXPECT_EQ(valueToStrep(part),
            "Value('Routing::Bgp::ExtCommClassificationListContent', ** {'classification': "
            "extCommClassificationRouteTarget, 'commVectorSorted': False})");
  part.sortAndHash();
  EXPECT_THAT(testing::PrintToString(part), testing::EndsWith(" 'commVectorSorted': True})"));
  ExtCommListContentU64 content(comms.get());
  EXPECT_EQ(testing::PrintToString(content), "[  ]");
  content.commIs(color);
  content.commIs(target);
  EXPECT_EQ(testing::PrintToString(content), "[ 0x030b000000000064 0x0002fde800000064 ]");
}

// Whatever the caller set on the stream neither shows in what `print` writes nor changes.
template <typename Print>
void expectText(const std::string& expected, const Print& print) {
  std::ostringstream stream, before;
  stream << std::hex << std::showbase << std::uppercase << std::fixed << std::left << std::setprecision(2)
         << std::setfill('*') << std::setw(200);
  before.copyfmt(stream);
  before.width(200);
  print(stream);
  EXPECT_EQ(stream.str(), expected);
  EXPECT_EQ(stream.flags(), before.flags());
  EXPECT_EQ(stream.width(), before.width());
  EXPECT_EQ(stream.fill(), before.fill());
  EXPECT_EQ(stream.precision(), before.precision());
}

TEST_F(ListTextTest, ListsPrintWhole) {
  const ExtCommList::PtrConst list = intern({bandwidth, color, target});
  const auto part = list->classificationList(extCommClassificationRouteTarget);
  const std::string partText = "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> ]";
  const std::string text =
      "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> <Color CO(00):100 0x030b000000000064>"
      " <LinkBandwidth 65000:1.25e+08 0x4004fde84cee6b28> ]";
  expectText(text, [&](std::ostream& stream) { stream << list.get(); });
  expectText(text, [&](std::ostream& stream) { stream << *list; });
  expectText(partText, [&](std::ostream& stream) { stream << part.get(); });
  expectText(partText, [&](std::ostream& stream) { stream << *part; });
  EXPECT_EQ(stringify(list.get()), text);
  EXPECT_EQ(stringify(part.get()), partText);
  EXPECT_EQ(stringify(intern({}).get()), "[  ]");
  EXPECT_EQ(stringify(static_cast<const ExtCommList*>(nullptr)), "NULL");
  EXPECT_EQ(stringify(static_cast<const ExtCommClassificationList*>(nullptr)), "NULL");
}

TEST_F(ListTextTest, DumpLabelsAndIndents) {
  const ExtCommList::PtrConst list = intern({target, color});
  for (const unsigned indent : {0u, 3u}) {
    Keel::StringDumpContext expected, dumped;
    expected.line(indent, "ExtCommListDedupTable");
    expected.line(indent + 2, "extComm");
    lists->extCommListDedupTable().dump(expected, indent + 4);
    expected.line(indent + 2, "extCommClassification");
    lists->extCommClassificationListDedupTable().dump(expected, indent + 4);
    expected.line(indent + 2, "rtExtCommClassification");
    lists->rtExtCommClassificationListDedupTable()->dump(expected, indent + 4);
    comms->dedupTable().dump(expected, indent);
    lists->dumpState(dumped, indent);
    comms->dumpState(dumped, indent);
    EXPECT_EQ(dumped.text(), expected.text());
  }
}

TEST_F(ListTextTest, TextsForMatching) {
  constexpr auto plain = MatchMode::strepDefault, classified = MatchMode::strepClassification, ui = MatchMode::ui;
  struct Row {
    Values values;
    MatchMode mode;
    const char* text;  // as an expression
  };
  const Row rows[] = {
      {{}, plain, ""},
      {{cost}, plain, ""},
      {{target}, plain, "65000:100"},
      {{bandwidth, target}, plain, "65000:100 65000:1\\.25e\\+08"},
      {{bandwidth, target}, classified, "RT:65000:100 lbw 65000:1\\.25e\\+08"},
      {{0x02020003000a0005, color}, classified, "RT:196618:5 Color:CO\\(00\\):100"},
      // Communities without a text still have their place.
      {{target, unknown}, plain, "65000:100 "},
      {{cost, color}, classified, " Color:CO\\(00\\):100"},
      {{target, ospfRouteType, color}, plain, "65000:100  Color:CO\\(00\\):100"},
      {{cost, ospfRouteType, unknown}, plain, "  "},
      {{target, valid}, plain, "65000:100 "},
      {{valid}, classified, ""},
      {{valid, target, cost, color, bandwidth}, ui, "Origin-Validation-State:valid"},
      {{invalid, valid}, ui, "Origin-Validation-State:valid Origin-Validation-State:invalid"},
  };
  for (const Row& row : rows) {
    const ExtCommList::PtrConst list = intern(row.values);
    const PosixRegex whole("^" + std::string(row.text) + "$"), other("Route-Target-AS|State:not|RT.*Origin");
    EXPECT_TRUE(matchExtCommList(list.get(), row.mode, &whole)) << whole.pattern();
    EXPECT_TRUE(list->matchCommunitiesRegex(&whole)) << whole.pattern();
    EXPECT_FALSE(list->matchCommunitiesRegex(&other)) << whole.pattern();
  }
  const PosixRegex any("");
  EXPECT_ASSERTION(matchExtCommList(intern({target}).get(), ui, &any), "!strVal.empty() || matchMode != MatchMode::ui");
}

// Far more than an attribute holds: the last community is still part of the text.
TEST_F(ListTextTest, TextsAreNeverCut) {
  Values values;
  for (std::uint64_t i = 0; i < 20000; ++i) values.push_back(0x0002fde800000000 + i);
  const ExtCommList::PtrConst list = intern(values);
  const PosixRegex last("^RT:65000:0 .* RT:65000:19999$"), other("19998$");
  EXPECT_TRUE(list->matchCommunitiesRegex(&last));
  EXPECT_FALSE(list->matchCommunitiesRegex(&other));
  EXPECT_THAT(stringify(list.get()), testing::EndsWith(":19999 0x0002fde800004e1f> ]"));
}

}  // namespace
}  // namespace Routing::Bgp::test
