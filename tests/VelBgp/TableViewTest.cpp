#include "VelBgp/TableView.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "VelBgp/WordLists.h"

namespace Routing::Bgp::test {
namespace {

class TableViews : public testing::TestWithParam<bool> {
 protected:
  const Agent agent{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(Variant, TableViews, testing::Bool());

// Lists of all attributes, short, long, and longer than a slot: each is met once, with its holders and its memory.
TEST_P(TableViews, ListsAreMetWithTheirHoldersAndMemory) {
  forEachAttribute([this](auto attribute) {
    using Attribute = decltype(attribute);
    std::map<Words, std::uint32_t> holders;
    std::vector<typename Attribute::List::PtrConst> lists;
    for (std::uint32_t i = 0; i < 200; ++i) {
      Words words;
      for (std::uint32_t word = 0; word < (i == 7 ? 3000 : i % 9); ++word) words.push_back(word * (i % 60 + 1));
      lists.push_back(Attribute::intern(agent, words));
      ++holders[words];
    }
    const auto* const table = (agent.*Attribute::table).get();
    std::map<Words, std::uint32_t> met;
    std::uint64_t octets = 0;
    visitLists(table, [&](const Interned<typename Attribute::List>& list) {
      EXPECT_TRUE(met.emplace(wordsOf<Attribute>(list.object), list.references).second);
      EXPECT_GE(list.octets, list.object.comms().size() * 4);
      octets += list.octets;
    });
    EXPECT_EQ(met, holders);
    const Keel::DedupMetrics metrics = hashTablesOf(table)[0]->metrics();
    EXPECT_EQ(metrics.objects, holders.size());
    EXPECT_EQ(metrics.misses, holders.size());
    EXPECT_EQ(metrics.objectOctets, octets);
  });
  EXPECT_EQ(agent.size(), 0u);
}

// What the objects say that they take is what the heaps gave, but for the two blocks that are too large for them.
TEST_P(TableViews, MemoryIsWhatTheHeapsGave) {
  const auto taken = [] { return Keel::handleHeap().liveOctets() + Keel::blockHeap().liveOctets(); };
  const CommunityTables tables(true);
  const std::size_t empty = taken();
  std::vector<ExtCommList::PtrConst> lists;
  for (std::uint32_t i = 0; i < 50; ++i) {
    ExtCommListContentU64 content(tables.extComms());
    for (std::uint32_t word = 0; word < (i == 0 ? 600 : i % 9); ++word) content.commIs(Extended::value(word * i));
    for (std::uint32_t word = 0; i == 1 && word < 600; ++word) content.commIs(Extended::value(word));
    lists.push_back(tables.dedupContent(content));
  }
  CommListContent standard;
  for (std::uint32_t value = 0; value < 1000; ++value) standard.commIs(value);
  const CommList::PtrConst many = tables.dedupContent(standard);
  std::size_t octets = 0, communities = 0, classificationLists = 0;
  for (const Keel::DedupHashTable* table : hashTablesOf(tables)) octets += table->metrics().objectOctets;
  visitCommunities(tables.extComms(), [&](const Interned<ExtComm>& comm) { communities += comm.references != 0; });
  visitClassificationLists(tables.extCommLists(), [&](const Interned<ExtCommClassificationList>& list) {
    classificationLists += list.references != 0;
  });
  EXPECT_EQ(octets - 4 * 1000 - 4 * (1 + 600), taken() - empty);
  EXPECT_EQ(communities, tables.extComms()->size());
  EXPECT_EQ(classificationLists,
            hashTablesOf(tables.extCommLists())[1]->size() + hashTablesOf(tables.extCommLists())[2]->size());
  EXPECT_EQ(hashTablesOf(tables).size(), 9u);
}

// Threads intern and let go lists that share communities; walks meet whole ones only.
TEST(TableViewThreads, WalksMeetWholeObjects) {
  const Agent agent(true);
  std::atomic<int> wrong{0}, working{2};
  const auto work = [&](std::uint32_t seed) {
    std::vector<ExtCommList::PtrConst> held(50);
    for (std::uint32_t i = 0; i < 6000; ++i) {
      const std::uint32_t first = i * seed % 400;
      held[i % 50] = Extended::intern(agent, {first, first + 1, first + i % 7 + 2});
    }
    --working;
  };
  std::thread threads[] = {std::thread(work, 7), std::thread(work, 11)};
  while (working != 0) {
    visitLists(agent.extended.get(), [&](const Interned<ExtCommList>& list) {
      wrong += list.object.totalCommunities() != 3 || list.object.classificationLists().empty();
      for (const ExtComm* comm : list.object.comms()) {
        wrong += comm->referenceCount() == 0 || list.object.comm(comm->community()) != comm;
      }
    });
    visitClassificationLists(agent.extended.get(), [&](const Interned<ExtCommClassificationList>& list) {
      const ExtCommClassificationList::PtrConst kept(&list.object);
      wrong += kept->comms().empty();
    });
    visitCommunities(agent.comms.get(), [&](const Interned<ExtComm>& comm) {
      wrong += agent.internOne(comm.object.community()) != &comm.object;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(agent.size(), 0u);
}

}  // namespace
}  // namespace Routing::Bgp::test
