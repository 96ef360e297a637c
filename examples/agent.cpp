// A small BGP agent: reads UPDATEs from MRT records (RFC 6396), keeps what each peer announced (its Adj-RIB-In), applies
// an export policy, watches route targets, publishes all paths for other processes, and releases everything again.
//
//   bzcat updates.bz2 | agent [STORE]      STORE: a directory to be made, which other processes can read meanwhile
#include <cstdint>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "MrtUpdates.h"
#include "VelBgp/VelBgp.h"

using namespace Routing::Bgp;

namespace {

// What peers announced: of each path one word for each of its lists. Other processes see it in the store, if there is one.
class AdjRibIn {
 public:
  AdjRibIn(const CommunityTables& tables, ListPublisher* publisher) : tables_(tables), publisher_(publisher) {}
  void come(const std::string& key, const ReceivedAttributes& received) {
    const PathLists& path = paths_[key] = dedupAttributes(tables_, received);
    if (publisher_ != nullptr) publisher_->pathIs(key, path);
  }
  void go(const std::string& key) {
    paths_.erase(key);
    if (publisher_ != nullptr) publisher_->pathDel(key);
  }
  const std::unordered_map<std::string, PathLists>& paths() const { return paths_; }

 private:
  const CommunityTables& tables_;
  ListPublisher* const publisher_;
  std::unordered_map<std::string, PathLists> paths_;
};

// What we tell others: nothing of what is for ourselves; our mark on the rest, and their marks of ours taken off.
class ExportPolicy {
 public:
  explicit ExportPolicy(const CommunityTables& tables) : tables_(tables) {}

  // The community attributes of the path; nothing if it is not to be sent.
  std::optional<std::string> attributes(const PathLists& path) const {
    if (path.standard != nullptr && path.standard->matchCommunitiesRegex(&ours_)) return {};
    std::string octets;
    const auto standard =
        EditList(path.standard, tables_).minusMatching(&marks_).plus(standardComm(64500, 1)).interned();
    const auto extended = path.extended == nullptr ? nullptr : path.extended->prune(tables_.extCommLists());
    const bool fit = AttributeWriter(standard, transitive_).appendTo(octets) &&
                     AttributeWriter(extended, transitive_).appendTo(octets) &&
                     AttributeWriter(path.extendedIp6, transitive_).appendTo(octets) &&
                     AttributeWriter(path.large, transitive_).appendTo(octets);
    return fit ? std::optional(octets) : std::nullopt;
  }

 private:
  const CommunityTables& tables_;
  const Routing::RouteMap::PosixRegex ours_{"(no-export|no-advertise|local-as)( |$)"};
  const Routing::RouteMap::PosixRegex marks_{"^64500:"};
  const ExtCommList::Serialization transitive_ = ExtCommList::serialization(false, false, false);
};

}  // namespace

int main(int argc, char** argv) {
  const CommunityTables tables;
  std::size_t targetsCame = 0, sent = 0, octets = 0;
  const auto watch = tables.extComms()->producerRtList()->notifieeList().attach(
      [&](unsigned, const RouteTarget& rt) { targetsCame += tables.extComms()->producerRtList()->rt(rt) != nullptr; });
  const std::vector<char> file(std::istreambuf_iterator<char>(std::cin), {});
  {
    std::unique_ptr<Routing::Store::StoreManager> store;
    std::unique_ptr<ListPublisher> publisher;
    if (argc > 1) {
      store = Routing::Store::StoreManager::openForWriting(argv[1]);
      publisher = std::make_unique<ListPublisher>(*store);
      publisher->tablesAre(tables);
    }
    AdjRibIn rib(tables, publisher.get());
    const std::size_t updates = mrt::readMrt({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()}, rib);
    const ExportPolicy policy(tables);
    for (const auto& [key, path] : rib.paths()) {
      const auto attributes = policy.attributes(path);
      sent += attributes.has_value();
      octets += attributes ? attributes->size() : 0;
    }
    if (publisher != nullptr) publisher->flush();
    std::cout << updates << " updates, " << rib.paths().size() << " paths, " << tables.extComms()->size()
              << " extended communities, " << targetsCame << " route targets came; " << sent << " paths sent with "
              << octets << " octets of communities\n";
  }
  std::size_t left = 0;
  for (const Keel::DedupHashTable* table : hashTablesOf(tables)) left += table->size();
  std::cout << (left == 0 ? "all released" : "something was kept") << '\n';
  return left == 0 ? 0 : 1;
}
