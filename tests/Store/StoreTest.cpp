#include <map>

#include "Store/Stores.h"
#include "support/Death.h"

namespace Routing::Store::test {
namespace {

using Records = std::map<Reference, std::pair<std::uint32_t, std::string>>;
using Keys = std::map<std::pair<std::uint32_t, std::string>, std::string>;

constexpr std::uint32_t spaces[] = {0, 1, 256, ~0u};

// What a store should hold, beside the store itself.
struct Model {
  Records records;
  Keys keys;

  void expectShownBy(const ReadView& view) const {
    Records shown;
    view.forEachRecord([&](Reference made, Record record) { shown[made] = {record.type, text(record.payload)}; });
    EXPECT_EQ(shown, records);
    std::vector<std::pair<Keys::key_type, std::string>> found;  // in order
    for (const std::uint32_t space : spaces) {
      view.forEachKey(space, [&](Octets key, Octets value) {
        found.push_back({{space, text(key)}, text(value)});
        EXPECT_EQ(text(*view.key(space, key)), text(value));
      });
    }
    EXPECT_EQ(found, decltype(found)(keys.begin(), keys.end()));
  }
};

class ModelTest : public StoreTest {
 protected:
  std::string randomText(std::size_t limit) {
    std::string text(random_() % limit, '\0');
    for (char& c : text) c = static_cast<char>(random_());
    return text;
  }

  void recordAdded(WriteBatch& batch) {
    const std::string payload = randomText(random_() % 20 == 0 ? 20000 : 200);
    const auto type = static_cast<std::uint32_t>(random_());
    const Reference made = batch.recordIs(type, octets(payload));
    EXPECT_TRUE(ever_.emplace(made.anchor, made).second) << "an anchor was given out twice";
    model_.records[made] = {type, payload};
  }

  void recordRemoved(WriteBatch& batch) {
    if (model_.records.empty()) return;
    const auto found = std::next(model_.records.begin(), static_cast<long>(random_() % model_.records.size()));
    batch.recordDel(found->first);
    EXPECT_THROW(batch.recordDel(found->first), StaleReferenceException);
    model_.records.erase(found);
  }

  void keyChanged(WriteBatch& batch) {
    const std::uint32_t space = spaces[random_() % 4];
    const std::string key = std::string(random_() % 3 * 127, 'k') + randomText(2);
    const std::string value = randomText(300);
    if (random_() % 3 == 0) {
      batch.keyDel(space, octets(key));
      model_.keys.erase({space, key});
    } else {
      batch.keyIs(space, octets(key), octets(value));
      model_.keys[{space, key}] = value;
    }
  }

  void changed(WriteBatch& batch) {
    const auto kind = random_() % 200;
    if (kind < 80) return recordAdded(batch);
    if (kind < 130) return recordRemoved(batch);
    if (kind < 199) return keyChanged(batch);
    batch.clear();
    model_ = {};
  }

  std::mt19937_64 random_{42};
  Model model_;
  std::map<std::uint64_t, Reference> ever_;
};

TEST_F(ModelTest, EveryViewShowsItsCommitWhole) {
  auto writer = StoreManager::openForWriting(path_);
  const auto reader = StoreManager::openForReading(path_);
  for (int round = 0; round < 150; ++round) {
    const Model before = model_;
    const ReadView old = writer->readView();
    {
      WriteBatch batch(*writer);
      for (auto count = random_() % 30; count > 0; --count) changed(batch);
      if (random_() % 4 != 0) {
        batch.commit();
      } else {
        model_ = before;
      }
    }
    model_.expectShownBy(writer->view());
    before.expectShownBy(old);
    before.expectShownBy(reader->view());
    const bool newer = reader->newestCommit() != reader->commits();
    EXPECT_EQ(reader->refresh(), newer);
    model_.expectShownBy(reader->view());
    for (const auto& [anchor, made] : ever_) {
      if (model_.records.contains(made)) continue;
      EXPECT_THROW((void)reader->translate(made), StaleReferenceException);
    }
    if (round % 40 == 39) {
      writer.reset();
      writer = StoreManager::openForWriting(path_);
      reader->refresh();
    }
  }
}

TEST_F(StoreTest, NumbersAreUsedAgainAnchorsNever) {
  const auto store = StoreManager::openForWriting(path_);
  const auto foreign = StoreManager::openForWriting(path_ + "2");
  EXPECT_NE(store->identity(), foreign->identity());
  Reference old, fresh, theirs;
  commit(*store, [&](WriteBatch& batch) { old = batch.recordIs(7, octets("old")); });
  commit(*store, [&](WriteBatch& batch) { batch.recordDel(old); });
  commit(*store, [&](WriteBatch& batch) { fresh = batch.recordIs(7, octets("fresh")); });
  commit(*foreign, [&](WriteBatch& batch) { theirs = batch.recordIs(7, octets("theirs")); });
  EXPECT_EQ(fresh.number, old.number);
  EXPECT_EQ(theirs.number, fresh.number);
  for (const Reference bad : {old, theirs, Reference{}, Reference{fresh.number + 1, fresh.anchor}}) {
    EXPECT_THROW((void)store->translate(bad), StaleReferenceException);
    WriteBatch batch(*store);
    EXPECT_THROW(batch.recordDel(bad), StaleReferenceException);
  }
  char stashed[sizeof fresh + 1];  // at an odd address
  std::memcpy(stashed + 1, &fresh, sizeof fresh);
  EXPECT_EQ(text(store->translate(static_cast<const void*>(stashed + 1)).payload), "fresh");
  EXPECT_THROW((void)store->translate(static_cast<const void*>(nullptr)), Tyr::NullArgumentException);
}

TEST_F(StoreTest, LimitsAndMisuse) {
  const auto store = StoreManager::openForWriting(path_);
  const std::string large(16 << 20, 'l');
  const std::string longKey(maxKeyOctets, 'k');
  WriteBatch batch(*store);
  const Reference record = batch.recordIs(1, octets(large));
  batch.keyIs(1, octets(longKey), octets(large));
  EXPECT_THROW(batch.keyIs(1, octets(longKey + 'k'), {}), StoreException);
  EXPECT_ASSERTION(WriteBatch{*store}, "one batch at a time");
  batch.commit();
  EXPECT_EQ(text(store->translate(record).payload), large);
  EXPECT_EQ(text(*store->key(1, octets(longKey))), large);
  EXPECT_EQ(store->key(1, octets(longKey + 'k')), std::nullopt);
  const std::string service = "by type";
  store->serviceIs(&service);
  EXPECT_EQ(store->service<std::string>(), &service);
  EXPECT_EQ(store->service<int>(), nullptr);
  EXPECT_ASSERTION(batch.clear(), "changes_ != nullptr");
  EXPECT_ASSERTION(WriteBatch{*StoreManager::openForReading(path_)}, "manager.writable()");
  EXPECT_ASSERTION(store->view().forEachRecord([&](Reference, Record) { store->refresh(); }),
                   "no refresh from inside a loop over the view");
}

TEST_F(StoreTest, ViewsThatStandStill) {
  Options options;
  options.mostCommitsAhead = mostCommitsBehind + 1;
  const auto writer = StoreManager::openForWriting(path_, options);
  std::mt19937 random(1);
  const auto commits = [&](std::uint64_t count) {
    for (; count > 0; --count) {
      std::string value(2000, static_cast<char>(random()));
      commit(*writer,
             [&](WriteBatch& batch) { batch.keyIs(1, octets("key" + std::to_string(count % 50)), octets(value)); });
    }
  };
  commits(100);
  const auto reader = StoreManager::openForReading(path_);
  ReadView old = reader->readView(), used = reader->readView();
  EXPECT_TRUE(writer->oldestView()->commit == used.commits() && writer->oldestView()->process == getpid());
  commits(mostCommitsBehind);
  EXPECT_TRUE(used.key(1, octets("key1")));
  commits(1);
  int visited = 0;
  EXPECT_THAT([&] { used.forEachKey(1, [&](Octets, Octets) { ++visited; }); },
              failsWith<OldViewException>("more than 5000 commits further than the shown one, "));
  EXPECT_EQ(visited, 0);
  EXPECT_THAT([&] { commits(65); },
              failsWith<StoreBusyException>("process " + std::to_string(getpid()) + " still shows commit " +
                                            std::to_string(old.commits()) + " of "));
  EXPECT_THROW(commits(1), StoreBusyException);
  EXPECT_THROW(old.key(1, octets("key1")), OldViewException);
  EXPECT_TRUE(reader->refresh() && used.refresh());
  EXPECT_TRUE(used.key(1, octets("key1")));
  used.refresh();
  const auto grown = std::filesystem::file_size(data());
  for (int i = 0; i < 20; ++i) {
    commits(100);
    EXPECT_TRUE(reader->refresh() && used.refresh());
  }
  EXPECT_EQ(std::filesystem::file_size(data()), grown);
}

}  // namespace
}  // namespace Routing::Store::test
