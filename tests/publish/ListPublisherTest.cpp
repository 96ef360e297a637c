#include "VelBgp/ListPublisher.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <thread>

#include "VelBgp/CommunityTables.h"
#include "VelBgp/PublisherRecordsImpl.h"
#include "VelBgp/StashedPaths.h"
#include "publish/Publishing.h"
#include "support/Death.h"
#include "support/FailingMemory.h"
#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

using std::chrono::steady_clock;
using Store::test::Process;
using Store::test::Steps;

class ListPublisherTest : public Store::test::StoreTest {
 protected:
  // What a reader sees after a flush.
  Contents published(Publishing& publishing) {
    publishing.publisher->flush();
    EXPECT_EQ(publishing.publisher->problem(), "");
    return shown();
  }
  Contents shown() {
    if (reader_ == nullptr) reader_ = Store::StoreManager::openForReading(path_);
    reader_->refresh();
    return contentsOf(*reader_);
  }

  std::unique_ptr<Store::StoreManager> reader_;
};

TEST_F(ListPublisherTest, ShowsExactlyWhatIsInterned) {
  for (const bool multiThreaded : {false, true}) {
    Publishing publishing(path_, never, multiThreaded);
    Script script(publishing, "path");
    for (int round = 0; round < 100 && !HasFailure(); ++round) {
      script.stepped(round % 10 == 0 ? 300 : 20);
      expectSame(published(publishing), script.contents());
    }
    // A table that goes takes its lists along, also out of paths.
    forEachAttribute([&]<typename Attribute>(Attribute) {
      ((*publishing.agent).*Attribute::table).reset();
      script.listsDel(Attribute::record);
      expectSame(published(publishing), script.contents());
    });
    Contents left = script.contents();
    EXPECT_TRUE(left.records.empty() && !left.paths.empty());
    publishing.agent->large = LargeCommListDedupTableIs();
    publishing.publisher->listTableIs(publishing.agent->large.get());
    const auto list = Large::intern(*publishing.agent, {1});
    left.listIs({Large::record, {1}});
    expectSame(published(publishing), left);
    for (const auto& [key, path] : std::exchange(left.paths, {})) EXPECT_TRUE(publishing.publisher->pathDel(key));
    expectSame(published(publishing), left);
  }
}

// What goes off is gone, also from paths, and is back there later.
TEST_F(ListPublisherTest, TablesInUseAreAttachedAndDetached) {
  for (const bool multiThreaded : {false, true}) {
    Publishing publishing(path_, never, multiThreaded);
    Script script(publishing, "path");
    for (int round = 0; round < 6; ++round) {
      script.stepped(200);
      if (round % 2 == 0) expectSame(published(publishing), script.contents());
      publishing.tablesAre(false);
      if (round % 3 == 0) {
        Contents off;
        for (const auto& [key, path] : script.contents().paths) off.paths[key] = {};
        expectSame(published(publishing), off);
      }
      publishing.tablesAre(true);
      expectSame(published(publishing), script.contents());
    }
    publishing.publisherIs(never);  // what one publisher leaves, the next takes over, but for its paths
    expectSame(published(publishing), script.pathsDel().contents());
  }
}

TEST_F(ListPublisherTest, TablesAreAttachedAndDetachedWhileThreadsIntern) {
  Publishing publishing(path_, std::chrono::milliseconds(1), true);
  std::vector<Script> scripts;
  for (const char* name : {"a", "b", "c"}) scripts.emplace_back(publishing, name, false);
  for (int round = 0; round < 8 && !HasFailure(); ++round) {
    std::atomic<std::size_t> running = scripts.size();
    std::vector<std::jthread> threads;
    for (Script& script : scripts) {
      threads.emplace_back([&] {
        script.stepped(1500);
        --running;
      });
    }
    do {
      publishing.tablesAre(false);
      if (round % 4 == 3) publishing.publisher.emplace(*publishing.store);
      publishing.tablesAre(true);
      publishing.publisher->flush();
    } while (running != 0);
    threads.clear();
    Contents expected;
    for (const Script& script : scripts) expected = script.contents(std::move(expected));
    expectSame(published(publishing), expected);
  }
}

// Those who follow know at each moment what the store shows, also when they are stopped on their way.
TEST_F(ListPublisherTest, ReadersFollowPathsAndTheirLists) {
  Publishing publishing(path_);
  Script script(publishing, "path");
  published(publishing);
  const CommunityTables tables;
  StashedPaths paths(*reader_, tables), some(*reader_, tables, "path1");
  std::map<std::string, Contents::Path> known, knownOfSome;
  int visits = 0, stopAt = 0;
  const auto visitorOf = [&](std::map<std::string, Contents::Path>& shown) {
    const auto visit = [&] {
      if (++visits == stopAt) throw std::runtime_error("stopped");
    };
    return StashedPaths::Visitor{[&, visit](std::string_view key, const PathLists& lists) {
                                   visit();
                                   Contents::Path path;
                                   forEachAttribute([&]<typename Attribute>(Attribute) {
                                     const auto& list = lists.*Attribute::ofPath;
                                     if (list != nullptr) path[Attribute::record] = wordsOf<Attribute>(*list);
                                   });
                                   shown[std::string(key)] = path;
                                 },
                                 [&, visit](std::string_view key) {
                                   visit();
                                   EXPECT_EQ(shown.erase(std::string(key)), 1U);
                                 },
                                 {}};
  };
  for (int round = 0; round < 60 && !HasFailure(); ++round) {
    script.stepped(60);
    const Contents now = published(publishing);
    for (stopAt = 2 + round % 6; stopAt != 0;) {
      try {
        visits = 0;
        paths.forEachChange(visitorOf(known));
        stopAt = 0;
      } catch (const std::runtime_error&) {
      }
    }
    EXPECT_EQ(known, now.paths);
    visits = 0;
    paths.forEachChange(visitorOf(known));
    EXPECT_EQ(visits, 0);
    some.forEachChange(visitorOf(knownOfSome));
    std::map<std::string, Contents::Path> all, ofSome = now.paths;
    std::erase_if(ofSome, [](const auto& path) { return !path.first.starts_with("path1"); });
    EXPECT_EQ(knownOfSome, ofSome);
    paths.forEach(visitorOf(all));
    EXPECT_EQ(all, now.paths);
  }
}

// So many that they take several commits: a reader of any of them finds a list for every path, the old one or the new
// one, also where the disk was full after the first few, and the store has each list once in the end.
TEST_F(ListPublisherTest, EveryCommitOfManyPathsIsWhole) {
  constexpr std::uint32_t count = 70'000, lists = 50;
  const Process agent([&] {
    signal(SIGXFSZ, SIG_IGN);
    Publishing publishing(path_);
    published(publishing);
    ListPublisher& publisher = *publishing.publisher;
    const auto changed = [&](std::uint32_t path, std::uint32_t round) {
      publisher.pathIs(std::to_string(path),
                       {.extended = Extended::intern(*publishing.agent, {round << 16 | path % lists})});
    };
    const CommunityTables tables;
    StashedPaths paths(*reader_, tables);
    std::map<std::string, std::uint32_t> known;
    const StashedPaths::Visitor visitor = {
        [&](std::string_view key, const PathLists& path) {
          known[std::string(key)] = wordsOf<Extended>(*path.extended).at(0);
        },
        {},
        [](std::string_view key, const char* problem) { ADD_FAILURE() << key << ": " << problem; }};
    for (std::uint32_t round = 1; round < 4; ++round) {
      for (std::uint32_t path = 0; path < count; ++path) changed(path, round);
      const std::uint64_t before = reader_->commits();
      if (round == 1) {
        rlimit limit{4 << 20, RLIM_INFINITY};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_THROW(publisher.flush(), Store::StoreException);
        limit.rlim_cur = RLIM_INFINITY;
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        for (const std::uint32_t path : {1, 69'999}) publisher.pathDel(std::to_string(path)), changed(path, round);
      }
      std::atomic<bool> done = false;
      std::jthread writer([&] { publisher.flush(), done = true; });
      for (bool last = false; !last;) {
        last = done;
        reader_->refresh();
        paths.forEachChange(visitor);
      }
      EXPECT_GT(reader_->commits(), before + 2);
      EXPECT_EQ(known.size(), count);
      for (std::uint32_t path = 0; path < count; ++path)
        ASSERT_EQ(known[std::to_string(path)], round << 16 | path % lists);
      std::size_t records = 0;
      reader_->view().forEachRecord([&](Store::Reference, Store::Record) { ++records; });
      EXPECT_EQ(records, 2 * lists);
    }
  });
  EXPECT_EQ(agent.ended(), 0);
}

// A next publisher, in this process or after it, leaves what was published till its first commit.
TEST_F(ListPublisherTest, WhatWasPublishedStaysTillTheNextPublisherCommits) {
  Contents last;
  std::optional<Publishing> publishing;
  for (const bool sameStore : {false, true, false}) {
    if (sameStore) {
      publishing->agent.emplace();
      publishing->publisherIs(never);
    } else {
      publishing.reset();
      publishing.emplace(path_);
    }
    expectSame(shown(), last);
    Script script(*publishing, "path");
    script.stepped(500);
    expectSame(published(*publishing), last = script.contents());
    EXPECT_FALSE(last.paths.empty());
    script.stepped(50);
    last = script.contents();
    publishing->publisher.reset();  // commits what is noted
  }
  publishing->agent.emplace();
  publishing->publisherIs(never);
  expectSame(published(*publishing), {});
}

TEST_F(ListPublisherTest, ReferencesHoldAsLongAsTheirLists) {
  Publishing publishing(path_);
  Script others(publishing, "other");
  forEachAttribute([&]<typename Attribute>(Attribute) {
    PathLists lists;
    lists.*Attribute::ofPath = Attribute::intern(*publishing.agent, {100, 200, 300});
    publishing.publisher->pathIs("it", std::move(lists));
    published(publishing);
    const Store::Reference kept = (*stashedPath(*reader_, "it")).*Attribute::stashed;
    const auto words = [&] {
      others.stepped(100);
      published(publishing);
      return wordsOf<Attribute>(*Attribute::List::destash(&kept, reader_.get()));
    };
    for (int round = 0; round < 5; ++round) EXPECT_EQ(words(), (Words{100, 200, 300}));
    EXPECT_TRUE(publishing.publisher->pathDel("it"));
    for (int round = 0; round < 5; ++round) EXPECT_THROW(words(), Store::StaleReferenceException);
  });
}

TEST_F(ListPublisherTest, KeysAndMisuse) {
  Publishing publishing(path_);
  ListPublisher& publisher = *publishing.publisher;
  Contents expected;
  for (const std::string& key : {std::string(), std::string("\0", 1), std::string("a"), std::string(255, '\xff')}) {
    publisher.pathIs(key, {});
    expected.paths[key] = {};
  }
  const std::string longKey(256, 'k');
  EXPECT_THROW(publisher.pathIs(longKey, {}), std::length_error);
  EXPECT_FALSE(publisher.pathDel(longKey));
  expectSame(published(publishing), expected);
  EXPECT_EQ(stashedPath(*reader_, longKey), std::nullopt);

  const Agent other;
  const auto list = Standard::intern(other, {1});
  const auto expectAdvice = [](auto&& misuse, const char* condition, const char* advice) {
    EXPECT_ASSERTION(misuse(), condition);
    EXPECT_ADVICE(misuse(), advice);
  };
  const char* const attached = "isAttached(attribute, lists[attribute])";
  const char* const attach = "a list of a path is in no attached table: pass its table to listTableIs() first";
  expectAdvice([&] { publisher.pathIs("k", {.extendedIp6 = ExtCommIp6ListIs()}); }, attached, attach);
  expectAdvice([&] { publisher.pathIs("k", {.standard = list}); }, attached, attach);
  expectAdvice([&] { publisher.listTableIs(other.standard.get()); }, "tables_[attribute] == nullptr",
               "a table of this attribute is attached already: detach it by listTableDel() first");
  expectAdvice([&] { publisher.listTableDel(other.standard.get()); }, "tables_[attribute] == &table",
               "the table is not attached: detach one that was passed to listTableIs()");
  expectAdvice([&] { ListPublisher second(*reader_); }, "store.writable()",
               "a publisher writes its store: open it by StoreManager::openForWriting()");
  publishing.publisher.emplace(*publishing.store);  // drops what is there

  publishing.publisher.reset();
  Store::WriteBatch batch(*publishing.store);
  batch.keyIs(stashedPathSpace, Store::test::octets("a"), Store::test::octets("none of ours"));
  batch.keyIs(stashedPathSpace, Store::test::octets("b"), Store::test::octets(std::string(sizeof(StashedPath), '\0')));
  batch.commit();
  EXPECT_THROW(shown(), Store::DamagedRecordException);
  std::vector<std::string> found;
  forEachStashedPath(
      *reader_, [&](std::string_view key, const StashedPath&) { found.emplace_back(key); },
      [&](std::string_view key) { found.push_back("damaged " + std::string(key)); });
  EXPECT_EQ(found, (std::vector<std::string>{"damaged a", "b"}));

  // Damage is told once, and a reference that names nothing is damage, too.
  Store::WriteBatch stale(*publishing.store);
  stale.keyIs(stashedPathSpace, Store::test::octets("c"), Store::test::octets(std::string(sizeof(StashedPath), '\1')));
  stale.commit();
  reader_->refresh();
  const CommunityTables tables;
  StashedPaths paths(*reader_, tables);
  found.clear();
  for (int i = 0; i < 2; ++i) {
    paths.forEachChange({[&](std::string_view key, const PathLists&) { found.emplace_back(key); },
                         {},
                         [&](std::string_view key, const char* problem) {
                           found.push_back("damaged " + std::string(key));
                           EXPECT_NE(std::string(problem), "");
                         }});
    Store::WriteBatch next(*publishing.store);
    next.keyIs(stashedPathSpace, Store::test::octets("b"), Store::test::octets(std::string(sizeof(StashedPath), '\0')));
    next.commit();
    reader_->refresh();
  }
  EXPECT_EQ(found, (std::vector<std::string>{"damaged a", "b", "damaged c"}));
}

// Whatever allocation fails, nothing of the change is published.
TEST_F(ListPublisherTest, OutOfMemory) {
  Publishing publishing(path_);
  Script script(publishing, "path");
  script.stepped(300);
  Contents now = script.contents(), after = now;
  expectSame(published(publishing), now);
  const auto otherStore = Store::StoreManager::openForWriting(path_ + "2");
  failAtEachAllocation(
      [&] {
        const Agent other;
        ListPublisher second(*otherStore, {never});
        forEachAttribute([&]<typename Attribute>(Attribute) {
          const auto list = Attribute::intern(other, {100, 200, 300});
          second.listTableIs((other.*Attribute::table).get());
        });
      },
      [] {}, Losses::notCounted);
  const auto expectAllOrNothing = [&](auto&& undo, auto&& change) {
    const auto again = [&] {
      withMemory(undo);
      change();
    };
    failAtEachAllocation(
        again, [&] { expectSame(published(publishing), now); }, Losses::notCounted);
    expectSame(published(publishing), now = after);
  };
  PathLists lists;
  Contents::Path path;
  forEachAttribute([&]<typename Attribute>(Attribute) {
    path[Attribute::record] = {100, 200, 300};
    after.listIs({Attribute::record, path[Attribute::record]});
    expectAllOrNothing(
        [&] { (lists.*Attribute::ofPath).reset(); },
        [&] { lists.*Attribute::ofPath = Attribute::intern(*publishing.agent, path[Attribute::record]); });
  });
  ListPublisher& publisher = *publishing.publisher;
  const std::string key = "a long enough new key";
  after.paths[key] = path;
  const auto publish = [&] { publisher.pathIs(key, lists); };
  const auto withdraw = [&] { publisher.pathDel(key); };
  expectAllOrNothing(withdraw, publish);
  after.paths.erase(key);
  expectAllOrNothing(publish, withdraw);
  EXPECT_FALSE(publisher.pathDel(key));
}

// The publisher's thread does all of a step, or nothing and tries again, whatever allocation fails.
TEST_F(ListPublisherTest, NotesAreWrittenOrKeptWithoutMemory) {
  const auto store = Store::StoreManager::openForWriting(path_);
  detail::Records records(*store);
  detail::Notes unwritten;
  std::set<detail::Slot> there;
  std::mt19937 random;
  const auto tried = [](auto&& step) {
    for (int at = 1;; ++at) {
      failingMemory = {at, true, false, failingMemory.live};
      try {
        step();
        failingMemory.left = 0;
        return;
      } catch (const std::exception&) {
        failingMemory.left = 0;
      }
    }
  };
  for (int round = 0; round < 600; ++round) {
    detail::Notes later;
    detail::AttributeNotes& lists = later.lists[detail::largeLists];
    if (random() % 10 == 0) {
      lists.allGone = true;
      there.clear();
    }
    std::erase_if(there, [&, stays = round % 2 == 0 ? random() % 9 : 8](detail::Slot slot) {
      if (random() % 8 < stays) return false;
      lists.gone.push_back(slot);
      return true;
    });
    while (round % 2 == 1 && there.size() < 20 + static_cast<unsigned>(round) / 8 % 50) {
      const auto slot = static_cast<detail::Slot>(random());
      if (there.insert(slot).second) lists.come.put(slot, Image(12));
    }
    tried([&] { detail::append(unwritten, later); });
    if (random() % 4 == 0) continue;
    tried([&] { records.commit(unwritten, 0); });
    unwritten = {};
    std::size_t shown = 0;
    store->refresh();
    store->view().forEachRecord([&](Store::Reference, Store::Record) { ++shown; });
    ASSERT_EQ(shown, there.size());
  }
}

TEST_F(ListPublisherTest, ThreadsInternAndReleaseTheSame) {
  Publishing publishing(path_, std::chrono::milliseconds(1), true);
  std::vector<Script> scripts;
  for (const char* name : {"a", "b", "c", "d"}) scripts.emplace_back(publishing, name);
  const auto reader = Store::StoreManager::openForReading(path_);
  for (int round = 0; round < 10 && !HasFailure(); ++round) {
    std::atomic<std::size_t> running = scripts.size();
    std::vector<std::jthread> threads;
    for (Script& script : scripts) {
      threads.emplace_back([&] {
        script.stepped(1500);
        --running;
      });
    }
    while (running != 0) {
      reader->refresh();
      expectWhole(contentsOf(*reader));
    }
    threads.clear();
    Contents expected;
    for (const Script& script : scripts) expected = script.contents(std::move(expected));
    expectSame(published(publishing), expected);
  }
}

// Also one that stays full to the end. A flush does not wait for the next attempt.
TEST_F(ListPublisherTest, CatchesUpAfterAFullDisk) {
  for (const bool roomAgain : {true, false}) {
    const Process agent([&] {
      signal(SIGXFSZ, SIG_IGN);
      Publishing publishing(path_, roomAgain ? std::chrono::milliseconds(1) : never);
      Script script(publishing, "path");
      script.stepped(50);
      expectSame(published(publishing), script.contents());
      struct stat used {};
      EXPECT_EQ(stat(data().c_str(), &used), 0);
      rlimit limit{static_cast<rlim_t>(used.st_blocks) * 512 + 1000, RLIM_INFINITY};  // within a page
      EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
      for (int round = 0; round < 20; ++round) {
        script.stepped(500);
        if (round < 10) continue;
        EXPECT_THROW(publishing.publisher->flush(), Store::StoreException);
        EXPECT_THAT(publishing.publisher->problem(),
                    testing::MatchesRegex("store " + path_ + ": cannot write it: (No space left|File too large).*"));
        expectWhole(shown());
      }
      if (!roomAgain) return;
      limit.rlim_cur = RLIM_INFINITY;
      EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
      expectSame(published(publishing), script.contents());
    });
    EXPECT_EQ(agent.ended(), 0);
    expectWhole(shown());
    reader_.reset();
    std::filesystem::remove_all(path_);
  }
}

constexpr std::uint32_t paths = 50;

// Whole, and with the paths as they were between two steps. The last step, 0 if there is none.
std::uint32_t expectOneMoment(const Contents& shown) {
  expectWhole(shown);
  std::set<std::uint32_t> steps;
  for (const auto& [key, path] : shown.paths) {
    if (key.starts_with("script")) continue;
    EXPECT_EQ(path.size(), 4u);
    for (const auto& [type, words] : path) {
      EXPECT_EQ(std::to_string(words.front() % paths), key);
      steps.insert(words.front());
    }
  }
  if (steps.empty()) return 0;
  EXPECT_EQ(*steps.rbegin() - *steps.begin() + 1, steps.size()) << "paths of several moments";
  return *steps.rbegin();
}

// Publishes one path after the other, again and again, each under a step counted up from the one reached, among lists
// that come and go; says which steps are committed.
void agentRuns(const std::string& path, Steps& said, std::uint64_t reached) {
  Publishing publishing(path, std::chrono::milliseconds(1));
  Script script(publishing, "script");
  for (auto step = static_cast<std::uint32_t>(reached) + 1;; ++step) {
    PathLists lists;
    forEachAttribute([&]<typename Attribute>(Attribute) {
      lists.*Attribute::ofPath = Attribute::intern(*publishing.agent, {step});
    });
    publishing.publisher->pathIs(std::to_string(step % paths), lists);
    script.stepped(10);
    if (step % 5 != 0) continue;
    publishing.publisher->flush();
    said.done(step);
  }
}

TEST_F(ListPublisherTest, ReadersSeeOneMomentWhileAnAgentGoesOn) {
  Steps said;
  const Process agent([&] { agentRuns(path_, said, 0); });
  said.await(1);
  const auto reader = Store::StoreManager::openForReading(path_);
  int reads = 0;
  const auto end = steady_clock::now() + std::chrono::seconds(2);
  while ((reads < 10 || steady_clock::now() < end) && !HasFailure()) {
    const std::uint64_t least = said.done();
    if (!reader->refresh()) continue;
    EXPECT_GE(expectOneMoment(contentsOf(*reader)), least);
    ++reads;
  }
  agent.kill();
  EXPECT_EQ(agent.ended(), -SIGKILL);
}

TEST_F(ListPublisherTest, TheLastCommitOutlivesAKilledAgent) {
  std::uint32_t last = 0;  // also while the next agent has not published anything
  Store::test::expectKillsLoseNothing(
      path_, [&](Steps& said, std::uint64_t reached) { agentRuns(path_, said, reached); },
      [&](Store::StoreManager& store) { return last = std::max(last, expectOneMoment(contentsOf(store))); });
}

}  // namespace
}  // namespace Routing::Bgp::test
