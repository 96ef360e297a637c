#include "VelBgp/ExtCommIp6List.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iomanip>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "Keel/DumpContext.h"
#include "Tyr/Exception.h"
#include "VelBgp/Ip6Tables.h"
#include "support/Death.h"
#include "support/FailingNew.h"

namespace Routing::Bgp::test {
namespace {

using namespace std::string_literals;
using Contents = std::vector<ExtCommIp6Content>;

const ExtCommIp6Content target = ip6(0x00, 0x02, "2001:db8::1", 100), origin = ip6(0x00, 0x03, "2001:db8::1", 1),
                        redirect = ip6(0x00, 0x0c, "::ffff:192.0.2.1", 0), odd = ip6(0x01, 0x02, "::1", 2),
                        nonTransitive = ip6(0x40, 0x02, "2001:db8::2", 7);

Contents contentsOf(const ExtCommIp6ListBase& list) {
  Contents contents;
  for (const ExtCommIp6::PtrConst& comm : list.comms()) contents.push_back(comm->getContent());
  return contents;
}

class Ip6ListTest : public testing::Test, protected Ip6Tables {
 protected:
  Ip6ListTest() : Ip6Tables(true) {}
  ~Ip6ListTest() override { EXPECT_EQ(size(), 0u); }
};

TEST_F(Ip6ListTest, BuildersGrowAndInternedListsDoNot) {
  const ExtCommIp6List::PtrConst list = intern({target, odd});
  const ExtCommIp6List::Ptr loser = builder({odd, target, odd});
  EXPECT_EQ(loser->dedup(lists.get()), list);
  EXPECT_TRUE(!loser->everDeduped() && list->compareByContent(ExtCommIp6ListDedupContent(*loser)));
  loser->commIs(internOne(origin));
  loser->append(list);
  loser->append(loser);
  EXPECT_FALSE(list->compareByContent(ExtCommIp6ListDedupContent(*loser)));
  EXPECT_EQ(loser->dedup(lists.get()), loser);
  EXPECT_EQ(contentsOf(*loser), (Contents{target, origin, odd}));
  EXPECT_EQ(loser->dedup(lists.get()), loser);
  EXPECT_THROW(ExtCommIp6ListIs()->commIs(nullptr), Tyr::NullArgumentException);
  EXPECT_THROW(ExtCommIp6ListIs()->append(nullptr), Tyr::NullArgumentException);
}

// An interned list stays what it is: another table gets a copy, also after the first is gone.
TEST_F(Ip6ListTest, AnotherTableInternsACopy) {
  const ExtCommIp6List::PtrConst list = intern({target, origin});
  const auto others = ExtCommIp6ListDedupTableIs();
  const ExtCommIp6List::PtrConst copy = list->dedup(others.get());
  const auto part = list->classificationList(extCommClassificationRouteTarget);
  const auto partCopy = copy->classificationList(extCommClassificationRouteTarget);
  EXPECT_EQ(boost::const_pointer_cast<ExtCommIp6ClassificationList>(part)->dedup(others.get()), partCopy);
  EXPECT_TRUE(copy != list && part != partCopy);
  lists = ExtCommIp6ListDedupTableIs();
  EXPECT_FALSE(list->isDeduped());
  EXPECT_EQ(list->dedup(others.get()), copy);
  EXPECT_EQ(list->dedup(lists.get())->totalTransitiveCommunities(), 2u);
}

TEST_F(Ip6ListTest, AttributesWithAndWithoutNonTransitive) {
  const auto only = intern({nonTransitive}), both = intern({nonTransitive, target});
  EXPECT_EQ(both->serialize(false), intern({target})->serialize(true));
  EXPECT_EQ(only->serialize(true), "\xc0\x19\x14\x40\x02\x20\x01\x0d\xb8" + std::string(11, '\0') + "\x02\0\x07"s);
  EXPECT_EQ(only->serialize(false), "");
  EXPECT_EQ(intern({})->serialize(true), "");
}

TEST_F(Ip6ListTest, Texts) {
  const ExtCommIp6List::PtrConst list = intern({nonTransitive, target});
  const std::string text =
      "[ <extCommIp6PktTypeTransIpv6Address extCommIp6PktSubtypeRouteTarget addr=2001:db8::1 localAdmin=100>"
      " <extCommIp6PktTypeNonTransIpv6Address subtype=2 addr=2001:db8::2 localAdmin=7> ]";
  EXPECT_EQ(list->toStrep(), text);
  EXPECT_EQ(list->commsStringForm(), "2001:db8::1:100 2001:db8::2:7 ");
  std::ostringstream stream;
  stream << std::hex << std::setfill('*') << std::setw(999) << list.get() << *intern({})
         << static_cast<const ExtCommIp6List*>(nullptr);
  EXPECT_EQ(stream.str(), text + "[  ]NULL");
  Keel::StringDumpContext dumped;
  lists->dumpState(dumped, 1);
  EXPECT_THAT(dumped.text(), testing::MatchesRegex(" ExtCommIp6ListDedupTable\n   extCommIp6\n     DedupHashTable .*\n"
                                                   "   extCommIp6Classification\n     DedupHashTable .*\n"));
}

// Fails at every allocation in turn, until the list is made. In between it is a builder with what it had.
TEST_F(Ip6ListTest, RunningOutOfMemoryLeavesABuilder) {
  Contents contents;  // of three classifications
  for (std::uint16_t i = 0; i < 200; ++i) contents.push_back(ip6(i % 3 == 2 ? 0x40 : 0, i % 3 == 1 ? 3 : 2, "::", i));
  const ExtCommIp6List::Ptr list = builder(contents);
  int failures = 0;
  for (bool made = false; !made; ++failures) {
    try {
      allocationsLeft = failures;
      made = list->dedup(lists.get()) == list;
    } catch (const std::bad_alloc&) {
    }
    allocationsLeft = -1;
    EXPECT_EQ(list->everDeduped(), made);
    EXPECT_EQ(list->totalTransitiveCommunities(), made ? 134u : 0u);
    EXPECT_EQ(size(), made ? 200u + 1 + 3 : 200u);
  }
  EXPECT_GT(failures, 10);
}

TEST_F(Ip6ListTest, BrokenPreconditionsStopTheProcess) {
  const ExtCommIp6List::Ptr list = builder({target}), open = builder({target, origin});
  const ExtCommIp6List::PtrConst interned = list->dedup(lists.get());
  const char* const neverDeduped =
      "__null == ( this ) || ( this )->dedupState() == Keel::dedupHandleStateNeverDeduped()";
  EXPECT_ASSERTION(list->commIs(internOne(origin)), neverDeduped);
  EXPECT_ASSERTION(list->append(open), neverDeduped);
  EXPECT_ASSERTION(list->expectedCommunityCountIs(9), neverDeduped);
  EXPECT_ASSERTION(open->classificationList(extCommClassificationRouteTarget),
                   "__null == ( this ) || ( this )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
  EXPECT_ASSERTION(open->comm(target), "commVectorSorted");
  EXPECT_ASSERTION(open->commIs(ExtCommIp6Is(extCommClassificationColor, target)),
                   "__null == ( comm ) || ( comm )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
  const auto part = Tyr::make<ExtCommIp6ClassificationList>(extCommClassificationRouteTarget);
  EXPECT_ASSERTION(part->dedup(lists.get()), "_classificationList->commVectorSorted()");
}

}  // namespace
}  // namespace Routing::Bgp::test
