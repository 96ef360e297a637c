// The files of a store, changed in any way: to open it for reading and for writing, to read all of it and to write goes
// through or throws. An input is a row of changes, each: what is done to which file, at which page and octet, and more.
#include <array>
#include <map>
#include <utility>

#include "Store/StoreManager.h"
#include "Store/WriteBatch.h"
#include "fuzz/Fuzz.h"

namespace VelBgpFuzz {

namespace {

using namespace Routing::Store;

using Image = std::map<std::string, std::string>;  // contents by file name
constexpr std::array<const char*, 4> files = {"data.mdb", "stamp", "writer.lock", "data.mdb-lock"};
constexpr std::uint32_t space = 1;

Octets key(unsigned i) {
  static const std::string names = "abcdefghijkl";
  return octetsOf(names).subspan(i, 1);
}

// Pages of all sorts: leaves under a branch, entries with pages of their own, free pages.
Image made(const std::filesystem::path& path) {
  auto store = StoreManager::openForWriting(path, {.initialMapOctets = 1 << 16});
  std::vector<Reference> last;
  for (unsigned round = 0; round < 3; ++round) {
    WriteBatch batch(*store);
    for (const Reference& reference : std::exchange(last, {})) batch.recordDel(reference);
    for (unsigned i = 0; i < 12; ++i) {
      const std::string octets(i == round ? 5000 : 250, static_cast<char>('a' + round));
      batch.keyIs(space, key(i), octetsOf(octets));
      last.push_back(batch.recordIs(i, octetsOf(octets)));
    }
    batch.commit();
  }
  store.reset();
  Image image;
  for (const char* file : files) image[file] = readFile(path / file);
  return image;
}

// Three changes of four are of the engine's file; most of them overwrite some octets.
void change(Image& image, Input& input) {
  const std::uint8_t what = input.octet();
  const auto file = image.find(files[what >= 0xc0 ? what >> 4 & 3 : 0]);
  const std::size_t far = std::size_t{input.octet()} << 12 | (input.number<std::uint16_t>() & 0xfff);
  if (file == image.end()) return;
  std::string& octets = file->second;
  const std::size_t place = far % (octets.size() + 1);
  if ((what & 0xf) == 0) {
    image.erase(file);
  } else if ((what & 0xf) == 1) {
    octets.resize(far);
  } else if ((what & 0xf) == 2) {  // another page in this one's place
    const std::string page = octets.substr(std::size_t{input.octet()} << 12 & (octets.size() - 1) & ~0xfffU, 4096);
    octets.replace(place & ~std::size_t{0xfff}, page.size(), page).resize(octets.size());
  } else {
    const std::string_view others = textOf(input.take(what & 0xf));
    octets.replace(place, std::min(others.size(), octets.size() - place), others);
  }
}

void readAll(const StoreManager& store) {
  const ReadView view = store.readView();
  done<StoreException>([&] { view.forEachKey(space, [](Octets, Octets) {}); });
  done<StoreException>([&] {
    view.forEachRecord([&](Reference reference, Record record) {
      TYR_ASSERT(std::ranges::equal(view.translate(reference).payload, record.payload));
    });
  });
  for (unsigned i = 0; i < 3; ++i) {
    done<StoreException>([&] { view.key(space, key(i)); });
    done<StoreException>([&] { view.translate(Reference{i, 1}); });
  }
}

void writeSome(StoreManager& store) {
  const std::string octets(5000, 'z');
  for (unsigned round = 0; round < 4; ++round) {
    done<StoreException>([&] {
      WriteBatch batch(store);
      if (round == 3) batch.clear();
      batch.keyDel(space, key(7 + round));
      batch.keyIs(space, key(round), octetsOf(octets));
      const Reference reference = batch.recordIs(round, octetsOf(octets));
      batch.commit();
      TYR_ASSERT(store.translate(reference).payload.size() == octets.size());
    });
  }
  readAll(store);
}

}  // namespace

void oneInput(Input input) {
  static const std::filesystem::path path = folder() / "store";
  static const Image whole = made(path);
  Image changed = whole;
  while (!input.empty()) change(changed, input);
  std::filesystem::remove_all(path);
  std::filesystem::create_directory(path);
  for (const auto& [file, octets] : changed) writeFile(path / file, octets);
  done<StoreException>([&] { readAll(*StoreManager::openForReading(path)); });
  done<StoreException>([&] { writeSome(*StoreManager::openForWriting(path)); });
  done<StoreException>([&] { readAll(*StoreManager::openForReading(path)); });
}

}  // namespace VelBgpFuzz
