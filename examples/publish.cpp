// Publishes a path's list in a store; another process, this program with the store's path, reads it there meanwhile.
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "Store/StoreManager.h"
#include "VelBgp/CommList.h"
#include "VelBgp/ListPublisher.h"

using namespace Routing::Bgp;

namespace {

// The agent: every list of the table is in the store soon after it was interned, and this path finds its own there.
void publish(const std::string& path, const std::string& reader) {
  const auto store = Routing::Store::StoreManager::openForWriting(path);
  const auto table = CommListDedupTableIs();
  ListPublisher publisher(*store);
  publisher.listTableIs(table.get());

  CommListContent content;
  content.commIs(65000 << 16 | 100);
  content.commIs(communityNoExport);
  publisher.pathIs("10.0.0.0/8", {.standard = CommList::dedupContent(table.get(), content)});
  publisher.flush();
  std::cout << "published" << std::endl;
  if (std::system((reader + ' ' + path).c_str()) != 0) std::cout << "the reader failed\n";
}

// The other process. What it gets is its own, and interned nowhere.
void read(const std::string& path) {
  const auto store = Routing::Store::StoreManager::openForReading(path);
  const auto found = stashedPath(*store, "10.0.0.0/8");
  if (!found) return;
  std::cout << CommList::destash(&found->standard, store.get())->toStrep() << '\n';
  std::cout << (ExtCommList::destash(&found->extended, store.get()) ? "extended" : "no extended communities") << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) {
    read(argv[1]);
    return 0;
  }
  std::string folder = std::filesystem::temp_directory_path() / "publishXXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) return 1;
  publish(folder + "/store", argv[0]);
  std::filesystem::remove_all(folder);
}
