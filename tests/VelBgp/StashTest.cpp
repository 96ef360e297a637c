#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Store/Stores.h"
#include "Tyr/Trace.h"
#include "VelBgp/AttributeWriter.h"
#include "VelBgp/WordLists.h"

namespace Routing::Bgp::test {
namespace {

using Store::Reference;

// A store, the agent whose lists go in, and a reader of the store.
class StashTest : public Store::test::StoreTest {
 protected:
  ~StashTest() override { EXPECT_EQ(agent.size(), 0u); }

  template <typename Stashable>
  Reference stashed(const Stashable& object) {
    return committed([&](Store::WriteBatch& batch) { return object->stash(&batch); });
  }
  Reference record(Stashed type, const Image& image) {
    return committed([&](Store::WriteBatch& batch) { return stashRecord(batch, type, image); });
  }
  template <typename Make>
  Reference committed(Make&& make) {
    Store::WriteBatch batch(*store);
    const Reference reference = make(batch);
    batch.commit();
    reader->refresh();
    return reference;
  }
  template <typename Object>
  typename Object::PtrConst destashed(const Reference& reference) {
    char odd[sizeof reference + 1];  // references lie anywhere
    std::memcpy(odd + 1, &reference, sizeof reference);
    return Object::destash(odd + 1, reader.get());
  }
  template <typename Object>
  void expectRefused(const Reference& reference, const char* what) {
    const std::size_t before = agent.size();
    EXPECT_THROW(destashed<Object>(reference), Store::StoreException) << what;
    EXPECT_EQ(agent.size(), before) << what;
  }

  const std::unique_ptr<Store::StoreManager> store = Store::StoreManager::openForWriting(path_);
  const std::unique_ptr<Store::StoreManager> reader = Store::StoreManager::openForReading(path_);
  const Agent agent;
};

Image shortened(Image image) {
  image.pop_back();
  return image;
}

Words wordsUpTo(std::uint32_t n) {
  Words words;
  for (std::uint32_t i = 1; i <= n; ++i) words.push_back(i * 0x10001);
  return words;
}

TEST_F(StashTest, ListsComeBackAsPrivateOnes) {
  reader->serviceIs(agent.comms.get());
  forEachAttribute([this]<typename Attribute>(Attribute) {
    const auto original = Attribute::intern(agent, wordsUpTo(600));
    const Reference reference = stashed(original);
    const std::size_t interned = agent.size();
    const auto list = Attribute::List::destash(&reference, reader.get());
    const auto expectPrivate = [](const auto& ours, const auto& from) {
      EXPECT_EQ(wordsOf<Attribute>(*ours), wordsOf<Attribute>(*from));
      EXPECT_TRUE(ours != from && !ours->isDeduped() && ours->notificationActive());
    };
    expectPrivate(list, original);
    for (unsigned bits = 0; bits < 16; ++bits) {
      const AttributeWriter::Filter filter(bits);
      EXPECT_EQ(AttributeWriter(list, filter).str(), AttributeWriter(original, filter).str()) << bits;
    }
    EXPECT_EQ(list->dedupState(), Keel::dedupHandleStateNotInTable());
    EXPECT_EQ(agent.size(), interned);
    EXPECT_EQ(destashed<typename Attribute::List>({}), nullptr);
    EXPECT_EQ(Attribute::List::destash(nullptr, reader.get()), nullptr);
    if constexpr (hasCommunities<Attribute>) {
      EXPECT_TRUE(list->commVectorSorted());
      for (int c = 0; c < 14; ++c) {
        const auto part = list->classificationList(ExtCommClassification(c));
        const auto from = original->classificationList(ExtCommClassification(c));
        ASSERT_EQ(part == nullptr, from == nullptr) << c;
        if (part != nullptr) expectPrivate(part, from);
      }
    }
  });
}

TEST_F(StashTest, ExtendedCommunitiesAreInternedWhereTheStoreHasATable) {
  auto original = Extended::intern(agent, wordsUpTo(8));
  const Reference reference = stashed(original);
  const auto alone = destashed<ExtCommList>(reference);
  for (const ExtComm* comm : original->comms()) {
    const auto other = alone->comm(comm->community());
    EXPECT_NE(other.get(), comm);
    EXPECT_EQ(other->dedupState(), Keel::dedupHandleStateNotInTable());
    EXPECT_EQ(other->fwkType().unqualifiedName(), comm->fwkType().unqualifiedName());
    EXPECT_EQ(other->toStrep(), comm->toStrep());
  }
  reader->serviceIs(agent.comms.get());
  const auto interned = destashed<ExtCommList>(reference);
  EXPECT_TRUE(std::ranges::equal(interned->comms(), original->comms()));
  const auto size = agent.comms->size();
  original.reset();
  EXPECT_EQ(agent.comms->size(), size);
}

TEST_F(StashTest, Ip6CommunitiesComeBackPlain) {
  const auto original = ExtCommIp6SubtypedIs(extCommClassificationRouteTarget, ip6(0, 2, "2001:db8::1", 100));
  const auto comm = destashed<ExtCommIp6>(stashed(original));
  EXPECT_EQ(comm->toStrep(), "<extCommIp6PktTypeTransIpv6Address addr=2001:db8::1 localAdmin=100>");
  EXPECT_EQ(comm->classification(), extCommClassificationRouteTarget);
  EXPECT_EQ(comm->dedupState(), Keel::dedupHandleStateNotInTable());
  EXPECT_EQ(destashed<ExtCommIp6>({}), nullptr);
  EXPECT_EQ(destashed<ExtComm>({}), nullptr);
}

// Whoever made them: another program, or a store that was damaged.
TEST_F(StashTest, BadRecords) {
  forEachAttribute([this]<typename Attribute>(Attribute) {
    const auto list = Attribute::intern(agent, {4, 16});
    const auto refused = [this](const Image& image, const char* what) {
      expectRefused<typename Attribute::List>(record(Attribute::record, image), what);
    };
    forEachAttribute([&]<typename Other>(Other) {
      if constexpr (!std::is_same_v<Attribute, Other>)
        expectRefused<typename Attribute::List>(stashed(Other::intern(agent, {1})), "another attribute's");
    });
    if constexpr (hasCommunities<Attribute>) {
      using Community = typename Attribute::Community;
      const Reference low = stashed(list->comm(Attribute::value(4))), high = stashed(list->comm(Attribute::value(16)));
      expectRefused<Community>(stashed(list), "a list for a community");
      refused({}, "nothing");
      Image image;
      appendImage(image, *list->comm(Attribute::value(4)));
      expectRefused<Community>(record(Attribute::commRecord, shortened(image)), "cut");
      (std::is_same_v<Attribute, Extended> ? image.back() : image.front()) = 14;
      const Reference bad = record(Attribute::commRecord, image);
      expectRefused<Community>(bad, "a bad classification");
      refused(shortened(listImage(true, std::vector{low, high})), "cut");
      for (const auto& references : {std::vector{low, low}, {high, low}, {low, {}}, {low, stashed(list)}, {low, bad}}) {
        for (const bool sorted : {true, false}) refused(listImage(sorted, references), "a bad list");
      }
    } else {
      const auto low = list->comms()[0], high = list->comms()[1];
      refused(shortened(plainImage(list->comms())), "cut");
      refused(plainImage(std::vector{low, low}), "a value twice");
      refused(plainImage(std::vector{high, low}), "not in order");
    }
  });
}

TEST_F(StashTest, ListsOfValuesAreTraced) {
  std::vector<std::string> lines;
  Tyr::traceSinkIs([&](int level, std::string_view line) { lines.push_back(std::to_string(level).append(line)); });
  for (const int level : {7, 8}) {
    Tyr::traceLevelIs(level);
    destashed<CommList>(stashed(Standard::intern(agent, {0x00010064, 0xffffff01})));
    destashed<LargeCommList>(stashed(Large::intern(agent, {3})));
  }
  Tyr::traceLevelIs(-1);
  Tyr::traceSinkIs({});
  EXPECT_EQ(lines, std::vector<std::string>({"8destashCommList: Destashing 1:100 no-export",
                                             "8destashCommList: Destashing 4294967292:3:21"}));
}

}  // namespace
}  // namespace Routing::Bgp::test
