#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <thread>

#include "Store/Stores.h"

namespace Routing::Store::test {
namespace {

using testing::HasSubstr;

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
  EXPECT_THAT(failure<StoreBusyException>([&] { StoreManager::openForWriting(path_); }),
              HasSubstr("store " + path_ + ": another writer has it open"));
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

// Views of this process and of another; the first one stays as it was, also without its manager.
TEST_F(ProcessesTest, ReadersFollowAStoreThatGrows) {
  constexpr std::uint64_t rounds = 100;
  const std::string content(50000, 'c');
  Steps wrote;
  const auto reading = [&] {
    wrote.await(1);
    auto store = StoreManager::openForReading(path_);
    const ReadView first = store->readView();
    const Octets kept = *first.key(1, octets("round"));
    const std::string before = text(kept);
    for (std::uint64_t round = 0; round < rounds;) {
      const std::uint64_t least = wrote.done();
      EXPECT_GE(store->newestCommit(), store->commits());
      store->refresh();
      round = std::stoull(text(*store->key(1, octets("round"))));
      EXPECT_GE(round, least);
      std::size_t records = 0;
      store->view().forEachRecord([&](Reference, Record record) { records += text(record.payload) == content; });
      EXPECT_EQ(records, round);
    }
    store.reset();
    EXPECT_EQ(text(kept), before);
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

// They do not keep the writer from using their commits' room again, whenever they died.
TEST_F(ProcessesTest, DeadReadersAreForgotten) {
  Steps steps;
  const Process writer([&] {
    const auto store = StoreManager::openForWriting(path_);
    steps.done(1);
    steps.await(3);
    fileSizeLimitIs(8 << 20);
    for (int i = 0; i < 100; ++i) {
      commit(*store, [&](WriteBatch& batch) {
        batch.clear();
        batch.recordIs(1, octets(std::string(1 << 20, 'x')));
      });
    }
  });
  const Process reader([&] {
    steps.await(1);
    const auto store = StoreManager::openForReading(path_);
    steps.done(2);
    pause();
  });
  steps.await(2);
  reader.kill();
  reader.ended();
  steps.done(3);
  EXPECT_EQ(writer.ended(), 0);
}

TEST_F(ProcessesTest, PlacesOfDeadReadersAreTaken) {
  StoreManager::openForWriting(path_);
  Steps full;
  const Process readers([&] {
    const auto store = StoreManager::openForReading(path_);
    std::vector<ReadView> views;
    const auto fill = [&] {
      while (true) views.push_back(store->readView());
    };
    EXPECT_THAT(failure<StoreException>(fill),
                HasSubstr(": no place for another reader; expected at most 1024 views at a time"));
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
  const auto write = [&](char content) {
    commit(*store, [&](WriteBatch& batch) { batch.keyIs(1, {}, octets(std::string(100000, content))); });
  };
  write('x');
  const ReadView view = store->readView();
  EXPECT_EQ(Process([&] {
              EXPECT_THROW(write('y'), StoreException);
              EXPECT_THROW(store->refresh(), StoreException);
              store.reset();
            }).ended(),
            0);
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
  for (int again = 0; again < 3; ++again) EXPECT_THAT(failure<StoreFullException>(fill), HasSubstr(words));
  EXPECT_EQ(text(*store.key(1, octets("last"))), std::to_string(last.anchor));
  EXPECT_EQ(store.translate(last).payload.size(), large.size());
  makeRoom();
  EXPECT_NO_THROW(write());
  EXPECT_EQ(text(*store.key(1, octets("last"))), std::to_string(last.anchor));
}

TEST_F(ProcessesTest, AFileSizeLimitIsAFullDisk) {
  EXPECT_EQ(Process([&] {
              const auto store = StoreManager::openForWriting(path_);
              fileSizeLimitIs((5 << 20) + 1000);
              expectFullThenUsable(*store, "No space left on device", [] { fileSizeLimitIs(RLIM_INFINITY); });
            }).ended(),
            0);
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

// Maps of two sizes on one store, each of which tells when it is too small. Opened again, a small one takes what is
// there.
TEST_F(ProcessesTest, AMapIsFull) {
  Options options;
  options.mapOctets = leastMapOctets;
  const auto open = [&] { return StoreManager::openForReading(path_, PageCheck::on, leastMapOctets); };
  Steps steps;
  const Process reader([&] {
    steps.await(1);
    auto store = open();
    for (const std::uint64_t step : {2, 4}) {
      steps.done(step);
      steps.await(step + 1);
      EXPECT_THAT(failure<StoreException>([&] { store->refresh(); }), HasSubstr("it outgrew the "));
      EXPECT_THAT(failure<StoreException>([&] { (void)store->key(1, {}); }), HasSubstr("the view has ended"));
      store.reset();
      store = open();
      EXPECT_NE(store->key(1, octets("last")), std::nullopt);
    }
    steps.done(6);
  });
  auto store = StoreManager::openForWriting(path_, options);
  expectFullThenUsable(*store, ": the 67108864 octets mapped are full; expected a larger mapOctets", [&] {
    commit(*store, [](WriteBatch& batch) { batch.clear(); });
    commit(*store, [](WriteBatch& batch) { batch.keyIs(1, octets("small"), {}); });
  });
  store.reset();
  store = StoreManager::openForWriting(path_);
  steps.done(1);
  for (const std::uint64_t step : {2, 4}) {
    steps.await(step);
    commit(*store, [](WriteBatch& batch) { batch.recordIs(1, octets(std::string(leastMapOctets, 'x'))); });
    steps.done(step + 1);
  }
  steps.await(6);
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
    EXPECT_EQ(Process([&] {
                if (mebibytes >= 128) return reading();
                EXPECT_THAT(failure<StoreException>(reading),
                            HasSubstr(": cannot map 64 MiB; expected mapOctets of 64 MiB or more"));
              }).ended(),
              0);
  }
  EXPECT_THROW(StoreManager::openForReading(path_, PageCheck::on, leastMapOctets - 1), StoreException);
}

// Where it could not say what it reads, the writer would use the room of that again.
TEST_F(ProcessesTest, AReadOnlyMountIsRefused) {
  StoreManager::openForWriting(path_);
  const char* path = path_.c_str();
  if (mount(path, path, nullptr, MS_BIND, nullptr) != 0) GTEST_SKIP() << "nothing may be mounted here";
  ASSERT_EQ(mount(nullptr, path, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_THAT(failure<StoreException>([&] { StoreManager::openForReading(path_); }),
              HasSubstr("data.mdb-lock: Read-only file system; expected a data.mdb-lock that this user may write"));
  umount2(path, MNT_DETACH);
}

}  // namespace
}  // namespace Routing::Store::test
