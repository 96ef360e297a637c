#include "Store/StoreException.h"
#include "Store/StoreManager.h"
#include "VelBgp/ListPublisher.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Lister.h"
#include "tools/velbgp/Publication.h"

namespace VelBgpTool {

namespace {

// A path that cannot be read is reported, the others are printed all the same.
void printPath(const Place& place, const Routing::Bgp::StashedPath& path, Routing::Store::StoreManager& store,
               Lister& lister, Console& console) {
  try {
    lister.pathIs(place, path, store);
  } catch (const Routing::Store::StoreException& error) {
    console.error(place, storeProblem(store.path(), error.what()));
  }
}

}  // namespace

void storeCommand(const Options& options, const Routing::RouteMap::PosixRegex*, Console& console) {
  const std::string& name = options.inputs.front();
  Lister lister(options.json, true, nullptr, console);
  try {
    const auto store = Routing::Store::StoreManager::openForReading(name);
    store->serviceIs(lister.agent().extComms());
    std::uint64_t number = 0;
    const auto print = [&](std::string_view, const Routing::Bgp::StashedPath& path) {
      printPath({name, ++number}, path, *store, lister, console);
    };
    const auto damaged = [&](std::string_view) {
      console.error({name, ++number}, "the path is damaged, expected what the writer put there");
    };
    Routing::Bgp::forEachStashedPath(*store, print, damaged);
  } catch (const Routing::Store::StoreException& error) {
    console.error({name, 0, true}, storeProblem(name, error.what()));
  }
}

}  // namespace VelBgpTool
