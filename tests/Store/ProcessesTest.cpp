#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <thread>

#include "Store/Stores.h"

namespace Routing::Store::test {
namespace {

class ProcessesTest : public StoreTest {
 protected:
  static void limitIs(decltype(RLIMIT_AS) resource, rlim_t octets) {
    const rlimit limit{octets, RLIM_INFINITY};
    EXPECT_EQ(setrlimit(resource, &limit), 0);
  }
  // For files; what is beyond it fails, as on a full disk.
  static void fileSizeLimitIs(rlim_t octets) {
    signal(SIGXFSZ, SIG_IGN);
    limitIs(RLIMIT_FSIZE, octets);
  }
  static std::size_t addressesInUse() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  }
};

TEST_F(ProcessesTest, OneWriterUntilItDies) {
  Steps open;
  const Process writer([&] {
    const auto store = StoreManager::openForWriting(path_);
    open.done(1);
    pause();
  });
  open.await(1);
  EXPECT_THAT([&] { StoreManager::openForWriting(path_); },
              failsWith<StoreBusyException>("store " + path_ + ": another writer has it open"));
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

// In this process and in another.
TEST_F(ProcessesTest, ReadersFollowAStoreThatGrows) {
  constexpr std::uint64_t rounds = 100;
  const std::string content(50000, 'c');
  Steps wrote;
  const auto reading = [&] {
    wrote.await(1);
    const auto store = StoreManager::openForReading(path_);
    for (std::size_t records = 0; records < rounds;) {
      const std::uint64_t least = wrote.done();
      store->refresh();
      records = 0;
      store->view().forEachRecord([&](Reference, Record record) { records += text(record.payload) == content; });
      EXPECT_GE(records, least);
      EXPECT_EQ(text(*store->key(1, octets("round"))), std::to_string(records));
    }
  };
  const Process other(reading);
  const auto store = StoreManager::openForWriting(path_);
  std::thread here(reading);
  for (std::uint64_t round = 1; round <= rounds; ++round) {
    commit(*store, [&](WriteBatch& batch) {
      batch.recordIs(1, octets(content));
      batch.keyIs(1, octets("round"), octets(std::to_string(round)));
    });
    wrote.done(round);
  }
  here.join();
  EXPECT_EQ(other.ended(), 0);
}

// They keep neither their places nor, whenever they died, the room of their commits.
TEST_F(ProcessesTest, DeadReadersAreForgotten) {
  Steps steps;
  const Process writer([&] {
    const auto store = StoreManager::openForWriting(path_);
    steps.done(1);
    steps.await(2);
    EXPECT_THROW(store->readView(), StoreException);
    steps.done(3);
    steps.await(4);
    EXPECT_NO_THROW(store->readView());
    fileSizeLimitIs(8 << 20);
    for (int i = 0; i < 100; ++i) {
      commit(*store, [&](WriteBatch& batch) {
        batch.clear();
        batch.recordIs(1, octets(std::string(1 << 20, 'x')));
      });
    }
  });
  const Process readers([&] {
    steps.await(1);
    const auto store = StoreManager::openForReading(path_);
    std::vector<ReadView> views;
    const auto fill = [&] {
      while (true) views.push_back(store->readView());
    };
    EXPECT_THAT(fill,
                failsWith<StoreException>(": no place for another reader; expected at most 1024 views at a time"));
    EXPECT_EQ(views.size(), 1022u);  // and the managers'
    steps.done(2);
    pause();
  });
  steps.await(3);
  readers.kill();
  readers.ended();
  steps.done(4);
  EXPECT_EQ(writer.ended(), 0);
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

TEST_F(ProcessesTest, AFileSizeLimitIsAFullDisk) {
  inChild([&] {
    const auto store = StoreManager::openForWriting(path_);
    fileSizeLimitIs((5 << 20) + 1000);
    expectFullThenUsable(*store, "No space left on device", [] { fileSizeLimitIs(RLIM_INFINITY); });
  });
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

// The map and as much again for the rest; less than 64 MiB are none.
TEST_F(ProcessesTest, AMapTakesTheAddressesThatThereAre) {
  StoreManager::openForWriting(path_);
  for (const std::size_t mebibytes : {100, 200, 1000}) {
    const auto reading = [&] {
      const std::size_t before = addressesInUse();
      limitIs(RLIMIT_AS, before + (mebibytes << 20));
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

// Where it could not say what it reads, the writer would use the room of that again.
TEST_F(ProcessesTest, AReadOnlyMountIsRefused) {
  StoreManager::openForWriting(path_);
  const char* path = path_.c_str();
  if (mount(path, path, nullptr, MS_BIND, nullptr) != 0) GTEST_SKIP() << "nothing may be mounted here";
  ASSERT_EQ(mount(nullptr, path, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_THAT([&] { StoreManager::openForReading(path_); },
              failsWith<StoreException>(
                  "data.mdb-lock: Read-only file system; expected a data.mdb-lock that this user may write"));
  umount2(path, MNT_DETACH);
}

}  // namespace
}  // namespace Routing::Store::test
