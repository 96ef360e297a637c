#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include "Store/Stores.h"

namespace Routing::Store::test {
namespace {

using ProcessesTest = StoreTest;

TEST_F(ProcessesTest, OneWriterUntilItDies) {
  Steps open;
  const Process writer([&] {
    const auto store = StoreManager::openForWriting(path_);
    open.done(1);
    pause();
  });
  open.await(1);
  EXPECT_THAT(failure<StoreBusyException>([&] { StoreManager::openForWriting(path_); }),
              testing::HasSubstr("store " + path_ + ": another writer has it open"));
  EXPECT_NO_THROW(StoreManager::openForReading(path_));
  writer.kill();
  EXPECT_EQ(writer.ended(), -SIGKILL);
  // Within one process too, and who began by reading cannot go on to write.
  auto reader = StoreManager::openForReading(path_);
  EXPECT_THROW(StoreManager::openForWriting(path_), StoreBusyException);
  reader.reset();
  const auto store = StoreManager::openForWriting(path_);
  EXPECT_THROW(StoreManager::openForWriting(path_), StoreBusyException);
}

// From 64 KiB to some 30 MiB, under a reader that looks again from time to time.
TEST_F(ProcessesTest, ReadersFollowAStoreThatGrows) {
  Options options;
  const auto written = [](StoreManager& store, int round) {
    WriteBatch batch(store);
    for (int i = 0; i < 10; ++i) batch.recordIs(1, octets(std::string(300000, 'x')));
    batch.keyIs(1, octets("round"), octets(std::to_string(round)));
    batch.commit();
  };
  constexpr int rounds = 10;
  Steps wrote, looked;
  const Process reader([&] {
    wrote.await(1);
    const auto store = StoreManager::openForReading(path_);
    for (int round = 1; round <= rounds; ++round) {
      wrote.await(round);
      const ReadView view = store->readView();
      EXPECT_EQ(text(*view.key(1, octets("round"))), std::to_string(round));
      int records = 0;
      view.forEachRecord([&](Reference, Record record) { records += record.payload.size() == 300000; });
      EXPECT_EQ(records, 10 * round);
      EXPECT_EQ(text(*store->key(1, octets("round"))), "1");  // still its first view
      looked.done(round);
    }
    EXPECT_TRUE(store->refresh());
    EXPECT_EQ(text(*store->key(1, octets("round"))), std::to_string(rounds));
  });
  const auto store = StoreManager::openForWriting(path_, options);
  for (int round = 1; round <= rounds; ++round) {
    written(*store, round);
    wrote.done(round);
    looked.await(round);
  }
  EXPECT_EQ(reader.ended(), 0);
}

// Readers that died do not keep the writer from using their commits' room again.
TEST_F(ProcessesTest, DeadReadersAreForgotten) {
  StoreManager::openForWriting(path_);
  Steps open;
  const Process reader([&] {
    const auto store = StoreManager::openForReading(path_);
    open.done(1);
    pause();
  });
  open.await(1);
  reader.kill();
  reader.ended();
  const auto store = StoreManager::openForWriting(path_);
  for (int i = 0; i < 100; ++i) {
    WriteBatch batch(*store);
    batch.clear();
    batch.recordIs(1, octets(std::string(1 << 20, 'x')));
    batch.commit();
  }
  EXPECT_EQ(std::filesystem::file_size(data()), 16u << 20);
}

TEST_F(ProcessesTest, PlacesOfDeadReadersAreTaken) {
  StoreManager::openForWriting(path_);
  Steps full;
  const Process readers([&] {
    const auto store = StoreManager::openForReading(path_);
    std::vector<ReadView> views;
    const auto filled = [&] {
      while (true) views.push_back(store->readView());
    };
    EXPECT_THAT(failure<StoreException>(filled),
                testing::HasSubstr(": no place for another reader; expected at most 1024 views at a time"));
    EXPECT_EQ(views.size(), 1023u);  // and the manager's
    full.done(1);
    pause();
  });
  full.await(1);
  EXPECT_THROW(StoreManager::openForReading(path_), StoreException);
  readers.kill();
  readers.ended();
  EXPECT_NO_THROW(StoreManager::openForReading(path_));
}

// Nor does its end let go of anything: the parent's first view still shows what it showed.
TEST_F(ProcessesTest, AForkedChildCannotGoOn) {
  auto store = StoreManager::openForWriting(path_);
  const auto written = [&](char content) {
    WriteBatch batch(*store);
    batch.keyIs(1, {}, octets(std::string(100000, content)));
    batch.commit();
  };
  written('x');
  const ReadView view = store->readView();
  EXPECT_EQ(Process([&] {
              EXPECT_THROW(written('y'), StoreException);
              EXPECT_THROW(store->refresh(), StoreException);
              store.reset();
            }).ended(),
            0);
  EXPECT_THROW(StoreManager::openForWriting(path_), StoreBusyException);
  for (const char content : {'a', 'b', 'c', 'd'}) written(content);
  EXPECT_EQ(text(*view.key(1, {})), std::string(100000, 'x'));
}

// Batches of `octets` until one does not fit; that one leaves no trace, and after it smaller ones fit again.
void expectFullThenUsable(StoreManager& store, const std::function<void()>& roomMade) {
  const std::string large(1 << 20, 'x');
  Reference last;
  const auto written = [&](std::size_t octetCount) {
    WriteBatch batch(store);
    const Reference record = batch.recordIs(1, octets(large.substr(0, octetCount)));
    batch.keyIs(1, octets("last"), octets(std::to_string(record.anchor)));
    batch.commit();
    last = record;
  };
  const auto fill = [&] {
    for (int i = 0; i < 1000; ++i) written(large.size());
  };
  EXPECT_THROW(fill(), StoreFullException);
  for (int again = 0; again < 3; ++again) EXPECT_THROW(written(large.size()), StoreFullException);
  EXPECT_EQ(text(*store.key(1, octets("last"))), std::to_string(last.anchor));
  EXPECT_EQ(store.translate(last).payload.size(), large.size());
  roomMade();
  EXPECT_NO_THROW(written(large.size()));
  EXPECT_EQ(text(*store.key(1, octets("last"))), std::to_string(last.anchor));
}

TEST_F(ProcessesTest, AFileSizeLimitIsAFullDisk) {
  // Below the map: writes fail. Above it: growing does.
  for (const std::size_t map : {std::size_t{1} << 20, std::size_t{64} << 20}) {
    std::filesystem::remove_all(path_);
    EXPECT_EQ(Process([&] {
                Options options;
                static_cast<void>(map);
                const auto store = StoreManager::openForWriting(path_, options);
                signal(SIGXFSZ, SIG_IGN);
                rlimit limit{(5 << 20) + 1000, RLIM_INFINITY};
                EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
                expectFullThenUsable(*store, [&] {
                  limit.rlim_cur = RLIM_INFINITY;
                  EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
                });
              }).ended(),
              0);
  }
}

// Where it could not say what it reads, the writer would use the room of that again.
TEST_F(ProcessesTest, AReadOnlyMountIsRefused) {
  StoreManager::openForWriting(path_);
  const char* path = path_.c_str();
  if (mount(path, path, nullptr, MS_BIND, nullptr) != 0) GTEST_SKIP() << "nothing may be mounted here";
  ASSERT_EQ(mount(nullptr, path, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_THAT(
      failure<StoreException>([&] { StoreManager::openForReading(path_); }),
      testing::HasSubstr("data.mdb-lock: Read-only file system; expected a data.mdb-lock that this user may write"));
  umount2(path, MNT_DETACH);
}

TEST_F(ProcessesTest, AFullDiskDropsTheBatchThatMetIt) {
  const std::filesystem::path disk = folder_ / "disk";
  std::filesystem::create_directory(disk);
  if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=6m") != 0) GTEST_SKIP() << "no tmpfs may be mounted here";
  {
    std::ofstream(disk / "ballast") << std::string(2 << 20, 'b');
    const auto store = StoreManager::openForWriting(disk / "store");
    expectFullThenUsable(*store, [&] { std::filesystem::remove(disk / "ballast"); });
  }
  umount2(disk.c_str(), MNT_DETACH);
}

}  // namespace
}  // namespace Routing::Store::test
