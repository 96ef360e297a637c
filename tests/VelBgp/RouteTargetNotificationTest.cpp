#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tyr/Trace.h"
#include "VelBgp/Agent.h"
#include "VelBgp/NotifyingRouteTargetList.h"

namespace Routing::Bgp::test {
namespace {

using ValueSet = std::set<std::uint64_t>;

constexpr std::uint64_t target = 0x0002fde800000064;

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
      const Values values = valuesOf(list->comms());
      const auto [member, isNew] = lists.insert(values);
      EXPECT_EQ(collection_->rtExtCommList().contains(notifier), isNew);
      EXPECT_EQ(list->lifeTimeNotifier(), notifier.get());
      EXPECT_EQ(notifier->getDedupedObjectRawPtr(), list);
      EXPECT_EQ(notifier->comm(values.back()), list->comms().back());
      EXPECT_EQ(notifier->comm(0), nullptr);
      EXPECT_EQ(notifier->toStrep(), stringify(static_cast<const ExtCommClassificationList*>(list)));
      EXPECT_TRUE(notifier->notificationActive() && (!isNew || list->isDeduped()));
      if (!isNew) lists.erase(member);
    });
  }

  ValueSet targets;
  std::set<Values> lists;
  std::size_t changes = 0;

 private:
  NotifyingRouteTargetList::Ptr rtList_;
  NotifyingRtExtCommListCollection::Ptr collection_;
  Tyr::NotifieeList<RouteTarget>::Handle rtHandle_;
  Tyr::NotifieeList<NotifyingRtExtCommListCollection::Key>::Handle listHandle_;
};

class RouteTargetNotificationTest : public testing::TestWithParam<bool>, protected Agent {
 protected:
  RouteTargetNotificationTest() : Agent(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(Variant, RouteTargetNotificationTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "MultiThreaded" : "SingleThreaded"; });

// One thing that a route or a client holds, and the values that it keeps alive, ascending.
struct Holder {
  Tyr::Ptr<const Keel::DedupHandleBase> object;
  enum { community, list, part } form;
  Values values;
};

// Types 0 to 2, subtype 2.
bool isTarget(std::uint64_t value) { return value >> 56 <= 2 && (value >> 48 & 0xff) == 2; }

struct Live {
  explicit Live(const std::vector<Holder>& holders) {
    for (const Holder& holder : holders) {
      Values ofHolder;
      std::ranges::copy_if(holder.values, std::back_inserter(ofHolder), isTarget);
      targets.insert(ofHolder.begin(), ofHolder.end());
      if (holder.form != Holder::community && !ofHolder.empty()) targetLists.insert(ofHolder);
    }
  }

  ValueSet targets;
  std::set<Values> targetLists;
};

template <typename Set>
std::size_t differences(const Set& before, const Set& after) {
  std::vector<typename Set::value_type> found;
  std::ranges::set_symmetric_difference(before, after, std::back_inserter(found));
  return found.size();
}

TEST_P(RouteTargetNotificationTest, PictureAgreesWithAModelAtEveryStep) {
  constexpr std::array<std::uint64_t, 10> universe = {
      0x0002fde800000064, 0x0002fde800000065, 0x02020003000a0005, 0x01020a0102030007, 0x0102ffffffff0007,
      0x4002fde800000064, 0x0003fde800000064, 0x030b000000000064, 0x4004fde84cee6b28, 0x4004fde84c6e6b28};
  std::mt19937_64 random(20261121);
  std::vector<Holder> holders;
  Live before(holders);
  Picture picture(comms->producerRtList(), extended->notifyingRtExtCommListCollection());
  for (int step = 0; step < 8000; ++step) {
    // Waves, so that everything comes and goes.
    const std::size_t limit = step / 500 % 2 == 0 ? 24 : 2;
    const std::uint64_t what = random() % 8;
    ValueSet values;
    for (auto n = what == 3 ? 1 : random() % 6; n > 0; --n) values.insert(universe[random() % universe.size()]);
    const Values chosen(values.begin(), values.end());
    if (holders.size() > limit || (what < 2 && !holders.empty())) {
      holders.erase(holders.begin() + static_cast<std::ptrdiff_t>(random() % holders.size()));
    } else if (what == 2 && !holders.empty()) {
      holders.push_back(Holder(holders[random() % holders.size()]));
    } else if (what == 3) {
      holders.push_back({internOne(chosen[0]), Holder::community, chosen});
    } else if (what != 4) {
      holders.push_back({intern(chosen), Holder::list, chosen});
    } else if (const auto part = intern(chosen)->classificationList(extCommClassificationRouteTarget)) {
      holders.push_back({part, Holder::part, chosen});  // a client that keeps the route targets alone
      std::erase_if(holders.back().values, [](std::uint64_t value) { return !isTarget(value); });
    }

    const Live live(holders);
    ASSERT_EQ(picture.targets, live.targets) << step;
    ASSERT_EQ(picture.lists, live.targetLists) << step;
    const std::size_t expectedChanges =
        differences(before.targets, live.targets) + differences(before.targetLists, live.targetLists);
    ASSERT_EQ(picture.changes, expectedChanges) << step;
    picture.changes = 0;
    ASSERT_EQ(comms->producerRtList()->rtCount(), live.targets.size());
    ASSERT_EQ(extended->notifyingRtExtCommListCollection()->rtExtCommListCount(), live.targetLists.size());
    before = live;
  }
  // The tables go before what is in them: each member is withdrawn once.
  extended.reset();
  EXPECT_EQ(std::exchange(picture.changes, 0), before.targetLists.size());
  comms.reset();
  EXPECT_EQ(picture.changes, before.targets.size());
  EXPECT_TRUE(picture.lists.empty() && picture.targets.empty() && !before.targetLists.empty());
  for (const Holder& holder : holders) {  // and is whole as long as it is held
    if (holder.form != Holder::part) continue;
    const auto& part = static_cast<const RtExtCommClassificationList&>(*holder.object);
    EXPECT_EQ(part.lifeTimeNotifier(), nullptr);
    EXPECT_EQ(valuesOf(part.comms()), holder.values);
  }
}

// What interning never does: the same twice, what is not there, and all at once.
TEST_P(RouteTargetNotificationTest, NothingIsDoneTwice) {
  const auto rtList = Tyr::make<NotifyingRouteTargetList>();
  const auto collection = Tyr::make<NotifyingRtExtCommListCollection>();
  const Picture own(rtList, collection);
  const ExtCommList::PtrConst list = intern({target});
  const auto notifier = *extended->notifyingRtExtCommListCollection()->rtExtCommList().begin();
  for (int i = 0; i < 2; ++i) {
    rtList->rtIs({target});
    collection->rtExtCommListIs(notifier);
    EXPECT_EQ(own.changes, 2u);
  }
  for (const bool isThere : {true, false}) {
    EXPECT_EQ(rtList->rtDel({target}), isThere);
    EXPECT_EQ(collection->rtExtCommListDel(notifier), isThere);
    EXPECT_EQ(own.changes, 4u);
  }
  for (std::uint64_t i = 0; i < 1000; ++i) rtList->rtIs({i});
  collection->rtExtCommListIs(notifier);
  for (const std::size_t changes : {2006, 2006}) {
    rtList->rtDelAll();
    collection->rtExtCommListDelAll();
    EXPECT_EQ(own.changes, changes);
  }
  EXPECT_TRUE(own.targets.empty() && own.lists.empty());

  const auto notifiee = extended->rtExtCommListLifeTimeNotifiee();
  EXPECT_EQ(extended->rtExtCommListLifeTimeNotifieeIs(extended->notifyingRtExtCommListCollection()), notifiee);
  const auto another = extended->rtExtCommListLifeTimeNotifieeIs(collection);
  EXPECT_NE(another, notifiee);
  EXPECT_EQ(extended->rtExtCommListLifeTimeNotifiee(), another);
  extended->rtExtCommListLifeTimeNotifieeDel();
  EXPECT_EQ(extended->rtExtCommListLifeTimeNotifiee(), nullptr);
}

TEST_P(RouteTargetNotificationTest, ListsAreTracedOnTheWayInAndOut) {
  std::string lines;
  Tyr::traceSinkIs([&](int level, std::string_view line) {
    if (level == 9) lines.append(line) += '\n';
  });
  Tyr::traceLevelIs(9);
  intern({target});
  Tyr::traceLevelIs(-1);
  Tyr::traceSinkIs({});
  EXPECT_THAT(lines, testing::ContainsRegex("handleInsert: .*handle: .* rtExtCommListLifeTimeNotifier: "));
  EXPECT_THAT(lines, testing::HasSubstr("\nhandleRemove: "));
}

// Notifiees that were told by hand, of no table.
TEST(RouteTargetNotifiees, StopWithoutATable) {
  const Agent agent;
  const auto rtList = Tyr::make<NotifyingRouteTargetList>();
  const auto ofComms = Tyr::make<ExtCommLifeTimeNotifiee>(rtList);
  const auto comm = agent.internOne(target);
  ofComms->handleInsert(const_cast<ExtComm*>(comm.get()));
  EXPECT_EQ(rtList->rtCount(), 1u);
  ofComms->handleNotificationStop(nullptr);
  EXPECT_EQ(rtList->rtCount(), 0u);

  const auto collection = Tyr::make<NotifyingRtExtCommListCollection>();
  const auto ofLists = rtExtCommListLifeTimeNotifieeFactory(collection);
  const auto list = rtExtCommClassificationListFactory(extCommClassificationRouteTarget);
  ofLists->handleInsert(list.get());
  EXPECT_EQ(collection->rtExtCommListCount(), 1u);
  ofLists->handleNotificationStop(nullptr);
  EXPECT_EQ(collection->rtExtCommListCount(), 0u);
  EXPECT_EQ(list->lifeTimeNotifier(), nullptr);
}

// Four threads intern and let go lists of a few route targets while a fifth reads both collections; the observers
// intern and let go, too. Whenever the threads rest, pictures and collections are what is interned.
TEST(RouteTargetNotificationThreads, PicturesAreWhatIsInternedAtEveryRest) {
  struct Tables : Agent {
    Tables() : Agent(true) {}
    void run() {
      const auto rtList = comms->producerRtList();
      const auto collection = extended->notifyingRtExtCommListCollection();
      ValueSet targets;
      std::set<const void*> targetLists;
      std::vector<ExtCommList::PtrConst> caused;
      bool calm = false;
      const auto onTarget = rtList->notifieeList().attach([&](unsigned, const RouteTarget& rt) {
        EXPECT_EQ(rtList->rt(rt) != nullptr, targets.erase(rt.value) == 0 && targets.insert(rt.value).second);
        if (!calm && rt.value % 4 == 0) caused.assign(1, intern({target + 1, target + 2, 0x030b000000000064}));
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
