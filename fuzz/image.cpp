// The files of a store, changed in any way: to open it for reading and for writing, to read all of it and to write goes
// through or throws. An input is a row of changes, each: what is done to which file, at which page and octet, and more.
#include <fstream>
#include <map>
#include <sstream>
#include <utility>

#include "Store/StoreManager.h"
#include "Store/WriteBatch.h"
#include "fuzz/Fuzz.h"

namespace VelBgpFuzz {
namespace {

using namespace Routing::Store;

constexpr const char* files[] = {"data.mdb", "stamp", "writer.lock", "data.mdb-lock"};
constexpr std::uint32_t space = 1;

Octets key(unsigned i) { return octetsOf("abcdefghijkl").subspan(i, 1); }

// The octets up to the last that is not zero.
struct File {
  std::string octets;
  std::size_t size;
};
using Image = std::map<std::string, File>;  // by name

// Pages of all sorts: leaves under a branch, entries with pages of their own, free pages.
Image made(const std::filesystem::path& path) {
  auto store = StoreManager::openForWriting(path);
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
  for (const char* name : files) {
    File& file = image[name];
    file.octets = (std::ostringstream() << std::ifstream(path / name, std::ios::binary).rdbuf()).str();
    file.size = file.octets.size();
    file.octets.resize(file.octets.find_last_not_of('\0') + 1);
  }
  return image;
}

// Three changes of four are of the engine's file; most of them overwrite some octets.
void change(Image& image, Input& input) {
  const std::uint8_t what = input.octet();
  const std::size_t page = input.octet();
  const std::size_t far = page << 12 | (input.number<std::uint16_t>() & 0xfff);
  const auto file = image.find(files[what >= 0xc0 ? what >> 4 & 3 : 0]);
  if (file == image.end()) return;
  std::string& octets = file->second.octets;
  switch (what & 0xf) {
    case 0:
      image.erase(file);
      break;
    case 1:
      file->second.size = far;
      break;
    case 2: {  // another page in its place
      const std::size_t other = std::size_t{input.octet()} << 12;
      if (std::max(far, other) + 4096 <= octets.size()) octets.replace(page << 12, 4096, octets, other, 4096);
      break;
    }
    default:
      const std::string_view by = textOf(input.take(what & 0xf));
      octets.resize(std::max(octets.size(), far + by.size()));
      octets.replace(far, by.size(), by);
  }
}

void readAll(const StoreManager& store) {
  done<StoreException>([&] { store.view().forEachKey(space, [](Octets, Octets) {}); });
  done<StoreException>([&] {
    store.view().forEachRecord([&](Reference reference, Record record) {
      TYR_ASSERT(std::ranges::equal(store.translate(reference).payload, record.payload));
    });
  });
  done<StoreException>([&] { store.key(space, key(0)); });
  done<StoreException>([&] { store.translate(Reference{1, 1}); });
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
  Image image = whole;
  while (!input.empty()) change(image, input);
  std::filesystem::remove_all(path);
  std::filesystem::create_directory(path);
  for (const auto& [name, file] : image) {
    writeFile(path / name, file.octets);
    std::filesystem::resize_file(path / name, file.size);
  }
  done<StoreException>([&] { readAll(*StoreManager::openForReading(path)); });
  done<StoreException>([&] { writeSome(*StoreManager::openForWriting(path)); });
  done<StoreException>([&] { readAll(*StoreManager::openForReading(path)); });
}

}  // namespace VelBgpFuzz
