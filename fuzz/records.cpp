// Records of any content in a store: what claims to be a list is read back as a list that is whole, or refused; and
// paths under any key. An input is a row of records, each: its type, how many octets, octets. With bit 0x80 of the type
// set they stand for references, each a record's place; with 0x40 they do after one octet that stands for itself.
#include <functional>
#include <vector>

#include "Store/StoreManager.h"
#include "Store/WriteBatch.h"
#include "VelBgp/CommListSnapshot.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/StashImpl.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "fuzz/Fuzz.h"
#include "tools/velbgp/Agent.h"

namespace VelBgpFuzz {

namespace {

using namespace Routing::Bgp;
using Routing::Store::Reference;
using Routing::Store::StoreException;
using Routing::Store::StoreManager;
using Routing::Store::WriteBatch;

using Payload = std::vector<std::uint8_t>;

Octets plainOctets(const Reference& reference) {
  return {reinterpret_cast<const std::uint8_t*>(&reference), sizeof reference};
}

// A place that no record has gives a reference that is stale.
Payload withReferences(std::uint8_t type, Input octets, const std::vector<Reference>& references) {
  Payload payload;
  if ((type & 0x40) != 0 && !octets.empty()) payload.push_back(octets.octet());
  while (!octets.empty()) {
    const std::uint8_t place = octets.octet();
    const Octets reference = plainOctets(place < references.size() ? references[place] : Reference{place, 1});
    payload.insert(payload.end(), reference.begin(), reference.end());
  }
  return payload;
}

std::vector<Reference> recordsMade(StoreManager& store, Input& input) {
  std::vector<Reference> references;
  WriteBatch batch(store);
  batch.clear();
  while (!input.empty()) {
    const std::uint8_t type = input.octet();
    const Octets octets = input.take(input.octet());
    const Payload payload =
        (type & 0xc0) != 0 ? withReferences(type, Input(octets), references) : Payload(octets.begin(), octets.end());
    references.push_back(batch.recordIs(type & 0x3f, payload));
    // A path has the same octets.
    batch.keyIs(stashedPathSpace, octets.first(std::min<std::size_t>(octets.size(), 4)), payload);
  }
  batch.commit();
  return references;
}

std::string textOf(const ExtComm& community) { return community.toStrep() + community.toStrepForUI(true, true, true); }
std::string textOf(const ExtCommIp6& community) { return community.toStrep(); }
std::string textOf(const CommList& list) { return list.toStrep() + list.serialize(); }
std::string textOf(const LargeCommList& list) { return list.toStrep() + list.serialize(); }
std::string textOf(const ExtCommList& list) {
  std::string text = stringify(&list);
  for (unsigned filter = 0; filter < 16; ++filter) text += list.serialize(ExtCommList::Serialization(filter));
  for (const ExtCommClassificationList* part : list.classificationLists()) text += stringify(part);
  return text + std::to_string(list.snapshot()->classificationListCount());
}
std::string textOf(const ExtCommIp6List& list) {
  return list.toStrep() + list.serialize(true) + list.commsStringForm();
}

// What is read back can be used like any other, and written and read once more.
template <typename Object>
void destashed(StoreManager& store, const void* stashed, WriteBatch& again,
               std::vector<std::function<void()>>& rereads) {
  done<StoreException>([&] {
    const auto object = Object::destash(stashed, &store);
    if (object == nullptr) return;
    const Reference copy = object->stash(&again);
    rereads.push_back([&store, copy, text = textOf(*object)] {
      const auto same = Object::destash(&copy, &store);
      TYR_ASSERT(same != nullptr && textOf(*same) == text);
    });
  });
}

void destashedAll(StoreManager& store, const std::vector<const void*>& stashed) {
  std::vector<std::function<void()>> rereads;
  WriteBatch again(store);
  for (const void* reference : stashed) {
    destashed<ExtComm>(store, reference, again, rereads);
    destashed<ExtCommIp6>(store, reference, again, rereads);
    destashed<ExtCommList>(store, reference, again, rereads);
    destashed<ExtCommIp6List>(store, reference, again, rereads);
    destashed<LargeCommList>(store, reference, again, rereads);
    destashed<CommList>(store, reference, again, rereads);
  }
  again.commit();
  for (const auto& reread : rereads) reread();
}

std::vector<StashedPath> paths(const StoreManager& store) {
  std::vector<StashedPath> paths;
  forEachStashedPath(
      store,
      [&](std::string_view key, const StashedPath& path) {
        TYR_ASSERT(stashedPath(store, key)->extended == path.extended);
        paths.push_back(path);
      },
      [&](std::string_view key) { TYR_ASSERT(!done<StoreException>([&] { stashedPath(store, key); })); });
  return paths;
}

}  // namespace

void oneInput(Input& input) {
  static const Folder folder;
  static const auto store = StoreManager::openForWriting(folder.path() / "store", {.initialMapOctets = 1 << 20});
  static VelBgpTool::Agent agent(true);
  const bool interning = (input.octet() & 1) != 0;
  store->serviceIs(interning ? agent.communityTable() : nullptr);
  const std::vector<Reference> references = recordsMade(*store, input);
  std::vector<const void*> stashed(references.size());
  std::ranges::transform(references, stashed.begin(), [](const Reference& reference) { return &reference; });
  const std::vector<StashedPath> found = paths(*store);
  for (const StashedPath& path : found) {
    stashed.insert(stashed.end(), {&path.extended, &path.extendedIp6, &path.large, &path.standard});
  }
  destashedAll(*store, stashed);
  TYR_ASSERT(agent.communityTable()->size() == 0);
}

}  // namespace VelBgpFuzz
