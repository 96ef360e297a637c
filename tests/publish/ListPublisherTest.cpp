#include "VelBgp/ListPublisher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <new>
#include <stdexcept>
#include <thread>

#include "publish/Publishing.h"
#include "support/Death.h"
#include "support/FailingNew.h"
#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

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
    script.listsReleased();
    expectSame(published(publishing), script.contents());
    for (const auto& [key, path] : shown().paths) EXPECT_TRUE(publishing.publisher->pathDel(key));
    expectSame(published(publishing), {});
  }
}

TEST_F(ListPublisherTest, ATableThatGoesTakesItsListsAlong) {
  Publishing publishing(path_);
  Script script(publishing, "path");
  script.stepped(500);
  Contents left = script.contents();
  forEachKind([&]<typename Kind>(Kind) {
    ((*publishing.agent).*Kind::table).reset();
    EXPECT_FALSE(left.lists[Kind::index].empty());
    left.lists[Kind::index].clear();
    if constexpr (hasCommunities<Kind>) left.comms[Kind::index].clear();
    for (auto& [key, path] : left.paths) path[Kind::index].reset();
    expectSame(published(publishing), left);
  });
  publishing.agent->large = LargeCommListDedupTableIs();
  publishing.publisher->listTableIs(publishing.agent->large.get());
  const auto list = Large::intern(*publishing.agent, {1});
  left.listIs(Large::index, {1});
  expectSame(published(publishing), left);
}

TEST_F(ListPublisherTest, WhatWasPublishedStaysTillTheNextPublisherCommits) {
  std::optional<Publishing> publishing(std::in_place, path_);
  Script script(*publishing, "path");
  script.stepped(500);
  publishing->publisher.reset();
  Contents last = script.contents();
  EXPECT_FALSE(last.paths.empty());
  script.listsReleased();
  const auto expectTakenOver = [&] {
    expectSame(shown(), last);
    Script next(*publishing, "next");
    next.stepped(200);
    expectSame(published(*publishing), last = next.contents());
    publishing->publisher.reset();
  };
  publishing->agent.emplace();
  publishing->publisherIs(never);
  expectTakenOver();
  publishing.reset();
  publishing.emplace(path_);
  expectTakenOver();
  publishing->agent.emplace();
  publishing->publisherIs(never);
  expectSame(published(*publishing), {});
}

TEST_F(ListPublisherTest, ReferencesHoldAsLongAsTheirLists) {
  Publishing publishing(path_);
  Script others(publishing, "other");
  forEachKind([&]<typename Kind>(Kind) {
    PathLists lists;
    lists.*Kind::ofPath = Kind::intern(*publishing.agent, {1, 2, 3});
    publishing.publisher->pathIs("it", lists);
    published(publishing);
    const Store::Reference kept = (*stashedPath(*reader_, "it")).*Kind::stashed;
    const auto words = [&] { return wordsOf<Kind>(*Kind::List::destash(&kept, reader_.get())); };
    for (int round = 0; round < 5; ++round) {
      others.stepped(100);
      published(publishing);
      EXPECT_EQ(words(), (Words{1, 2, 3}));
    }
    EXPECT_TRUE(publishing.publisher->pathDel("it"));
    lists = {};
    bool usedAgain = false;
    for (int round = 0; round < 20; ++round) {
      published(publishing);
      EXPECT_EQ(stashedPath(*reader_, "it"), std::nullopt);
      EXPECT_THROW(words(), Store::StaleReferenceException);
      others.stepped(100);
      reader_->view().forEachRecord(
          [&](Store::Reference one, Store::Record) { usedAgain |= one.number == kept.number; });
    }
    EXPECT_TRUE(usedAgain);
  });
}

TEST_F(ListPublisherTest, KeysAndMisuse) {
  Publishing publishing(path_);
  ListPublisher& publisher = *publishing.publisher;
  const std::vector<std::string> keys{"", std::string("\0", 1), "a", "a\n", "b", std::string(255, '\xff')};
  for (const std::string& key : keys) publisher.pathIs(key, {});
  const std::string longKey(256, 'k');
  EXPECT_THROW(publisher.pathIs(longKey, {}), std::length_error);
  EXPECT_FALSE(publisher.pathDel(longKey));
  std::vector<std::string> found;
  for (const auto& [key, path] : published(publishing).paths) found.push_back(key);
  EXPECT_EQ(found, keys);
  EXPECT_EQ(stashedPath(*reader_, longKey), std::nullopt);

  const Agent other;
  const auto list = Standard::intern(other, {1});
  const char* const attached = "tables_[kind] != nullptr && tables_[kind]->holds(*list)";
  EXPECT_ASSERTION(publisher.pathIs("k", {.extendedIp6 = ExtCommIp6ListIs()}), attached);
  EXPECT_ASSERTION(publisher.pathIs("k", {.standard = list}), attached);
  EXPECT_ASSERTION(publisher.listTableIs(CommListDedupTableIs().get()), "tables_[kind] == nullptr");
  publishing.publisher.emplace(*publishing.store);
  EXPECT_ASSERTION(publishing.publisher->listTableIs(other.standard.get()), "size() == 0");

  publishing.publisher.reset();
  Store::WriteBatch batch(*publishing.store);
  batch.keyIs(stashedPathSpace, Store::test::octets("a"), Store::test::octets("none of ours"));
  batch.commit();
  EXPECT_THROW(shown(), Store::DamagedRecordException);
}

// Whatever allocation of `change` fails: nothing of it is published.
template <typename Change, typename Published>
void expectAllOrNothing(Change&& change, Published&& published, const Contents& before, const Contents& after) {
  for (int count = 0; count < 1000; ++count) {
    bool done = false;
    allocationsLeft = count;
    try {
      change();
      done = true;
    } catch (const std::bad_alloc&) {
    }
    allocationsLeft = -1;
    expectSame(published(), done ? after : before);
    if (done) return;
  }
  ADD_FAILURE() << "never done";
}

TEST_F(ListPublisherTest, OutOfMemory) {
  Publishing publishing(path_);
  Script script(publishing, "path");
  script.stepped(300);
  Contents now = script.contents();
  expectSame(published(publishing), now);
  const auto expectChange = [&](auto&& change, const Contents& after) {
    expectAllOrNothing(
        change, [&] { return published(publishing); }, now, after);
    now = after;
  };
  PathLists lists;
  Contents after = now;
  Contents::Path path;
  forEachKind([&]<typename Kind>(Kind) {
    path[Kind::index] = checked({100, 200, 300});
    after.listIs(Kind::index, *path[Kind::index]);
    expectChange([&] { lists.*Kind::ofPath = Kind::intern(*publishing.agent, *path[Kind::index]); }, after);
  });
  ListPublisher& publisher = *publishing.publisher;
  after.paths["a long enough new key"] = path;
  expectChange([&] { publisher.pathIs("a long enough new key", lists); }, after);
  after.paths.erase("a long enough new key");
  expectChange([&] { publisher.pathDel("a long enough new key"); }, after);
  allocationsLeft = 2;
  EXPECT_THROW(publisher.pathIs("another long enough key", lists), std::bad_alloc);
  allocationsLeft = -1;
  EXPECT_FALSE(publisher.pathDel("another long enough key"));
}

TEST_F(ListPublisherTest, ThreadsInternAndReleaseTheSame) {
  Publishing publishing(path_, std::chrono::milliseconds(1), true);
  std::vector<Script> scripts;
  for (const char* name : {"a", "b", "c", "d"}) scripts.emplace_back(publishing, name);
  const auto run = [](auto&& one, auto&& scripts) {
    std::vector<std::thread> threads;
    for (Script& script : scripts) threads.emplace_back([&] { one(script); });
    for (std::thread& thread : threads) thread.join();
  };
  const auto reader = Store::StoreManager::openForReading(path_);
  for (int round = 0; round < 10 && !HasFailure(); ++round) {
    std::atomic<bool> done = false;
    std::thread reading([&] {
      while (!done) {
        reader->refresh();
        expectWhole(contentsOf(*reader));
      }
    });
    run([](Script& script) { script.stepped(1500); }, scripts);
    done = true;
    reading.join();
    Contents expected;
    for (const Script& script : scripts) script.addTo(expected);
    expectSame(published(publishing), expected);
  }
  run([](Script& script) { script.listsReleased(); }, scripts);
  for (const auto& [key, path] : shown().paths) publishing.publisher->pathDel(key);
  expectSame(published(publishing), {});
}

void fileSizeLimitIs(rlim_t octets) {
  const rlimit limit{octets, RLIM_INFINITY};
  EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

// Also one that stays full to the end. A flush does not wait for the next attempt.
TEST_F(ListPublisherTest, CatchesUpAfterAFullDisk) {
  for (const bool roomAgain : {true, false}) {
    const Store::test::Process agent([&] {
      signal(SIGXFSZ, SIG_IGN);
      Publishing publishing(path_, roomAgain ? std::chrono::milliseconds(1) : never);
      Script script(publishing, "path");
      script.stepped(50);
      expectSame(published(publishing), script.contents());
      fileSizeLimitIs(std::filesystem::file_size(data()));
      for (int round = 0; round < 20; ++round) {
        script.stepped(500);
        if (round < 10) continue;
        EXPECT_THROW(publishing.publisher->flush(), Store::StoreException);
        EXPECT_THAT(publishing.publisher->problem(), testing::HasSubstr("store " + path_));
        expectWhole(shown());
      }
      if (!roomAgain) return;
      fileSizeLimitIs(RLIM_INFINITY);
      expectSame(published(publishing), script.contents());
    });
    EXPECT_EQ(agent.ended(), 0);
    expectWhole(shown());
    reader_.reset();
    std::filesystem::remove_all(path_);
  }
}

}  // namespace
}  // namespace Routing::Bgp::test
