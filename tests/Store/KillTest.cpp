#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "Store/Stores.h"

namespace Routing::Store::test {
namespace {

// Each round of a writer replaces all records by others that name the round, of many sizes, and the key that names it.
void write(StoreManager& store, std::uint64_t round, std::vector<Reference>& records) {
  commit(store, [&](WriteBatch& batch) {
    for (const Reference record : records) batch.recordDel(record);
    records.clear();
    for (std::size_t i = 0; i < 20 + round % 7; ++i) {
      const std::string payload = std::to_string(round) + '.' + std::string(i * i * i % 9000, '.');
      records.push_back(batch.recordIs(1, octets(payload)));
    }
    batch.keyIs(1, octets("round"), octets(std::to_string(round)));
  });
}

// The records of the last commit, after a look at whether it is whole.
std::vector<Reference> expectWhole(const ReadView& view, std::uint64_t& round) {
  const std::optional<Octets> named = view.key(1, octets("round"));
  round = named ? std::stoull(text(*named)) : 0;
  std::vector<Reference> records;
  view.forEachRecord([&](Reference made, Record record) {
    EXPECT_TRUE(text(record.payload).starts_with(std::to_string(round) + '.'));
    EXPECT_EQ(text(view.translate(made).payload), text(record.payload));
    records.push_back(made);
  });
  EXPECT_EQ(records.size(), named ? 20 + round % 7 : 0);
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
    write(*store, ++round, records);
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
