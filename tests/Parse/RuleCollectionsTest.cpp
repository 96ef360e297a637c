#include "VelBgp/Parse/ExtCommRuleCollections.h"

#include <gtest/gtest.h>

#include <sstream>
#include <utility>
#include <vector>

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp::test {
namespace {

using Collections = BgpParseExtCommRuleCollections;
using Announcement = std::pair<unsigned, BgpParseExtCommAnyRuleKey>;

// A set never looks behind its keys' pointers.
template <typename Value>
Value read(Tyr::StrepIterator& it, const Tyr::StrepIterator& end) {
  return Value(it, end);
}
template <typename Key>
Key keyAt(std::uintptr_t address) {
  return Tyr::readWhole(Tyr::pointerToStrep(reinterpret_cast<const void*>(address)), read<Key>);
}

template <typename Key>
void checkSet(unsigned number, Key (Collections::*is)(const Key&), bool (Collections::*del)(const Key&),
              void (Collections::*delAll)(), bool (Collections::*has)(const Key&) const) {
  SCOPED_TRACE(number);
  const auto collections = BgpParseExtCommRuleCollectionsIs();
  auto* const c = collections.get();
  std::vector<Announcement> heard;
  const auto handle = c->notifieeList().attach([&](unsigned n, const auto& key) { heard.emplace_back(n, key); });
  const Key keys[] = {keyAt<Key>(0x10), keyAt<Key>(0x20), keyAt<Key>(0x30)};
  for (const Key& key : keys) {
    EXPECT_FALSE((c->*has)(key));
    EXPECT_EQ((c->*is)(key), key);
    EXPECT_EQ((c->*is)(key), key);
    EXPECT_TRUE((c->*has)(key));
  }
  const std::vector<Announcement> inserts = {{number, keys[0]}, {number, keys[1]}, {number, keys[2]}};
  EXPECT_EQ(heard, inserts);
  EXPECT_TRUE((c->*del)(keys[1]));
  EXPECT_FALSE((c->*del)(keys[1]));
  EXPECT_EQ(heard.size(), 4u);
  EXPECT_EQ(heard.back(), inserts[1]);
  (c->*is)(keys[1]);
  heard.clear();
  (c->*delAll)();
  (c->*delAll)();
  std::sort(heard.begin(), heard.end());
  EXPECT_EQ(heard, inserts);
  for (const Key& key : keys) EXPECT_FALSE((c->*has)(key));
}

TEST(RuleCollectionsTest, EachSetAnnouncesWhatChangesAndNothingElse) {
  unsigned number = 130;
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, ...)                             \
  checkSet<Key>(number++, &Collections::ruleInstance##Is, &Collections::ruleInstance##Del, \
                &Collections::ruleInstance##DelAll, &Collections::ruleInstance##Has);
#include "VelBgp/Parse/ExtCommFamilies.def"
  EXPECT_EQ(number, 144u);
}

TEST(RuleCollectionsTest, AnObserverMayChangeTheSetThatItHearsOf) {
  const auto collections = BgpParseExtCommRuleCollectionsIs();
  using Key = BgpParseExtCommSubTypeTransOpaqueRuleKey;
  const Key first = keyAt<Key>(0x10);
  int calls = 0;
  const auto handle = collections->notifieeList().attach([&](unsigned, const auto& key) {
    ++calls;
    collections->extendedCommSubTypeTransOpaqueRuleInstanceDel(std::get<Key>(key));
  });
  EXPECT_EQ(collections->extendedCommSubTypeTransOpaqueRuleInstanceIs(first), first);
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(collections->extendedCommSubTypeTransOpaqueRuleInstanceHas(first));
}

TEST(RuleCollectionsTest, KeysAndControlsReadTheTextThatTheyPrint) {
  using Key = BgpParseExtendedCommunityRuleKey;
  const Key low = keyAt<Key>(0x10), high = keyAt<Key>(0xfedcba9876543210);
  EXPECT_TRUE(low < high && !(high < low) && low == keyAt<Key>(0x10) && low != high);
  std::ostringstream stream;
  stream << high;
  EXPECT_EQ(stream.str(), "0xfedcba9876543210");
  const auto collections = BgpParseExtCommRuleCollectionsIs();
  const BgpParseExtCommControl control(collections);
  EXPECT_EQ(valueToStrep(control), Tyr::pointerToStrep(collections.get()));
  EXPECT_EQ(Tyr::readWhole(valueToStrep(control), read<BgpParseExtCommControl>), control);
  EXPECT_FALSE(control == BgpParseExtCommControl());
  const auto attributeOf = [](const std::string& text, auto read) {
    try {
      Tyr::readWhole(text, read);
    } catch (const Tyr::DeserializationException& error) {
      return std::string(error.attribute());
    }
    return std::string("no error");
  };
  EXPECT_EQ(attributeOf("0x12", read<BgpParseExtCommControl>), "ruleCollections");
  EXPECT_EQ(attributeOf("nothing", read<Key>), "rule");
}

}  // namespace
}  // namespace Routing::Bgp::test
