#include "Keel/DedupHashTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <barrier>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "Keel/Word.h"

namespace Keel::test {
namespace {

// What a table announced, as a picture: the values that are in it now. A value announced twice in a row is a fault.
class Picture final : public DedupLifeTimeNotifiee {
 public:
  void handleInsert(DedupHandleBase* handle) override {
    EXPECT_TRUE(handle->isDeduped());
    EXPECT_TRUE(values.insert(static_cast<Word*>(handle)->value).second);
    if (keep) kept.emplace_back(static_cast<Word*>(handle));
  }
  void handleRemove(DedupHandleBase* handle) override {
    EXPECT_FALSE(handle->isDeduped());
    EXPECT_EQ(values.erase(static_cast<Word*>(handle)->value), 1u);
    if (keepLeaving) kept.emplace_back(static_cast<Word*>(handle));
  }
  void handleNotificationStop(DedupHashTable*) override {
    ++stops;
    values.clear();
  }

  std::set<std::uint64_t> values;
  std::vector<Word::PtrConst> kept;
  bool keep = false;
  bool keepLeaving = false;
  int stops = 0;
};

class BothVariants : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    Tyr::agentMultiThreadedIs(GetParam());
    picture = Tyr::make<Picture>();
    table = Tyr::make<DedupHashTable>("words");
    table->lifeTimeNotifieeIs(picture);
  }
  void TearDown() override {
    table.reset();
    picture.reset();
    EXPECT_EQ(Word::alive, 0);
    EXPECT_EQ(handleHeap().liveSlots(), 0u);
    Tyr::agentMultiThreadedIs(false);
  }

  Tyr::Ptr<Picture> picture;
  Tyr::Ptr<DedupHashTable> table;
};

INSTANTIATE_TEST_SUITE_P(Variant, BothVariants, testing::Bool(),
                         [](const auto& info) { return info.param ? "MultiThreaded" : "SingleThreaded"; });

TEST_P(BothVariants, AgreesWithAModelUnderInternCopyAndRelease) {
  std::mt19937_64 random(20261121);
  std::map<std::uint64_t, std::vector<Word::PtrConst>> model;
  std::size_t holders = 0;
  for (int step = 0; step < 60000; ++step) {
    // Waves: the table fills past several growths, then empties again.
    const bool filling = step / 12000 % 2 == 0;
    const std::uint64_t value = random() % 3000;
    auto held = model.find(value);
    if (random() % 10 < (filling ? 7 : 3)) {
      Word::PtrConst word = Word::intern(*table, value);
      ASSERT_EQ(word->value, value);
      if (held != model.end()) {
        ASSERT_EQ(word, held->second.front());
      }
      model[value].push_back(std::move(word));
      ++holders;
    } else if (held != model.end()) {
      held->second.pop_back();
      --holders;
      if (held->second.empty()) model.erase(held);
    }
    ASSERT_EQ(table->size(), model.size());
    ASSERT_EQ(picture->values.size(), model.size());
    ASSERT_EQ(Word::alive, static_cast<int>(model.size()));
    if (step % 1000 != 0) continue;
    std::set<std::uint64_t> live;
    std::size_t counted = 0;
    for (const auto& [key, words] : model) {
      live.insert(key);
      counted += words.front()->referenceCount();
    }
    ASSERT_EQ(picture->values, live);
    ASSERT_EQ(counted, holders);
  }
}

TEST_P(BothVariants, LoserOfTwoInsertsIsNeverAnnounced) {
  const Word::PtrConst first = Word::intern(*table, 7);
  const Tyr::Ptr<Word> late(new Word(7));
  DedupHandleBase* winner = table->dedup(late.get());
  EXPECT_EQ(winner, first.get());
  EXPECT_EQ(late->dedupState(), dedupHandleStateNeverDeduped());
  EXPECT_EQ(first->referenceCount(), 2u);
  first->referenceRelease();
}

TEST_P(BothVariants, ObserverMayKeepALeavingObject) {
  picture->keepLeaving = true;
  Word::intern(*table, 9);
  ASSERT_EQ(picture->kept.size(), 1u);
  const Word::PtrConst again = Word::intern(*table, 9);
  EXPECT_NE(again, picture->kept.front());
  EXPECT_EQ(picture->kept.front()->dedupState(), dedupHandleStateNotInTable());
  picture->keepLeaving = false;
  picture->kept.clear();
  EXPECT_EQ(picture->values, std::set<std::uint64_t>{9});
}

TEST_P(BothVariants, ObjectsMayOutliveTheirTable) {
  std::vector<Word::PtrConst> words;
  for (std::uint64_t value = 0; value < 1000; ++value) words.push_back(Word::intern(*table, value));
  table.reset();
  EXPECT_EQ(picture->stops, 1);
  for (const Word::PtrConst& word : words) EXPECT_EQ(word->dedupState(), dedupHandleStateNotInTable());
  words.resize(1);
  EXPECT_DEATH(Tyr::agentMultiThreadedIs(!GetParam()), testing::HasSubstr("!inUse"));
  words.clear();
  Tyr::agentMultiThreadedIs(!GetParam());
}

TEST_P(BothVariants, DumpSaysWhatIsThere) {
  const Word::PtrConst a = Word::intern(*table, 1);
  const Word::PtrConst b = Word::intern(*table, 98);  // the same hash
  StringDumpContext context;
  table->dump(context, 3);
  EXPECT_THAT(context.text(), testing::StartsWith("   DedupHashTable words "));
  EXPECT_THAT(context.text(), testing::HasSubstr(GetParam() ? "multi-threaded" : "single-threaded"));
  EXPECT_THAT(context.text(), testing::HasSubstr(" objects #2 "));
  EXPECT_THAT(context.text(), testing::EndsWith(" longest chain 2\n"));
}

TEST_P(BothVariants, AnObjectEntersATableOnce) {
  const Tyr::Ptr<Word> word(new Word(1));
  table->dedup(word.get())->referenceRelease();
  EXPECT_DEATH(table->dedup(word.get()), testing::HasSubstr("fresh->dedupState() == dedupHandleStateNeverDeduped()"));
  const Tyr::Ptr<Word> other(new Word(2));
  EXPECT_DEATH(other->assertIsDeduped(), testing::HasSubstr("everDeduped()"));
  EXPECT_DEATH(Tyr::agentMultiThreadedIs(!GetParam()), testing::HasSubstr("!inUse"));
}

// A walk that makes the table grow, shrink and be asked: what is there all the time is met once, and held meanwhile.
TEST_P(BothVariants, WalksMeetEachObjectOnceWhileTheTableGrows) {
  std::vector<Word::PtrConst> stay, come;
  for (std::uint64_t value = 0; value < 300; ++value) stay.push_back(Word::intern(*table, value));
  Word::PtrConst goes = Word::intern(*table, 300);
  std::map<std::uint64_t, int> met;
  table->forEachHeld([&](DedupHandleBase* handle) {
    const auto& word = static_cast<const Word&>(*handle);
    ++met[word.value];
    goes.reset();
    EXPECT_EQ(word.referenceCount(), word.value == 300 ? 1u : 2u);
    EXPECT_EQ(word.memoryOctets(), sizeof(Word));
    for (int i = 0; i < 40 && come.size() < 6000; ++i) come.push_back(Word::intern(*table, 1000 + come.size()));
  });
  for (const Word::PtrConst& word : stay) EXPECT_EQ(met[word->value], 1) << word->value;
  EXPECT_TRUE(std::all_of(met.begin(), met.end(), [](const auto& one) { return one.second == 1; }));
  EXPECT_EQ(come.size(), 6000u);
  EXPECT_THROW(table->forEachHeld([](DedupHandleBase*) { throw 1; }), int);
  stay.clear();
  come.clear();
  EXPECT_EQ(table->size(), 0u);
}

TEST_P(BothVariants, MetricsSayWhatIsThere) {
  const Word::PtrConst a = Word::intern(*table, 1);
  Word::intern(*table, 98);  // the same hash
  const auto metrics = [this] {
    const DedupMetrics now = table->metrics();
    return std::vector<std::uint64_t>{now.objects,      now.misses,      now.hits.value_or(99),
                                      now.objectOctets, now.tableOctets, now.longestChain};
  };
  Word::intern(*table, 1);
  EXPECT_EQ(metrics(), (std::vector<std::uint64_t>{1, 2, 99, sizeof(Word), 16 * 64, 1}));
  table->countsHitsIs(true);
  const Word::PtrConst b = Word::intern(*table, 98), c = Word::intern(*table, 195);
  for (int i = 0; i < 5; ++i) Word::intern(*table, 1);
  EXPECT_EQ(metrics(), (std::vector<std::uint64_t>{3, 4, 5, 3 * sizeof(Word), 16 * 64, 3}));
  table->countsHitsIs(false);
  EXPECT_FALSE(table->metrics().hits);
}

// A miss, a lost last reference, an insert by hand: in every build. A table's thread may be any.
TEST(SingleThreadedTable, CatchesASecondThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto table = Tyr::make<DedupHashTable>("words");
  Word::PtrConst word = Word::intern(*table, 2);
  const auto sentence = testing::HasSubstr("call Tyr::agentMultiThreadedIs(true) before the first table is made\n");
  const auto other = [](auto&& work) { std::thread(work).join(); };
  EXPECT_DEATH(other([&] { Word::intern(*table, 1); }), sentence);
  EXPECT_DEATH(other([&] { word.reset(); }), sentence);
  EXPECT_DEATH(other([&] { table->forEachHeld([](DedupHandleBase*) {}); }), sentence);
  EXPECT_DEATH(other([&] {
                 table->findOrDedup<Word>(
                     0, [](const Word&) { return false; }, [] { return Tyr::Ptr<Word>(new Word(1)); });
               }),
               sentence);
  other([] { Word::intern(*Tyr::make<DedupHashTable>("its own"), 1); });
  EXPECT_DEATH(tableAt(static_cast<const DedupHashTable*>(nullptr)), testing::HasSubstr("a table is null: "));
}

// Four threads intern, copy and drop the same few values; every object they get is the right one and alive.
TEST(MultiThreadedTable, HoldsUnderManyThreads) {
  Tyr::agentMultiThreadedIs(true);
  {
    const auto picture = Tyr::make<Picture>();
    const auto table = Tyr::make<DedupHashTable>("words");
    table->lifeTimeNotifieeIs(picture);
    std::atomic<int> wrong{0};
    auto work = [&](unsigned seed) {
      std::mt19937 random(seed);
      std::vector<Word::PtrConst> held(8);
      for (int step = 0; step < 30000; ++step) {
        const std::uint64_t value = random() % 16;
        Word::PtrConst word = Word::intern(*table, value);
        wrong += word->value != value || !word->isDeduped();
        held[random() % held.size()] = std::move(word);
      }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 4; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(table->size(), 0u);
    EXPECT_TRUE(picture->values.empty());
    EXPECT_EQ(Word::alive, 0);
  }
  EXPECT_EQ(handleHeap().liveSlots(), 0u);
  Tyr::agentMultiThreadedIs(false);
}

// A thread of the parent's may have held anything.
TEST(MultiThreadedTable, StopsAChildOfFork) {
  GTEST_FLAG_SET(death_test_style, "fast");
  Tyr::agentMultiThreadedIs(true);
  {
    const auto table = Tyr::make<DedupHashTable>("words");
    EXPECT_EXIT((Word::intern(*table, 1), _exit(0)), testing::ExitedWithCode(0), "");
    std::barrier interned(2), over(2);
    std::thread other([&] {
      Word::intern(*table, 2);
      interned.arrive_and_wait();
      over.arrive_and_wait();
    });
    interned.arrive_and_wait();
    EXPECT_EXIT(_exit(0), testing::ExitedWithCode(0), "");
    EXPECT_DEATH(Word::intern(*table, 1), testing::HasSubstr("a child of fork() uses interned objects"));
    over.arrive_and_wait();
    other.join();
  }
  Tyr::agentMultiThreadedIs(false);
}

}  // namespace
}  // namespace Keel::test
