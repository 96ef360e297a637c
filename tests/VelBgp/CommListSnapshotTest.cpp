#include "VelBgp/CommListSnapshot.h"

#include <gtest/gtest.h>

#include <iterator>
#include <optional>
#include <vector>

#include "Tyr/Exception.h"
#include "VelBgp/WordLists.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

// The words of the keys, which ascend; each key is its value's own.
template <typename Kind, typename Snapshot>
Words keyWords(const Snapshot& snapshot) {
  Words words;
  for (auto it = snapshot.comm().begin(); it != snapshot.comm().end(); ++it) {
    EXPECT_TRUE(it == snapshot.comm().begin() || std::prev(it)->key < it->key);
    words.push_back(wordOf<Kind>(it->key));
    if constexpr (hasCommunities<Kind>) {
      EXPECT_TRUE(Kind::valueOf(it->value.get()) == it->key);
    } else {
      EXPECT_TRUE(it->value);
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
      EXPECT_TRUE(snapshot->notificationActive());
      agent.reset();
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
      using Community = typename Kind::Community;
      const typename Community::PtrConst other =
          new Community(extCommClassificationColor, decltype(entry->value->getContent())(key));
      snapshot->commIs(other);
      EXPECT_EQ(entry->value, other);
      EXPECT_EQ(snapshot->comm(key), entry) << "not overwritten in place";
      EXPECT_EQ(snapshot->commDel(key), other);
      EXPECT_THROW(snapshot->commIs(nullptr), Tyr::NullArgumentException);
    } else {
      snapshot->commIs(key, false);
      EXPECT_FALSE(entry->value);
      snapshot->commIs(key, true);
      EXPECT_EQ(snapshot->comm(key), entry) << "not overwritten in place";
      EXPECT_TRUE(snapshot->commDel(key));
    }
    EXPECT_FALSE(snapshot->commDel(key));
    EXPECT_EQ(snapshot->comm(key), nullptr);
    const auto second = std::next(snapshot->comm().begin());
    EXPECT_EQ(snapshot->commDel(snapshot->comm().begin()), second);
    EXPECT_EQ(snapshot->commDel(std::next(second)), snapshot->comm().end());
    EXPECT_EQ(snapshot->commCount(), 1u);
    snapshot->commDelAll();
    EXPECT_TRUE(snapshot->comm().empty());
  });
}

template <typename Kind>
void expectParts(const Agent& agent, const Words& words, const std::vector<int>& classifications) {
  const auto list = Kind::intern(agent, words);
  const auto snapshot = list->commSnapshot();
  std::vector<int> found;
  for (const auto& [key, part] : snapshot->classificationList()) {
    found.push_back(key);
    EXPECT_EQ(part, list->classificationList(key));
    EXPECT_EQ(part->commSnapshot()->classification(), key);
    EXPECT_EQ(keyWords<Kind>(*part->commSnapshot()), wordsOf<Kind>(*part));
  }
  EXPECT_EQ(found, classifications);
}

TEST(CommListSnapshotTest, ClassificationLists) {
  const Agent agent;
  expectParts<Extended>(agent, {}, {});
  expectParts<Extended>(agent, {4, 5, 8}, {1, 2});
  expectParts<Extended>(agent, {0, 1, 2, 3, 4}, {0, 1, 2, 7});
  expectParts<ExtendedIp6>(agent, {}, {});
  expectParts<ExtendedIp6>(agent, {0, 1, 3}, {0, 1});

  const auto snapshot = Extended::intern(agent, {0, 1, 2, 3, 4})->snapshot();
  const auto* const entry = snapshot->classificationList(extCommClassificationRouteTarget);
  const auto other = Extended::intern(agent, {8})->classificationList(extCommClassificationRouteTarget);
  snapshot->classificationListIs(other);
  EXPECT_EQ(entry->value, other);
  EXPECT_EQ(snapshot->classificationListCount(), 4u);
  EXPECT_EQ(snapshot->classificationListDel(extCommClassificationRouteTarget), other);
  EXPECT_EQ(snapshot->classificationListDel(extCommClassificationRouteTarget), nullptr);
  EXPECT_EQ(snapshot->classificationListDel(snapshot->classificationList().begin())->key,
            extCommClassificationRouteOrigin);
  EXPECT_THROW(snapshot->classificationListIs(nullptr), Tyr::NullArgumentException);
  snapshot->classificationListDelAll();
  EXPECT_EQ(snapshot->classificationListCount(), 0u);
  EXPECT_EQ(snapshot->commCount(), 5u);
  EXPECT_EQ(extCommIp6ClassificationListSnapshotFactory(ExtCommClassification(13))->classification(), 13);
  EXPECT_ASSERTION(extCommClassificationListSnapshotFactory(ExtCommClassification(14)),
                   "classification < Tyr::Range< ExtCommClassification >::size()");
}

}  // namespace
}  // namespace Routing::Bgp::test
