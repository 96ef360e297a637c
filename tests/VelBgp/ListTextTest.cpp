// Texts of what a caller has in hand, and what stops whoever uses the library wrongly.
#include "VelBgp/ListText.h"

#include <sstream>

#include "Policy/PosixRegex.h"
#include "VelBgp/Agent.h"
#include "VelBgp/MakeValue.h"
#include "VelBgp/VelBgpSerialize.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

class ListText : public testing::Test {
 protected:
  template <typename Range>
  static std::string joined(const Range& range) {
    std::ostringstream stream;
    stream << std::hex << std::showbase;
    stream.width(40);
    join(stream, range);
    return stream.str();
  }

  const Agent agent;
};

TEST_F(ListText, ofListsByTheirPointers) {
  const auto list = agent.intern({0x0002fde800000064, 0x030b000000000007});
  EXPECT_EQ(stringify(list),
            "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> <Color CO(00):7 0x030b000000000007> ]");
  EXPECT_EQ(list->toStrep(), stringify(list.get()));
  EXPECT_EQ(list->classificationList(extCommClassificationColor)->toStrep(), "[ <Color CO(00):7 0x030b000000000007> ]");
  EXPECT_EQ(stringify(agent.internStandard({0xffffff01})), "no-export");
  EXPECT_EQ(stringify(agent.internLarge({CommunityValue(65536, 1, 2)})), "65536:1:2");
  const auto ip6List = agent.internIp6({ip6(0, 2, "2001:db8::1", 100)});
  EXPECT_EQ(stringify(ip6List), ip6List->toStrep());
  EXPECT_EQ(stringify(ExtCommIp6List::PtrConst()), "NULL");
  EXPECT_EQ(stringify(ExtCommList::PtrConst()), "NULL");
}

TEST_F(ListText, ofAnyRange) {
  const auto target = agent.internOne(0x0002fde800000064);
  EXPECT_EQ(joined(std::vector{target, target}), target->toStrep() + " " + target->toStrep());
  EXPECT_EQ(joined(std::vector<const ExtComm*>{target.get(), nullptr}), target->toStrep() + " NULL");
  EXPECT_EQ(joined(std::vector{routeTarget(65000, 100), color(7)}), "0x0002fde800000064 0x030b000000000007");
  EXPECT_EQ(joined(agent.internStandard({65000u << 16 | 1, 0xffffff01})->comms()), "65000:1 no-export");
  EXPECT_EQ(joined(agent.internLarge({CommunityValue(1, 2, 3)})->comms()), "1:2:3");
  EXPECT_EQ(joined(agent.intern({0x0002fde800000064})->comms()), target->toStrep());
  EXPECT_EQ(joined(std::vector<std::uint32_t>()), "");
}

// The second line tells what to do.
TEST_F(ListText, misuseEndsWithASentence) {
  const auto expectAdvice = [](auto&& misuse, const char* advice) {
    EXPECT_EXIT(misuse(), testing::KilledBySignal(SIGABRT), testing::HasSubstr(advice));
  };
  const auto list = agent.intern({1});
  expectAdvice([&] { list->matchCommunitiesRegex(nullptr); }, "make a RouteMap::PosixRegex first");
  expectAdvice([&] { agent.internStandard({1})->matchCommunitiesRegex(nullptr); }, "make a RouteMap::PosixRegex first");
  RouteMap::PosixRegex moved("a");
  const RouteMap::PosixRegex other(std::move(moved));
  expectAdvice([&] { list->matchCommunitiesRegex(&moved); }, "match with the one that it was moved to");
  expectAdvice([] { Tyr::agentMultiThreadedIs(true); }, "before the first table is made");
  expectAdvice([] { SerializePathAttribute(BgpPathAttrType::community, BgpPathAttrFlag(0xc0), 70000); },
               "VelBgp/AttributeWriter.h");
}

}  // namespace
}  // namespace Routing::Bgp::test
