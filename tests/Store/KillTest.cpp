#include <gtest/gtest.h>

#include <charconv>
#include <cstdlib>
#include <random>

#include "Store/Stores.h"

namespace Routing::Store::test {
namespace {

constexpr std::uint32_t space = 1;
const std::string allKey = "all";

// Each round of a writer replaces all records by others that name the round, of many sizes, and the key that lists
// them.
void written(StoreManager& store, std::uint64_t round, std::vector<Reference>& records) {
  WriteBatch batch(store);
  for (const Reference record : records) batch.recordDel(record);
  std::string list;
  records.clear();
  for (std::size_t i = 0; i < 20 + round % 7; ++i) {
    const std::string payload = std::to_string(round) + std::string(i * i * i % 9000, '.');
    records.push_back(batch.recordIs(static_cast<std::uint32_t>(i), octets(payload)));
    list.append(reinterpret_cast<const char*>(&records.back()), sizeof(Reference));
  }
  batch.keyIs(space, octets(allKey), octets(list));
  batch.commit();
}

// The records that the last commit lists, after a look at whether it is whole.
std::vector<Reference> expectWhole(const ReadView& view, std::uint64_t& round) {
  std::vector<Reference> records;
  const std::optional<Octets> list = view.key(space, octets(allKey));
  std::size_t all = 0;
  view.forEachRecord([&](Reference, Record) { ++all; });
  if (!list) {
    EXPECT_EQ(all, 0u);
    return records;
  }
  records.resize(list->size() / sizeof(Reference));
  std::memcpy(records.data(), list->data(), list->size());
  EXPECT_EQ(all, records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    const Record record = view.translate(records[i]);
    const std::string content = text(record.payload);
    std::uint64_t named = 0;
    std::from_chars(content.data(), content.data() + content.size(), named);
    if (i == 0) round = named;
    EXPECT_EQ(named, round);
    EXPECT_EQ(record.type, i);
  }
  EXPECT_EQ(records.size(), 20 + round % 7);
  return records;
}

int killCount() {
  const char* count = std::getenv("VELBGP_STORE_KILLS");
  return count != nullptr ? std::atoi(count) : 20;
}

// From where the last writer was, until it is killed. What it says is committed before, so it may not be lost.
void writerRuns(const std::string& path, Steps& said) {
  const auto store = StoreManager::openForWriting(path);
  std::uint64_t round = 0;
  std::vector<Reference> records = expectWhole(store->view(), round);
  while (true) {
    written(*store, ++round, records);
    said.done(round);
  }
}

using KillTest = StoreTest;

TEST_F(KillTest, TheLastCommitSurvivesAKilledWriter) {
  Steps said;
  std::mt19937 random(7);
  std::uint64_t reached = 0;
  for (int kill = 0; kill < killCount() && !HasFailure(); ++kill) {
    const Process writer([&] { writerRuns(path_, said); });
    usleep(random() % 60000);  // sometimes while it makes or opens the store
    writer.kill();
    EXPECT_EQ(writer.ended(), -SIGKILL);
    try {
      expectWhole(StoreManager::openForReading(path_)->view(), reached);
    } catch (const StoreAbsentException&) {
    }
    EXPECT_GE(reached, said.done());
  }
  EXPECT_GT(reached, 0u) << "no writer ever came to a commit";
  expectWhole(StoreManager::openForWriting(path_)->view(), reached);
}

}  // namespace
}  // namespace Routing::Store::test
