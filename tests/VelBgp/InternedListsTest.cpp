// One suite for the interned lists of all attributes, in both variants of the tables, and one for all that they are
// built from.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Tyr/Exception.h"
#include "VelBgp/AttributeWriter.h"
#include "VelBgp/CommListSnapshot.h"
#include "VelBgp/WordLists.h"
#include "support/Death.h"
#include "support/FailingMemory.h"

namespace Routing::Bgp::test {
namespace {

struct ExtendedObjects : Extended {
  static List::PtrConst intern(const Agent& agent, const Words& words) {
    ExtCommListContent content;
    for (const auto word : words) content.commIs(agent.internOne(value(word)));
    return List::dedupContent(agent.extended.get(), content);
  }
  using Extended::intern;
};

template <typename FormOf, bool multi>
struct Variant : FormOf {
  static constexpr bool multiThreaded = multi;
};

// The first n of the words that are a step apart.
Words someWords(std::size_t n, std::uint32_t step = 42949) {
  Words words;
  for (std::uint32_t i = 0; i < n; ++i) words.push_back(i * step);
  return words;
}
template <typename Form, typename List>
auto valuesOf(const List& list) {
  std::vector<decltype(Form::value(0))> values;
  for (const auto& comm : list.comms()) values.push_back(Form::valueOf(comm));
  return values;
}

template <typename Form>
class InternedLists : public testing::Test {
 protected:
  ~InternedLists() override { EXPECT_EQ(agent.size(), 0u); }
  auto intern(const Words& words) const { return Form::intern(agent, words); }
  std::size_t lists() const { return (agent.*Form::table)->size(); }

  const Agent agent{Form::multiThreaded};
};

using Forms = testing::Types<Variant<Extended, false>, Variant<Extended, true>, Variant<ExtendedObjects, false>,
                             Variant<ExtendedObjects, true>, Variant<Standard, false>, Variant<Standard, true>,
                             Variant<Large, false>, Variant<Large, true>, Variant<ExtendedIp6, false>,
                             Variant<ExtendedIp6, true>>;
TYPED_TEST_SUITE(InternedLists, Forms);

// Sizes on both sides of what a content and a list keep inside themselves.
TYPED_TEST(InternedLists, OneObjectForEveryOrderAndRepeat) {
  for (const std::size_t n : {0, 1, 2, 64, 65, 168, 169, 505, 506, 100000}) {
    SCOPED_TRACE(n);
    const Words words = someWords(n);
    Words jumbled = words;
    jumbled.insert(jumbled.end(), words.begin() + static_cast<std::ptrdiff_t>(n / 3), words.end());
    std::shuffle(jumbled.begin(), jumbled.end(), std::mt19937(1));
    auto list = this->intern(jumbled);
    auto ascending = valuesOfWords<TypeParam>(words);
    std::sort(ascending.begin(), ascending.end());
    EXPECT_TRUE(valuesOf<TypeParam>(*list) == ascending);
    EXPECT_EQ(list->totalCommunities(), n);
    EXPECT_EQ(list->empty(), n == 0);
    EXPECT_TRUE(list->isDeduped() && list->notificationActive());
    EXPECT_EQ(this->intern(words), list);
    EXPECT_EQ(this->intern({words.rbegin(), words.rend()}), list);
    EXPECT_EQ(this->lists(), 1u);
    list.reset();
    EXPECT_EQ(this->agent.size(), 0u);
  }
}

TYPED_TEST(InternedLists, FindsWhatIsThereAndNothingElse) {
  for (const std::size_t n : {0, 1, 2, 7, 600}) {
    Words held;  // every other word, from the second on
    for (std::uint32_t i = 0; i < n; ++i) held.push_back(2 * i + 1);
    const auto list = this->intern(held);
    for (std::uint32_t i = 0; i <= 2 * n; ++i) EXPECT_EQ(list->comm(TypeParam::value(i)) != nullptr, i % 2 == 1) << i;
  }
}

TYPED_TEST(InternedLists, ListsDifferByAnyValueOrCount) {
  std::vector<Words> rows = {{}, {0}};  // nothing is not zero
  const Words ten = someWords(10, 9);
  for (std::size_t i = 0; i < 10; ++i) {
    rows.push_back(ten);
    ++rows.back()[i];
    rows.push_back(ten);
    rows.back().erase(rows.back().begin() + static_cast<std::ptrdiff_t>(i));
  }
  for (const Words& a : rows) {
    const auto list = this->intern(a);
    for (const Words& b : rows) {
      const auto other = this->intern(b);
      EXPECT_EQ(list == other, &a == &b);
      EXPECT_EQ(list->compare(other.get()), &a == &b);
      EXPECT_TRUE(&a != &b || list->hash() == other->hash());
    }
  }
}

// Each part holds the communities of its classification and is shared by lists that have the same; it keeps them alive.
TYPED_TEST(InternedLists, SplitByClassification) {
  if constexpr (hasCommunities<TypeParam>) {
    const Words words = someWords(70, 12347);
    auto list = this->intern(words), more = this->intern(someWords(71, 12347));
    unsigned shared = 0, others = 0;
    for (unsigned c = 0; c < 14; ++c) {
      auto part = list->classificationList(ExtCommClassification(c));
      std::vector<decltype(TypeParam::value(0))> expected;
      for (const auto& comm : list->comms()) {
        if (comm->classification() == c) expected.push_back(TypeParam::valueOf(comm));
      }
      ASSERT_EQ(part == nullptr, expected.empty());
      if (part == nullptr) continue;
      EXPECT_TRUE(part->isDeduped() && part->classification() == c && part->commVectorSorted());
      EXPECT_TRUE(valuesOf<TypeParam>(*part) == expected);
      EXPECT_TRUE(part->comm(expected.back()) && !part->comm(TypeParam::value(1)));
      ++(part == more->classificationList(ExtCommClassification(c)) ? shared : others);
    }
    EXPECT_TRUE(shared > 0 && others == 1);
    auto part = list->classificationList(extCommClassificationRouteTarget);
    const std::size_t kept = part->comms().size();
    list.reset();
    more.reset();
    EXPECT_EQ(this->agent.size(), kept + 1);
  }
}

std::string attributeOf(const ExtCommList& list) {
  return list.serialize(ExtCommList::serialization(true, false, false));
}
std::string attributeOf(const ExtCommIp6List& list) { return list.serialize(true); }
template <typename List>
std::string attributeOf(const List& list) {
  return list.serialize();
}

// Each word shows in the octets of its value, and these come in order, however it is written. A value takes as much room here as on the wire.
TYPED_TEST(InternedLists, Attributes) {
  constexpr unsigned each = sizeof(TypeParam::value(0)), shortest = 255 / each, most = 65535 / each;
  const char code = "\x10\x19\x20\x08"[TypeParam::index];
  for (const std::size_t n : {1u, 2u, shortest, shortest + 1, 1000u, most}) {
    SCOPED_TRACE(n);
    const auto list = this->intern(someWords(n, 3));
    const std::size_t octets = n * each;
    std::string header = {'\xc0', code, static_cast<char>(octets)};
    if (octets > 255) header = {'\xd0', code, static_cast<char>(octets >> 8), static_cast<char>(octets)};
    const std::string attribute = attributeOf(*list);
    ASSERT_EQ(attribute.size(), header.size() + octets);
    EXPECT_EQ(AttributeWriter(list).str(), attribute);
    EXPECT_EQ(attribute.substr(0, header.size()), header);
    std::size_t at = header.size();
    for (const auto& value : valuesOf<TypeParam>(*list)) {
      const std::uint32_t word = TypeParam::word(value);
      EXPECT_NE(attribute.substr(at, each).find({static_cast<char>(word >> 8), static_cast<char>(word)}),
                std::string::npos);
      at += each;
    }
  }
  const auto tooMany = this->intern(someWords(most + 1, 3));
  EXPECT_ASSERTION(attributeOf(*tooMany), "attrSize <= 0xFFFF");
  const AttributeWriter refusing(tooMany);
  std::string none;
  std::vector<std::uint8_t> room(70000);
  EXPECT_FALSE(refusing.fits() || refusing.str() || refusing.appendTo(none) || refusing.write(room) || !none.empty());
}

// ---- Many in one call

// Tells of all that comes to a table and leaves it.
struct Recorder final : Keel::DedupLifeTimeNotifiee {
  explicit Recorder(std::vector<std::string>& told) : told(told) {}
  // The hash of an IPv6 list is of where its communities are.
  static std::string textOf(const Keel::DedupHandleBase* handle) {
    const auto* const ip6 = dynamic_cast<const ExtCommIp6ListBase*>(handle);
    return ip6 == nullptr ? std::to_string(handle->hash()) : ip6->toStrep();
  }
  void handleInsert(Keel::DedupHandleBase* handle) override { told.push_back("+" + textOf(handle)); }
  void handleRemove(Keel::DedupHandleBase* handle) override { told.push_back("-" + textOf(handle)); }
  void handleNotificationStop(Keel::DedupHashTable*) override {}
  std::vector<std::string>& told;
};
Keel::DedupHashTable& tableOf(const auto& tables) {
  if constexpr (requires { tables.dedupTable(); }) {
    return tables.dedupTable();
  } else {
    return tables.extCommListDedupTable();
  }
}

// The values of attributes, also of malformed ones.
struct AttributeValues {
  std::vector<std::string> octets;
  std::vector<AttributeOctets> spans() const {
    std::vector<AttributeOctets> all;
    for (const std::string& each : octets)
      all.emplace_back(reinterpret_cast<const std::uint8_t*>(each.data()), each.size());
    return all;
  }
};
template <typename Form>
AttributeValues attributeValues(const Agent& agent, const std::vector<Words>& batch) {
  AttributeValues values;
  for (const Words& words : batch) {
    values.octets.emplace_back();
    for (const std::uint32_t word : words)
      values.octets.back() += attributeOf(*Form::intern(agent, Words{word})).substr(3);
  }
  return values;
}

// Batches of lists with repeats, in themselves and among each other, some of which are held in the places of others.
std::vector<std::vector<Words>> someBatches() {
  std::mt19937 random(3);
  std::vector<std::vector<Words>> batches;
  for (const std::size_t size : {0, 1, 5, 15, 16, 17, 33, 70, 2, 70}) {
    batches.emplace_back(size);
    for (Words& words : batches.back()) {
      const unsigned most = random() % 20 == 0 ? 90 : 4;
      words.resize(random() % 4 == 0 ? 0 : random() % most);
      for (std::uint32_t& word : words) word = random() % 5 * 42949;
    }
  }
  return batches;
}

TYPED_TEST(InternedLists, ManyInOneCallAreThoseOfOneByOne) {
  std::vector<std::string> told;
  tableOf(*(this->agent.*TypeParam::table)).lifeTimeNotifieeIs(new Recorder(told));
  if constexpr (hasCommunities<TypeParam>) {
    (this->agent.*TypeParam::table)->extCommClassificationListDedupTable().lifeTimeNotifieeIs(new Recorder(told));
  }
  const auto runOf = [&](auto&& internBatch) {
    std::vector<typename TypeParam::List::PtrConst> lists(70);
    std::vector<Words> found;
    told.clear();
    for (const auto& batch : someBatches()) {
      internBatch(batch, std::span(lists).first(batch.size()));
      for (const auto& list : lists) found.push_back(list == nullptr ? Words{~0u} : wordsOf<TypeParam>(*list));
    }
    for (auto& list : lists) list.reset();
    return std::pair(std::move(found), told);
  };
  const auto oneByOne = runOf([this](const auto& batch, auto lists) {
    for (std::size_t i = 0; i < batch.size(); ++i) lists[i] = this->intern(batch[i]);
  });
  EXPECT_GT(oneByOne.second.size(), 50u);
  const auto contents = [this](const auto& batch, auto lists) { TypeParam::intern(this->agent, batch, lists); };
  EXPECT_TRUE(runOf(contents) == oneByOne);
}

TYPED_TEST(InternedLists, ManyAttributesInOneCall) {
  for (const auto& batch : someBatches()) {
    AttributeValues values = attributeValues<TypeParam>(this->agent, batch);
    std::vector<typename TypeParam::List::PtrConst> lists(batch.size(), this->intern({7}));
    TypeParam::intern(this->agent, values.spans(), std::span(lists));
    for (std::size_t i = 0; i < batch.size(); ++i) {
      EXPECT_EQ(lists[i], batch[i].empty() ? nullptr : this->intern(batch[i]));
      values.octets[i] += 'x';
    }
    TypeParam::intern(this->agent, values.spans(), std::span(lists));
    EXPECT_EQ(std::count(lists.begin(), lists.end(), nullptr), static_cast<std::ptrdiff_t>(lists.size()));
  }
  std::vector<typename TypeParam::List::PtrConst> one(1);
  EXPECT_ASSERTION(TypeParam::intern(this->agent, AttributeValues().spans(), std::span(one)),
                   "attributes.size() == lists.size()");
}

// Lists before the one that failed are there, the rest of the places are as they were.
TYPED_TEST(InternedLists, RunningOutOfMemoryInTheMiddleOfMany) {
  std::vector<Words> batch(20);
  for (std::uint32_t i = 0; i < batch.size(); ++i) batch[i] = {i, 100 + i};
  batch[5] = someWords(700);
  std::shuffle(batch[5].begin(), batch[5].end(), std::mt19937(1));
  const AttributeValues values = attributeValues<TypeParam>(this->agent, batch);
  auto before = this->intern({7});
  std::vector<typename TypeParam::List::PtrConst> lists;
  const auto checkAndForget = [&] {
    std::size_t interned = 0;
    while (interned < lists.size() && lists[interned] != before) ++interned;
    for (std::size_t i = 0; i < interned; ++i) EXPECT_TRUE(lists[i] == this->intern(batch[i]));
    EXPECT_TRUE(std::all_of(lists.begin() + static_cast<std::ptrdiff_t>(interned), lists.end(),
                            [&](const auto& list) { return list == before; }));
    lists.assign(batch.size(), before);
    EXPECT_EQ(this->lists(), 1u);
  };
  for (const bool octets : {false, true}) {
    lists.assign(batch.size(), before);
    const auto spans = values.spans();
    const auto internAll = [&] {
      octets ? TypeParam::intern(this->agent, spans, std::span(lists))
             : TypeParam::intern(this->agent, batch, std::span(lists));
    };
    internAll();  // what is made once for the whole process
    checkAndForget();
    EXPECT_GT(failAtEachAllocation(internAll, checkAndForget), 0);
    lists.clear();
  }
}

// ---- Snapshots

template <typename Form, typename Snapshot>
auto keysOf(const Snapshot& snapshot) {
  std::vector<decltype(Form::value(0))> keys;
  for (const auto& [key, value] : snapshot.comm()) {
    keys.push_back(key);
    EXPECT_TRUE(value);
    if constexpr (hasCommunities<Form>) {
      EXPECT_TRUE(Form::valueOf(value.get()) == key);
    }
  }
  return keys;
}

TYPED_TEST(InternedLists, SnapshotsAreChangedByKeyAndByPlace) {
  EXPECT_EQ(this->intern({})->commSnapshot()->commCount(), 0u);
  auto list = this->intern({1, 2, 3, 4, 0x10005, 0x7ffffff0, 0x80000000, 0xffffffff});
  const auto values = valuesOf<TypeParam>(*list);
  const auto snapshot = list->commSnapshot();
  list.reset();  // the snapshot holds what it shows
  EXPECT_TRUE(snapshot->notificationActive() && snapshot->commCount() == 8);
  EXPECT_TRUE(keysOf<TypeParam>(*snapshot) == values);
  const auto key = TypeParam::value(2);
  const auto* const entry = snapshot->comm(key);
  if constexpr (hasCommunities<TypeParam>) {
    const typename TypeParam::Community::PtrConst other =
        new typename TypeParam::Community(extCommClassificationColor, decltype(entry->value->getContent())(key));
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
}

TYPED_TEST(InternedLists, SnapshotsHaveClassificationLists) {
  if constexpr (hasCommunities<TypeParam>) {
    const auto list = this->intern({0, 1, 2, 3, 4});
    const auto snapshot = list->commSnapshot();
    std::size_t comms = 0;
    for (const auto& [key, part] : snapshot->classificationList()) {
      EXPECT_EQ(part, list->classificationList(key));
      EXPECT_EQ(part->commSnapshot()->classification(), key);
      EXPECT_TRUE(keysOf<TypeParam>(*part->commSnapshot()) == valuesOf<TypeParam>(*part));
      comms += part->commSnapshot()->commCount();
    }
    EXPECT_EQ(comms, 5u);
    const auto target = extCommClassificationRouteTarget;
    const auto& part = snapshot->classificationList(target)->value;
    const auto other = this->intern({12, 24})->classificationList(target);
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
}

// ---- What lists are built from: an empty content, and three ascending elements of it

constexpr std::uint64_t numbers[] = {1, 0x7fffffffffffffff, 0x8000000000000000};

struct OfNumbers {
  static auto empty(const Agent& agent) { return ExtCommListContentU64(agent.comms.get()); }
  static std::uint64_t element(const Agent&, int i) { return numbers[i]; }
};
struct OfObjects {
  static auto empty(const Agent&) { return ExtCommListContent(); }
  static auto element(const Agent& agent, int i) { return agent.internOne(numbers[i]); }
};
struct OfOneClassification : OfObjects {
  static auto empty(const Agent&) { return ExtCommClassificationListContent(extCommClassificationUnSpecified); }
};
struct OfStandard {
  static auto empty(const Agent&) { return CommListContent(); }
  static std::uint32_t element(const Agent&, int i) {
    return static_cast<std::uint32_t>(numbers[i] >> (i == 0 ? 0 : 32));
  }
};
struct OfLarge {
  static auto empty(const Agent&) { return LargeCommListContent(); }
  static CommunityValue element(const Agent&, int i) {
    constexpr CommunityValue all[] = {{0, 9, 9}, {0, 0x80000000, 0}, {0x80000000, 0, 0}};
    return all[i];
  }
};

template <typename Content>
std::uint32_t sorted(const Content& content) {
  if constexpr (requires { content.sortAndHash(); }) {
    content.sortAndHash();
  } else {
    EXPECT_ASSERTION(content.hash(), "t->commVectorSorted()");
    content.sortAndUnique();
  }
  EXPECT_TRUE(content.commVectorSorted());
  return content.hash();
}

template <typename Form>
struct Contents : testing::Test {
  auto content(const std::vector<int>& elements) const {
    auto made = Form::empty(agent);
    for (const int i : elements) made.commIs(Form::element(agent, i));
    return made;
  }
  const Agent agent;
};

using ContentForms = testing::Types<OfNumbers, OfObjects, OfOneClassification, OfStandard, OfLarge>;
TYPED_TEST_SUITE(Contents, ContentForms);

TYPED_TEST(Contents, HaveAnOrder) {
  const std::vector<int> rows[] = {{}, {0}, {0, 1}, {0, 2}, {2}};
  for (const auto& a : rows) {
    for (const auto& b : rows) {
      EXPECT_EQ(this->content(a) == this->content(b), &a == &b);
      EXPECT_EQ(this->content(a) < this->content(b), &a < &b);
    }
  }
}

TYPED_TEST(Contents, GrowAfterSortingAndStartAfresh) {
  auto content = this->content({2, 0, 2});
  const auto same = this->content({0, 2});
  EXPECT_FALSE(content == same);  // order counts until sorted
  const std::uint32_t hash = sorted(content);
  EXPECT_TRUE(content && content.comms().size() == 2 && !(content == same));
  EXPECT_EQ(hash, sorted(same));
  EXPECT_TRUE(content == same);
  content.commIs(TypeParam::element(this->agent, 1));
  EXPECT_FALSE(content.commVectorSorted());
  EXPECT_EQ(sorted(content), sorted(this->content({0, 1, 2})));
  content.reset();
  EXPECT_FALSE(content || content.commVectorSorted());
  content.expectedCommunityCountIs(100);
  EXPECT_EQ(sorted(content), sorted(this->content({})));
  EXPECT_THROW(content.expectedCommunityCountIs(SIZE_MAX), boost::container::length_error);
}

}  // namespace
}  // namespace Routing::Bgp::test
