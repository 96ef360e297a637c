#include "VelBgp/Parse/ExtCommRuleCollections.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp::test {
namespace {

using Key = BgpParseExtCommSubTypeTransOpaqueRuleKey;

// A set never looks behind its keys' pointers.
template <typename Value>
Value read(Tyr::StrepIterator& it, const Tyr::StrepIterator& end) {
  return Value(it, end);
}
Key keyAt(std::uintptr_t address) {
  return Tyr::readWhole(Tyr::pointerToStrep(reinterpret_cast<const void*>(address)), read<Key>);
}

// All sets have one body; that each has its number shows where rules announce themselves.
TEST(RuleCollectionsTest, ASetAnnouncesWhatChangesAndNothingElse) {
  const auto collections = BgpParseExtCommRuleCollectionsIs();
  std::vector<Key> heard;
  const auto handle =
      collections->notifieeList().attach([&](unsigned, const auto& key) { heard.push_back(std::get<Key>(key)); });
  const std::vector<Key> keys = {keyAt(0x10), keyAt(0x20), keyAt(0x30)};
  for (const Key& key : keys) {
    EXPECT_FALSE(collections->extendedCommSubTypeTransOpaqueRuleInstanceHas(key));
    EXPECT_EQ(collections->extendedCommSubTypeTransOpaqueRuleInstanceIs(key), key);
    EXPECT_EQ(collections->extendedCommSubTypeTransOpaqueRuleInstanceIs(key), key);
    EXPECT_TRUE(collections->extendedCommSubTypeTransOpaqueRuleInstanceHas(key));
  }
  EXPECT_EQ(heard, keys);
  EXPECT_TRUE(collections->extendedCommSubTypeTransOpaqueRuleInstanceDel(keys[1]));
  EXPECT_FALSE(collections->extendedCommSubTypeTransOpaqueRuleInstanceDel(keys[1]));
  EXPECT_EQ(heard, std::vector<Key>({keys[0], keys[1], keys[2], keys[1]}));
  heard.clear();
  collections->extendedCommSubTypeTransOpaqueRuleInstanceDelAll();
  collections->extendedCommSubTypeTransOpaqueRuleInstanceDelAll();
  std::sort(heard.begin(), heard.end());
  EXPECT_EQ(heard, std::vector<Key>({keys[0], keys[2]}));
}

TEST(RuleCollectionsTest, AnObserverMayChangeTheSetThatItHearsOf) {
  const auto collections = BgpParseExtCommRuleCollectionsIs();
  const Key first = keyAt(0x10);
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
  const Key low = keyAt(0x10), high = keyAt(0xfedcba9876543210);
  EXPECT_TRUE(low < high && !(high < low) && low == keyAt(0x10) && low != high);
  std::ostringstream stream;
  stream << low << high;
  EXPECT_EQ(stream.str(), "0x00000000000000100xfedcba9876543210");
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
