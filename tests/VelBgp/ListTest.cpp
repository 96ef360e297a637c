// What is each attribute's own in the lists of extended, standard and large communities. What all lists have in common
// is in the suites of interned lists and of contents.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "Keel/DumpContext.h"
#include "Keel/HashMix.h"
#include "Policy/PosixRegex.h"
#include "Tyr/Exception.h"
#include "VelBgp/Agent.h"
#include "VelBgp/CommListSnapshot.h"
#include "VelBgp/NotifyingRouteTargetList.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

using RouteMap::PosixRegex;

constexpr std::uint64_t target = 0x0002fde800000064, nonTransitiveTarget = 0x4002fde800000064,
                        origin = 0x0003fde800000001, color = 0x030b000000000064, gateway = 0x030d000000000000,
                        fast = 0x4004fde84cee6b28, slow = 0x4004fde84c6e6b28, invalidBandwidth = 0x400400017fc00000,
                        valid = 0x4300000000000000, invalid = 0x4300000000000002;

class ListTest : public testing::Test, protected Agent {
 protected:
  ListTest() : Agent(true) {}
  ~ListTest() override { EXPECT_EQ(size(), 0u); }

  std::vector<ExtComm::PtrConst> objects(const Values& values) const {
    std::vector<ExtComm::PtrConst> found;
    for (const std::uint64_t value : values) found.push_back(internOne(value));
    return found;
  }
  ExtCommListContent pointers(const Values& values) const {
    ExtCommListContent content;
    for (const ExtComm::PtrConst& comm : objects(values)) content.commIs(comm);
    return content;
  }
};

TEST_F(ListTest, FormsAgree) {
  const Values values{target, color, gateway};
  const ExtCommList::PtrConst list = intern(values);
  Keel::HashMix mix;
  for (const std::uint64_t value : values) mix.mixBytes8(value);
  EXPECT_EQ(list->hash(), mix.value());
  EXPECT_EQ(list->lookupExtComm(color), internOne(color));
  EXPECT_EQ(ExtCommList::dedupSingleU64(comms.get(), extended.get(), target), intern({target}));
  for (const Values& others : {values, {}, {target}, {target, color, origin}, {target, color, gateway, fast}}) {
    const ExtCommListContentU64 ofValues = raw(others);
    const ExtCommListContent ofPointers = pointers(others);
    EXPECT_TRUE(ofValues == ofPointers && !(ofValues < ofPointers));
    EXPECT_EQ(ofValues.sortAndHash(), ofPointers.sortAndHash());
    EXPECT_FALSE(ofValues == pointers(others));  // one is sorted
    EXPECT_EQ(list->compareByContent(ofValues), others == values);
    EXPECT_EQ(list->compareByContent(ofPointers), others == values);
    EXPECT_EQ(ExtCommList::dedupContent(extended.get(), ofPointers), intern(others));
  }
  EXPECT_THROW(ExtCommListContent().commIs(nullptr), Tyr::NullArgumentException);
}

TEST_F(ListTest, ClassificationListsInternedAndPrivate) {
  const auto content = filled(ExtCommClassificationListContent(extCommClassificationRouteTarget),
                              objects({target + 1, target, target + 1}));
  const auto interned = ExtCommClassificationList::dedupContent(extended.get(), content);
  EXPECT_EQ(intern({target, target + 1, color})->classificationList(extCommClassificationRouteTarget), interned);
  EXPECT_TRUE(content && content.commVectorSorted() && interned->compareByContent(content));
  EXPECT_EQ(interned->hash(), content.hash());
  const auto own = ExtCommClassificationList::allocateExtCommClassificationList(content);
  EXPECT_EQ(own->dedupState(), Keel::dedupHandleStateNeverDeduped());
  EXPECT_EQ(valuesOf(own->comms()), (Values{target, target + 1}));
  EXPECT_TRUE(own->compare(interned.get()) && own->notificationActive());
  EXPECT_TRUE(rtExtCommClassificationListFactory(extCommClassificationRouteTarget)->notificationActive());
  EXPECT_EQ(dynamic_cast<RtExtCommClassificationList&>(*own).lifeTimeNotifier(), nullptr);
  EXPECT_EQ(extended->notifyingRtExtCommListCollection()->rtExtCommListCount(), 1u);

  // A list of no special class drops what is not valid.
  const auto mixed = filled(ExtCommClassificationListContent(extCommClassificationUnSpecified),
                            objects({color, fast, invalidBandwidth}));
  const auto plain = ExtCommClassificationList::allocateExtCommClassificationList(mixed);
  EXPECT_TRUE(plain->hasPrunableValues());
  EXPECT_EQ(valuesOf(plain->prune()), (Values{color, fast}));
}

// Which communities pruning and each filter leave is tested with the tool.
TEST_F(ListTest, PruningInternsAndKeepsTheBestBandwidth) {
  const ExtCommList::PtrConst best = intern({target, slow}), all = intern({target, slow, fast});
  EXPECT_EQ(all->prune(extended.get()), best);
  EXPECT_EQ(best->prune(extended.get()), best);
  EXPECT_EQ(intern({})->prune(extended.get()), intern({}));
  const auto bestOf = [](const ExtCommList& list) {
    const auto part = list.classificationList(extCommClassificationLinkBandwidth);
    return dynamic_cast<const LinkBandwidthExtCommClassificationList&>(*part).best();
  };
  EXPECT_EQ(bestOf(*all), all->comm(slow));
  EXPECT_EQ(bestOf(*intern({invalidBandwidth, target})), nullptr);
}

TEST_F(ListTest, SerializationFilters) {
  constexpr unsigned all = 1, transitive = 2, linkBandwidth = 4, validity = 8;
  const unsigned filters[] = {transitive, transitive | validity, transitive | linkBandwidth, 14, all, all, all, all};
  for (unsigned i = 0; i < 8; ++i) {
    EXPECT_EQ(ExtCommList::serialization((i & 4) != 0, (i & 2) != 0, (i & 1) != 0).value(), filters[i]);
  }
  const auto mixed = intern({target, fast, slow, invalid, valid, nonTransitiveTarget});
  const struct {
    unsigned filter;
    std::uint32_t count;  // two bandwidths or states are announced once
    std::size_t octets;
  } rows[] = {{0, 0, 0}, {all, 6, 51}, {transitive, 1, 11}, {linkBandwidth, 1, 19}, {validity, 1, 19}, {14, 3, 43}};
  for (const auto& row : rows) {
    const ExtCommList::Serialization filter(static_cast<std::uint8_t>(row.filter));
    EXPECT_EQ(mixed->serializableCommunities(filter), row.count) << row.filter;
    EXPECT_EQ(mixed->serialize(filter).size(), row.octets) << row.filter;
  }
}

// Equality is by value, so a classification list may be found that holds other objects than the list was built from:
// those of a second table, or of one that is gone. The list must hold on to what it shows.
TEST_F(ListTest, CommunitiesOfSeveralTablesMayMeet) {
  auto others = ExtCommDedupTableIs(decoder->extCommParser());
  const ExtCommList::PtrConst first = intern({target});
  const ExtCommListContentU64 elsewhere = filled(ExtCommListContentU64(others.get()), Values{target, color});
  const ExtCommList::PtrConst second = ExtCommList::dedupContent(extended.get(), elsewhere);
  EXPECT_EQ(others->size(), 1u);  // its target is the first list's
  ExtCommListContent mixed;
  mixed.commIs(ExtComm::dedupContent(others.get(), ExtCommContent(target)));
  mixed.commIs(ExtComm::dedupContent(others.get(), ExtCommContent(gateway)));
  others.reset();
  const ExtCommList::PtrConst third = ExtCommList::dedupContent(extended.get(), mixed);
  mixed.reset();
  const auto reuse = {intern({origin}), intern({fast}), intern({slow})};
  EXPECT_EQ(valuesOf(second->comms()), (Values{target, color}));
  EXPECT_EQ(valuesOf(third->comms()), (Values{target, gateway}));
  EXPECT_EQ(second->comm(target), first->comm(target));
  EXPECT_EQ(reuse.size(), 3u);
}

TEST_F(ListTest, BrokenPreconditionsStopTheProcess) {
  const ExtCommList::PtrConst list = intern({target});
  const ExtCommList::Ptr bare(new ExtCommList);
  const auto fourteen = ExtCommClassification(14);
  const ExtCommListContentU64 sorted = raw({target}), unsorted = raw({target});
  sorted.sortAndHash();
  EXPECT_ASSERTION(bare->hash(), "t->commVectorSorted()");
  EXPECT_ASSERTION(bare->compareByContent(sorted), "list->commVectorSorted()");
  EXPECT_ASSERTION(unsorted.compareWithExtCommList(list.get()), "content->commVectorSorted()");
  EXPECT_ASSERTION(ExtCommVectorLookup(false, list->comms(), target), "commVectorSorted");
  EXPECT_ASSERTION(bare->totalCommunities(), "arg->commVectorSorted()");
  const char* const inRange = "classification < Tyr::Range< ExtCommClassification >::size()";
  EXPECT_ASSERTION(list->classificationList(fourteen), inRange);
  EXPECT_ASSERTION(ExtCommClassificationListContent{fourteen}, inRange);
  EXPECT_ASSERTION(extCommClassificationListSnapshotFactory(fourteen), inRange);
  std::vector<ExtComm::PtrConst> vector;
  EXPECT_ASSERTION(ExtCommVectorAdd(ExtCommIs(extCommClassificationColor, ExtCommContent(color)), vector),
                   "__null == ( comm ) || ( comm )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
  ExtCommVectorAdd(ExtComm::PtrConst(), vector);
  EXPECT_EQ(vector.size(), 1u);
  const auto& notifiee = extended->rtExtCommListLifeTimeNotifiee();
  auto* const announced =
      const_cast<ExtCommClassificationList*>(list->classificationList(extCommClassificationRouteTarget).get());
  EXPECT_ASSERTION(notifiee->handleInsert(announced), "__null == rtExtCommList->lifeTimeNotifier()");
  const auto bareTargets = rtExtCommClassificationListFactory(extCommClassificationRouteTarget);
  EXPECT_ASSERTION(notifiee->handleRemove(bareTargets.get()), "__null != lifeTimeNotifier");
}

TEST_F(ListTest, Contents) {
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

// Of either form, and of IPv6 communities; a classification list's alone too.
TEST_F(ListTest, ContentsTakeWholeLists) {
  const auto list = intern({target, color}), more = intern({color, valid});
  const auto targets = list->classificationList(extCommClassificationRouteTarget);
  ExtCommListContent objects;
  ExtCommListContentU64 values(comms.get());
  ExtCommClassificationListContent part(extCommClassificationRouteTarget);
  const auto append = [&](const auto* appended) {
    objects.append(appended);
    values.append(appended);
  };
  append(more.get());
  append(targets.get());
  EXPECT_EQ(ExtCommList::dedupContent(extended.get(), objects), intern({target, color, valid}));
  EXPECT_EQ(ExtCommList::dedupContent(extended.get(), values), intern({target, color, valid}));
  part.append(targets.get());
  EXPECT_EQ(ExtCommClassificationList::dedupContent(extended.get(), part), targets);
  const auto ofIp6 = internIp6({ip6(0x00, 0x02, "::1", 1), ip6(0x40, 0x03, "::2", 2)});
  ExtCommIp6ListContent contents(ip6Comms.get());
  contents.commIs(ip6(0x00, 0x02, "::1", 1));
  contents.append(ofIp6.get());
  EXPECT_EQ(ExtCommIp6List::dedupContent(extendedIp6.get(), contents), ofIp6);
  EXPECT_THROW(append(static_cast<const ExtCommList*>(nullptr)), Tyr::NullArgumentException);
  EXPECT_THROW(contents.append(nullptr), Tyr::NullArgumentException);
}

// Whatever the caller set on the stream neither shows in the texts nor changes.
TEST_F(ListTest, ListsPrintWhole) {
  const ExtCommList::PtrConst list = intern({target});
  const auto part = list->classificationList(extCommClassificationRouteTarget);
  const std::string text = "[ <RouteTarget2ByteASN 65000:100 0x0002fde800000064> ]";
  std::ostringstream stream;
  stream << std::hex << std::showbase << std::setfill('*') << std::setw(200);
  const auto flags = stream.flags();
  stream << list.get() << *list << part.get() << *part << static_cast<const ExtCommList*>(nullptr)
         << static_cast<const ExtCommClassificationList*>(nullptr);
  EXPECT_EQ(stream.str(), text + text + text + text + "NULLNULL");
  EXPECT_TRUE(stream.flags() == flags && stream.width() == 200 && stream.fill() == '*');
  EXPECT_EQ(stringify(list.get()) + stringify(part.get()) + stringify(intern({}).get()), text + text + "[  ]");
}

TEST_F(ListTest, DumpsOfRouteTargets) {
  const auto dump = [this](std::uint32_t indent) {
    Keel::StringDumpContext context;
    comms->producerRtList()->dumpState(context, indent);
    extended->notifyingRtExtCommListCollection()->dumpState(context, indent);
    return context.text();
  };
  EXPECT_EQ(dump(0), "NotifyingRouteTargetList #0:\nNotifyingRtExtCommListCollection rtExtCommLists #0;\n");
  const ExtCommList::PtrConst list = intern({target, 0x01020a0102030007});
  const ExtComm::PtrConst fourOctets = internOne(0x02020003000a0005);
  EXPECT_EQ(dump(4),
            "    NotifyingRouteTargetList #3:\n      65000:100\n      10.1.2.3:7\n      196618:5\n"
            "    NotifyingRtExtCommListCollection rtExtCommLists #1;\n      rtExtCommList " +
                stringify(list.get()) + "\n");
  EXPECT_EQ(dump(0xfffffffe).substr(0, 42), "  NotifyingRouteTargetList #3:\n65000:100\n1");  // wraps
}

TEST_F(ListTest, DumpsOfAllTables) {
  const auto held = internOne(target);
  Keel::StringDumpContext dumped;
  comms->dumpState(dumped, 4);
  ip6Comms->dumpState(dumped, 3);
  extended->dumpState(dumped, 3);
  extendedIp6->dumpState(dumped, 1);
  standard->dumpState(dumped, 0);
  large->dumpState(dumped, 3);
  EXPECT_THAT(dumped.text(), testing::MatchesRegex(
                                 "    DedupHashTable ExtCommDedupTable .*objects #1 .*\n"
                                 "   DedupHashTable ExtCommIp6DedupTable .*\n"
                                 "   ExtCommListDedupTable\n     extComm\n       DedupHashTable extCommList .*\n"
                                 "     extCommClassification\n       DedupHashTable extCommClassificationList .*\n"
                                 "     rtExtCommClassification\n       DedupHashTable rtExtCommClassificationList .*\n"
                                 " ExtCommIp6ListDedupTable\n   extCommIp6\n     DedupHashTable .*\n"
                                 "   extCommIp6Classification\n     DedupHashTable .*\n"
                                 "DedupTable  DedupHashTable commList .*\n"
                                 "   DedupTable     DedupHashTable largeCommList .*\n"));
}

// What the texts are is tested with the tool, which matches in all ways.
TEST_F(ListTest, EachWayToMatchHasItsText) {
  const ExtCommList::PtrConst list = intern({target, valid}), states = intern({invalid, valid, target});
  const PosixRegex plain("^65000:100 $"), classified("^RT:65000:100 $"),
      ui("^Origin-Validation-State:valid Origin-Validation-State:invalid$"), any("");
  for (const auto mode : {MatchMode::strepDefault, MatchMode::strepClassification, MatchMode::ui}) {
    EXPECT_EQ(matchExtCommList(list.get(), mode, &plain), mode == MatchMode::strepDefault);
    EXPECT_EQ(matchExtCommList(list.get(), mode, &classified), mode == MatchMode::strepClassification);
    EXPECT_EQ(matchExtCommList(states.get(), mode, &ui), mode == MatchMode::ui);
  }
  EXPECT_ASSERTION(matchExtCommList(intern({target}).get(), MatchMode::ui, &any),
                   "!strVal.empty() || matchMode != MatchMode::ui");
}

// ---- Lists of IPv6-address-specific communities

const ExtCommIp6Content target6 = ip6(0x00, 0x02, "2001:db8::1", 100), origin6 = ip6(0x00, 0x03, "2001:db8::1", 1),
                        odd6 = ip6(0x01, 0x02, "::1", 2), nonTransitive6 = ip6(0x40, 0x02, "2001:db8::2", 7);

class Ip6ListTest : public ListTest {};

TEST_F(Ip6ListTest, BuildersGrowAndInternedListsDoNot) {
  const ExtCommIp6List::PtrConst list = internIp6({target6, odd6});
  const ExtCommIp6List::Ptr loser = ip6Builder({odd6, target6, odd6});
  EXPECT_EQ(loser->dedup(extendedIp6.get()), list);
  EXPECT_TRUE(!loser->everDeduped() && list->compareByContent(ExtCommIp6ListDedupContent(*loser)));
  loser->commIs(internOne(origin6));
  loser->append(list);
  loser->append(loser);
  EXPECT_FALSE(list->compareByContent(ExtCommIp6ListDedupContent(*loser)));
  EXPECT_EQ(loser->dedup(extendedIp6.get()), loser);
  EXPECT_EQ(internIp6({target6, origin6, odd6}), loser);
  EXPECT_EQ(loser->dedup(extendedIp6.get()), loser);
  EXPECT_THROW(ExtCommIp6ListIs()->commIs(nullptr), Tyr::NullArgumentException);
  EXPECT_THROW(ExtCommIp6ListIs()->append(nullptr), Tyr::NullArgumentException);
}

// An interned list stays what it is: another table gets a copy, also after the first is gone.
TEST_F(Ip6ListTest, AnotherTableInternsACopy) {
  const ExtCommIp6List::PtrConst list = internIp6({target6, origin6});
  const auto others = ExtCommIp6ListDedupTableIs();
  const ExtCommIp6List::PtrConst copy = list->dedup(others.get());
  const auto part = list->classificationList(extCommClassificationRouteTarget);
  const auto partCopy = copy->classificationList(extCommClassificationRouteTarget);
  EXPECT_EQ(boost::const_pointer_cast<ExtCommIp6ClassificationList>(part)->dedup(others.get()), partCopy);
  EXPECT_TRUE(copy != list && part != partCopy);
  extendedIp6 = ExtCommIp6ListDedupTableIs();
  EXPECT_FALSE(list->isDeduped());
  EXPECT_EQ(list->dedup(others.get()), copy);
  EXPECT_EQ(list->dedup(extendedIp6.get())->totalTransitiveCommunities(), 2u);
}

// The octets with and without the non-transitive ones are tested with the tool.
TEST_F(Ip6ListTest, Texts) {
  EXPECT_EQ(internIp6({})->serialize(true) + internIp6({nonTransitive6})->serialize(false), "");  // not a bare header
  const ExtCommIp6List::PtrConst list = internIp6({nonTransitive6, target6});
  const std::string text =
      "[ <extCommIp6PktTypeTransIpv6Address extCommIp6PktSubtypeRouteTarget addr=2001:db8::1 localAdmin=100>"
      " <extCommIp6PktTypeNonTransIpv6Address subtype=2 addr=2001:db8::2 localAdmin=7> ]";
  EXPECT_EQ(list->toStrep(), text);
  EXPECT_EQ(list->commsStringForm(), "2001:db8::1:100 2001:db8::2:7 ");
  std::ostringstream stream;
  stream << std::hex << std::setfill('*') << std::setw(999) << list.get() << *internIp6({})
         << static_cast<const ExtCommIp6List*>(nullptr);
  EXPECT_EQ(stream.str(), text + "[  ]NULL");
}

TEST_F(Ip6ListTest, BrokenPreconditionsStopTheProcess) {
  const ExtCommIp6List::Ptr list = ip6Builder({target6}), open = ip6Builder({target6, origin6});
  const ExtCommIp6List::PtrConst interned = list->dedup(extendedIp6.get());
  const char* const neverDeduped =
      "__null == ( this ) || ( this )->dedupState() == Keel::dedupHandleStateNeverDeduped()";
  EXPECT_ASSERTION(list->commIs(internOne(origin6)), neverDeduped);
  EXPECT_ASSERTION(list->append(open), neverDeduped);
  EXPECT_ASSERTION(open->classificationList(extCommClassificationRouteTarget),
                   "__null == ( this ) || ( this )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
  EXPECT_ASSERTION(open->comm(target6), "commVectorSorted");
  EXPECT_ASSERTION(open->commIs(ExtCommIp6Is(extCommClassificationColor, target6)),
                   "__null == ( comm ) || ( comm )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
  const auto part = Tyr::make<ExtCommIp6ClassificationList>(extCommClassificationRouteTarget);
  EXPECT_ASSERTION(part->dedup(extendedIp6.get()), "_classificationList->commVectorSorted()");
}

// ---- Lists of plain values

class ValueListTest : public ListTest {};

// All names are tested with the enumeration and the tool.
TEST_F(ValueListTest, StandardTextsAndWellKnownNames) {
  Tyr::DynamicBuffer<> numbers;
  CommunityFormatter<false>::format(numbers, 0xffff0000);
  CommunityFormatter<true>::formatNotWellKnown(numbers, 0xfffeffff);
  EXPECT_EQ(numbers.str(), "65535:065534:65535");
  EXPECT_EQ(CommList::getStringValue(0xffffff03) + CommList::getStringValue(0xffffff04), "local-as65535:65284");
  EXPECT_EQ(CommList::wellKnownName(0), "internet");
  EXPECT_EQ(CommList::wellKnownName(1), "");
  EXPECT_EQ(CommList::wellKnownValue("internet"), 0u);
  for (const char* const name : {"", "NO-EXPORT", "no-export ", "communityNoExport", "1:100"}) {
    EXPECT_FALSE(CommList::wellKnownValue(name)) << name;
  }
}

TEST_F(ValueListTest, LargeTexts) {
  EXPECT_EQ(LargeCommList::displayString({65535, 0, 0}, true), "65535:0:0");
  EXPECT_EQ(LargeCommList::displayString({4200000000, 70000, 4294967295}, true), "64086.59904:70000:4294967295");
  EXPECT_EQ(LargeCommList::getStringValue({4200000000, 70000, 4294967295}), "4200000000:70000:4294967295");
}

TEST_F(ValueListTest, ListsPrintInOrder) {
  const auto ours = internStandard({0xffffff01, 0x00010064, 0xffffff01});
  EXPECT_EQ(ours->commVectorRawPtr()[1], 0xffffff01);
  EXPECT_EQ(ours->fwkType().unqualifiedName(), "CommList");
  const auto theirs = internLarge({CommunityValue{1, 2, 3}, {1, 2, 3}, {0, 9, 9}});
  EXPECT_EQ(theirs->fwkType().unqualifiedName(), "LargeCommList");
  std::ostringstream stream;
  stream << std::hex << std::uppercase << ours.get() << ';' << *theirs << ';' << static_cast<const CommList*>(nullptr)
         << ';' << static_cast<const LargeCommList*>(nullptr);
  EXPECT_EQ(stream.str(), "1:100 no-export;0:9:9 1:2:3;NULL;NULL");
  EXPECT_EQ(stringify(theirs.get()), theirs->toStrep());
  // The bare header: a caller does not send it.
  EXPECT_EQ(internStandard({})->serialize(), std::string("\xc0\x08\0", 3));
  EXPECT_EQ(internLarge({})->serialize(), std::string("\xc0\x20\0", 3));
}

// What lists of some match is tested with the tool.
TEST_F(ValueListTest, EmptyListsMatchAsTheEmptyText) {
  const PosixRegex empty("^$"), any(".");
  EXPECT_TRUE(internStandard({})->matchCommunitiesRegex(&empty) && internLarge({})->matchCommunitiesRegex(&empty));
  EXPECT_FALSE(internStandard({})->matchCommunitiesRegex(&any) || internStandard({1})->matchCommunitiesRegex(&empty));
}

// Far more than an attribute holds: the last community is still part of the text.
TEST_F(ValueListTest, TextsAreNeverCut) {
  std::vector<std::uint32_t> values{communityNoExport};
  for (std::uint32_t i = 1; i < 20000; ++i) values.push_back(0xfde80000 + i);
  const PosixRegex noExport("^65000:1 .*no-export$");
  const auto list = internStandard(values);
  EXPECT_TRUE(list->matchCommunitiesRegex(&noExport));
  EXPECT_EQ(stringify(list.get()).size(), 9u * 8 + 90 * 9 + 900 * 10 + 9000 * 11 + 10000 * 12 + 9);
}

TEST_F(ValueListTest, ContentsTakeWholeLists) {
  CommListContent content;
  content.append(internStandard({3, 1}).get());
  content.commIs(2);
  content.append(internStandard({2, 4}).get());
  EXPECT_EQ(CommList::dedupContent(standard.get(), content)->toStrep(), "0:1 0:2 0:3 0:4");
  EXPECT_THROW(content.append(nullptr), Tyr::NullArgumentException);
  EXPECT_ASSERTION(internStandard({1})->compareByContent(CommListContent()), "content->commVectorSorted()");
}

// Found through the tables' own operations as well. A list's hash is the published one, and the table's is not: whoever
// knows the first can make lists that collide, and must not fill one chain with them.
TEST_F(ValueListTest, Hashes) {
  const CommListContent none;
  none.sortAndUnique();
  EXPECT_EQ(none.hash(), 0u);
  const auto list = internStandard({0xffffff01, 0x00010064});
  EXPECT_EQ(list->hash(), 0xf7196726u);  // on a host of little-endian order
  EXPECT_NE(list->storedHash(), list->hash());
  CommListContent content;
  content.append(list.get());
  content.sortAndUnique();
  const CommList::PtrConst found(
      static_cast<const CommList*>(standard->dedupTable().lookupByContent(content, list->storedHash())), false);
  EXPECT_EQ(found, list);

  Keel::HashMix mix;
  for (const std::uint32_t word : {65536, 1, 2, 65537, 3, 4}) mix.mixBytes4(word);
  EXPECT_EQ(internLarge({CommunityValue(65537, 3, 4), {65536, 1, 2}})->hash(), mix.value());
}

}  // namespace
}  // namespace Routing::Bgp::test
