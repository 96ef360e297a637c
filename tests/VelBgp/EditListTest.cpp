// Edits of lists: against a model of sets for all four kinds at once, then what each kind takes by its texts and
// classifications.
#include "VelBgp/EditList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "VelBgp/WordLists.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

using Set = std::set<std::uint32_t>;

// What an edit of the attribute's lists is told about tables, and the hash table of the lists.
template <typename Attribute>
typename EditList<typename Attribute::List>::Tables tablesOf(const Agent& agent) {
  const auto* const lists = (agent.*Attribute::table).get();
  if constexpr (std::is_same_v<Attribute, Extended>) return {agent.comms.get(), lists};
  if constexpr (std::is_same_v<Attribute, ExtendedIp6>) return {agent.ip6Comms.get(), lists};
  if constexpr (!hasCommunities<Attribute>) return lists;
}
template <typename Attribute>
Keel::DedupHashTable& hashTableOf(const Agent& agent) {
  const auto& table = *(agent.*Attribute::table);
  if constexpr (hasCommunities<Attribute>) {
    return table.extCommListDedupTable();
  } else {
    return table.dedupTable();
  }
}

template <typename Attribute>
class EditListTest : public testing::Test {
 protected:
  using List = typename Attribute::List;
  using Edit = EditList<List>;

  static auto value(std::uint32_t word) { return Attribute::value(word); }
  static auto values(const Set& words) { return valuesOfWords<Attribute>(Words(words.begin(), words.end())); }
  typename List::PtrConst intern(const Set& words) const {
    return Attribute::intern(agent, Words(words.begin(), words.end()));
  }
  Set some(std::uint32_t most) {
    Set words;
    for (std::uint32_t n = random() % (most + 1); words.size() < n;)
      words.insert(static_cast<std::uint32_t>(random() % 40));
    return words;
  }

  // One edit, of the list and of the model.
  void step(Edit& edit, Set& model) {
    const Set words = some(4);
    const std::uint32_t word = static_cast<std::uint32_t>(random() % 40);
    switch (random() % 9) {
      case 0:
        edit.plus(value(word));
        model.insert(word);
        break;
      case 1:
        edit.plusAll(values(words));
        model.insert(words.begin(), words.end());
        break;
      case 2: {
        const auto other = words.empty() ? nullptr : intern(words);
        random() % 2 == 0 ? edit.plusAll(other) : edit.plusAll(other.get());
        model.insert(words.begin(), words.end());
        break;
      }
      case 3:
        edit.minus(value(word));
        model.erase(word);
        break;
      case 4: {
        const auto other = intern(words);
        random() % 2 == 0 ? edit.minusAll(values(words)) : edit.minusAll(other->comms());
        for (const std::uint32_t one : words) model.erase(one);
        break;
      }
      case 5:
        edit.minusIf([&](const auto& one) { return Attribute::word(one) % 5 == word % 5; });
        std::erase_if(model, [&](std::uint32_t one) { return one % 5 == word % 5; });
        break;
      case 6:
        edit.replaced(value(word), value(word / 2));
        if (model.erase(word) != 0) model.insert(word / 2);
        break;
      case 7:
        if (word == 0) model.clear();
        if (word == 0) edit.minusEverything();
        break;
      case 8:
        if constexpr (hasCommunities<Attribute>) {
          const auto none = ExtCommClassification(12);
          edit.minusClassification(none);
        }
        break;
    }
    EXPECT_EQ(edit.holds(value(word)), model.count(word) != 0);
  }

  const Agent agent;
  std::mt19937 random{20261121};
};

using Attributes = testing::Types<Extended, ExtendedIp6, Large, Standard>;
TYPED_TEST_SUITE(EditListTest, Attributes);

// In one pass or with looks in between; what was not changed is not looked up.
TYPED_TEST(EditListTest, AgreesWithAModel) {
  const auto& hashTable = hashTableOf<TypeParam>(this->agent);
  const_cast<Keel::DedupHashTable&>(hashTable).countsHitsIs(true);
  int same = 0;
  for (int i = 0; i < 3000; ++i) {
    const Set before = this->some(8);
    const auto list = before.empty() && i % 2 == 0 ? nullptr : this->intern(before);
    EditList<typename TypeParam::List> edit(list, tablesOf<TypeParam>(this->agent));
    Set model = before;
    for (unsigned steps = this->random() % 5; steps != 0; --steps) {
      this->step(edit, model);
      if (this->random() % 8 == 0) edit.interned();
    }
    const auto expected = model.empty() ? nullptr : this->intern(model);
    const auto lookups = [&] { return *hashTable.metrics().hits + hashTable.metrics().misses; };
    const auto before_ = lookups();
    ASSERT_EQ(edit.interned(), expected) << i;
    ASSERT_EQ(lookups() - before_, model.empty() || model == before ? 0u : 1u) << i;
    same += list != nullptr && expected == list;
  }
  EXPECT_GT(same, 500);
}

// Of another table, or of a store: the result is in this one all the same.
TYPED_TEST(EditListTest, AListOfAnotherTableIsInternedInThisOne) {
  const Agent other;
  const auto theirs = TypeParam::intern(other, {1, 2, 3});
  typename TestFixture::Edit edit(theirs, tablesOf<TypeParam>(this->agent));
  EXPECT_EQ(edit.interned(), this->intern({1, 2, 3}));
  EXPECT_EQ(edit.minus(this->value(2)).interned(), this->intern({1, 3}));
}

// Far more than inside the edit.
TYPED_TEST(EditListTest, LongLists) {
  Set all, even;
  for (std::uint32_t word = 0; word < 5000; ++word) (word % 2 == 0 ? even : all).insert(word);
  all.insert(even.begin(), even.end());
  const auto list = this->intern(even);
  typename TestFixture::Edit edit(list, tablesOf<TypeParam>(this->agent));
  EXPECT_EQ(edit.plusAll(this->values(all)).interned(), this->intern(all));
  EXPECT_EQ(edit.minusIf([](const auto& value) { return TypeParam::word(value) % 2 != 0; }).interned(), list);
}

struct EditTextsTest : testing::Test {
  template <typename List>
  static std::string left(const Tyr::Ptr<const List>& list, const CommunityTables& tables, const char* pattern) {
    const RouteMap::PosixRegex regex(pattern);
    const auto edited = EditList(list, tables).minusMatching(&regex).interned();
    std::string text;
    if (edited == nullptr) return text;
    for (const auto& comm : edited->comms()) text += textOf(comm) + " ";
    return text;
  }
  static std::string textOf(const ExtComm* comm) { return comm->toStrepForUI(false, false, false); }
  static std::string textOf(const ExtCommIp6::PtrConst& comm) {
    return comm->toStrepForPolicy(ExtCommIp6::StrepFormat());
  }
  static std::string textOf(std::uint32_t value) { return CommList::getStringValue(value); }
  static std::string textOf(const CommunityValue& value) { return LargeCommList::getStringValue(value); }

  const CommunityTables tables{true};
};

// One community at a time: an expression never matches across two. In the order: target, color, state, generic.
TEST_F(EditTextsTest, ExpressionsTakeCommunitiesByTheirOwnTexts) {
  ExtCommListContentU64 content(tables.extComms());
  const std::map<char, std::uint64_t> values = {
      {'T', 0x0002fde800000064}, {'C', 0x030b000000000064}, {'S', 0x4300000000000001}, {'G', 0x8123000000000001}};
  for (const auto& [letter, value] : values) content.commIs(value);
  const auto list = tables.dedupContent(content);
  const std::map<const char*, std::string> taken = {
      {"^65000:100 ?$", "T"}, {"^RT:65000:100 ?$", "T"}, {"Route-Target-AS:", ""}, {"Origin-Validation-State", "S"},
      {"^$", "SG"},           {"65000:100 .*:", ""},     {".*", "TCSG"},           {"not-found", "S"},
  };
  for (const auto& [pattern, which] : taken) {
    EditList edit(list, tables);
    const RouteMap::PosixRegex regex(pattern);
    edit.minusMatching(&regex);
    std::string gone;
    for (const auto& [letter, value] : values) {
      if (!edit.holds(value)) gone += letter;
    }
    EXPECT_THAT(gone, testing::UnorderedElementsAreArray(which)) << pattern;
    // As a list of each alone is matched; and communities that were added just now as those of the list.
    EditList<ExtCommList> added(nullptr, tables);
    for (const ExtComm* comm : list->comms()) {
      const auto alone = ExtCommList::dedupSingleU64(tables.extComms(), tables.extCommLists(), comm->community());
      EXPECT_EQ(alone->matchCommunitiesRegex(&regex), !edit.holds(comm)) << pattern;
      added.plus(comm);
    }
    EXPECT_EQ(added.minusMatching(&regex).interned(), edit.interned()) << pattern;
  }
}

TEST_F(EditTextsTest, OtherKindsHaveTheirsToo) {
  CommListContent standard;
  for (const std::uint32_t value : {0xffffff01u, 0x00010064u, 0x00010065u}) standard.commIs(value);
  EXPECT_EQ(left(tables.dedupContent(standard), tables, "^no-export$"), "1:100 1:101 ");
  EXPECT_EQ(left(tables.dedupContent(standard), tables, "^65535:65281$|^1:100$"), "1:101 ");
  EXPECT_EQ(left(tables.dedupContent(standard), tables, "1:100 1:101"), "1:100 1:101 no-export ");
  LargeCommListContent large;
  large.commIs({65000, 1, 2});
  large.commIs({65000, 1, 3});
  EXPECT_EQ(left(tables.dedupContent(large), tables, "^65000:1:2$"), "65000:1:3 ");
  ExtCommIp6ListContent ip6s(tables.extCommIp6s());
  ip6s.commIs(ip6(0x00, 0x02, "2001:db8::1", 100));
  ip6s.commIs(ip6(0x40, 0x02, "2001:db8::2", 7));
  EXPECT_EQ(left(tables.dedupContent(ip6s), tables, "^2001:db8::1:100$"), "2001:db8::2:7 ");
  EXPECT_EQ(left(tables.dedupContent(ip6s), tables, "::"), "");
}

// Route targets of two layouts and one that is none for its 0x40 bit; a route origin; a color.
TEST_F(EditTextsTest, ClassificationsAndPrefixesOfRouteTargets) {
  const std::vector<std::uint64_t> values = {0x0002fde800000064, 0x0002fde8000000c8, 0x01020a0000010064,
                                             0x0003fde800000064, 0x030b000000000064, 0x4002fde800000064};
  const auto list = EditList<ExtCommList>(nullptr, tables).plusAll(values).interned();
  const auto taken = [&](auto&& change) {
    EditList fromList(list, tables);
    change(fromList);
    EditList<ExtCommList> fromValues(nullptr, tables);
    change(fromValues.plusAll(values));
    EXPECT_EQ(fromValues.interned(), fromList.interned());
    std::string gone;
    for (std::size_t i = 0; i < values.size(); ++i) gone += fromList.holds(values[i]) ? "" : std::to_string(i);
    return gone;
  };
  const auto covered = [&](std::uint64_t prefix, std::uint8_t length) {
    return taken([&](auto& edit) { edit.minusCovered(RouteTargetPrefix({prefix}, length)); });
  };
  EXPECT_EQ(covered(0, 0), "012");
  EXPECT_EQ(covered(0x0002fde8ffffffff, 32), "01");
  EXPECT_EQ(covered(0x0002fde800000064, 64), "0");
  EXPECT_EQ(covered(0x0002fde800000040, 57), "0");
  EXPECT_EQ(covered(0x4002fde800000064, 64), "");
  EXPECT_EQ(covered(0x0102000000000000, 16), "2");
  const auto classified = [&](ExtCommClassification classification) {
    return taken([&](auto& edit) { edit.minusClassification(classification); });
  };
  EXPECT_EQ(classified(extCommClassificationRouteTarget) + classified(extCommClassificationColor) +
                classified(extCommClassificationUnSpecified),
            "01245");
  EXPECT_EQ(EditList(list, tables).minusClassification(extCommClassificationLinkBandwidth).interned(), list);
}

// What a caller does wrong ends with a sentence, in every build.
TEST_F(EditTextsTest, MisuseStopsTheProcess) {
  const char* const null = "a table is null: make it before anything is interned in it, and pass its address";
  const char* const gone =
      "a content is used after its table of communities is gone: keep the table as long as the content";
  const char* const noExpression = "there is no expression to match with: make a RouteMap::PosixRegex first";
  const std::vector<std::uint8_t> octets(120);
  const std::vector<AttributeOctets> attributes{octets};
  const ExtCommList::PtrConst list = EditList<ExtCommList>(nullptr, tables).plus(0x0002fde800000064).interned();
  const std::vector<ExtCommListContentU64> contents(1, ExtCommListContentU64(tables.extComms()));
  std::vector<ExtCommList::PtrConst> lists(1);
  std::vector<ExtCommIp6List::PtrConst> ip6Lists(1);
  std::vector<CommList::PtrConst> standardLists(1);
  ExtCommListContentU64 nowhere(nullptr);
  nowhere.commIs(7);

  EXPECT_ADVICE(ExtComm::dedupContent(nullptr, ExtCommContent(1)), null);
  EXPECT_ADVICE(ExtCommIp6::dedupContent(nullptr, ExtCommIp6Content()), null);
  EXPECT_ADVICE(ExtCommList::dedupContent(nullptr, contents[0]), null);
  EXPECT_ADVICE(ExtCommList::dedupContent(nullptr, ExtCommListContent()), null);
  EXPECT_ADVICE(ExtCommList::dedupContent(tables.extCommLists(), nowhere), null);
  EXPECT_ADVICE(ExtCommList::dedupSingleU64(nullptr, tables.extCommLists(), 8), null);
  EXPECT_ADVICE(ExtCommList::dedupContents(nullptr, contents, lists), null);
  EXPECT_ADVICE(ExtCommList::dedupAttributes(tables.extComms(), nullptr, attributes, lists), null);
  EXPECT_ADVICE(ExtCommList::dedupAttributes(nullptr, tables.extCommLists(), attributes, lists), null);
  EXPECT_ADVICE(ExtCommClassificationList::dedupContent(
                    nullptr, ExtCommClassificationListContent(extCommClassificationRouteTarget)),
                null);
  EXPECT_ADVICE(ExtCommIp6List::dedupContent(nullptr, ExtCommIp6ListContent(tables.extCommIp6s())), null);
  EXPECT_ADVICE(ExtCommIp6ListIs()->dedup(nullptr), null);
  EXPECT_ADVICE(ExtCommIp6List::dedupAttributes(nullptr, tables.extCommIp6Lists(), attributes, ip6Lists), null);
  EXPECT_ADVICE(ExtCommIp6List::dedupAttributes(tables.extCommIp6s(), nullptr, attributes, ip6Lists), null);
  EXPECT_ADVICE(CommList::dedupContent(nullptr, CommListContent()), null);
  EXPECT_ADVICE(CommList::dedupAttributes(nullptr, attributes, standardLists), null);
  EXPECT_ADVICE(LargeCommList::dedupContent(nullptr, LargeCommListContent()), null);
  EXPECT_ADVICE(EditList(list, tables).minusMatching(nullptr), noExpression);

  auto other = ExtCommDedupTableIs(tables.decoder()->extCommParser());
  auto other6 = ExtCommIp6DedupTableIs(tables.decoder()->extCommParser());
  ExtCommListContentU64 content(other.get());
  ExtCommIp6ListContent content6(other6.get());
  content.append(list.get());
  content6.commIs(ExtCommIp6Content());
  other.reset();
  other6.reset();
  other = ExtCommDedupTableIs(tables.decoder()->extCommParser());              // at the same address, perhaps
  EXPECT_EQ(ExtCommList::dedupContent(tables.extCommLists(), content), list);  // a hit needs no table of communities
  content.commIs(9);
  EXPECT_ADVICE(ExtCommList::dedupContent(tables.extCommLists(), content), gone);
  EXPECT_ADVICE(ExtCommIp6List::dedupContent(tables.extCommIp6Lists(), content6), gone);
}

}  // namespace
}  // namespace Routing::Bgp::test
