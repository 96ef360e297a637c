// What every entry point does when memory runs out, wherever it does: it throws, or gives the whole answer; tables and
// collections are as before; nothing is left behind; and the same call succeeds afterwards.
#include "support/FailingMemory.h"

#include <sstream>

#include "Keel/DumpContext.h"
#include "Multipath/LinkBandwidth.h"
#include "Store/Stores.h"
#include "Tyr/Trace.h"
#include "VelBgp/CommListSnapshot.h"
#include "VelBgp/RouteTargetPrefix.h"
#include "VelBgp/WordLists.h"
#include "show/ExtCommCache.h"
#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

class FailingMemory : public testing::TestWithParam<bool> {
 protected:
  FailingMemory() : agent_(std::in_place, GetParam()) {}

  // The answer, or an exception and as many objects in all tables as before.
  template <typename Action>
  void whole(Action&& action) {
    const std::size_t interned = agent_->size();
    failures_ += failAtEachAllocation(action, [&] { EXPECT_EQ(agent_->size(), interned); });
  }

  std::optional<Agent> agent_;
  int failures_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Variant, FailingMemory, testing::Bool(),
                         [](const auto& info) { return info.param ? "MultiThreaded" : "SingleThreaded"; });

TEST_P(FailingMemory, DecodersAndTables) {
  whole([] { bgpParseExtCommContainerSmFactory(true); });
  whole([] { bgpParseExtCommContainerSmFactory(false); });
  whole([] { bgpParseExtendedCommunityRuleFactory(BgpParseExtCommControl()); });
  agent_.reset();
  failAtEachAllocation([] { Agent agent(GetParam()); }, [] {});
}

// One value of each kind, and of what no kind claims.
const Values values = {0x0002fde800000064, 0x0102c00002010064, 0x0202000100010064, 0x0003fde800000064,
                       0x030b000000000064, 0x030c000000000008, 0x030d000000000000, 0x4004fde84cee6b28,
                       0x4004fde84cee6b29, 0x4300000000000001, 0x0009fde800000064, 0x010bc00002010064,
                       0x0006fde800000064, 0x8123456789abcdef, 0x0123456789abcdef, 0x4002fde800000064};

TEST_P(FailingMemory, Communities) {
  for (const std::uint64_t value : values) {
    whole([&] { return agent_->internOne(value)->getContent(); });
    const ExtComm::PtrConst comm = agent_->internOne(value);
    whole([&] { return comm->toStrep(); });
    for (const bool set : {false, true}) {
      failAtEachAllocation([&] { return comm->toStrepForUI(set, set, set); }, [] {});
    }
  }
  whole([&] { return agent_->internOne(ip6(0, 2, "2001:db8::1", 7))->toStrep(); });
}

TEST_P(FailingMemory, Lists) {
  const Words words = {1, 2, 3, 4, 5, 0x10006, 0xffffff01, 0xffffff02};
  Words many;
  for (std::uint32_t word = 1; word <= 300; ++word) many.push_back(word * 0x10001);
  const RouteMap::PosixRegex regex("(^| )9+$");
  forEachAttribute([&]<typename Attribute>(Attribute) {
    SCOPED_TRACE(Attribute::index);
    const auto intern = [this](const Words& words) { return Attribute::intern(*agent_, words); };
    {
      std::vector<typename Attribute::List::PtrConst> all;  // so that every shard has what it keeps
      for (std::uint32_t word = 0; word < 1000; ++word) all.push_back(intern({word}));
    }
    whole([&] { return wordsOf<Attribute>(*intern(words)); });
    whole([&] { return wordsOf<Attribute>(*intern(many)); });
    const auto list = intern(many);
    failAtEachAllocation([&] { return intern(many); }, [] {});
    if constexpr (Attribute::index == ExtendedIp6::index) {
      whole([&] { return list->toStrep(); });
      whole([&] { return list->serialize(true); });
      whole([&] { return list->commsStringForm(); });
    } else {
      whole([&] { return stringify(list.get()); });
      whole([&] { return list->matchCommunitiesRegex(&regex); });
    }
    whole([&] { return list->commSnapshot()->commCount(); });
    whole([&] {
      Keel::StringDumpContext dump;
      ((*agent_).*Attribute::table)->dumpState(dump, 2);
      return dump.text();
    });
  });
}

// ---- Stores

class FailingMemoryStore : public Store::test::StoreTest {
 protected:
  // The store is anew each time.
  void forget() {
    withMemory([this] { std::filesystem::remove_all(path_); });
  }
};

TEST_F(FailingMemoryStore, IsMadeOrNot) {
  const int failures = failAtEachAllocation(
      [this] {
        forget();
        Store::StoreManager::openForWriting(path_);
      },
      [this] { EXPECT_TRUE(Store::StoreManager::openForWriting(path_)->writable()); });
  EXPECT_GT(failures, 100);
}

TEST_F(FailingMemoryStore, IsOpenedOrNot) {
  Store::StoreManager::openForWriting(path_);
  const auto sound = [this] { EXPECT_FALSE(Store::StoreManager::openForReading(path_)->writable()); };
  failAtEachAllocation([this] { return Store::StoreManager::openForReading(path_)->identity(); }, sound);
  failAtEachAllocation([this] { return Store::StoreManager::openForWriting(path_)->identity(); }, sound);
}

TEST_F(FailingMemoryStore, IsWrittenAndReadOrNot) {
  using Store::test::octets;
  const auto writer = Store::StoreManager::openForWriting(path_);
  const auto reader = Store::StoreManager::openForReading(path_);
  const std::string large(100'000, 'x');
  Store::Reference written;
  const auto isWritten = [&](const std::string& text) {
    reader->refresh();
    return Store::test::text(reader->translate(written).payload) == text;
  };
  std::string before;
  for (const std::string& text : {std::string("some text"), large}) {
    failAtEachAllocation(
        [&] {
          Store::WriteBatch batch(*writer);
          if (!written.null()) batch.recordDel(written);
          const Store::Reference made = batch.recordIs(1, octets(text));
          batch.keyIs(1, octets("key"), octets(text));
          batch.commit();
          written = made;
        },
        [&] { EXPECT_TRUE(written.null() || isWritten(before) || isWritten(text)); });
    EXPECT_TRUE(isWritten(before = text));
  }
  const auto read = [&](const auto& action) { failAtEachAllocation(action, [&] { EXPECT_TRUE(isWritten(large)); }); };
  read([&] { return reader->refresh(); });
  read([&] { return reader->newestCommit(); });
  read([&] { return reader->readView().commits(); });
  read([&] { return reader->translate(written).payload.size(); });
  read([&] { return reader->key(1, octets("key"))->size(); });
  read([&] {
    std::size_t keys = 0;
    reader->view().forEachKey(1, [&](Store::Octets, Store::Octets) { ++keys; });
    return keys;
  });
  read([&] {
    std::size_t records = 0;
    reader->view().forEachRecord([&](Store::Reference, Store::Record) { ++records; });
    return records;
  });
}

}  // namespace
}  // namespace Routing::Bgp::test
