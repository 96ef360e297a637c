// What is each kind's own in the lists of standard and large communities: texts, well-known names, hashes, octets.
#include "VelBgp/CommList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Keel/DumpContext.h"
#include "Keel/HashMix.h"
#include "Tyr/Exception.h"
#include "Tyr/PaulHsiehHash.h"
#include "VelBgp/LargeCommList.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

using RouteMap::PosixRegex;

class CommListTest : public testing::Test {
 protected:
  CommList::PtrConst intern(const std::vector<std::uint32_t>& values) const {
    CommListContent content;
    for (const std::uint32_t value : values) content.commIs(value);
    return CommList::dedupContent(standard.get(), content);
  }
  LargeCommList::PtrConst intern(const std::vector<CommunityValue>& values) const {
    LargeCommListContent content;
    for (const CommunityValue& value : values) content.commIs(value);
    return LargeCommList::dedupContent(large.get(), content);
  }

  CommList::PtrConst one(std::uint32_t value) const { return intern(std::vector{value}); }

  CommListDedupTable::Ptr standard = CommListDedupTableIs();
  LargeCommListDedupTable::Ptr large = LargeCommListDedupTableIs();
};

TEST_F(CommListTest, StandardTextsAndWellKnownNames) {
  const struct {
    std::uint32_t value;
    const char* numbers;
    const char* name;
  } rows[] = {{0x00000000, "0:0", "internet"},
              {0x00000001, "0:1", ""},
              {0x00010064, "1:100", ""},
              {0xfffeffff, "65534:65535", ""},
              {0xffff0000, "65535:0", "GSHUT"},
              {0xffff0001, "65535:1", ""},
              {0xffff0005, "65535:5", ""},
              {0xffff0006, "65535:6", "llgr-stale"},
              {0xffff0007, "65535:7", "no-llgr"},
              {0xffffff00, "65535:65280", ""},
              {0xffffff01, "65535:65281", "no-export"},
              {0xffffff02, "65535:65282", "no-advertise"},
              {0xffffff03, "65535:65283", "local-as"},
              {0xffffff04, "65535:65284", ""},
              {0xffffffff, "65535:65535", ""}};
  for (const auto& row : rows) {
    const std::string text = *row.name == 0 ? row.numbers : row.name;
    Tyr::DynamicBuffer<> numbers, viaNamed;
    CommunityFormatter<false>::format(numbers, row.value);
    CommunityFormatter<true>::formatNotWellKnown(viaNamed, row.value);
    EXPECT_EQ(numbers.str(), row.numbers);
    EXPECT_EQ(viaNamed.str(), row.numbers);
    EXPECT_EQ(CommList::getStringValue(row.value), text);
    EXPECT_EQ(CommList::wellKnownName(row.value), row.name);
    EXPECT_EQ(CommList::wellKnownValue(row.name), *row.name == 0 ? std::nullopt : std::optional(row.value));
    EXPECT_EQ(stringify(one(row.value).get()), text);
  }
  for (const char* const name : {"", "NO-EXPORT", "gshut", "no-export ", "no_export", "communityNoExport", "1:100"}) {
    EXPECT_FALSE(CommList::wellKnownValue(name)) << name;
  }
  EXPECT_EQ(stringValue(communityNoExportSubconfed), "communityNoExportSubconfed");
}

TEST_F(CommListTest, LargeTexts) {
  const struct {
    CommunityValue value;
    const char* plain;
    const char* dotted;
  } rows[] = {{{0, 0, 0}, "0:0:0", "0:0:0"},
              {{65535, 0, 0}, "65535:0:0", "65535:0:0"},
              {{65536, 1, 2}, "65536:1:2", "1.0:1:2"},
              {{4200000000, 70000, 4294967295}, "4200000000:70000:4294967295", "64086.59904:70000:4294967295"}};
  for (const auto& row : rows) {
    EXPECT_EQ(LargeCommList::getStringValue(row.value), row.plain);
    EXPECT_EQ(LargeCommList::displayString(row.value, true), row.dotted);
  }
}

TEST_F(CommListTest, ListsPrintInOrder) {
  const auto ours = intern({0xffffff01, 0x00010064, 0xffffff01});
  EXPECT_EQ(ours->commVectorRawPtr()[1], 0xffffff01);
  EXPECT_EQ(ours->fwkType().unqualifiedName(), "CommList");
  const auto theirs = intern({CommunityValue{1, 2, 3}, {1, 2, 3}, {0, 9, 9}});
  EXPECT_EQ(theirs->fwkType().unqualifiedName(), "LargeCommList");
  std::ostringstream stream;
  stream << std::hex << std::uppercase << ours.get() << ';' << *theirs << ';' << static_cast<const CommList*>(nullptr)
         << ';' << static_cast<const LargeCommList*>(nullptr);
  EXPECT_EQ(stream.str(), "1:100 no-export;0:9:9 1:2:3;NULL;NULL");
  EXPECT_EQ(stringify(theirs.get()), theirs->toStrep());
  EXPECT_EQ(ours->serialize(), std::string("\xc0\x08\x08\x00\x01\x00\x64\xff\xff\xff\x01", 11));
  EXPECT_EQ(theirs->serialize(),
            std::string("\xc0\x20\x18\0\0\0\0\0\0\0\x09\0\0\0\x09\0\0\0\x01\0\0\0\x02\0\0\0\x03", 27));
  // The bare header: a caller does not send it.
  EXPECT_EQ(intern(std::vector<std::uint32_t>())->serialize(), std::string("\xc0\x08\0", 3));
  EXPECT_EQ(intern(std::vector<CommunityValue>())->serialize(), std::string("\xc0\x20\0", 3));
  EXPECT_EQ(intern(std::vector<std::uint32_t>())->toStrep(), "");
}

TEST_F(CommListTest, Matching) {
  const struct {
    std::vector<std::uint32_t> values;
    const char* pattern;
    bool matches;
  } rows[] = {{{0xffffff01}, "^no-export$", true},
              {{0xffffff01}, "^65535:65281$", true},
              {{0xffffff01, 0x00010064}, "^1:100 no-export$", true},
              {{0xffffff01, 0x00010064}, "^1:100 65535:65281$", true},
              {{0xffffff01, 0xffffff02}, "65535:65281 no-advertise", false},  // one notation at a time
              {{0}, "^0:0$|^internet$", true},
              {{}, "^$", true},
              {{}, ".", false}};
  for (const auto& row : rows) {
    const PosixRegex regex(row.pattern);
    EXPECT_EQ(intern(row.values)->matchCommunitiesRegex(&regex), row.matches) << row.pattern;
  }
  const PosixRegex plain("^65536:1:2$"), dotted("1\\.0"), empty("^$");
  EXPECT_TRUE(intern({CommunityValue(65536, 1, 2)})->matchCommunitiesRegex(&plain));
  EXPECT_FALSE(intern({CommunityValue(65536, 1, 2)})->matchCommunitiesRegex(&dotted));
  EXPECT_FALSE(intern({CommunityValue(65536, 1, 2)})->matchCommunitiesRegex(&empty));
  EXPECT_TRUE(intern(std::vector<CommunityValue>())->matchCommunitiesRegex(&empty));
}

// Far more than an attribute holds: the last community is still part of the text.
TEST_F(CommListTest, TextsAreNeverCut) {
  std::vector<std::uint32_t> values{communityNoExport};
  for (std::uint32_t i = 1; i < 20000; ++i) values.push_back(0xfde80000 + i);
  const PosixRegex noExport("^65000:1 .*no-export$");
  const auto list = intern(values);
  EXPECT_TRUE(list->matchCommunitiesRegex(&noExport));
  EXPECT_EQ(stringify(list.get()).size(), 9u * 8 + 90 * 9 + 900 * 10 + 9000 * 11 + 10000 * 12 + 9);
}

TEST_F(CommListTest, ContentsTakeWholeLists) {
  CommListContent content;
  content.append(intern({3, 1}).get());
  content.commIs(2);
  content.append(intern({2, 4}).get());
  EXPECT_EQ(CommList::dedupContent(standard.get(), content)->toStrep(), "0:1 0:2 0:3 0:4");
  EXPECT_THROW(content.append(nullptr), Tyr::NullArgumentException);
  EXPECT_ASSERTION(one(1)->compareByContent(CommListContent()), "content->commVectorSorted()");
}

// Found through the tables' own operations as well. A list's hash is the published one, and the table's is not: whoever
// knows the first can make lists that collide, and must not fill one chain with them.
TEST_F(CommListTest, Hashes) {
  const CommListContent none;
  none.sortAndUnique();
  EXPECT_EQ(none.hash(), 0u);
  const auto list = intern({0xffffff01, 0x00010064});
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
  EXPECT_EQ(intern({CommunityValue(65537, 3, 4), {65536, 1, 2}})->hash(), mix.value());
}

TEST_F(CommListTest, Dumps) {
  Keel::StringDumpContext dumped;
  standard->dumpState(dumped, 0);
  large->dumpState(dumped, 3);
  EXPECT_THAT(dumped.text(), testing::MatchesRegex("DedupTable  DedupHashTable commList .*\n"
                                                   "   DedupTable     DedupHashTable largeCommList .*\n"));
}

}  // namespace
}  // namespace Routing::Bgp::test
