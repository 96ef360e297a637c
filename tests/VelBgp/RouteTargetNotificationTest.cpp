#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Keel/DumpContext.h"
#include "Tyr/Trace.h"
#include "VelBgp/ListTables.h"
#include "VelBgp/NotifyingRouteTargetList.h"
#include "VelBgp/VelBgpCommunity.h"

namespace Routing::Bgp::test {
namespace {

using ValueSet = std::set<std::uint64_t>;

constexpr std::uint64_t target = 0x0002fde800000064, ipTarget = 0x01020a0102030007, color = 0x030b000000000064;

// What the notifications alone tell: each says "changed", so a member comes with its first, goes with its second.
class Picture {
 public:
  Picture(NotifyingRouteTargetList::Ptr rtList, NotifyingRtExtCommListCollection::Ptr collection)
      : rtList_(std::move(rtList)), collection_(std::move(collection)) {
    rtHandle_ = rtList_->notifieeList().attach([this](unsigned attribute, const RouteTarget& rt) {
      EXPECT_EQ(attribute, NotifyingRouteTargetList::attributeRt);
      ++changes;
      if (targets.erase(rt.value) == 0) targets.insert(rt.value);
      EXPECT_EQ(rtList_->rt(rt) != nullptr, targets.contains(rt.value));
    });
    listHandle_ = collection_->notifieeList().attach([this](unsigned attribute, const auto& notifier) {
      EXPECT_EQ(attribute, NotifyingRtExtCommListCollection::attributeRtExtCommList);
      ++changes;
      const RtExtCommClassificationList* const list = notifier->rtExtCommListRawPtr();
      Values values;
      for (const ExtComm* comm : list->comms()) values.push_back(comm->community());
      const auto [member, isNew] = lists.emplace(notifier.get(), values);
      EXPECT_EQ(collection_->rtExtCommList().contains(notifier), isNew);
      EXPECT_EQ(member->second, values);
      EXPECT_EQ(list->lifeTimeNotifier(), notifier.get());
      EXPECT_TRUE(!isNew || list->isDeduped());
      if (!isNew) lists.erase(member);
    });
  }

  std::set<Values> listValues() const {
    std::set<Values> all;
    for (const auto& [notifier, values] : lists) EXPECT_TRUE(all.insert(values).second);
    return all;
  }

  ValueSet targets;
  std::map<const RtExtCommListLifeTimeNotifier*, Values> lists;
  std::size_t changes = 0;

 private:
  NotifyingRouteTargetList::Ptr rtList_;
  NotifyingRtExtCommListCollection::Ptr collection_;
  Tyr::NotifieeList<RouteTarget>::Handle rtHandle_;
  Tyr::NotifieeList<NotifyingRtExtCommListCollection::Key>::Handle listHandle_;
};

class RouteTargetNotificationTest : public testing::TestWithParam<bool>, protected ListTables {
 protected:
  RouteTargetNotificationTest() : ListTables(GetParam()) {
    picture = std::make_unique<Picture>(comms->producerRtList(), lists->notifyingRtExtCommListCollection());
  }
  ~RouteTargetNotificationTest() override {  // the picture sees the tables go
    lists.reset();
    comms.reset();
  }

  std::unique_ptr<Picture> picture;
};

INSTANTIATE_TEST_SUITE_P(Variant, RouteTargetNotificationTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "MultiThreaded" : "SingleThreaded"; });

// One thing that a route or a client holds, and the values that it keeps alive.
struct Holder {
  ExtComm::PtrConst comm;
  ExtCommList::PtrConst list;
  ExtCommClassificationList::PtrConst part;
  ValueSet values;
};

struct Live {
  explicit Live(const std::vector<Holder>& holders) {
    for (const Holder& holder : holders) {
      values.insert(holder.values.begin(), holder.values.end());
      Values ofHolder;
      std::ranges::copy_if(holder.values, std::back_inserter(ofHolder), isTarget);
      targets.insert(ofHolder.begin(), ofHolder.end());
      if (!holder.comm && !ofHolder.empty()) targetLists.insert(ofHolder);
      if (holder.list) lists.insert(holder.values);
    }
  }
  // Types 0 to 2, subtype 2.
  static bool isTarget(std::uint64_t value) { return value >> 56 <= 2 && (value >> 48 & 0xff) == 2; }

  ValueSet values, targets;
  std::set<Values> targetLists;
  std::set<ValueSet> lists;
};

template <typename Set>
std::size_t differences(const Set& before, const Set& after) {
  std::size_t count = 0;
  for (const auto& member : before) count += !after.contains(member);
  for (const auto& member : after) count += !before.contains(member);
  return count;
}

TEST_P(RouteTargetNotificationTest, PictureAgreesWithAModelAtEveryStep) {
  constexpr std::array<std::uint64_t, 10> universe = {
      0x0002fde800000064, 0x0002fde800000065, 0x02020003000a0005, 0x01020a0102030007, 0x0102ffffffff0007,
      0x4002fde800000064, 0x0003fde800000064, 0x030b000000000064, 0x4004fde84cee6b28, 0x4004fde84c6e6b28};
  std::mt19937_64 random(20261121);
  std::vector<Holder> holders;
  Live before(holders);
  for (int step = 0; step < 8000; ++step) {
    // Waves, so that everything comes and goes.
    const std::size_t limit = step / 500 % 2 == 0 ? 24 : 2;
    const std::uint64_t what = random() % 8;
    Holder fresh;
    if (holders.size() > limit || (what < 2 && !holders.empty())) {
      holders.erase(holders.begin() + static_cast<std::ptrdiff_t>(random() % holders.size()));
    } else if (what == 2 && !holders.empty()) {
      fresh = holders[random() % holders.size()];
    } else if (what == 3) {
      const std::uint64_t value = universe[random() % universe.size()];
      fresh = {internOne(value), {}, {}, {value}};
    } else {
      Values values(random() % 6);
      for (std::uint64_t& value : values) value = universe[random() % universe.size()];
      fresh = {{}, intern(values), {}, {values.begin(), values.end()}};
    }
    if (what == 4 && fresh.list) {  // a client that keeps the route targets alone, if there are any
      fresh.part = fresh.list->classificationList(extCommClassificationRouteTarget);
      fresh.list.reset();
      std::erase_if(fresh.values, [](std::uint64_t value) { return !Live::isTarget(value); });
    }
    if (fresh.comm || fresh.list || fresh.part) holders.push_back(std::move(fresh));
    fresh = {};

    const Live live(holders);
    ASSERT_EQ(picture->targets, live.targets) << step;
    ASSERT_EQ(picture->listValues(), live.targetLists) << step;
    const std::size_t expectedChanges =
        differences(before.targets, live.targets) + differences(before.targetLists, live.targetLists);
    ASSERT_EQ(picture->changes, expectedChanges) << step;
    picture->changes = 0;
    ASSERT_EQ(comms->producerRtList()->rtCount(), live.targets.size());
    ASSERT_EQ(lists->notifyingRtExtCommListCollection()->rtExtCommListCount(), live.targetLists.size());
    ASSERT_EQ(lists->rtExtCommClassificationListDedupTable()->size(), live.targetLists.size());
    ASSERT_EQ(comms->size(), live.values.size());
    ASSERT_EQ(lists->size(), live.lists.size());
    before = live;
  }
}

TEST_P(RouteTargetNotificationTest, TableTeardownWithdrawsEachMemberOnce) {
  const ExtCommList::PtrConst kept[] = {intern({target, color}), intern({target, ipTarget}), intern({color})};
  const ExtComm::PtrConst one = internOne(target + 1);
  const auto part = kept[0]->classificationList(extCommClassificationRouteTarget);
  const auto rtList = comms->producerRtList();
  const auto collection = lists->notifyingRtExtCommListCollection();
  EXPECT_EQ(picture->changes, 5u);
  lists.reset();
  EXPECT_EQ(picture->changes, 7u);
  EXPECT_EQ(collection->rtExtCommListCount(), 0u);
  EXPECT_TRUE(picture->lists.empty());
  EXPECT_EQ(dynamic_cast<const RtExtCommClassificationList&>(*part).lifeTimeNotifier(), nullptr);
  EXPECT_EQ(picture->targets.size(), 3u);
  comms.reset();
  EXPECT_EQ(picture->changes, 10u);
  EXPECT_EQ(rtList->rtCount(), 0u);
  EXPECT_TRUE(picture->targets.empty());
  // What outlives its table is whole.
  EXPECT_EQ(stringify(kept[1].get()),
            "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> <RouteTarget 10.1.2.3:7 0x01020a0102030007> ]");
  EXPECT_EQ(one->community(), target + 1);
}

TEST_P(RouteTargetNotificationTest, CollectionsAreSilentWhenNothingChanges) {
  const auto rtList = Tyr::make<NotifyingRouteTargetList>();
  const auto collection = Tyr::make<NotifyingRtExtCommListCollection>();
  const Picture own(rtList, collection);
  const ExtCommList::PtrConst list = intern({target});
  const auto notifier = *lists->notifyingRtExtCommListCollection()->rtExtCommList().begin();
  for (const std::size_t changes : {2, 2}) {
    rtList->rtIs({target});
    collection->rtExtCommListIs(notifier);
    EXPECT_EQ(own.changes, changes);
  }
  EXPECT_TRUE(rtList->rtDel({target}) && collection->rtExtCommListDel(notifier));
  EXPECT_FALSE(rtList->rtDel({target}) || collection->rtExtCommListDel(notifier));
  EXPECT_EQ(own.changes, 4u);
  for (std::uint64_t i = 0; i < 1000; ++i) rtList->rtIs({i});
  collection->rtExtCommListIs(notifier);
  for (const std::size_t changes : {2006, 2006}) {
    rtList->rtDelAll();
    collection->rtExtCommListDelAll();
    EXPECT_EQ(own.changes, changes);
  }
  EXPECT_EQ(rtList->rtCount() + collection->rtExtCommListCount() + own.targets.size() + own.lists.size(), 0u);
}

TEST_P(RouteTargetNotificationTest, NotifierSpeaksForItsList) {
  const auto list = intern({ipTarget, target, color})->classificationList(extCommClassificationRouteTarget);
  const auto& rtList = dynamic_cast<const RtExtCommClassificationList&>(*list);
  const auto notifier = *lists->notifyingRtExtCommListCollection()->rtExtCommList().begin();
  EXPECT_EQ(rtList.lifeTimeNotifier(), notifier.get());
  EXPECT_EQ(notifier->rtExtCommListRawPtr(), &rtList);
  EXPECT_EQ(notifier->getDedupedObjectRawPtr(), &rtList);
  EXPECT_TRUE(notifier->notificationActive());
  EXPECT_EQ(notifier->comm(ipTarget), list->comms()[1]);
  EXPECT_EQ(notifier->comm(color), nullptr);
  EXPECT_EQ(notifier->toStrep(),
            "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> <RouteTarget 10.1.2.3:7 0x01020a0102030007> ]");
}

TEST_P(RouteTargetNotificationTest, NotifieeOfACollectionIsMadeOnce) {
  const auto first = lists->rtExtCommListLifeTimeNotifiee();
  EXPECT_EQ(lists->rtExtCommListLifeTimeNotifieeIs(lists->notifyingRtExtCommListCollection()), first);
  const auto second = lists->rtExtCommListLifeTimeNotifieeIs(Tyr::make<NotifyingRtExtCommListCollection>());
  EXPECT_NE(second, first);
  EXPECT_EQ(lists->rtExtCommListLifeTimeNotifiee(), second);
  lists->rtExtCommListLifeTimeNotifieeDel();
  EXPECT_EQ(lists->rtExtCommListLifeTimeNotifiee(), nullptr);
}

TEST_P(RouteTargetNotificationTest, DumpFormats) {
  auto dump = [](const auto& collection, std::uint32_t indent) {
    Keel::StringDumpContext context;
    collection->dumpState(context, indent);
    return context.text();
  };
  const auto rtList = comms->producerRtList();
  const auto collection = lists->notifyingRtExtCommListCollection();
  EXPECT_EQ(dump(rtList, 0), "NotifyingRouteTargetList #0:\n");
  EXPECT_EQ(dump(collection, 4), "    NotifyingRtExtCommListCollection rtExtCommLists #0;\n");
  const ExtCommList::PtrConst list = intern({target, ipTarget});
  const ExtComm::PtrConst fourOctets = internOne(0x02020003000a0005);
  EXPECT_EQ(dump(rtList, 0), "NotifyingRouteTargetList #3:\n  65000:100\n  10.1.2.3:7\n  196618:5\n");
  EXPECT_EQ(dump(rtList, 4), "    NotifyingRouteTargetList #3:\n      65000:100\n      10.1.2.3:7\n      196618:5\n");
  EXPECT_EQ(dump(rtList, 0xfffffffe), "  NotifyingRouteTargetList #3:\n65000:100\n10.1.2.3:7\n196618:5\n");  // wraps
  EXPECT_EQ(RouteTarget{0x02020003000a0005}.toStrep(true), "3.10:5");
  const std::string member = "rtExtCommList " + stringify(list.get()) + "\n";
  EXPECT_EQ(dump(collection, 0), "NotifyingRtExtCommListCollection rtExtCommLists #1;\n  " + member);
  EXPECT_EQ(dump(collection, 4), "    NotifyingRtExtCommListCollection rtExtCommLists #1;\n      " + member);
}

TEST_P(RouteTargetNotificationTest, ListsAreTracedOnTheWayInAndOut) {
  std::vector<std::string> lines;
  Tyr::traceSinkIs([&](int level, std::string_view line) {
    if (level == 9) lines.emplace_back(line);
  });
  Tyr::traceLevelIs(9);
  intern({target});
  Tyr::traceLevelIs(-1);
  Tyr::traceSinkIs({});
  EXPECT_THAT(lines,
              testing::Contains(testing::ContainsRegex("^handleInsert: .*handle: .* rtExtCommListLifeTimeNotifier: ")));
  EXPECT_THAT(lines, testing::Contains(testing::StartsWith("handleRemove: ")));
}

// Four threads intern and let go lists of a few route targets while a fifth reads both collections; the observers
// intern and let go, too. Whenever the threads rest, pictures and collections are what is interned.
TEST(RouteTargetNotificationThreads, PicturesAreWhatIsInternedAtEveryRest) {
  struct Tables : ListTables {
    Tables() : ListTables(true) {}
    void run() {
      const auto rtList = comms->producerRtList();
      const auto collection = lists->notifyingRtExtCommListCollection();
      ValueSet targets;
      std::set<const void*> targetLists;
      std::vector<ExtCommList::PtrConst> caused;
      bool calm = false;
      const auto onTarget = rtList->notifieeList().attach([&](unsigned, const RouteTarget& rt) {
        EXPECT_EQ(rtList->rt(rt) != nullptr, targets.erase(rt.value) == 0 && targets.insert(rt.value).second);
        if (!calm && rt.value % 4 == 0) caused.assign(1, intern({target + 1, target + 2, color}));
      });
      const auto onList = collection->notifieeList().attach([&](unsigned, const auto& notifier) {
        if (targetLists.erase(notifier.get()) == 0) targetLists.insert(notifier.get());
      });
      for (unsigned round = 0; round < 20; ++round) {
        std::array<std::vector<ExtCommList::PtrConst>, 4> held;
        std::atomic<int> working{4};
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < 4; ++i) {
          threads.emplace_back([&, i] {
            std::mt19937 random(4 * round + i);
            for (int step = 0; step < 500; ++step) {
              Values values(1 + random() % 3);
              for (std::uint64_t& value : values) value = target + random() % 12;
              held[i].push_back(intern(values));
              if (held[i].size() > 6) held[i].erase(held[i].begin() + random() % 6);
            }
            --working;
          });
        }
        while (working != 0) {
          EXPECT_LE(rtList->rt().size(), 13u);
          for (const auto& notifier : collection->rtExtCommList()) EXPECT_NE(notifier, nullptr);
        }
        for (std::thread& thread : threads) thread.join();
        calm = true;
        caused.clear();
        ValueSet live;
        std::set<const void*> liveLists;
        for (const auto& one : held) {
          for (const ExtCommList::PtrConst& list : one) {
            for (const ExtComm* comm : list->comms()) live.insert(comm->community());
            const auto part = list->classificationList(extCommClassificationRouteTarget);
            liveLists.insert(dynamic_cast<const RtExtCommClassificationList&>(*part).lifeTimeNotifier());
          }
        }
        EXPECT_EQ(targets, live);
        EXPECT_EQ(targetLists, liveLists);
        EXPECT_EQ(rtList->rtCount(), live.size());
        EXPECT_EQ(collection->rtExtCommListCount(), liveLists.size());
        for (auto& one : held) one.clear();
        EXPECT_TRUE(targets.empty() && targetLists.empty());
        calm = false;
      }
    }
  };
  Tables().run();
}

}  // namespace
}  // namespace Routing::Bgp::test
