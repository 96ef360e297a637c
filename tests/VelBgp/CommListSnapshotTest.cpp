#include "VelBgp/CommListSnapshot.h"

#include <gtest/gtest.h>

#include <iterator>
#include <optional>

#include "Tyr/Exception.h"
#include "VelBgp/WordLists.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

// The words of the keys, which ascend; each key is its value's own.
template <typename Kind, typename Snapshot>
Words keyWords(const Snapshot& snapshot) {
  Words words;
  EXPECT_TRUE(
      std::is_sorted(snapshot.comm().begin(), snapshot.comm().end(), [](auto& a, auto& b) { return a.key < b.key; }));
  for (const auto& [key, value] : snapshot.comm()) {
    words.push_back(wordOf<Kind>(key));
    EXPECT_TRUE(value);
    if constexpr (hasCommunities<Kind>) {
      EXPECT_TRUE(Kind::valueOf(value.get()) == key);
    }
  }
  std::sort(words.begin(), words.end());
  return words;
}

TEST(CommListSnapshotTest, HoldsTheListAndOutlivesItsTables) {
  forEachKind([]<typename Kind>(Kind) {
    for (const Words& words : {Words(), {7}, {1, 2, 3, 4, 0x10005, 0x7ffffff0, 0x80000000, 0xffffffff}}) {
      std::optional<Agent> agent(std::in_place);
      const auto snapshot = Kind::intern(*agent, words)->commSnapshot();
      agent.reset();
      EXPECT_TRUE(snapshot->notificationActive());
      EXPECT_EQ(keyWords<Kind>(*snapshot), words);
      EXPECT_EQ(snapshot->commCount(), words.size());
    }
  });
}

TEST(CommListSnapshotTest, IsChangedByKeyAndByPlace) {
  const Agent agent;
  forEachKind([&]<typename Kind>(Kind) {
    const auto snapshot = Kind::intern(agent, {1, 2, 3, 4})->commSnapshot();
    const auto key = Kind::value(2);
    const auto* const entry = snapshot->comm(key);
    if constexpr (hasCommunities<Kind>) {
      const typename Kind::Community::PtrConst other =
          new typename Kind::Community(extCommClassificationColor, decltype(entry->value->getContent())(key));
      snapshot->commIs(other);
      EXPECT_EQ(entry->value, other);
      EXPECT_THROW(snapshot->commIs(nullptr), Tyr::NullArgumentException);
    } else {
      snapshot->commIs(key, false);
      EXPECT_FALSE(std::exchange(entry->value, true));
    }
    EXPECT_EQ(snapshot->comm(key), entry) << "not overwritten in place";
    EXPECT_TRUE(snapshot->commDel(key));
    EXPECT_FALSE(snapshot->commDel(key));
    EXPECT_EQ(snapshot->comm(key), nullptr);
    const auto second = std::next(snapshot->comm().begin());
    EXPECT_EQ(snapshot->commDel(snapshot->comm().begin()), second);
    snapshot->commDelAll();
    EXPECT_EQ(snapshot->commCount(), 0u);
  });
}

TEST(CommListSnapshotTest, ClassificationLists) {
  const Agent agent;
  forEachKind([&]<typename Kind>(Kind) {
    if constexpr (hasCommunities<Kind>) {
      const auto list = Kind::intern(agent, {0, 1, 2, 3, 4});
      const auto snapshot = list->commSnapshot();
      std::size_t comms = 0;
      for (const auto& [key, part] : snapshot->classificationList()) {
        EXPECT_EQ(part, list->classificationList(key));
        EXPECT_EQ(part->commSnapshot()->classification(), key);
        EXPECT_EQ(keyWords<Kind>(*part->commSnapshot()), wordsOf<Kind>(*part));
        comms += part->commSnapshot()->commCount();
      }
      EXPECT_EQ(comms, 5u);
      const auto& [target, part] = *snapshot->classificationList(extCommClassificationRouteTarget);
      const auto other = Kind::intern(agent, {12, 24})->classificationList(target);
      snapshot->classificationListIs(other);
      EXPECT_TRUE(other && part == other);
      EXPECT_EQ(snapshot->classificationListDel(target), other);
      EXPECT_EQ(snapshot->classificationListDel(target), nullptr);
      const auto left = snapshot->classificationListCount();
      snapshot->classificationListDel(snapshot->classificationList().begin());
      EXPECT_EQ(snapshot->classificationListCount(), left - 1);
      EXPECT_THROW(snapshot->classificationListIs(nullptr), Tyr::NullArgumentException);
      snapshot->classificationListDelAll();
      EXPECT_EQ(snapshot->classificationListCount() + snapshot->commCount(), 5u);
    }
  });
  EXPECT_ASSERTION(extCommClassificationListSnapshotFactory(ExtCommClassification(14)),
                   "classification < Tyr::Range< ExtCommClassification >::size()");
}

}  // namespace
}  // namespace Routing::Bgp::test
