#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <random>

#include "Store/Stores.h"

namespace Routing::Store::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

void overwritten(const std::string& file, std::streamoff at, const std::string& octets) {
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.seekp(at);
  stream << octets;
}

std::string contents(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// Wherever the file has it, as older commits may still lie there.
void replaced(const std::string& file, const std::string& octets, const std::string& by) {
  const std::string all = contents(file);
  ASSERT_NE(all.find(octets), std::string::npos);
  for (std::size_t at = all.find(octets); at != std::string::npos; at = all.find(octets, at + 1)) {
    overwritten(file, static_cast<std::streamoff>(at), by);
  }
}

// Changes one octet of what the file has of `octets`, once.
void damaged(const std::string& file, const std::string& octets) {
  const std::size_t at = contents(file).find(octets);
  ASSERT_NE(at, std::string::npos);
  overwritten(file, static_cast<std::streamoff>(at), std::string(1, static_cast<char>(octets[0] ^ 1)));
}

class BrokenStoreTest : public StoreTest {
 protected:
  BrokenStoreTest() { made(path_); }

  void made(const std::string& path) {
    const auto store = StoreManager::openForWriting(path);
    WriteBatch batch(*store);
    batch.recordIs(1, octets("some record"));
    batch.commit();
  }

  // Neither readers nor writers open it, and both say why.
  template <typename Failure>
  void expectRefused(const std::string& words, const std::string& path) {
    const auto says = AllOf(HasSubstr("store " + path + ": "), HasSubstr(words), HasSubstr("; expected "));
    EXPECT_THAT(failure<Failure>([&] { StoreManager::openForReading(path); }), says);
    EXPECT_THAT(failure<Failure>([&] { StoreManager::openForWriting(path); }), says);
  }
};

TEST_F(BrokenStoreTest, IsRefusedWithItsReason) {
  const std::string data = path_ + "/data.mdb";
  const std::string stamp = path_ + "/stamp";
  made(path_ + "2");
  using Breaking = std::function<void()>;
  const std::pair<const char*, Breaking> rows[] = {
      {"data.mdb has size 0", [&] { std::filesystem::resize_file(data, 0); }},
      {"data.mdb is cut short", [&] { std::filesystem::resize_file(data, 100); }},
      {"data.mdb is cut short", [&] { std::filesystem::resize_file(data, 5000); }},
      {"data.mdb is cut short: ", [&] { std::filesystem::resize_file(data, (16 << 20) - 1); }},
      {"data.mdb is not a store's file", [&] { overwritten(data, 0, std::string(8192, 'x')); }},
      {"data.mdb has pages of 1000 octets",
       [&] {
         overwritten(data, 40, {'\xe8', 3, 0, 0});
       }},
      {"a meta page contradicts itself", [&] { overwritten(data, 32, std::string(8, '\xff')); }},
      {"a meta page contradicts itself",
       [&] {
         overwritten(data, 4096 + 40, {0, 2});
       }},                                                                                        // its page size
      {"a meta page contradicts itself", [&] { overwritten(data, 128, std::string(7, '\1')); }},  // its root
      {"data.mdb is no file",
       [&] {
         std::filesystem::remove(data);
         std::filesystem::create_directory(data);
       }},
      {"stamp is empty", [&] { std::filesystem::resize_file(stamp, 0); }},
      {"stamp is cut short", [&] { std::filesystem::resize_file(stamp, 31); }},
      {"stamp is not a store's stamp", [&] { overwritten(stamp, 0, "v"); }},
      {"another octet order",
       [&] {
         overwritten(stamp, 8, {1, 2, 3, 4});
       }},
      {"another layout version: 2; expected layout version 1", [&] { overwritten(stamp, 12, {2}); }},
      {"another word size: 4; expected word size 8", [&] { overwritten(stamp, 16, {4}); }},
      {"stamp and data.mdb are of two stores", [&] { overwritten(stamp, 24, contents(path_ + "2/stamp").substr(24)); }},
      {"it has no stamp", [&] { std::filesystem::remove(stamp); }},
  };
  for (const auto& [words, breaking] : rows) {
    SCOPED_TRACE(words);
    std::filesystem::remove_all(path_);
    made(path_);
    breaking();
    expectRefused<StoreFormatException>(words, path_);
  }
}

// The mark of a writer that did not close the store, of this start of the machine and of another.
TEST_F(BrokenStoreTest, MachineFailedWhileItWasWritten) {
  const std::string mark = path_ + "/writer.lock";
  EXPECT_EQ(contents(mark), "");  // closed
  std::string start;
  {
    const auto writer = StoreManager::openForWriting(path_);
    start = contents(mark);
  }
  if (start.empty()) GTEST_SKIP() << "this machine does not tell its starts apart";
  std::ofstream(mark) << start;
  const std::uint64_t before = StoreManager::openForReading(path_)->identity();  // killed: what it wrote is whole
  start[0] = static_cast<char>(start[0] ^ 1);
  std::ofstream(mark) << start;
  EXPECT_THAT(failure<StoreFormatException>([&] { StoreManager::openForReading(path_); }),
              HasSubstr("the machine failed while it was written; expected"));
  const auto anew = StoreManager::openForWriting(path_);
  EXPECT_NE(anew->identity(), before);
  EXPECT_EQ(StoreManager::openForReading(path_)->identity(), anew->identity());
}

TEST_F(BrokenStoreTest, WhatIsNoStoreIsRefused) {
  const std::string file = folder_ / "file";
  std::ofstream(file) << "text";
  expectRefused<StoreFormatException>("not a directory", file);
  expectRefused<StoreFormatException>("not a store: it has no data.mdb but " + file, folder_);
  expectRefused<StoreException>("Not a directory", file + "/store");

  const std::string absent = folder_ / "absent/store";
  const auto reading = [](const std::string& path) { return [path] { StoreManager::openForReading(path); }; };
  EXPECT_THAT(failure<StoreAbsentException>(reading(absent)), HasSubstr("no store there: No such file or directory"));
  EXPECT_THAT(failure<StoreException>([&] { StoreManager::openForWriting(absent); }), HasSubstr("a parent directory"));
  // Half made: a reader sees none, a writer goes on.
  std::filesystem::remove(data());
  std::ofstream(data().string() + ".new") << "half";
  EXPECT_THAT(failure<StoreAbsentException>(reading(path_)), HasSubstr("no store there yet"));
  made(path_);
  EXPECT_NO_THROW(StoreManager::openForReading(path_));
}

TEST_F(BrokenStoreTest, IsNoticedWhileItIsOpen) {
  for (const bool cut : {true, false}) {
    std::filesystem::remove_all(path_);
    const auto writer = StoreManager::openForWriting(path_);
    const auto reader = StoreManager::openForReading(path_);
    if (cut) {
      std::filesystem::resize_file(data(), 0);
    } else {
      std::filesystem::rename(path_, path_ + ".old");
      Process([&] { made(path_); }).ended();
    }
    const char* words = cut ? "was cut short" : "was replaced";
    EXPECT_THAT(failure<StoreFormatException>([&] { (void)reader->newestCommit(); }), HasSubstr(words));
    EXPECT_THAT(failure<StoreFormatException>([&] { reader->refresh(); }), HasSubstr(words));
    EXPECT_THAT(failure<StoreException>([&] { (void)reader->key(1, {}); }), HasSubstr("the view has ended"));
    WriteBatch batch(*writer);
    batch.keyIs(1, {}, {});
    EXPECT_THAT(failure<StoreFormatException>([&] { batch.commit(); }), HasSubstr(words));
  }
}

TEST_F(BrokenStoreTest, DamagedRecordsAndValuesAreNoticed) {
  for (const std::size_t size : {12u, 100000u}) {
    const std::string record = "record" + std::string(size, 'r');
    const std::string value = "value" + std::string(size, 'v');
    const auto store = StoreManager::openForWriting(path_);
    WriteBatch batch(*store);
    batch.clear();
    const Reference damagedOne = batch.recordIs(1, octets(record));
    const Reference good = batch.recordIs(1, octets("good"));
    batch.keyIs(1, octets("key"), octets(value));
    batch.commit();
    damaged(data(), record);
    damaged(data(), value);
    EXPECT_THAT(failure<DamagedRecordException>([&] { (void)store->translate(damagedOne); }),
                HasSubstr("store " + path_ + ": record 1 of anchor "));
    EXPECT_THROW((void)store->key(1, octets("key")), DamagedRecordException);
    EXPECT_THROW(store->view().forEachKey(1, [](Octets, Octets) {}), DamagedRecordException);
    EXPECT_EQ(text(store->translate(good).payload), "good");
    WriteBatch mending(*store);
    mending.recordDel(damagedOne);
    mending.commit();
    EXPECT_THROW((void)store->translate(damagedOne), StaleReferenceException);
  }
}

TEST_F(BrokenStoreTest, DamagedValuesAndAnchorsAreNoObstacle) {
  const auto store = StoreManager::openForWriting(path_);
  WriteBatch batch(*store);
  const Reference record = batch.recordIs(1, octets("record"));
  for (const char* key : {"a", "b", "c"}) batch.keyIs(1, octets(key), octets(std::string("value of ") + key));
  batch.commit();
  replaced(data(), "value of b", "VALUE");
  const std::string anchor(reinterpret_cast<const char*>(&record.anchor), sizeof record.anchor);
  replaced(data(), anchor, std::string(1, static_cast<char>(anchor[0] ^ 1)) + anchor.substr(1));

  std::string visited;
  const auto visit = [&](Octets key, Octets) { visited += text(key); };
  store->view().forEachKey(1, visit, [&](Octets key) { visited += "!" + text(key); });
  EXPECT_EQ(visited, "a!bc");
  EXPECT_THROW(store->view().forEachKey(1, visit), DamagedRecordException);
  EXPECT_EQ(visited, "a!bcac");

  EXPECT_THROW((void)store->translate(record), DamagedRecordException);
  WriteBatch mending(*store);
  mending.recordDel(record);
  mending.commit();
  EXPECT_THROW((void)store->translate(record), StaleReferenceException);
}

TEST_F(BrokenStoreTest, KeysOutOfOrderEndALoop) {
  {
    const auto store = StoreManager::openForWriting(path_);
    WriteBatch batch(*store);
    for (const char* key : {"Key1", "Key2", "Key3"}) batch.keyIs(1, octets(key), {});
    batch.commit();
  }
  replaced(data(), "Key3", "Key0");
  const auto reader = StoreManager::openForReading(path_, PageCheck::off);
  EXPECT_THAT(failure<DamagedRecordException>([&] {
                reader->view().forEachKey(
                    1, [](Octets, Octets) {}, [](Octets) {});
              }),
              HasSubstr("keys are out of order"));
  EXPECT_THAT(failure<StoreFormatException>([&] { StoreManager::openForReading(path_); }),
              HasSubstr("keys out of order; expected"));
}

// The table of readers is the writer's to make, also where one is left of another user; and all of it has room.
TEST_F(BrokenStoreTest, ReadersNeverMakeTheirTable) {
  const std::string table = path_ + "/data.mdb-lock";
  std::filesystem::remove(table);
  EXPECT_THAT(failure<StoreFormatException>([&] { StoreManager::openForReading(path_); }),
              HasSubstr("it has no " + table));
  EXPECT_FALSE(std::filesystem::exists(table));
  for (const bool anew : {false, true}) {
    if (anew) std::filesystem::remove(data());
    if (anew) chmod(table.c_str(), 0);
    std::filesystem::permissions(folder_, std::filesystem::perms(0755));
    chmod(path_.c_str(), 0777);
    for (const char* file : {"/stamp", "/data.mdb", "/writer.lock"}) chmod((path_ + file).c_str(), 0666);
    EXPECT_EQ(Process([&] {
                if (getuid() == 0 && setuid(65534) != 0) std::abort();
                made(path_);
                StoreManager::openForReading(path_);
              }).ended(),
              0);
    struct stat status {};
    ASSERT_EQ(stat(table.c_str(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, status.st_size);
    EXPECT_GE(status.st_size, 64 * 1024);
  }
}

class DamagedPagesTest : public BrokenStoreTest {
 protected:
  // A few levels of pages, large values and free pages.
  DamagedPagesTest() {
    Options options;
    const auto store = StoreManager::openForWriting(path_ + "3", options);
    for (int commit = 0; commit < 4; ++commit) {
      WriteBatch batch(*store);
      for (int i = 0; i < 120; ++i) batch.recordIs(1, octets(std::string(i % 30 == 0 ? 9000 : 20, 'r')));
      for (int i = 0; i < 120; ++i) batch.keyIs(1, octets(std::to_string(i) + std::string(150, 'k')), octets("value"));
      batch.commit();
    }
  }

  // One octet, mostly in the first ones of a page, where it tells what lies where.
  void flipped(const std::string& file, std::size_t pages) {
    std::string octet(1, static_cast<char>(random_()));
    const std::size_t inPage = random_() % 3 == 0 ? random_() % 4096 : random_() % 200;
    overwritten(file, static_cast<std::streamoff>(random_() % pages * 4096 + inPage), octet);
  }

  static void readAll(const StoreManager& store) {
    for (const std::uint32_t space : {0u, 1u})
      store.view().forEachKey(
          space, [](Octets, Octets) {}, [](Octets) {});
    store.view().forEachRecord([&](Reference made, Record) { (void)store.translate(made); });
  }

  bool refused(const std::function<void()>& body) {
    try {
      body();
      return false;
    } catch (const StoreException&) {
      return true;
    }
  }

  std::mt19937 random_;
};

// Whatever the octet, no signal and no endless loop.
TEST_F(DamagedPagesTest, AreRefusedOrDoNoHarm) {
  const std::string good = path_ + "3";
  EXPECT_NO_THROW(readAll(*StoreManager::openForReading(good)));
  const std::size_t pages = std::filesystem::file_size(good + "/data.mdb") / 4096;
  const auto batchOfFlips = [&] {
    alarm(20);
    int refusals = 0;
    for (int flip = 0; flip < 40; ++flip) {
      std::filesystem::copy_file(good + "/data.mdb", data(), std::filesystem::copy_options::overwrite_existing);
      for (auto count = random_() % 3; count < 3; ++count) flipped(data(), pages);
      refusals += refused([&] { readAll(*StoreManager::openForReading(path_)); });
      refused([&] { made(path_); });
    }
    EXPECT_GT(refusals, 0);
    EXPECT_LT(refusals, 40);
  };
  std::filesystem::copy_file(good + "/stamp", path_ + "/stamp", std::filesystem::copy_options::overwrite_existing);
  for (unsigned seed = 1; seed <= 10; ++seed) {
    random_.seed(seed);
    EXPECT_EQ(Process(batchOfFlips).ended(), 0) << "seed " << seed;
  }
}

TEST_F(BrokenStoreTest, RightsAreMissing) {
  std::filesystem::permissions(folder_, std::filesystem::perms(0755));
  for (const char* file : {"", "/stamp", "/data.mdb"}) {
    chmod(path_.c_str(), 0777);
    chmod((path_ + file).c_str(), 0);
    EXPECT_EQ(Process([&] {
                if (getuid() == 0 && setuid(65534) != 0) std::abort();
                expectRefused<StoreException>("Permission denied", path_);
              }).ended(),
              0)
        << file;
    chmod((path_ + file).c_str(), 0777);
  }
}

}  // namespace
}  // namespace Routing::Store::test
