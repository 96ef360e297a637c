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

// With all members on; what every set of flags does is tested with the sets themselves.
template <typename Set>
void expectFlags(unsigned octet, const std::string& text) {
  EXPECT_EQ(valueToStrep(Set(static_cast<std::uint8_t>(octet))), "Value('Routing::Bgp::" + text + "})");
  EXPECT_THROW(Set(static_cast<std::uint8_t>(octet + 1)), Tyr::RangeException);
}

TEST_F(ListTextTest, FlagSets) {
  expectFlags<ExtCommList::CommVectorAttrs>(
      63,
      "ExtCommList::CommVectorAttrs', ** {'sorted': True, 'hasLinkBandwidth': True, "
      "'hasLinkBandwidthWithUnspecifiedAsNumber': True, 'hasOriginValidationState': True, "
      "'hasPolicyMatchStrepUICommunities': True, 'hasPrunableValues': True");
  expectFlags<ExtCommClassificationList::CommVectorAttrs>(
      3, "ExtCommClassificationList::CommVectorAttrs', ** {'sorted': True, 'hasPrunableValues': True");
  expectFlags<ExtCommList::Serialization>(15,
                                          "ExtCommList::Serialization', ** {'all': True, 'transitive': True, "
                                          "'linkBandwidth': True, 'originAsValidity': True");
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

// Whatever the caller set on the stream neither shows in the texts nor changes.
TEST_F(ListTextTest, ListsPrintWhole) {
  const ExtCommList::PtrConst list = intern({bandwidth, color, target});
  const auto part = list->classificationList(extCommClassificationRouteTarget);
  const std::string partText = "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> ]";
  const std::string text =
      "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> <Color CO(00):100 0x030b000000000064>"
      " <LinkBandwidth 65000:1.25e+08 0x4004fde84cee6b28> ]";
  std::ostringstream stream;
  stream << std::hex << std::showbase << std::scientific << std::setprecision(1) << std::setfill('*') << std::setw(200);
  const auto flags = stream.flags();
  stream << list.get() << *list << part.get() << *part;
  EXPECT_EQ(stream.str(), text + text + partText + partText);
  EXPECT_TRUE(stream.flags() == flags && stream.width() == 200 && stream.fill() == '*' && stream.precision() == 1);
  EXPECT_EQ(stringify(list.get()) + stringify(part.get()), text + partText);
  EXPECT_EQ(stringify(intern({}).get()), "[  ]");
  EXPECT_EQ(stringify(static_cast<const ExtCommList*>(nullptr)), "NULL");
  EXPECT_EQ(stringify(static_cast<const ExtCommClassificationList*>(nullptr)), "NULL");
}

TEST_F(ListTextTest, DumpLabelsAndIndents) {
  Keel::StringDumpContext dumped;
  lists->dumpState(dumped, 0);
  lists->dumpState(dumped, 3);
  const auto labels = [](const std::string& indent) {
    const std::string label = "\n  " + indent, dump = "\n    " + indent + "DedupHashTable ";
    return indent + "ExtCommListDedupTable" + label + "extComm" + dump + "extCommList .*" + label +
           "extCommClassification" + dump + "extCommClassificationList .*" + label + "rtExtCommClassification" + dump +
           "rtExtCommClassificationList .*\n";
  };
  EXPECT_THAT(dumped.text(), testing::MatchesRegex(labels("") + labels("   ")));
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

}  // namespace
}  // namespace Routing::Bgp::test
