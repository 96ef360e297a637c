// Publishes a path's list in a store and reads it back, as another process would.
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
void publish(const std::string& path) {
  const auto store = Routing::Store::StoreManager::openForWriting(path);
  const auto table = CommListDedupTableIs();
  ListPublisher publisher(*store);
  publisher.listTableIs(table.get());

  CommListContent content;
  content.commIs(65000 << 16 | 100);
  content.commIs(communityNoExport);
  publisher.pathIs("10.0.0.0/8", {.standard = CommList::dedupContent(table.get(), content)});
  publisher.flush();
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

int main() {
  std::string folder = std::filesystem::temp_directory_path() / "publishXXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) return 1;
  publish(folder + "/store");
  read(folder + "/store");
  std::filesystem::remove_all(folder);
}
