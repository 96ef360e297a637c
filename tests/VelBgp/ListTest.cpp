#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "Keel/HashMix.h"
#include "VelBgp/ListTables.h"
#include "VelBgp/VelBgpCommunity.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

constexpr std::uint64_t target = 0x0002fde800000064, nonTransitiveTarget = 0x4002fde800000064,
                        origin = 0x0003fde800000001, sourceAs = 0x0009fde800000000, routeImport = 0x010b0a0102030007,
                        color = 0x030b000000000064, encap = 0x030c000000000008, gateway = 0x030d000000000000,
                        unknown = 0x0700000000000001, valid = 0x4300000000000000, invalid = 0x4300000000000002;

constexpr std::uint64_t bandwidth(std::uint16_t as, std::uint32_t floatBits) {
  return 0x4004000000000000 | std::uint64_t{as} << 32 | floatBits;
}
constexpr std::uint32_t zero = 0, minusZero = 0x80000000, tiniest = 1, minusOne = 0xbf800000, nan = 0x7fc00000,
                        infinity = 0x7f800000, halfGbps = 0x4c6e6b28, gbps = 0x4cee6b28;

template <typename Range>
Values valuesOf(const Range& comms) {
  Values values;
  for (const auto& comm : comms) values.push_back(comm->community());
  return values;
}

class ListTest : public testing::Test, protected ListTables {
 protected:
  ListTest() : ListTables(true) {}
  ~ListTest() override { EXPECT_EQ(size(), 0u); }

  template <typename Content>
  Content filled(Content content, const Values& values) const {
    for (const std::uint64_t value : values) content.commIs(internOne(value));
    return content;
  }
  ExtCommListContent pointers(const Values& values) const { return filled(ExtCommListContent(), values); }
};

// What all lists and contents have in common is in the suites of interned lists and of contents.
TEST_F(ListTest, FormsAgree) {
  const Values values{target, color, gateway};
  const ExtCommList::PtrConst list = intern(values);
  Keel::HashMix mix;
  for (const std::uint64_t value : values) mix.mixBytes8(value);
  EXPECT_EQ(list->hash(), mix.value());
  EXPECT_EQ(list->lookupExtComm(color), internOne(color));
  EXPECT_EQ(ExtCommList::dedupSingleU64(comms.get(), lists.get(), target), intern({target}));
  for (const Values& others : {values, {}, {target}, {target, color, origin}, {target, color, gateway, encap}}) {
    const ExtCommListContentU64 ofValues = raw(others);
    const ExtCommListContent ofPointers = pointers(others);
    EXPECT_TRUE(ofValues == ofPointers && !(ofValues < ofPointers));
    EXPECT_EQ(ofValues.sortAndHash(), ofPointers.sortAndHash());
    EXPECT_FALSE(ofValues == pointers(others));  // one is sorted
    EXPECT_EQ(list->compareByContent(ofValues), others == values);
    EXPECT_EQ(list->compareByContent(ofPointers), others == values);
    EXPECT_EQ(ExtCommList::dedupContent(lists.get(), ofPointers), intern(others));
  }
  EXPECT_THROW(ExtCommListContent().commIs(nullptr), Tyr::NullArgumentException);
}

TEST_F(ListTest, Attributes) {
  const std::uint64_t fast = bandwidth(65000, gbps), slow = bandwidth(65000, halfGbps), none = bandwidth(65000, zero);
  const std::uint64_t ofNoAs = bandwidth(0, gbps), transitiveBandwidth = 0x000400004cee6b28;
  struct Row {
    Values values;
    unsigned attrs;  // sorted 1, bandwidth 2, of AS zero 4, validation state 8, UI match 16, prunable 32
  };
  const Row rows[] = {
      {{}, 1},
      {{target}, 1},
      {{nonTransitiveTarget}, 1},
      {{fast}, 3},
      {{none}, 35},
      {{fast, slow}, 35},
      {{ofNoAs}, 7},
      {{transitiveBandwidth}, 1},
      {{valid}, 25},
      {{valid, fast}, 27},
      {{invalid, valid, target}, 25},
      {{ofNoAs, none, valid}, 63},
      {{unknown, valid, sourceAs, routeImport, color, fast, gateway, encap, origin, target, nonTransitiveTarget}, 27},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.values));
    const ExtCommList::PtrConst list = intern(row.values);
    EXPECT_EQ(unsigned{list->commVectorAttrs().value()}, row.attrs);
    EXPECT_EQ(list->transitiveCount(),
              std::ranges::count_if(row.values, [](std::uint64_t value) { return (value >> 62 & 1) == 0; }));
  }
}

TEST_F(ListTest, ClassificationListsInternedAndPrivate) {
  const auto content =
      filled(ExtCommClassificationListContent(extCommClassificationRouteTarget), {target + 1, target, target + 1});
  const auto interned = ExtCommClassificationList::dedupContent(lists.get(), content);
  EXPECT_EQ(intern({target, target + 1, color})->classificationList(extCommClassificationRouteTarget), interned);
  EXPECT_TRUE(content && content.commVectorSorted() && interned->compareByContent(content));
  EXPECT_EQ(interned->hash(), content.hash());
  const auto own = ExtCommClassificationList::allocateExtCommClassificationList(content);
  EXPECT_EQ(own->dedupState(), Keel::dedupHandleStateNeverDeduped());
  EXPECT_EQ(valuesOf(own->comms()), (Values{target, target + 1}));
  EXPECT_TRUE(own->compare(interned.get()) && own->notificationActive());
  EXPECT_TRUE(rtExtCommClassificationListFactory(extCommClassificationRouteTarget)->notificationActive());
  EXPECT_EQ(dynamic_cast<RtExtCommClassificationList&>(*own).lifeTimeNotifier(), nullptr);
  EXPECT_EQ(lists->notifyingRtExtCommListCollection()->rtExtCommListCount(), 1u);

  // A list of no special class drops what is not valid.
  const auto mixed = filled(ExtCommClassificationListContent(extCommClassificationUnSpecified),
                            {color, bandwidth(1, gbps), bandwidth(1, nan)});
  const auto plain = ExtCommClassificationList::allocateExtCommClassificationList(mixed);
  EXPECT_TRUE(plain->hasPrunableValues());
  EXPECT_EQ(valuesOf(plain->prune()), (Values{color, bandwidth(1, gbps)}));
}

TEST_F(ListTest, PruneKeepsTheSmallestValidBandwidth) {
  struct Row {
    Values values;
    std::vector<Values> pruned;  // nothing: null; the list itself when it is the same
  };
  const Row rows[] = {
      {{}, {{}}},
      {{target, valid, invalid}, {{target, valid, invalid}}},
      {{bandwidth(1, gbps)}, {{bandwidth(1, gbps)}}},
      {{bandwidth(1, tiniest)}, {{bandwidth(1, tiniest)}}},
      {{bandwidth(1, zero)}, {}},
      {{bandwidth(1, minusZero)}, {}},
      {{bandwidth(1, minusOne)}, {}},
      {{bandwidth(1, nan)}, {}},
      {{bandwidth(1, infinity), bandwidth(2, nan)}, {}},
      {{bandwidth(1, zero), target}, {{target}}},
      {{bandwidth(1, halfGbps), bandwidth(1, gbps)}, {{bandwidth(1, halfGbps)}}},
      // By the number, not by the value: AS 1 comes first.
      {{bandwidth(1, gbps), bandwidth(2, halfGbps)}, {{bandwidth(2, halfGbps)}}},
      {{bandwidth(7, gbps), bandwidth(3, gbps), bandwidth(5, gbps)}, {{bandwidth(3, gbps)}}},
      {{bandwidth(1, zero), bandwidth(1, minusOne), bandwidth(1, nan), bandwidth(2, gbps), bandwidth(3, nan)},
       {{bandwidth(2, gbps)}}},
      {{target, color, bandwidth(1, gbps), bandwidth(1, halfGbps), valid, nonTransitiveTarget},
       {{target, color, bandwidth(1, halfGbps), valid, nonTransitiveTarget}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.values));
    const ExtCommList::PtrConst list = intern(row.values);
    const ExtCommList::PtrConst pruned = list->prune(lists.get());
    EXPECT_EQ(pruned, row.pruned.empty() ? nullptr : intern(row.pruned.front()));
    EXPECT_EQ(list->hasPrunableValues(), pruned != list);
    EXPECT_TRUE(!pruned || pruned->prune(lists.get()) == pruned);
    const auto part = list->classificationList(extCommClassificationLinkBandwidth);
    if (!part) continue;
    const auto& best = dynamic_cast<const LinkBandwidthExtCommClassificationList&>(*part).best();
    EXPECT_EQ(best, pruned ? pruned->comm(best ? best->community() : 0) : nullptr);
  }
}

std::string hex(const std::string& octets) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char octet : octets) (text += digits[octet >> 4]) += digits[octet & 15];
  return text;
}

TEST_F(ListTest, SerializationFiltersAndOctets) {
  constexpr unsigned all = 1, transitive = 2, linkBandwidth = 4, validity = 8;
  const unsigned filters[] = {transitive, transitive | validity, transitive | linkBandwidth, 14, all, all, all, all};
  for (unsigned i = 0; i < 8; ++i) {
    EXPECT_EQ(ExtCommList::serialization((i & 4) != 0, (i & 2) != 0, (i & 1) != 0).value(), filters[i]);
  }

  struct Row {
    Values values;
    unsigned filter;
    std::uint32_t count;
    const char* attribute;
  };
  const std::uint64_t fast = bandwidth(65000, gbps), slow = bandwidth(65000, halfGbps);
  const Values mixed{target, color, fast, invalid, nonTransitiveTarget};
  const Row rows[] = {
      {{}, all, 0, ""},
      {mixed, 0, 0, ""},
      {mixed, all, 5, "c010280002fde800000064030b0000000000644002fde8000000644004fde84cee6b284300000000000002"},
      {mixed, transitive, 2, "c010100002fde800000064030b000000000064"},
      {mixed, linkBandwidth, 1, "c010084004fde84cee6b28"},
      {mixed, validity, 1, "c010084300000000000002"},
      {mixed, transitive | linkBandwidth, 3, "c010180002fde800000064030b0000000000644004fde84cee6b28"},
      {mixed, transitive | validity, 3, "c010180002fde800000064030b0000000000644300000000000002"},
      {{fast, nonTransitiveTarget}, transitive | validity, 0, ""},
      // Two bandwidths or states: announced once, all written.
      {{target, color, unknown, fast, slow},
       transitive | linkBandwidth,
       4,
       "c010200002fde800000064030b00000000006407000000000000014004fde84c6e6b284004fde84cee6b28"},
      {{valid, invalid}, validity, 1, "c0100843000000000000004300000000000002"},
      {{valid, invalid}, all, 2, "c0101043000000000000004300000000000002"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << testing::PrintToString(row.values) << " by " << row.filter);
    const ExtCommList::PtrConst list = intern(row.values);
    const ExtCommList::Serialization filter(static_cast<std::uint8_t>(row.filter));
    EXPECT_EQ(list->serializableCommunities(filter), row.count);
    EXPECT_EQ(hex(list->serialize(filter)), row.attribute);
  }
}

// Equality is by value, so a classification list may be found that holds other objects than the list was built from:
// those of a second table, or of one that is gone. The list must hold on to what it shows.
TEST_F(ListTest, CommunitiesOfSeveralTablesMayMeet) {
  auto others = ExtCommDedupTableIs(decoder->extCommParser());
  const ExtCommList::PtrConst first = intern({target});
  ExtCommListContentU64 elsewhere(others.get());
  for (const std::uint64_t value : {target, color}) elsewhere.commIs(value);
  const ExtCommList::PtrConst second = ExtCommList::dedupContent(lists.get(), elsewhere);
  EXPECT_EQ(others->size(), 1u);  // its target is the first list's
  ExtCommListContent mixed;
  mixed.commIs(ExtComm::dedupContent(others.get(), ExtCommContent(target)));
  mixed.commIs(ExtComm::dedupContent(others.get(), ExtCommContent(gateway)));
  others.reset();
  const ExtCommList::PtrConst third = ExtCommList::dedupContent(lists.get(), mixed);
  mixed.reset();
  const auto reuse = {intern({origin}), intern({encap}), intern({sourceAs})};
  EXPECT_EQ(valuesOf(second->comms()), (Values{target, color}));
  EXPECT_EQ(valuesOf(third->comms()), (Values{target, gateway}));
  EXPECT_EQ(second->comm(target), first->comm(target));
  EXPECT_EQ(reuse.size(), 3u);
}

TEST_F(ListTest, BrokenPreconditionsStopTheProcess) {
  const ExtCommList::PtrConst list = intern({target});
  const auto part = list->classificationList(extCommClassificationRouteTarget);
  const ExtCommList::Ptr bare(new ExtCommList);
  const auto barePart = rtExtCommClassificationListFactory(extCommClassificationRouteTarget);
  const auto fourteen = ExtCommClassification(14);
  const ExtComm::PtrConst neverInterned = ExtCommIs(extCommClassificationColor, ExtCommContent(color));
  const ExtCommListContentU64 sorted = raw({target}), unsorted = raw({target});
  sorted.sortAndHash();
  ExtCommListContent content;
  ExtCommClassificationListContent partContent(extCommClassificationColor);
  const auto& notifiee = lists->rtExtCommListLifeTimeNotifiee();

  EXPECT_ASSERTION(bare->hash(), "t->commVectorSorted()");
  EXPECT_ASSERTION(bare->compareByContent(sorted), "list->commVectorSorted()");
  EXPECT_ASSERTION(sorted.compareWithExtCommList(bare.get()), "list->commVectorSorted()");
  EXPECT_ASSERTION(bare->compareByContent(content), "list->commVectorSorted()");
  EXPECT_ASSERTION(barePart->compareByContent(partContent), "list->commVectorSorted()");
  EXPECT_ASSERTION(unsorted.compareWithExtCommList(list.get()), "content->commVectorSorted()");
  EXPECT_ASSERTION(part->compareByContent(partContent), "content->commVectorSorted()");
  EXPECT_ASSERTION(ExtCommVectorLookup(false, list->comms(), target), "commVectorSorted");
  EXPECT_ASSERTION(bare->totalCommunities(), "arg->commVectorSorted()");
  EXPECT_ASSERTION(barePart->comms(), "arg->commVectorSorted()");
  const char* const inRange = "classification < Tyr::Range< ExtCommClassification >::size()";
  EXPECT_ASSERTION(list->classificationList(fourteen), inRange);
  EXPECT_ASSERTION(ExtCommClassificationListContent{fourteen}, inRange);
  const char* const interned = "__null == ( comm ) || ( comm )->dedupState() != Keel::dedupHandleStateNeverDeduped()";
  EXPECT_ASSERTION(content.commIs(neverInterned), interned);
  std::vector<ExtComm::PtrConst> vector;
  EXPECT_ASSERTION(ExtCommVectorAdd(neverInterned, vector), interned);
  ExtCommVectorAdd(ExtComm::PtrConst(), vector);
  EXPECT_EQ(vector.size(), 1u);
  auto* const announced = const_cast<ExtCommClassificationList*>(part.get());
  EXPECT_ASSERTION(notifiee->handleInsert(announced), "__null == rtExtCommList->lifeTimeNotifier()");
  EXPECT_ASSERTION(notifiee->handleRemove(barePart.get()), "__null != lifeTimeNotifier");
}

}  // namespace
}  // namespace Routing::Bgp::test
