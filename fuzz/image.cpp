// The files of a store, changed in any way: opening it, for reading and for writing, reading all of it and writing to
// it go through or throw. An input is a row of changes, each: which file and what is done, where, octets or a length.
#include <array>
#include <map>
#include <utility>
#include <vector>

#include "Store/StoreManager.h"
#include "Store/WriteBatch.h"
#include "fuzz/Fuzz.h"

namespace VelBgpFuzz {

namespace {

using namespace Routing::Store;

using Image = std::map<std::string, std::string>;  // contents by file name

constexpr std::array<const char*, 4> files = {"data.mdb", "stamp", "writer.lock", "data.mdb-lock"};
constexpr std::uint32_t space = 1;

// Enough for pages of all sorts: entries in leaves under a branch, entries with pages of their own, pages that are free.
void fill(const std::string& path) {
  const auto store = StoreManager::openForWriting(path, {.initialMapOctets = 1 << 16});
  std::vector<Reference> last;
  for (unsigned round = 0; round < 4; ++round) {
    WriteBatch batch(*store);
    for (const Reference& reference : std::exchange(last, {})) batch.recordDel(reference);
    for (unsigned i = 0; i < 12; ++i) {
      const std::string octets(i == round ? 9000 : 250, static_cast<char>('a' + round));
      batch.keyIs(space, octetsOf("key " + std::to_string(i)), octetsOf(octets));
      last.push_back(batch.recordIs(i, octetsOf(octets)));
    }
    batch.commit();
  }
}

Image image(const std::filesystem::path& path) {
  Image image;
  fill(path);
  for (const char* file : files) image[file] = contents(path / file);
  return image;
}

// What is done: 0 to 4 overwrite with octets of the input, 5 with octets of another place, 6 cuts the file short or
// makes it longer, 7 removes it. Four times as often as any other file it is the engine's, and there near the start.
void change(Image& image, Input& input) {
  const std::uint8_t what = input.octet();
  const std::size_t which = (what & 0x18) >> 3;
  const std::string name = files[(what & 0x20) != 0 ? which : 0];
  const auto file = image.find(name);
  const std::size_t place = input.number<std::uint16_t>();
  const std::uint8_t count = input.octet();
  if (file == image.end()) return;
  std::string& octets = file->second;
  switch (what & 7) {
    case 5:
      if (octets.size() >= 256) {
        const std::string other = octets.substr(input.number<std::uint16_t>() % octets.size(), count);
        octets.replace(std::min(place, octets.size() - other.size()), other.size(), other);
      }
      break;
    case 6:
      octets.resize(count < 128 ? std::min(place, octets.size()) : octets.size() + place);
      break;
    case 7:
      image.erase(file);
      break;
    default:
      const std::string_view others = textOf(input.take(count % 16));
      if (place + others.size() <= octets.size()) octets.replace(place, others.size(), others);
  }
}

void allRead(const StoreManager& store) {
  std::size_t octets = 0;
  const ReadView view = store.readView();
  done<StoreException>(
      [&] { view.forEachKey(space, [&](Octets key, Octets value) { octets += key.size() + value.size(); }); });
  done<StoreException>([&] {
    view.forEachRecord([&](Reference reference, Record record) {
      octets += record.payload.size();
      TYR_ASSERT(std::ranges::equal(view.translate(reference).payload, record.payload));
    });
  });
  done<StoreException>([&] { octets += view.key(space, octetsOf("key 0")).value_or(Octets()).size(); });
  for (unsigned number = 0; number < 3; ++number) {
    done<StoreException>([&] { octets += view.translate(Reference{number, 1}).payload.size(); });
  }
  TYR_ASSERT(octets < SIZE_MAX);
}

void writtenTo(StoreManager& store) {
  const std::string large(9000, 'z');
  for (unsigned round = 0; round < 3; ++round) {
    done<StoreException>([&] {
      WriteBatch batch(store);
      batch.keyIs(space, octetsOf("key " + std::to_string(round)), octetsOf(large));
      const Reference reference = batch.recordIs(round, octetsOf(large.substr(round)));
      if (round == 2) batch.clear();
      batch.keyDel(space, octetsOf("key 7"));
      batch.commit();
      TYR_ASSERT(round == 2 || store.translate(reference).payload.size() == large.size() - round);
    });
    allRead(store);
  }
}

}  // namespace

void oneInput(Input& input) {
  static const Folder folder;
  static const std::filesystem::path path = folder.path() / "store";
  static const Image whole = image(path);
  Image changed = whole;
  while (!input.empty()) change(changed, input);
  std::filesystem::remove_all(path);
  std::filesystem::create_directory(path);
  for (const auto& [file, octets] : changed) written(path / file, octetsOf(octets));
  done<StoreException>([&] { allRead(*StoreManager::openForReading(path)); });
  done<StoreException>([&] { writtenTo(*StoreManager::openForWriting(path)); });
  done<StoreException>([&] { allRead(*StoreManager::openForReading(path)); });
}

}  // namespace VelBgpFuzz
