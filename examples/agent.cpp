// A small BGP agent: reads UPDATEs from MRT records (RFC 6396), keeps what each peer announced (its Adj-RIB-In), applies
// an export policy, watches route targets, publishes all paths for other processes, and releases everything again.
//
//   bzcat updates.bz2 | agent [STORE]      STORE: a directory to be made, which other processes can read meanwhile
#include <cstdint>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "VelBgp/VelBgp.h"

using namespace Routing::Bgp;

namespace {

using Octets = AttributeOctets;

// Takes octets off the front. What is too short gives nothing, and ends the record.
class Reader {
 public:
  explicit Reader(Octets octets) : octets_(octets) {}
  Octets take(std::size_t count) {
    if (count > octets_.size()) return octets_ = {};
    const Octets taken = octets_.first(count);
    octets_ = octets_.subspan(count);
    return taken;
  }
  std::uint32_t number(std::size_t count) {
    std::uint32_t number = 0;
    for (const std::uint8_t octet : take(count)) number = number << 8 | octet;
    return number;
  }
  bool empty() const { return octets_.empty(); }
  Octets rest() { return take(octets_.size()); }

 private:
  Octets octets_;
};

std::string_view text(Octets octets) { return {reinterpret_cast<const char*>(octets.data()), octets.size()}; }

// Calls visit(key) for each prefix of a field: the key is the peer and the prefix.
template <typename Visit>
void forEachPrefix(Octets field, std::string_view peer, char family, Visit&& visit) {
  for (Reader reader(field); !reader.empty();) {
    const std::uint32_t bits = reader.number(1);
    std::string key(peer);
    key += family;
    key += static_cast<char>(bits);
    key += text(reader.take((bits + 7) / 8));
    visit(key);
  }
}

// Address family and subsequent one, unicast: the field of prefixes behind them, and 4 or 6; else nothing.
Octets unicast(Octets value, bool reach, char& family) {
  Reader reader(value);
  family = reader.number(2) == 2 ? 6 : 4;
  const bool isUnicast = reader.number(1) == 1;
  if (reach) {
    reader.take(reader.number(1));  // next hop
    reader.take(1);
  }
  return isUnicast ? reader.rest() : Octets();
}

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

// The paths of an UPDATE: rib.come(key, attributes) and rib.go(key).
void readUpdate(Octets message, std::string_view peer, AdjRibIn& rib) {
  Reader reader(message);
  const auto gone = [&rib](const std::string& key) { rib.go(key); };
  forEachPrefix(reader.take(reader.number(2)), peer, 4, gone);
  ReceivedAttributes received(ReceivedAttributes::Flags::judged);
  Octets reached;
  char family = 4;
  PathAttributeWalk walk(reader.take(reader.number(2)));
  while (walk.next()) {
    const PathAttribute& attribute = walk.attribute();
    if (received.attributeIs(attribute)) continue;
    if (attribute.code == static_cast<int>(BgpPathAttrType::mpReachNlri)) reached = unicast(attribute.value, true, family);
    if (attribute.code == static_cast<int>(BgpPathAttrType::mpUnreachNlri)) {
      char lost = 4;
      const Octets field = unicast(attribute.value, false, lost);
      forEachPrefix(field, peer, lost, gone);
    }
  }
  received.endIs(walk);
  const auto come = [&](const std::string& key) {
    received.treatAsWithdraw() ? rib.go(key) : rib.come(key, received);  // RFC 7606
  };
  forEachPrefix(reader.rest(), peer, 4, come);
  forEachPrefix(reached, peer, family, come);
}

std::size_t readMrt(Octets file, AdjRibIn& rib) {
  std::size_t updates = 0;
  for (Reader records(file); !records.empty();) {
    records.take(4);
    const std::uint32_t type = records.number(2), subtype = records.number(2);
    Reader body(records.take(records.number(4)));
    if (type == 17) body.take(4);                                                // microseconds
    if ((type != 16 && type != 17) || (subtype != 1 && subtype != 4)) continue;  // messages alone
    body.take(subtype == 4 ? 8 : 4);                                             // the two ASes
    body.take(2);
    const std::size_t address = body.number(2) == 2 ? 16 : 4;
    const std::string_view peer = text(body.take(address));
    body.take(address + 16 + 2);  // our address, marker and length
    if (body.number(1) != 2) continue;
    readUpdate(body.rest(), peer, rib);
    ++updates;
  }
  return updates;
}

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
    const std::size_t updates = readMrt({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()}, rib);
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
