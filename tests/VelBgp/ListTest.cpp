#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
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

// n values of six classifications, ascending and all even. The highest have the top bit set: the order is unsigned.
Values someValues(std::size_t n) {
  constexpr std::uint64_t stems[] = {0x0002fde800000000, 0x0003fde800000000, 0x030b000000000000,
                                     0x4004fde800000000, 0x4300000000000000, 0x8006fde800000000};
  Values values;
  for (std::size_t i = 0; i < n; ++i) values.push_back(stems[i % 6] + 2 * (i / 6));
  std::sort(values.begin(), values.end());
  return values;
}

class ListTest : public testing::TestWithParam<bool>, protected ListTables {
 protected:
  ListTest() : ListTables(GetParam()) {}
  ~ListTest() override { EXPECT_EQ(sizes(), (Sizes{0, 0, 0, 0})); }

  template <typename Content>
  Content filled(Content content, const Values& values) const {
    for (const std::uint64_t value : values) content.commIs(internOne(value));
    return content;
  }
  ExtCommListContent pointers(const Values& values) const { return filled(ExtCommListContent(), values); }
  // Communities, lists, classification lists, those of route targets.
  using Sizes = std::array<std::size_t, 4>;
  Sizes sizes() const {
    return {comms->size(), lists->size(), lists->extCommClassificationListDedupTable().size(),
            lists->rtExtCommClassificationListDedupTableRaw()->size()};
  }
};

INSTANTIATE_TEST_SUITE_P(Variant, ListTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "MultiThreaded" : "SingleThreaded"; });

// Of both forms; what else all lists have in common is in the suite of interned lists.
TEST_P(ListTest, FormsAgree) {
  const Values jumbled{color, target, gateway, target};
  const ExtCommList::PtrConst list = intern(jumbled);
  EXPECT_EQ(ExtCommList::dedupContent(lists.get(), pointers(jumbled)), list);
  Keel::HashMix mix;
  for (const std::uint64_t value : {target, color, gateway}) mix.mixBytes8(value);
  EXPECT_EQ(list->hash(), mix.value());
  EXPECT_EQ(raw(jumbled).sortAndHash(), mix.value());
  EXPECT_EQ(pointers(jumbled).sortAndHash(), mix.value());
  EXPECT_EQ(list->lookupExtComm(color), internOne(color));
}

TEST_P(ListTest, ListsDifferByAnyValueOrCount) {
  const ExtCommList::PtrConst list = intern({origin, target, origin});
  const Values rows[] = {{target, origin}, {}, {target}, {origin}, {target, color}, {target, origin, color}};
  for (const Values& values : rows) {
    const bool equal = &values == &rows[0];
    const ExtCommListContentU64 ofValues = raw(values);
    const ExtCommListContent ofPointers = pointers(values);
    EXPECT_EQ(ofValues.sortAndHash(), ofPointers.sortAndHash());
    EXPECT_EQ(list->compareByContent(ofValues), equal);
    EXPECT_EQ(list->compareByContent(ofPointers), equal);
    EXPECT_EQ(list->compare(intern(values).get()), equal);
    EXPECT_EQ(intern(values) == list, equal);
  }
  EXPECT_EQ(ExtCommList::dedupSingleU64(comms.get(), lists.get(), target), intern({target}));
}

TEST_P(ListTest, ContentsHaveAnOrder) {
  const Values rows[] = {{}, {target}, {target, origin}, {target, color}, {color}};
  auto expectOrder = [&](const auto& make, const auto& makeOther) {
    for (const Values& a : rows) {
      for (const Values& b : rows) {
        EXPECT_EQ(make(a) == makeOther(b), &a == &b);
        EXPECT_EQ(make(a) < makeOther(b), &a < &b);
      }
    }
  };
  auto ofValues = [&](const Values& values) { return raw(values); };
  auto ofPointers = [&](const Values& values) { return pointers(values); };
  auto ofPart = [&](const Values& values) {
    return filled(ExtCommClassificationListContent(extCommClassificationUnSpecified), values);
  };
  expectOrder(ofValues, ofPointers);
  expectOrder(ofPointers, ofValues);
  expectOrder(ofPart, ofPart);
  const ExtCommListContentU64 sorted = raw({target});
  sorted.sortAndHash();
  EXPECT_FALSE(sorted == pointers({target}));
}

TEST_P(ListTest, ContentsGrowAfterSortingAndStartAfresh) {
  auto expectGrowth = [&](auto content, auto make) {
    auto interned = [&] { return ExtCommList::dedupContent(lists.get(), content); };
    EXPECT_FALSE(content.commVectorSorted());
    EXPECT_EQ(interned(), intern({target, color}));
    EXPECT_TRUE(content.commVectorSorted() && content);
    EXPECT_EQ(content.comms().size(), 2u);
    content.commIs(make(origin));
    EXPECT_FALSE(content.commVectorSorted());
    EXPECT_EQ(interned(), intern({target, origin, color}));
    content.reset();
    EXPECT_FALSE(content || content.commVectorSorted());
    EXPECT_EQ(interned(), intern({}));
    content.expectedCommunityCountIs(100);
    content.commIs(make(unknown));
    EXPECT_EQ(interned(), intern({unknown}));
  };
  expectGrowth(raw({color, target, color}), [](std::uint64_t value) { return value; });
  expectGrowth(pointers({color, target, color}), [&](std::uint64_t value) { return internOne(value); });
  EXPECT_THROW(ExtCommListContent().commIs(nullptr), Tyr::NullArgumentException);
  EXPECT_THROW(raw({}).expectedCommunityCountIs(SIZE_MAX), boost::container::length_error);
}

TEST_P(ListTest, SplitByClassificationAndAttributes) {
  const std::uint64_t fast = bandwidth(65000, gbps), slow = bandwidth(65000, halfGbps), none = bandwidth(65000, zero);
  const std::uint64_t ofNoAs = bandwidth(0, gbps), transitiveBandwidth = 0x000400004cee6b28;
  const std::map<std::uint64_t, unsigned> classifications = {{unknown, 0},
                                                             {nonTransitiveTarget, 0},
                                                             {transitiveBandwidth, 0},
                                                             {target, 1},
                                                             {origin, 2},
                                                             {encap, 4},
                                                             {gateway, 5},
                                                             {fast, 7},
                                                             {slow, 7},
                                                             {none, 7},
                                                             {ofNoAs, 7},
                                                             {color, 8},
                                                             {valid, 9},
                                                             {invalid, 9},
                                                             {routeImport, 10},
                                                             {sourceAs, 11}};
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
    std::map<unsigned, std::set<std::uint64_t>> expected;
    for (const std::uint64_t value : row.values) expected[classifications.at(value)].insert(value);
    const ExtCommList::PtrConst list = intern(row.values);
    EXPECT_EQ(unsigned{list->commVectorAttrs().value()}, row.attrs);
    EXPECT_EQ(list->transitiveCount(),
              std::ranges::count_if(row.values, [](std::uint64_t value) { return (value >> 62 & 1) == 0; }));
    EXPECT_EQ(list->classificationLists().size(), expected.size());
    auto next = expected.begin();
    for (const ExtCommClassificationList* part : list->classificationLists()) {
      ASSERT_EQ(unsigned{part->classification()}, next->first);
      EXPECT_EQ(valuesOf(part->comms()), Values(next->second.begin(), next->second.end()));
      for (const std::uint64_t value : row.values)
        EXPECT_EQ(part->comm(value) != nullptr, next->second.contains(value));
      EXPECT_TRUE(part->isDeduped() && part->notificationActive() && part->commVectorSorted());
      ++next;
    }
    for (unsigned c = 0; c < 14; ++c) {
      const auto part = list->classificationList(ExtCommClassification(c));
      EXPECT_TRUE(expected.contains(c) ? part && part->classification() == c : !part);
    }
  }
}

TEST_P(ListTest, PartsAreSharedAndOutliveTheirList) {
  ExtCommList::PtrConst first = intern({target, target + 1, color, gateway});
  ExtCommList::PtrConst second = intern({target + 1, target, color, encap});
  for (const auto c : {extCommClassificationRouteTarget, extCommClassificationColor}) {
    EXPECT_EQ(first->classificationList(c), second->classificationList(c));
    EXPECT_NE(first->classificationList(c), intern({target, color + 1})->classificationList(c));
  }
  auto part = first->classificationList(extCommClassificationDefaultGateway);
  const ExtComm::PtrConst one = first->comm(target + 1);
  EXPECT_EQ(sizes(), (Sizes{5, 2, 3, 1}));
  first.reset();
  EXPECT_EQ(sizes(), (Sizes{5, 1, 3, 1}));
  EXPECT_EQ(valuesOf(part->comms()), Values{gateway});
  EXPECT_EQ(valuesOf(second->comms()), (Values{target, target + 1, color, encap}));
  part.reset();
  EXPECT_EQ(sizes(), (Sizes{4, 1, 2, 1}));
  second.reset();
  EXPECT_EQ(sizes(), (Sizes{1, 0, 0, 0}));
  EXPECT_EQ(one->community(), target + 1);
}

TEST_P(ListTest, ClassificationListsInternedAndPrivate) {
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

TEST_P(ListTest, PruneKeepsTheSmallestValidBandwidth) {
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

TEST_P(ListTest, SerializationFiltersAndOctets) {
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

TEST_P(ListTest, LongAttributesHaveTwoLengthOctets) {
  const ExtCommList::Serialization all = ExtCommList::serialization(true, false, false);
  const std::pair<std::size_t, const char*> rows[] = {
      {31, "c010f80002fde800000000"}, {32, "d01001000002fde800000000"}, {8191, "d010fff80002fde800000000"}};
  for (const auto& [n, start] : rows) {
    const std::string attribute = hex(intern(someValues(n))->serialize(all));
    EXPECT_THAT(attribute, testing::StartsWith(start));
    EXPECT_EQ(attribute.size(), (n < 32 ? 6 : 8) + 16 * n);
  }
  EXPECT_ASSERTION(intern(someValues(8192))->serialize(all), "attrSize <= 0xFFFF");
}

// Equality is by value, so a classification list may be found that holds other objects than the list was built from:
// those of a second table, or of one that is gone. The list must hold on to what it shows.
TEST_P(ListTest, CommunitiesOfSeveralTablesMayMeet) {
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

TEST_P(ListTest, BrokenPreconditionsStopTheProcess) {
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
  EXPECT_ASSERTION(barePart->hash(), "t->commVectorSorted()");
  EXPECT_ASSERTION(bare->compareByContent(sorted), "list->commVectorSorted()");
  EXPECT_ASSERTION(sorted.compareWithExtCommList(bare.get()), "list->commVectorSorted()");
  EXPECT_ASSERTION(bare->compareByContent(content), "list->commVectorSorted()");
  EXPECT_ASSERTION(barePart->compareByContent(partContent), "list->commVectorSorted()");
  EXPECT_ASSERTION(unsorted.compareWithExtCommList(list.get()), "content->commVectorSorted()");
  EXPECT_ASSERTION(content.compareWithExtCommList(list.get()), "content->commVectorSorted()");
  EXPECT_ASSERTION(part->compareByContent(partContent), "content->commVectorSorted()");
  EXPECT_ASSERTION(ExtCommVectorLookup(false, list->comms(), target), "commVectorSorted");
  EXPECT_ASSERTION(bare->comm(target), "commVectorSorted");
  EXPECT_ASSERTION(bare->lookupExtComm(target), "commVectorSorted");
  EXPECT_ASSERTION(bare->totalCommunities(), "arg->commVectorSorted()");
  EXPECT_ASSERTION(barePart->comms(), "arg->commVectorSorted()");
  const char* const inRange = "classification < Tyr::Range< ExtCommClassification >::size()";
  EXPECT_ASSERTION(list->classificationList(fourteen), inRange);
  EXPECT_ASSERTION(ExtCommClassificationListContent{fourteen}, inRange);
  EXPECT_ASSERTION(rtExtCommClassificationListFactory(fourteen), inRange);
  const char* const interned = "__null == ( comm ) || ( comm )->dedupState() != Keel::dedupHandleStateNeverDeduped()";
  EXPECT_ASSERTION(content.commIs(neverInterned), interned);
  EXPECT_ASSERTION(partContent.commIs(neverInterned), interned);
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
