#include <sys/stat.h>

#include "Store/Stores.h"

namespace Routing::Store::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

void overwrite(const std::string& file, std::streamoff at, const std::string& octets) {
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.seekp(at);
  stream << octets;
}

std::string contents(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// Changes one octet of what the file has of `octets`, wherever, as older commits may still lie there.
void flip(const std::string& file, const std::string& octets) {
  const std::string all = contents(file);
  std::size_t at = all.find(octets);
  ASSERT_NE(at, std::string::npos);
  for (; at != std::string::npos; at = all.find(octets, at + 1)) {
    overwrite(file, static_cast<std::streamoff>(at), std::string(1, static_cast<char>(octets[0] ^ 1)));
  }
}

class BrokenStoreTest : public StoreTest {
 protected:
  BrokenStoreTest() { make(path_); }

  static void make(const std::string& path) {
    commit(*StoreManager::openForWriting(path), [](WriteBatch& batch) { batch.recordIs(1, octets("some record")); });
  }

  static void readAll(const StoreManager& store) {
    for (const std::uint32_t space : {0u, 1u})
      store.view().forEachKey(
          space, [](Octets, Octets) {}, [](Octets) {});
    store.view().forEachRecord([&](Reference made, Record) { (void)store.translate(made); });
  }

  // The body in a child that may do no more than any other user; the folder is open to it.
  void asNobody(const std::function<void()>& body) const {
    std::filesystem::permissions(folder_, std::filesystem::perms(0755));
    inChild([&] {
      if (getuid() == 0 && setuid(65534) != 0) std::abort();
      body();
    });
  }

  // Neither readers nor writers open it, and both say why.
  template <typename Failure>
  void expectRefused(const std::string& words, const std::string& path) {
    const auto says = AllOf(HasSubstr("store " + path + ": "), HasSubstr(words), HasSubstr("; expected "));
    EXPECT_THAT([&] { StoreManager::openForReading(path); }, ThrowsMessage<Failure>(says));
    EXPECT_THAT([&] { StoreManager::openForWriting(path); }, ThrowsMessage<Failure>(says));
  }
};

TEST_F(BrokenStoreTest, IsRefusedWithItsReason) {
  struct Row {
    const char* words;
    const char* file;
    std::streamoff at;
    std::string octets;  // none: the file ends there
  };
  const auto raw = [](std::initializer_list<char> octets) { return std::string(octets); };
  make(path_ + "2");
  const Row rows[] = {
      {"data.mdb has size 0", "/data.mdb", 0, ""},
      {"data.mdb is cut short: 8192 octets of ", "/data.mdb", 8192, ""},
      {"data.mdb is not a store's file", "/data.mdb", 0, std::string(8192, 'x')},
      {"data.mdb has pages of 1000 octets", "/data.mdb", 40, raw({'\xe8', 3, 0, 0})},
      {"a meta page contradicts itself", "/data.mdb", 32, std::string(8, '\xff')},  // its map's size
      {"a meta page contradicts itself", "/data.mdb", 4096 + 40, raw({0, 2})},      // its page size
      {"a meta page contradicts itself", "/data.mdb", 128, std::string(7, '\1')},   // its root
      {"its meta pages contradict each other", "/data.mdb", 0, raw({1})},           // its number
      {"its meta pages contradict each other", "/data.mdb", 144, raw({5})},         // its commit
      {"its meta pages contradict each other", "/data.mdb", 4096 + 144, raw({4})},
      {"stamp is empty", "/stamp", 0, ""},
      {"stamp is cut short", "/stamp", 31, ""},
      {"stamp is not a store's stamp", "/stamp", 0, "v"},
      {"another octet order", "/stamp", 8, raw({1, 2, 3, 4})},
      {"another layout version: 2; expected layout version 1", "/stamp", 12, raw({2})},
      {"another word size: 4; expected word size 8", "/stamp", 16, raw({4})},
      {"stamp and data.mdb are of two stores", "/stamp", 24, contents(path_ + "2/stamp").substr(24)},
  };
  for (const auto& [words, file, at, octets] : rows) {
    SCOPED_TRACE(words);
    std::filesystem::remove_all(path_);
    make(path_);
    if (octets.empty()) std::filesystem::resize_file(path_ + file, static_cast<std::uintmax_t>(at));
    overwrite(path_ + file, at, octets);
    expectRefused<StoreFormatException>(words, path_);
  }
  std::filesystem::remove(path_ + "/stamp");
  expectRefused<StoreFormatException>("it has no stamp", path_);
  std::filesystem::remove(data());
  std::filesystem::create_directory(data());
  std::filesystem::copy(path_ + "2/stamp", path_);
  expectRefused<StoreFormatException>("data.mdb is no file", path_);
}

// The engine would take what to read from the one page and how long the file is from the other.
TEST_F(BrokenStoreTest, MetaPagesOfOneCommit) {
  for (std::string key = "a"; StoreManager::openForReading(path_)->commits() % 2 == 0; key += 'a') {
    commit(*StoreManager::openForWriting(path_), [&](WriteBatch& batch) { batch.keyIs(1, octets(key), octets(key)); });
  }
  constexpr std::size_t root = 128, lastPage = 136, octetsOfMeta = 152;
  std::string meta = contents(data()).substr(4096, octetsOfMeta);
  meta[0] = 0;  // the page's number
  meta.replace(root, 2, "\x01\x40").replace(lastPage, 2, "\x01\x50");
  overwrite(data(), 0, meta);
  inChild([this] {
    expectRefused<StoreFormatException>("its meta pages contradict each other", path_);
    EXPECT_THROW(commit(*StoreManager::openForWriting(path_), [](WriteBatch& batch) { batch.clear(); }),
                 StoreFormatException);
  });
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
  EXPECT_THAT([&] { StoreManager::openForReading(path_); },
              failsWith<StoreFormatException>("the machine failed while it was written; expected"));
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
  EXPECT_THAT([&] { StoreManager::openForReading(absent); },
              failsWith<StoreAbsentException>("no store there: No such file or directory"));
  EXPECT_THAT([&] { StoreManager::openForWriting(absent); }, failsWith<StoreException>("a parent directory"));
  // Half made: a reader sees none, a writer goes on.
  std::filesystem::remove(data());
  std::ofstream(data().string() + ".new") << "half";
  EXPECT_THAT([&] { StoreManager::openForReading(path_); }, failsWith<StoreAbsentException>("no store there yet"));
  make(path_);
  EXPECT_NO_THROW(StoreManager::openForReading(path_));
}

TEST_F(BrokenStoreTest, IsNoticedWhileItIsOpen) {
  for (const bool replaced : {false, true}) {
    std::filesystem::remove_all(path_);
    const auto writer = StoreManager::openForWriting(path_);
    const auto reader = StoreManager::openForReading(path_);
    const char* words = replaced ? "was replaced" : "was cut short";
    if (!replaced) std::filesystem::resize_file(data(), std::filesystem::file_size(data()) - 1);
    if (replaced) std::filesystem::rename(path_, path_ + ".old");
    if (replaced) inChild([&] { make(path_); });
    EXPECT_THAT([&] { return reader->newestCommit(); }, failsWith<StoreFormatException>(words));
    EXPECT_THAT([&] { reader->refresh(); }, failsWith<StoreFormatException>(words));
    EXPECT_THAT([&] { return reader->key(1, {}); }, failsWith<StoreException>("the view has ended"));
    const auto write = [&] { commit(*writer, [](WriteBatch& batch) { batch.keyIs(1, {}, {}); }); };
    EXPECT_THAT(write, failsWith<StoreFormatException>(words));
  }
}

// In a payload, a value or an anchor; none is an obstacle to the others, or to mending.
TEST_F(BrokenStoreTest, DamagedRecordsAndValuesAreNoticed) {
  const auto store = StoreManager::openForWriting(path_);
  for (const std::size_t size : {12u, 100000u}) {
    const std::string payload = "record" + std::string(size, 'r');
    Reference good;
    std::vector<Reference> broken;
    commit(*store, [&](WriteBatch& batch) {
      batch.clear();
      for (const auto& content : {payload, std::string("anchor")}) broken.push_back(batch.recordIs(1, octets(content)));
      good = batch.recordIs(1, octets("good"));
      for (const std::string key : {"a", "b", "c"}) {
        batch.keyIs(1, octets(key), octets("value of " + key + std::string(size, 'v')));
      }
    });
    flip(data(), payload);
    flip(data(), "value of b" + std::string(size, 'v'));
    flip(data(), {reinterpret_cast<const char*>(&broken[1].anchor), sizeof broken[1].anchor});

    std::string visited;
    const auto visit = [&](Octets key, Octets) { visited += text(key); };
    store->view().forEachKey(1, visit, [&](Octets key) { visited += "!" + text(key); });
    EXPECT_EQ(visited, "a!bc");
    EXPECT_THROW(store->view().forEachKey(1, visit), DamagedRecordException);
    EXPECT_EQ(visited, "a!bcac");
    EXPECT_THROW((void)store->key(1, octets("b")), DamagedRecordException);
    EXPECT_EQ(text(store->translate(good).payload), "good");
    for (const Reference record : broken) {
      EXPECT_THAT([&] { return store->translate(record); },
                  failsWith<DamagedRecordException>("store " + path_ + ": record " + std::to_string(record.number) +
                                                    " of anchor "));
      commit(*store, [&](WriteBatch& batch) { batch.recordDel(record); });
      EXPECT_THROW((void)store->translate(record), StaleReferenceException);
    }
  }
}

TEST_F(BrokenStoreTest, KeysOutOfOrderEndALoop) {
  commit(*StoreManager::openForWriting(path_), [](WriteBatch& batch) {
    for (const char* key : {"Key1", "Key2", "Key3"}) batch.keyIs(1, octets(key), {});
  });
  overwrite(data(), static_cast<std::streamoff>(contents(data()).find("Key3")), "Key0");
  const auto reader = StoreManager::openForReading(path_, PageCheck::off);
  EXPECT_THAT([&] { readAll(*reader); }, failsWith<DamagedRecordException>("keys are out of order"));
  EXPECT_THAT([&] { StoreManager::openForReading(path_); },
              failsWith<StoreFormatException>("keys out of order; expected"));
}

// The table of readers is the writer's to make, also where one is left of another user; and all of it has room.
TEST_F(BrokenStoreTest, ReadersNeverMakeTheirTable) {
  const std::string table = path_ + "/data.mdb-lock";
  std::filesystem::remove(table);
  EXPECT_THAT([&] { StoreManager::openForReading(path_); }, failsWith<StoreFormatException>("it has no " + table));
  EXPECT_FALSE(std::filesystem::exists(table));
  for (const bool anew : {false, true}) {
    if (anew) std::filesystem::remove(data());
    if (anew) chmod(table.c_str(), 0);
    chmod(path_.c_str(), 0777);
    for (const char* file : {"/stamp", "/data.mdb", "/writer.lock"}) chmod((path_ + file).c_str(), 0666);
    asNobody([&] {
      make(path_);
      StoreManager::openForReading(path_);
    });
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
    const auto store = StoreManager::openForWriting(good_);
    for (int i = 0; i < 4; ++i) {
      commit(*store, [](WriteBatch& batch) {
        for (int n = 0; n < 120; ++n) {
          batch.recordIs(1, octets(std::string(n % 30 == 0 ? 9000 : 20, 'r')));
          batch.keyIs(1, octets(std::to_string(n) + std::string(150, 'k')), octets("value"));
        }
      });
    }
    std::filesystem::copy_file(good_ + "/stamp", path_ + "/stamp", std::filesystem::copy_options::overwrite_existing);
  }

  // One octet, mostly in the first ones of a page, where it tells what lies where.
  void change(const std::string& file, std::size_t pages) {
    std::string octet(1, static_cast<char>(random_()));
    const std::size_t inPage = random_() % 3 == 0 ? random_() % 4096 : random_() % 200;
    overwrite(file, static_cast<std::streamoff>(random_() % pages * 4096 + inPage), octet);
  }

  static bool throws(const std::function<void()>& action) {
    try {
      action();
      return false;
    } catch (const StoreException&) {
      return true;
    }
  }

  // Whether a copy is refused once it is broken. A writer says the same, or mends what is broken.
  bool refused(const std::function<void()>& breakIt) const {
    std::filesystem::copy_file(good_ + "/data.mdb", data(), std::filesystem::copy_options::overwrite_existing);
    breakIt();
    const bool refusal = throws([&] { readAll(*StoreManager::openForReading(path_)); });
    EXPECT_TRUE(!throws([&] { make(path_); }) || refusal);
    return refusal;
  }

  const std::string good_ = path_ + "3";
  std::mt19937 random_;
};

// Wherever it ends: an exception or, where only free pages are gone, all that was there. What is behind its end is no
// harm.
TEST_F(DamagedPagesTest, AFileCutShortIsRefusedOrDoesNoHarm) {
  const std::size_t octets = std::filesystem::file_size(good_ + "/data.mdb");
  inChild([&] {
    for (std::size_t cut = 1000; cut < octets + 10000; cut += 4999) {
      const bool refusal = refused([&] { std::filesystem::resize_file(data(), cut); });
      EXPECT_TRUE(cut < octets ? refusal || cut > octets / 2 : !refusal) << cut;
    }
  });
}

// Whatever the octet, no signal and no endless loop.
TEST_F(DamagedPagesTest, AreRefusedOrDoNoHarm) {
  const std::size_t pages = std::filesystem::file_size(good_ + "/data.mdb") / 4096;
  const auto changes = [&] {
    int refusals = 0;
    for (int round = 0; round < 40; ++round) {
      refusals += refused([&] {
        for (auto count = random_() % 3; count < 3; ++count) change(data(), pages);
      });
    }
    EXPECT_GT(refusals, 0);
    EXPECT_LT(refusals, 40);
  };
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    random_.seed(seed);
    inChild(changes);
  }
}

// A reader that may not write where it says what it reads would lose that to the writer.
TEST_F(BrokenStoreTest, RightsAreMissing) {
  for (const char* file : {"", "/stamp", "/data.mdb", "/data.mdb-lock"}) {
    SCOPED_TRACE(file);
    for (const auto& entry : std::filesystem::directory_iterator(path_)) chmod(entry.path().c_str(), 0666);
    chmod(path_.c_str(), 0777);
    chmod((path_ + file).c_str(), file == std::string("/data.mdb-lock") ? 0444 : 0);
    asNobody([&] { expectRefused<StoreException>("Permission denied", path_); });
    chmod((path_ + file).c_str(), 0777);
  }
}

}  // namespace
}  // namespace Routing::Store::test
