#include <sys/mount.h>
#include <sys/resource.h>

#include "Store/Stores.h"

namespace Routing::Store::test {
namespace {

using ProcessesTest = StoreTest;

TEST_F(ProcessesTest, OneWriterWhoOpensFirst) {
  auto store = StoreManager::openForWriting(path_);
  EXPECT_NO_THROW(StoreManager::openForReading(path_));
  const auto again = [&] { StoreManager::openForWriting(path_); };
  EXPECT_THAT(again, failsWith<StoreBusyException>("store " + path_ + ": another writer has it open"));
  store.reset();
  store = StoreManager::openForReading(path_);
  EXPECT_THAT(again, failsWith<StoreBusyException>("this process has it open for reading only"));
}

// Each round of a writer replaces all records by others that name the round, of many sizes, and the key that names it.
void write(StoreManager& store, std::uint64_t round) {
  commit(store, [&](WriteBatch& batch) {
    store.view().forEachRecord([&](Reference made, Record) { batch.recordDel(made); });
    for (std::size_t i = 0; i < 20 + round % 7; ++i) {
      batch.recordIs(1, octets(std::to_string(round) + '.' + std::string(i * i * i % 9000, '.')));
    }
    batch.keyIs(1, octets("round"), octets(std::to_string(round)));
  });
}

// After a look at whether it is whole.
std::uint64_t lastRound(const ReadView& view) {
  const std::optional<Octets> named = view.key(1, octets("round"));
  const std::uint64_t round = named ? std::stoull(text(*named)) : 0;
  std::size_t records = 0;
  view.forEachRecord([&](Reference made, Record record) {
    EXPECT_TRUE(text(record.payload).starts_with(std::to_string(round) + '.'));
    EXPECT_EQ(text(view.translate(made).payload), text(record.payload));
    ++records;
  });
  EXPECT_EQ(records, named ? 20 + round % 7 : 0);
  return round;
}

TEST_F(ProcessesTest, TheLastCommitSurvivesAKilledWriter) {
  const auto writing = [&](Steps& said, std::uint64_t) {
    const auto store = StoreManager::openForWriting(path_);
    for (std::uint64_t round = lastRound(store->view()) + 1;; ++round) {
      write(*store, round);
      said.done(round);
    }
  };
  expectKillsLoseNothing(path_, writing, [&](StoreManager& store) { return lastRound(store.view()); });
  lastRound(StoreManager::openForWriting(path_)->view());
}

// They keep neither their places nor the room of their commits.
TEST_F(ProcessesTest, DeadReadersAreForgotten) {
  Steps steps;
  const Process readers([&] {
    steps.await(1);
    const auto store = StoreManager::openForReading(path_);
    std::vector<ReadView> views;
    const auto fill = [&] {
      while (true) views.push_back(store->readView());
    };
    EXPECT_THAT(fill,
                failsWith<StoreException>(": no place for another reader; expected at most 1024 views at a time"));
    steps.done(views.size());
    pause();
  });
  const auto store = StoreManager::openForWriting(path_);
  steps.done(1);
  steps.await(1022);  // and the managers'
  EXPECT_THROW(store->readView(), StoreException);
  readers.kill();
  readers.ended();
  EXPECT_NO_THROW(store->readView());
  for (int i = 0; i < 100; ++i) {
    commit(*store, [&](WriteBatch& batch) {
      batch.clear();
      batch.recordIs(1, octets(std::string(1 << 20, 'x')));
    });
  }
  EXPECT_LT(std::filesystem::file_size(data()), 8u << 20);
}

// Nor does its end let go of anything: the parent's first view still shows what it showed.
TEST_F(ProcessesTest, AForkedChildCannotGoOn) {
  auto store = StoreManager::openForWriting(path_);
  const auto write = [&](char content) {
    commit(*store, [&](WriteBatch& batch) { batch.keyIs(1, {}, octets(std::string(100000, content))); });
  };
  write('x');
  const ReadView view = store->readView();
  inChild([&] {
    EXPECT_THROW(write('y'), StoreException);
    EXPECT_THROW(store->refresh(), StoreException);
    store.reset();
  });
  EXPECT_THROW(StoreManager::openForWriting(path_), StoreBusyException);
  for (const char content : {'a', 'b', 'c', 'd'}) write(content);
  EXPECT_EQ(text(*view.key(1, {})), std::string(100000, 'x'));
}

// Batches of 1 MiB until one does not fit; that one leaves no trace, and once there is room others fit again.
void expectFullThenUsable(StoreManager& store, const std::string& words, const std::function<void()>& makeRoom) {
  const std::string large(1 << 20, 'x');
  Reference last;
  const auto write = [&] {
    Reference record;
    commit(store, [&](WriteBatch& batch) {
      record = batch.recordIs(1, octets(large));
      batch.keyIs(1, octets("last"), octets(std::to_string(record.anchor)));
    });
    last = record;
  };
  const auto fill = [&] {
    for (int i = 0; i < 1000; ++i) write();
  };
  for (int again = 0; again < 3; ++again) EXPECT_THAT(fill, failsWith<StoreFullException>(words));
  EXPECT_EQ(text(*store.key(1, octets("last"))), std::to_string(last.anchor));
  EXPECT_EQ(store.translate(last).payload.size(), large.size());
  makeRoom();
  EXPECT_NO_THROW(write());
  EXPECT_EQ(text(*store.key(1, octets("last"))), std::to_string(last.anchor));
}

TEST_F(ProcessesTest, AFullDiskDropsTheBatchThatMetIt) {
  const std::filesystem::path disk = folder_ / "disk";
  std::filesystem::create_directory(disk);
  if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=6m") != 0) GTEST_SKIP() << "no tmpfs may be mounted here";
  {
    std::ofstream(disk / "ballast") << std::string(2 << 20, 'b');
    const auto store = StoreManager::openForWriting(disk / "store");
    expectFullThenUsable(*store, "No space left", [&] { std::filesystem::remove(disk / "ballast"); });
  }
  umount2(disk.c_str(), MNT_DETACH);
}

// Maps of two sizes on one store, each of which tells when it is too small. Opened again, the same takes what is there.
TEST_F(ProcessesTest, AMapIsFull) {
  Steps steps;
  const Process reader([&] {
    steps.await(1);
    const auto open = [&] { return StoreManager::openForReading(path_, PageCheck::on, leastMapOctets); };
    auto store = open();
    steps.done(2);
    steps.await(3);
    EXPECT_THAT([&] { store->refresh(); }, failsWith<StoreException>("it outgrew the 67108864 octets mapped"));
    EXPECT_THAT([&] { return store->key(1, {}); }, failsWith<StoreException>("the view has ended"));
    store.reset();
    store = open();
    EXPECT_NE(store->key(1, octets("last")), std::nullopt);
  });
  Options options;
  options.mapOctets = leastMapOctets;
  auto store = StoreManager::openForWriting(path_, options);
  expectFullThenUsable(*store, ": the 67108864 octets mapped are full; expected a larger mapOctets", [&] {
    commit(*store, [](WriteBatch& batch) { batch.clear(); });
    commit(*store, [](WriteBatch& batch) { batch.keyIs(1, octets("small"), {}); });
  });
  store.reset();
  store = StoreManager::openForWriting(path_);
  steps.done(1);
  steps.await(2);
  commit(*store, [](WriteBatch& batch) { batch.recordIs(1, octets(std::string(leastMapOctets, 'x'))); });
  steps.done(3);
  EXPECT_EQ(reader.ended(), 0);
}

std::size_t addressesInUse() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// The map and as much again for the rest; less than 64 MiB are none.
TEST_F(ProcessesTest, AMapTakesTheAddressesThatThereAre) {
  StoreManager::openForWriting(path_);
  for (const std::size_t mebibytes : {100, 200, 1000}) {
    const auto reading = [&] {
      const std::size_t before = addressesInUse();
      const rlimit limit{before + (mebibytes << 20), RLIM_INFINITY};
      EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
      const auto store = StoreManager::openForReading(path_);
      const std::size_t taken = (addressesInUse() - before) >> 20;
      EXPECT_TRUE(mebibytes / 4 <= taken && taken <= mebibytes / 2) << taken;
    };
    inChild([&] {
      if (mebibytes >= 128) return reading();
      EXPECT_THAT(reading, failsWith<StoreException>(": cannot map 64 MiB; expected mapOctets of 64 MiB or more"));
    });
  }
  EXPECT_THROW(StoreManager::openForReading(path_, PageCheck::on, leastMapOctets - 1), StoreException);
}

}  // namespace
}  // namespace Routing::Store::test
