// What every entry point does when memory runs out, wherever it does: it throws, or gives the whole answer; tables and
// collections are as before; nothing is left behind; and the same call succeeds afterwards.
#include "support/FailingMemory.h"

#include <sstream>

#include "Keel/DumpContext.h"
#include "Multipath/LinkBandwidth.h"
#include "Store/Stores.h"
#include "Toggle/Toggle.h"
#include "Tyr/Trace.h"
#include "VelBgp/BgpPathAttributeEnums.h"
#include "VelBgp/CommListSnapshot.h"
#include "VelBgp/RouteTargetPrefix.h"
#include "VelBgp/VelBgpMiscTypes.h"
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
    failAtEachAllocation(action, [&] { EXPECT_EQ(agent_->size(), interned); });
  }

  std::optional<Agent> agent_;
};

INSTANTIATE_TEST_SUITE_P(Variant, FailingMemory, testing::Bool(),
                         [](const auto& info) { return info.param ? "MultiThreaded" : "SingleThreaded"; });

TEST_P(FailingMemory, DecodersAndTables) {
  EXPECT_GT(failAtEachAllocation([] { bgpParseExtCommContainerSmFactory(true); }, [] {}), 100);
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
    whole([&] { return comm->toStrepForPolicy(ExtComm::StrepFormat(63)); });
    for (const bool set : {false, true}) {
      failAtEachAllocation([&] { return comm->toStrepForUI(set, set, set); }, [] {});
    }
  }
  const auto ip6Comm = [this] { return agent_->internOne(ip6(0, 2, "2001:db8::1", 7)); };
  whole([&] { return ip6Comm()->toStrep(); });
  whole([&] { return ip6Comm()->toStrepForPolicy(ExtCommIp6::StrepFormat(7)); });
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
    if constexpr (Attribute::index == Extended::index) {
      whole([&] { return list->serialize(ExtCommList::serialization(true, true, true)); });
      whole([&] { return wordsOf<Attribute>(*list->prune(agent_->extended.get())); });
    } else if constexpr (Attribute::index != ExtendedIp6::index) {
      whole([&] { return list->serialize(); });
    }
    whole([&] { return list->commSnapshot()->commCount(); });
    whole([&] {
      Keel::StringDumpContext dump;
      ((*agent_).*Attribute::table)->dumpState(dump, 2);
      return dump.text();
    });
  });
}

// In between it is a builder with what it had.
TEST_P(FailingMemory, ListsOfIp6CommunitiesStayBuilders) {
  Ip6Contents contents;  // of three classifications
  for (std::uint16_t i = 0; i < 200; ++i) contents.push_back(ip6(i % 3 == 2 ? 0x40 : 0, i % 3 == 1 ? 3 : 2, "::", i));
  const ExtCommIp6List::Ptr other = agent_->ip6Builder(contents);
  ExtCommIp6List::Ptr list;
  const int failures = failAtEachAllocation(
      [&] {
        withMemory([&] { (list = ExtCommIp6ListIs())->append(other); });
        EXPECT_EQ(list->dedup(agent_->extendedIp6.get()), list);
      },
      [&] {
        EXPECT_FALSE(list->everDeduped());
        EXPECT_EQ(list->totalTransitiveCommunities(), 0u);
        EXPECT_EQ(agent_->size(), 200u);
      });
  EXPECT_GT(failures, 9);
  EXPECT_EQ(list->totalTransitiveCommunities(), 134u);
  EXPECT_EQ(agent_->size(), 200u + 1 + 3);
}

TEST_P(FailingMemory, ValuesAndTheirTexts) {
  const auto reads = [](const std::string& text, auto&& read) {
    failAtEachAllocation(
        [&] {
          Tyr::StrepIterator it = text.data();
          const Tyr::StrepIterator end = it + text.size();
          return valueToStrep(read(it, end));
        },
        [] {});
  };
  reads(valueToStrep(RouteTargetPrefix({0x0002fde800000064}, 48)),
        [](auto& it, auto& end) { return RouteTargetPrefix(it, end); });
  const auto readsAs = [&]<typename Value>(Value, const std::string& text) {
    reads(text, [](auto& it, auto& end) { return Value(it, end); });
  };
  const auto readsSequence = [&]<typename Value>(Value value) {
    reads(valueToStrep(value), [](auto& it, auto& end) {
      Value read{};
      sequenceToValue(it, end, &read);
      return read;
    });
  };
  readsAs(ExtCommIp6Content(), valueToStrep(ip6(0, 2, "2001:db8:1234:5678:9abc:def0:1234:5678", 65535)));
  readsAs(ExtComm::StrepFormat(), valueToStrep(ExtComm::StrepFormat(63)));
  readsAs(ExtCommIp6::StrepFormat(), valueToStrep(ExtCommIp6::StrepFormat(7)));
  readsAs(ExtCommList::Serialization(), valueToStrep(ExtCommList::serialization(true, true, true)));
  readsAs(ExtCommList::CommVectorAttrs(), valueToStrep(ExtCommList::CommVectorAttrs()));
  readsAs(BgpDenseU32Attr(), valueToStrep(BgpDenseU32Attr(0xfedcba98)));
  readsAs(BgpParseExtCommControl(), valueToStrep(BgpParseExtCommControl()));
  readsAs(BgpParseExtCommSubTypeTransOpaqueRuleKey(nullptr),
          valueToStrep(BgpParseExtCommSubTypeTransOpaqueRuleKey(nullptr)));
  readsSequence(BgpMaybeU63());
  readsSequence(BgpExtCommPktSubtype(3));
  readsSequence(BgpUpdateMsgAttributeFlags());
  readsSequence(extCommClassificationOriginValidationState);
  failAtEachAllocation([] { return ExtCommClassificationInstance("extCommClassificationOriginValidationState"); },
                       [] {});
  failAtEachAllocation([] { return valueToStrep(ExtCommContent(0x0002fde800000064)); }, [] {});
  failAtEachAllocation([] { return Addr::Ip4Addr(std::string_view("255.255.255.255")).toStrep(); }, [] {});
  failAtEachAllocation([] { return RouteTargetPrefix({0x0202000100010064}, 64).toStrep(true); }, [] {});
  failAtEachAllocation([] { return Addr::Ip6Addr(std::string_view("2001:db8:1234:5678:9abc:def0:1:2")).toStrep(); },
                       [] {});
  failAtEachAllocation([] { return Ucmp::LinkBandwidth(123456789e9f).toStrep(false); }, [] {});
  failAtEachAllocation([] { return Tyr::pointerToStrep(nullptr); }, [] {});
  failAtEachAllocation([] { return stringValue(extCommClassificationOriginValidationState); }, [] {});
  failAtEachAllocation([] { return CommList::wellKnownValue("no-advertise-no-advertise").has_value(); }, [] {});
}

// Whoever watches hears of all that is there; what is told about what goes reaches all, one without memory too.
TEST_P(FailingMemory, Observers) {
  std::size_t heard = 0;
  const auto rtList = agent_->comms->producerRtList();
  whole([&] {
    const auto handle = rtList->notifieeList().attach([&](unsigned, const RouteTarget&) { ++heard; });
    return rtList->notifieeList().size();
  });
  const auto collections = BgpParseExtCommRuleCollectionsIs();
  std::set<const void*> known;
  const auto follow = [&](unsigned, const BgpParseExtCommAnyRuleKey& any) {
    const auto* const key = std::get_if<BgpParseExtCommSubTypeTransTwoOctetAsRuleKey>(&any);
    if (key == nullptr) return;
    const bool came = collections->extendedCommSubTypeTransTwoOctetAsRuleInstanceHas(*key);
    withMemory([&] {
      known.erase(key->rule());
      if (came) known.insert(key->rule());
    });
  };
  const auto first = collections->notifieeList().attach(follow);
  const auto greedy =
      collections->notifieeList().attach([](unsigned, const auto&) { const std::string needed(100, 'x'); });
  const auto last = collections->notifieeList().attach(follow);
  whole([&] { bgpParseExtendedCommunityRuleFactory(BgpParseExtCommControl(collections)); });
  EXPECT_TRUE(known.empty());
}

TEST_P(FailingMemory, ShowTexts) {
  const auto cache = BgpShowCli::ExtCommCacheIs();
  cache->mostTextsIs(3);
  const std::string text(100, 'x');
  for (std::uint64_t value = 0; value < 7; ++value) {
    failAtEachAllocation(
        [&] { cache->insert(value, text, false); },
        [&] { EXPECT_TRUE(cache->lookup(value, false).empty() || cache->lookup(value, false) == text); });
    failAtEachAllocation([&] { return cache->lookup(value, false); }, [] {});
  }
}

// ---- Stores

class FailingMemoryStore : public Store::test::StoreTest {
 protected:
  // In memory: a store is made anew some thousand times.
  FailingMemoryStore() {
    if (std::filesystem::exists("/dev/shm")) path_ = "/dev/shm/" + folder_.filename().string();
  }
  ~FailingMemoryStore() override { std::filesystem::remove_all(path_); }

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

// What a file says is never taken for the default.
TEST_F(FailingMemoryStore, TogglesToo) {
  std::ofstream(folder_ / "toggles.json") << R"({"feature": false})";
  setenv("FEATURE_TOGGLE_DIR", folder_.c_str(), 1);
  EXPECT_GT(failAtEachAllocation([] { return Toggle::getToggleState("feature", "toggles.json", true); }, [] {}), 2);
  unsetenv("FEATURE_TOGGLE_DIR");
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
  read([&] { return writer->oldestView()->process; });
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

TEST_F(FailingMemoryStore, ListsGoThereAndComeBackOrNot) {
  const Agent agent;
  const auto writer = Store::StoreManager::openForWriting(path_);
  const auto reader = Store::StoreManager::openForReading(path_);
  Words words;
  for (std::uint32_t word = 1; word <= 600; ++word) words.push_back(word * 0x10001);
  forEachAttribute([&]<typename Attribute>(Attribute) {
    SCOPED_TRACE(Attribute::index);
    const auto list = Attribute::intern(agent, words);
    const std::size_t interned = agent.size();
    const auto same = [&] { EXPECT_EQ(agent.size(), interned); };
    failAtEachAllocation(
        [&] {
          Store::WriteBatch batch(*writer);
          return list->stash(&batch).null();
        },
        same);
    Store::Reference reference;
    Store::test::commit(*writer, [&](Store::WriteBatch& batch) { reference = list->stash(&batch); });
    reader->refresh();
    for (const ExtCommDedupTable* const table : {agent.comms.get(), static_cast<ExtCommDedupTable*>(nullptr)}) {
      reader->serviceIs(table);
      const auto destash = [&] { return wordsOf<Attribute>(*Attribute::List::destash(&reference, reader.get())); };
      EXPECT_GT(failAtEachAllocation(destash, same), 0);
    }
  });
}

}  // namespace
}  // namespace Routing::Bgp::test
