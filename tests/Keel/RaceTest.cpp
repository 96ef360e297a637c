// One random script over two tables, from one thread against a model, then from 2, 4 and 8 threads, with one of the
// pause points widened in each round (Keel/PausePoint.h). A hundred million operations:
//
//   test_KeelRaces --gtest_repeat=50 --gtest_brief=1
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "Keel/PausePoint.h"
#include "Keel/Word.h"

namespace Keel {
namespace detail {

namespace {
std::atomic<int> widened{-1};
}

void pausePoint(PausePoint point) noexcept {
  if (widened.load(std::memory_order_relaxed) != static_cast<int>(point)) return;
  thread_local std::minstd_rand random(
      static_cast<unsigned>(std::hash<std::thread::id>()(std::this_thread::get_id()) | 1));
  const auto chance = random() % 512;
  if (chance == 0) std::this_thread::sleep_for(std::chrono::microseconds(20));
  if (chance < 8) std::this_thread::yield();
}

}  // namespace detail

namespace test {
namespace {

constexpr int points = static_cast<int>(detail::PausePoint::tableEmptied) + 1;

// Few values, so that threads meet; some hashes are equal, and the tables grow.
std::uint32_t hashOf(std::uint64_t value) { return static_cast<std::uint32_t>(value / 2) * 0x9e3779b9u; }

Word::PtrConst intern(DedupHashTable& table, std::uint64_t value) {
  return table.findOrDedup<Word>(
      hashOf(value), [value](const Word& word) { return word.value == value; },
      [value] { return Tyr::Ptr<Word>(new Word(value)); });
}

// Told one event at a time, so it has no lock of its own; what it is told wrongly it counts. Of every fourth value it
// interns and lets go others, in both tables.
class Observer final : public DedupLifeTimeNotifiee {
 public:
  void handleInsert(DedupHandleBase* handle) override {
    const std::uint64_t value = static_cast<Word*>(handle)->value;
    wrong += !values.insert(value).second;
    react(value);
  }
  void handleRemove(DedupHandleBase* handle) override {
    const std::uint64_t value = static_cast<Word*>(handle)->value;
    wrong += values.erase(value) != 1 || handle->isDeduped();
    react(value);
  }
  void handleNotificationStop(DedupHashTable* stopping) override {
    stopping->forEach(
        [this](DedupHandleBase* handle) { wrong += values.erase(static_cast<Word*>(handle)->value) != 1; });
    wrong += !values.empty();
    kept.clear();
  }
  bool wantsToHearOf(DedupHandleBase& handle) noexcept override { return static_cast<Word&>(handle).value % 8 != 7; }

  // Of two tables, while neither stops.
  std::vector<DedupHashTable*> tables;
  std::set<std::uint64_t> values;
  std::vector<Word::PtrConst> kept;
  int wrong = 0;

 private:
  void react(std::uint64_t value) {
    if (value % 4 != 0 || tables.empty()) return;
    for (DedupHashTable* table : tables) {
      intern(*table, value + 1);
      kept.push_back(intern(*table, value + 2));
    }
    if (kept.size() > 4) kept.erase(kept.begin(), kept.begin() + 2);
  }
};

struct House {
  House() {
    for (const auto& observer : observers) observer->tables = {tables[0].get(), tables[1].get()};
    for (int i = 0; i < 2; ++i) tables[i]->lifeTimeNotifieeIs(observers[i]);
  }
  void calm() {
    for (const auto& observer : observers) {
      observer->tables.clear();
      observer->kept.clear();
    }
  }

  const Tyr::Ptr<Observer> observers[2] = {Tyr::make<Observer>(), Tyr::make<Observer>()};
  Tyr::Ptr<DedupHashTable> tables[2] = {Tyr::make<DedupHashTable>("a"), Tyr::make<DedupHashTable>("b")};
};

using Held = std::vector<std::pair<int, Word::PtrConst>>;

// Interns, copies and lets go. What one thread holds of a value in a table is one object.
int script(House& house, unsigned seed, int operations, std::uint64_t universe, Held& held) {
  int wrong = 0;
  std::mt19937 random(seed);
  for (int i = 0; i < operations; ++i) {
    const unsigned what = random() % 8;
    if (what >= 5 && !held.empty()) {
      std::swap(held[random() % held.size()], held.back());
      held.pop_back();
    } else if (what == 4 && !held.empty()) {
      held.push_back(held[random() % held.size()]);
    } else {
      const int which = static_cast<int>(random() % 2);
      const std::uint64_t value = random() % universe;
      Word::PtrConst word = intern(*house.tables[which], value);
      wrong += word->value != value || !house.tables[which]->holds(*word);
      for (std::size_t k = 0; k < std::min<std::size_t>(held.size(), 8); ++k) {
        wrong += held[k].first == which && held[k].second->value == value && held[k].second != word;
      }
      held.emplace_back(which, std::move(word));
    }
    while (held.size() > universe / 4) held.pop_back();
  }
  return wrong;
}

// Nobody interns now: tables and pictures are what is held.
void expectPictures(House& house, const std::vector<Held>& held) {
  house.calm();
  for (int which = 0; which < 2; ++which) {
    std::map<std::uint64_t, const Word*> live;
    for (const Held& one : held) {
      for (const auto& [table, word] : one) {
        if (table != which) continue;
        EXPECT_EQ(live.emplace(word->value, word.get()).first->second, word.get());
      }
    }
    std::set<std::uint64_t> told;
    for (const auto& [value, word] : live) {
      if (value % 8 != 7) told.insert(value);
    }
    EXPECT_EQ(house.tables[which]->size(), live.size());
    EXPECT_EQ(house.observers[which]->values, told);
    EXPECT_EQ(house.observers[which]->wrong, 0);
  }
}

class Races : public testing::TestWithParam<unsigned> {
 protected:
  Races() { Tyr::agentMultiThreadedIs(GetParam() != 0); }
  ~Races() override {
    detail::widened = -1;
    EXPECT_EQ(Word::alive, 0);
    EXPECT_EQ(handleHeap().liveSlots(), 0u);
    Tyr::agentMultiThreadedIs(false);
  }

  template <typename Work>
  static void inThreads(unsigned count, Work&& work) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < count; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
  }
};

INSTANTIATE_TEST_SUITE_P(Threads, Races, testing::Values(0u, 1u, 2u, 4u, 8u));

// In each round the threads run the script, what they hold is compared with tables and pictures; then they let go
// everything while the tables are destroyed.
TEST_P(Races, ScriptHoldsWhateverWaits) {
  const unsigned count = std::max(GetParam(), 1u);
  for (int point = -1; point < points; ++point) {
    detail::widened = point;
    House house;
    std::vector<Held> held(count);
    std::atomic<int> wrong{0};
    const std::uint64_t universe = point % 2 == 0 ? 64 : 2000;
    const auto work = [&](unsigned i) {
      wrong +=
          script(house, 100 * static_cast<unsigned>(point + 2) + i, static_cast<int>(40000 / count), universe, held[i]);
    };
    if (GetParam() == 0) {
      work(0);
    } else {
      inThreads(count, work);
    }
    EXPECT_EQ(wrong, 0) << point;
    expectPictures(house, held);
    const auto destroy = [&house] {
      for (auto& table : house.tables) table.reset();
    };
    if (GetParam() == 0) {
      destroy();
      continue;
    }
    std::barrier start(static_cast<std::ptrdiff_t>(count) + 1);
    inThreads(count + 1, [&](unsigned i) {
      start.arrive_and_wait();
      i == count ? destroy() : held[i].clear();
    });
  }
}

// Threads run the script and make the tables grow, while others walk: each walk meets what stays once, and nothing that
// is not held.
TEST_P(Races, WalksMeetWhatStaysOnce) {
  const unsigned count = std::max(GetParam(), 1u);
  for (int point = -1; point < points; ++point) {
    detail::widened = point;
    House house;
    constexpr std::uint64_t first = 1 << 20, stays = 300;
    std::vector<Held> held(count + 1);
    for (std::uint64_t i = 0; i < stays; ++i) held[count].emplace_back(0, intern(*house.tables[0], first + i));
    std::atomic<int> wrong{0}, working{static_cast<int>(count)};
    const auto walk = [&] {
      std::map<std::uint64_t, int> met;
      house.tables[0]->forEachHeld([&](DedupHandleBase* handle) {
        wrong += handle->referenceCount() == 0 || !handle->isDeduped();
        ++met[static_cast<Word*>(handle)->value];
      });
      for (std::uint64_t i = 0; i < stays; ++i) wrong += met[first + i] != 1;
      house.tables[0]->metrics();
    };
    const auto work = [&](unsigned i) {
      if (i < count) {
        wrong += script(house, 7 * i + static_cast<unsigned>(point + 1), static_cast<int>(8000 / count), 4000, held[i]);
        --working;
      } else {
        do walk();
        while (working != 0);
      }
    };
    if (GetParam() != 0) {
      inThreads(count + 2, work);
    } else {
      for (const unsigned i : {0u, 1u}) work(i);
    }
    EXPECT_EQ(wrong, 0) << point;
    expectPictures(house, held);
  }
}

// Told of all that is there, from the moment that it comes.
struct Follower final : DedupLifeTimeNotifiee {
  void handleInsert(DedupHandleBase* handle) override {
    wrong += !values.insert(static_cast<Word*>(handle)->value).second;
  }
  void handleRemove(DedupHandleBase* handle) override { wrong += values.erase(static_cast<Word*>(handle)->value) != 1; }
  void handleNotificationStop(DedupHashTable*) override { values.clear(); }

  std::set<std::uint64_t> values;
  int wrong = 0;
};

TEST_P(Races, NotifieesComeAndGoBesideTheScript) {
  const unsigned count = std::max(GetParam(), 1u);
  for (int point = -1; point < points; ++point) {
    detail::widened = point;
    House house;
    std::vector<Held> held(count);
    std::atomic<int> wrong{0}, working{static_cast<int>(count)};
    const Tyr::Ptr<Follower> followers[2] = {Tyr::make<Follower>(), Tyr::make<Follower>()};
    const auto work = [&](unsigned i) {
      if (i < count) {
        wrong += script(house, 7 * i + static_cast<unsigned>(point + 1), static_cast<int>(8000 / count), 200, held[i]);
        --working;
        return;
      }
      do {
        for (int which : {0, 1}) house.tables[which]->lifeTimeNotifieeIs(followers[which]);
      } while (working != 0);
    };
    if (GetParam() != 0) {
      inThreads(count + 1, work);
    } else {
      for (const unsigned i : {0u, 1u}) work(i);
    }
    std::set<std::uint64_t> live[2];
    for (const Held& one : held) {
      for (const auto& [table, word] : one) live[table].insert(word->value);
    }
    for (int which : {0, 1}) {
      EXPECT_EQ(followers[which]->values, live[which]) << point;
      wrong += followers[which]->wrong;
    }
    EXPECT_EQ(wrong, 0) << point;
  }
}

}  // namespace
}  // namespace test
}  // namespace Keel
