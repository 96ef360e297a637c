// Records of any content in a store: what claims to be a list is read back as a list that is whole, or refused; and
// paths under any key. An input is a row of records, each: its type, how many octets, octets. With bit 0x80 of the type
// set they stand for references, each a record's place; with 0x40 they do after one octet that stands for itself.
#include "Store/StoreManager.h"
#include "Store/WriteBatch.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/StashImpl.h"
#include "fuzz/Agent.h"

namespace VelBgpFuzz {
namespace {

using Routing::Store::Reference;
using Routing::Store::StoreException;
using Routing::Store::StoreManager;
using Routing::Store::WriteBatch;

Image payloadOf(std::uint8_t type, Input octets, const std::vector<Reference>& references) {
  Image payload;
  if ((type & 0xc0) != 0x80) {
    const Octets plain = octets.take((type & 0x40) != 0 ? 1 : 255);
    payload.assign(plain.begin(), plain.end());
  }
  while (!octets.empty()) {
    const std::uint8_t place = octets.octet();
    appendPlain(payload, place < references.size() ? references[place] : Reference{place, 0});
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
    const Image payload = payloadOf(type, Input(octets), references);
    references.push_back(batch.recordIs(type & 0x3f, payload));
    // A path has the same octets.
    batch.keyIs(stashedPathSpace, octets.first(std::min<std::size_t>(octets.size(), 4)), payload);
  }
  batch.commit();
  return references;
}

template <typename Object>
std::string textsOf(const Object& object) {
  return object.toStrep();
}
std::string textsOf(const ExtCommList& list) {
  std::string text = stringify(&list);
  for (unsigned filter = 0; filter < 16; ++filter) text += list.serialize(ExtCommList::Serialization(filter));
  for (const ExtCommClassificationList* part : list.classificationLists()) text += stringify(part);
  return text;
}

// What is read back can be used like any other, and written and read once more.
template <typename Object>
void reread(StoreManager& store, const Reference& stashed) {
  decltype(Object::destash(nullptr, nullptr)) object;
  done<StoreException>([&] { object = Object::destash(&stashed, &store); });
  if (object == nullptr) return;
  WriteBatch batch(store);
  const Reference copy = object->stash(&batch);
  batch.commit();
  TYR_ASSERT(textsOf(*Object::destash(&copy, &store)) == textsOf(*object));
}

void readPaths(const StoreManager& store, std::vector<Reference>& references) {
  const auto whole = [&](std::string_view key, const StashedPath& path) {
    TYR_ASSERT(stashedPath(store, key)->extended == path.extended);
    references.insert(references.end(), {path.extended, path.extendedIp6, path.large, path.standard});
  };
  const auto damaged = [&](std::string_view key) {
    TYR_ASSERT(!done<StoreException>([&] { stashedPath(store, key); }));
  };
  forEachStashedPath(store, whole, damaged);
}

}  // namespace

void oneInput(Input input) {
  static const auto store = StoreManager::openForWriting(folder() / "store");
  const bool interning = (input.octet() & 1) != 0;
  store->serviceIs(interning ? agent(true).communities.get() : nullptr);
  std::vector<Reference> references = recordsMade(*store, input);
  readPaths(*store, references);
  for (const Reference& reference : references) {
    reread<ExtComm>(*store, reference);
    reread<ExtCommIp6>(*store, reference);
    reread<ExtCommList>(*store, reference);
    reread<ExtCommIp6List>(*store, reference);
    reread<LargeCommList>(*store, reference);
    reread<CommList>(*store, reference);
  }
  TYR_ASSERT(agent(true).communities->size() == 0);
}

}  // namespace VelBgpFuzz
