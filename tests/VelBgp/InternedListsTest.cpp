// One suite for all kinds of interned lists and all forms that they are built from, in both variants of the tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "Tyr/Threading.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/ListTables.h"
#include "support/FailingNew.h"

namespace Routing::Bgp::test {
namespace {

// A form tells: Key, one community; key(i), ascending with i and spread over all values; tables; the interned list of
// some keys; what is in a list; its attribute, and one key read from it.

struct ExtendedTables {
  Tyr::Ptr<BgpParseExtCommContainerSm> decoder = bgpParseExtCommContainerSmFactory(true);
  ExtCommDedupTable::Ptr comms = ExtCommDedupTableIs(decoder->extCommParser());
  ExtCommListDedupTable::Ptr lists = ExtCommListDedupTableIs();
  std::size_t size() const { return lists->size(); }
  std::size_t leftOver() const {
    return lists->size() + comms->size() + lists->extCommClassificationListDedupTable().size() +
           lists->rtExtCommClassificationListDedupTable()->size() + comms->producerRtList()->rtCount() +
           lists->notifyingRtExtCommListCollection()->rtExtCommListCount();
  }
};

std::uint64_t readNumber(const char* octets, unsigned count) {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < count; ++i) value = value << 8 | static_cast<unsigned char>(octets[i]);
  return value;
}

struct ExtendedValues {
  using Key = std::uint64_t;
  using Tables = ExtendedTables;
  static constexpr unsigned octets = 8, code = 16;
  static Key key(std::size_t i) { return i * 184467440737095; }
  static ExtCommList::PtrConst intern(const Tables& tables, const std::vector<Key>& keys) {
    ExtCommListContentU64 content(tables.comms.get());
    for (const Key& key : keys) content.commIs(key);
    return ExtCommList::dedupContent(tables.lists.get(), content);
  }
  static std::vector<Key> keys(const ExtCommList& list) {
    std::vector<Key> keys;
    for (const ExtComm* comm : list.comms()) keys.push_back(comm->community());
    return keys;
  }
  static bool has(const ExtCommList& list, const Key& key) { return list.comm(key) != nullptr; }
  static std::string serialize(const ExtCommList& list) {
    return list.serialize(ExtCommList::serialization(true, false, false));
  }
  static Key read(const char* at) { return readNumber(at, 8); }
};

struct ExtendedObjects : ExtendedValues {
  static ExtCommList::PtrConst intern(const Tables& tables, const std::vector<Key>& keys) {
    ExtCommListContent content;
    for (const Key& key : keys) content.commIs(ExtComm::dedupContent(tables.comms.get(), ExtCommContent(key)));
    return ExtCommList::dedupContent(tables.lists.get(), content);
  }
};

template <typename List, typename Content, typename Table>
struct PlainValues {
  using Key = typename Content::Value;
  struct Tables {
    Tyr::Ptr<Table> lists = Tyr::make<Table>();
    std::size_t size() const { return lists->size(); }
    std::size_t leftOver() const { return size(); }
  };
  static typename List::PtrConst intern(const Tables& tables, const std::vector<Key>& keys) {
    Content content;
    for (const Key& key : keys) content.commIs(key);
    return List::dedupContent(tables.lists.get(), content);
  }
  static std::vector<Key> keys(const List& list) { return {list.comms().begin(), list.comms().end()}; }
  static bool has(const List& list, const Key& key) {
    const Key* const found = list.comm(key);
    return found != nullptr && *found == key;
  }
  static std::string serialize(const List& list) { return list.serialize(); }
};

struct Standard : PlainValues<CommList, CommListContent, CommListDedupTable> {
  static constexpr unsigned octets = 4, code = 8;
  static Key key(std::size_t i) { return static_cast<Key>(i * 42949); }
  static Key read(const char* at) { return static_cast<Key>(readNumber(at, 4)); }
};

struct Large : PlainValues<LargeCommList, LargeCommListContent, LargeCommListDedupTable> {
  static constexpr unsigned octets = 12, code = 32;
  static std::uint32_t part(std::size_t i) { return static_cast<std::uint32_t>(i * 42000000); }
  static Key key(std::size_t i) { return {part(i / 10000), part(i / 100 % 100), part(i % 100)}; }
  static Key read(const char* at) {
    const auto number = [at](unsigned i) { return static_cast<std::uint32_t>(readNumber(at + 4 * i, 4)); };
    return {number(0), number(1), number(2)};
  }
};

struct Ip6 {
  using Key = ExtCommIp6Content;
  struct Tables {
    Tyr::Ptr<BgpParseExtCommContainerSm> decoder = bgpParseExtCommContainerSmFactory(true);
    ExtCommIp6DedupTable::Ptr comms = ExtCommIp6DedupTableIs(decoder->extCommParser());
    ExtCommIp6ListDedupTable::Ptr lists = ExtCommIp6ListDedupTableIs();
    std::size_t size() const { return lists->size(); }
    std::size_t leftOver() const {
      return lists->size() + comms->size() + lists->extCommClassificationListDedupTable().size();
    }
  };
  static constexpr unsigned octets = 20, code = 25;
  static Key key(std::size_t i) {
    const auto octet = [i](unsigned shift) { return static_cast<std::uint8_t>(i >> shift); };
    Addr::Ip6Addr::Octets address = {octet(11), 0, octet(3)};
    return {octet(16), octet(13), Addr::Ip6Addr(address), static_cast<std::uint16_t>(i % 8 << 13)};
  }
  static ExtCommIp6List::PtrConst intern(const Tables& tables, const std::vector<Key>& keys) {
    const ExtCommIp6List::Ptr builder = ExtCommIp6ListIs();
    for (const Key& key : keys) builder->commIs(ExtCommIp6::dedupContent(tables.comms.get(), key));
    return builder->dedup(tables.lists.get());
  }
  static std::vector<Key> keys(const ExtCommIp6List& list) {
    std::vector<Key> keys;
    for (const auto& comm : list.comms()) keys.push_back(comm->getContent());
    return keys;
  }
  static bool has(const ExtCommIp6List& list, const Key& key) { return list.comm(key) != nullptr; }
  static std::string serialize(const ExtCommIp6List& list) { return list.serialize(true); }
  static Key read(const char* at) {
    Addr::Ip6Addr::Octets address;
    for (unsigned i = 0; i < 16; ++i) address[i] = static_cast<std::uint8_t>(readNumber(at + 2 + i, 1));
    return {static_cast<std::uint8_t>(readNumber(at, 1)), static_cast<std::uint8_t>(readNumber(at + 1, 1)),
            Addr::Ip6Addr(address), static_cast<std::uint16_t>(readNumber(at + 18, 2))};
  }
};

template <typename FormOf, bool multi>
struct Variant : FormOf {
  static constexpr bool multiThreaded = multi;
};

template <typename Form>
class InternedLists : public testing::Test {
 protected:
  using Key = typename Form::Key;
  using Keys = std::vector<Key>;

  InternedLists() { Tyr::agentMultiThreadedIs(Form::multiThreaded); }
  ~InternedLists() override { Tyr::agentMultiThreadedIs(false); }

  static Keys ascending(std::size_t n, std::size_t step = 1) {
    Keys keys;
    for (std::size_t i = 0; i < n; ++i) keys.push_back(Form::key(i * step));
    return keys;
  }
};

using Forms =
    testing::Types<Variant<ExtendedValues, false>, Variant<ExtendedValues, true>, Variant<ExtendedObjects, false>,
                   Variant<ExtendedObjects, true>, Variant<Standard, false>, Variant<Standard, true>,
                   Variant<Large, false>, Variant<Large, true>, Variant<Ip6, false>, Variant<Ip6, true>>;
TYPED_TEST_SUITE(InternedLists, Forms);

// Sizes on both sides of what a content and a list keep inside themselves.
TYPED_TEST(InternedLists, OneObjectForEveryOrderAndRepeat) {
  typename TypeParam::Tables tables;
  for (const std::size_t n : {0, 1, 2, 64, 65, 168, 169, 505, 506, 100000}) {
    SCOPED_TRACE(n);
    const auto ascending = this->ascending(n);
    auto jumbled = ascending;
    jumbled.insert(jumbled.end(), ascending.begin() + static_cast<std::ptrdiff_t>(n / 3), ascending.end());
    std::shuffle(jumbled.begin(), jumbled.end(), std::mt19937(1));
    auto list = TypeParam::intern(tables, jumbled);
    EXPECT_TRUE(TypeParam::keys(*list) == ascending);
    EXPECT_EQ(list->totalCommunities(), n);
    EXPECT_EQ(list->empty(), n == 0);
    EXPECT_TRUE(list->isDeduped() && list->notificationActive());
    EXPECT_EQ(TypeParam::intern(tables, ascending), list);
    EXPECT_EQ(TypeParam::intern(tables, {ascending.rbegin(), ascending.rend()}), list);
    EXPECT_EQ(tables.size(), 1u);
    list.reset();
    EXPECT_EQ(tables.leftOver(), 0u);
  }
}

TYPED_TEST(InternedLists, FindsWhatIsThereAndNothingElse) {
  typename TypeParam::Tables tables;
  for (const std::size_t n : {0, 1, 2, 7, 600}) {
    // Every other key, from the second on.
    typename TestFixture::Keys held;
    for (std::size_t i = 0; i < n; ++i) held.push_back(TypeParam::key(2 * i + 1));
    const auto list = TypeParam::intern(tables, held);
    for (std::size_t i = 0; i <= 2 * n; ++i) EXPECT_EQ(TypeParam::has(*list, TypeParam::key(i)), i % 2 == 1) << i;
  }
}

TYPED_TEST(InternedLists, ListsDifferByAnyValueOrCount) {
  typename TypeParam::Tables tables;
  std::vector<typename TestFixture::Keys> rows = {{}, {TypeParam::key(0)}};  // nothing is not zero
  const auto ten = this->ascending(10, 9);
  for (std::size_t i = 0; i < 10; ++i) {
    auto other = ten;
    other[i] = TypeParam::key(9 * i + 1);
    rows.push_back(other);
    other.erase(other.begin() + static_cast<std::ptrdiff_t>(i));
    rows.push_back(other);
  }
  for (const auto& a : rows) {
    const auto list = TypeParam::intern(tables, a);
    for (const auto& b : rows) {
      const auto other = TypeParam::intern(tables, b);
      EXPECT_EQ(list == other, &a == &b);
      EXPECT_EQ(list->compare(other.get()), &a == &b);
      EXPECT_TRUE(&a != &b || list->hash() == other->hash());
    }
  }
  EXPECT_EQ(tables.leftOver(), 0u);
}

// The header included: what a list writes makes the same list again.
TYPED_TEST(InternedLists, AttributesReadBackIntoTheSameList) {
  typename TypeParam::Tables tables;
  constexpr unsigned shortest = 255 / TypeParam::octets, most = 65535 / TypeParam::octets;
  for (const std::size_t n : {1u, 2u, shortest, shortest + 1, 1000u, most}) {
    SCOPED_TRACE(n);
    const auto list = TypeParam::intern(tables, this->ascending(n, 3));
    const std::string attribute = TypeParam::serialize(*list);
    const bool extended = n * TypeParam::octets > 255;
    const std::size_t header = extended ? 4 : 3;
    ASSERT_EQ(attribute.size(), header + n * TypeParam::octets);
    EXPECT_EQ(readNumber(attribute.data(), 2), (extended ? 0xd000u : 0xc000u) + TypeParam::code);
    EXPECT_EQ(readNumber(attribute.data() + 2, extended ? 2 : 1), n * TypeParam::octets);
    typename TestFixture::Keys read;
    for (std::size_t at = header; at < attribute.size(); at += TypeParam::octets) {
      read.push_back(TypeParam::read(attribute.data() + at));
    }
    EXPECT_EQ(TypeParam::intern(tables, read), list);
  }
}

// Fails at every allocation of the C++ heap in turn, until the list is made.
TYPED_TEST(InternedLists, RunningOutOfMemoryLeavesNothingBehind) {
  const auto keys = this->ascending(700);
  typename TypeParam::Tables tables;
  TypeParam::intern(tables, keys);  // what is made once for the whole process
  int failures = 0;
  for (bool made = false; !made; ++failures) {
    try {
      allocationsLeft = failures;
      made = TypeParam::intern(tables, keys) != nullptr;
    } catch (const std::bad_alloc&) {
    }
    allocationsLeft = -1;
    EXPECT_EQ(tables.leftOver(), 0u);
  }
  EXPECT_GT(failures, 1);
}

}  // namespace
}  // namespace Routing::Bgp::test
