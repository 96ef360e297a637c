#include "VelBgp/StashedPaths.h"

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "Keel/HashMix.h"
#include "VelBgp/CommunityTables.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/StashImpl.h"

namespace Routing::Bgp {
namespace {

struct ReferenceHash {
  std::size_t operator()(const Store::Reference& reference) const noexcept {
    return Keel::singleAttributeHash(reference.anchor, 0);
  }
};
using References = boost::unordered_flat_set<Store::Reference, ReferenceHash>;

// Reads lists and interns them.
class ListReader {
 public:
  ListReader(Store::StoreManager& store, const CommunityTables& tables)
      : store_(store), tables_(tables), extended_(tables.extComms()), extendedIp6_(tables.extCommIp6s()) {}

  void read(const Store::Reference& reference, ExtCommList::PtrConst& list) {
    readReferences(reference, Stashed::extCommList, extended_, list, [this](const Store::Reference& community) {
      StashReader reader(&community, store_, Stashed::extComm);
      const auto value = reader.take<std::uint64_t>();
      reader.takeClassification();  // follows from the value
      reader.requireEnd();
      return value;
    });
  }
  void read(const Store::Reference& reference, ExtCommIp6List::PtrConst& list) {
    readReferences(reference, Stashed::extCommIp6List, extendedIp6_, list, [this](const Store::Reference& community) {
      StashReader reader(&community, store_, Stashed::extCommIp6);
      reader.takeClassification();
      const auto value = reader.take<ExtCommIp6Content>();
      reader.requireEnd();
      return value;
    });
  }
  void read(const Store::Reference& reference, LargeCommList::PtrConst& list) {
    readValues(reference, Stashed::largeCommList, large_, list);
  }
  void read(const Store::Reference& reference, CommList::PtrConst& list) {
    readValues(reference, Stashed::commList, standard_, list);
  }

 private:
  template <typename Content, typename List, typename Read>
  void readReferences(const Store::Reference& reference, Stashed type, Content& content, List& list, Read&& valueOf) {
    StashReader reader(&reference, store_, type);
    reader.take<std::uint8_t>();  // whether it is sorted: asked of the communities themselves
    content.reset();
    for (const Store::Reference& community : reader.takeAll<Store::Reference>()) content.commIs(valueOf(community));
    list = tables_.dedupContent(content);
  }
  template <typename Content, typename List>
  void readValues(const Store::Reference& reference, Stashed type, Content& content, List& list) {
    content.reset();
    for (const auto& value : StashReader(&reference, store_, type).takeAll<typename Content::Value>())
      content.commIs(value);
    list = tables_.dedupContent(content);
  }

  Store::StoreManager& store_;
  const CommunityTables& tables_;
  ExtCommListContentU64 extended_;
  ExtCommIp6ListContent extendedIp6_;
  LargeCommListContent large_;
  CommListContent standard_;
};

// The lists of one attribute that were read.
template <typename List>
class ReadLists {
 public:
  const List& at(const Store::Reference& reference, ListReader& reader) {
    const auto known = lists_.find(reference);
    if (known != lists_.end()) return known->second;
    List list;
    reader.read(reference, list);
    return lists_.emplace(reference, std::move(list)).first->second;
  }
  void keepOnly(const References& used) {
    erase_if(lists_, [&](const auto& entry) { return !used.contains(entry.first); });
  }
  std::size_t size() const { return lists_.size(); }

 private:
  boost::unordered_flat_map<Store::Reference, List, ReferenceHash> lists_;
};

// What a key led to. The path of one that was damaged has no references.
struct KnownPath {
  std::string key;
  StashedPath path;
  bool damaged = false;

  bool leadsWhere(const KnownPath& other) const {
    return std::memcmp(&path, &other.path, sizeof path) == 0 && damaged == other.damaged;
  }
};

}  // namespace

class StashedPaths::State {
 public:
  State(Store::StoreManager& store, const CommunityTables& tables, std::string prefix)
      : store_(store), reader_(store, tables), prefix_(std::move(prefix)) {}

  void forEach(const Visitor& visitor) {
    const auto visit = [&](std::string_view key, const StashedPath& path) { tell(visitor, key, path); };
    forEachStashedPath(
        store_, visit, [&](std::string_view key) { tellDamaged(visitor, key); }, prefix_);
    forgetLists();
  }

  void forEachChange(const Visitor& visitor) {
    if (complete_ == store_.commits()) return;
    std::vector<KnownPath> now;
    auto before = known_.begin();
    // What was not come to stays as it was known.
    const auto settle = [&] {
      now.insert(now.end(), std::make_move_iterator(before), std::make_move_iterator(known_.end()));
      known_ = std::move(now);
    };
    const auto goneUpTo = [&](const std::string* key) {
      for (; before != known_.end() && (key == nullptr || before->key < *key); ++before) {
        if (visitor.gone) visitor.gone(before->key);
      }
    };
    const auto isNow = [&](KnownPath path) {
      goneUpTo(&path.key);
      const bool wasThere = before != known_.end() && before->key == path.key;
      if (!wasThere || !before->leadsWhere(path)) {
        path.damaged ? tellDamaged(visitor, path.key) : tell(visitor, path.key, path.path);
      }
      if (wasThere) ++before;
      now.push_back(std::move(path));
    };
    now.reserve(known_.size());
    try {
      forEachStashedPath(
          store_,
          [&](std::string_view key, const StashedPath& path) {
            isNow({std::string(key), path});
          },
          [&](std::string_view key) {
            isNow({std::string(key), {}, true});
          },
          prefix_);
      goneUpTo(nullptr);
    } catch (...) {
      settle();
      throw;
    }
    settle();
    complete_ = store_.commits();
    forgetLists();
  }

 private:
  static void tellDamaged(const Visitor& visitor, std::string_view key,
                          const char* problem = "the path is damaged, expected what the writer put there") {
    if (visitor.damaged) visitor.damaged(key, problem);
  }
  void tell(const Visitor& visitor, std::string_view key, const StashedPath& path) {
    PathLists lists;
    try {
      lists = listsOf(path);
    } catch (const Store::DamagedRecordException& error) {
      return tellDamaged(visitor, key, error.what());
    } catch (const Store::StaleReferenceException& error) {
      return tellDamaged(visitor, key, error.what());
    }
    if (visitor.path) visitor.path(key, lists);
  }

  PathLists listsOf(const StashedPath& path) {
    return {listOf(extended_, path.extended), listOf(extendedIp6_, path.extendedIp6), listOf(large_, path.large),
            listOf(standard_, path.standard)};
  }
  template <typename List>
  List listOf(ReadLists<List>& lists, const Store::Reference& reference) {
    return reference.null() ? nullptr : lists.at(reference, reader_);
  }

  // Once there are as many others as those that known paths refer to, so that what this costs is that of reading them.
  void forgetLists() {
    if (heldLists() <= 2 * usedLists_) return;
    References used;
    for (const KnownPath& known : known_) {
      const StashedPath& path = known.path;
      for (const Store::Reference& reference : {path.extended, path.extendedIp6, path.large, path.standard}) {
        if (!reference.null()) used.insert(reference);
      }
    }
    extended_.keepOnly(used);
    extendedIp6_.keepOnly(used);
    large_.keepOnly(used);
    standard_.keepOnly(used);
    usedLists_ = heldLists();
  }
  std::size_t heldLists() const { return extended_.size() + extendedIp6_.size() + large_.size() + standard_.size(); }

  Store::StoreManager& store_;
  ListReader reader_;
  const std::string prefix_;
  ReadLists<ExtCommList::PtrConst> extended_;
  ReadLists<ExtCommIp6List::PtrConst> extendedIp6_;
  ReadLists<LargeCommList::PtrConst> large_;
  ReadLists<CommList::PtrConst> standard_;
  std::size_t usedLists_ = 0;              // when others were forgotten last
  std::vector<KnownPath> known_;           // ascending by key
  std::optional<std::uint64_t> complete_;  // the commit that they are all of
};

StashedPaths::StashedPaths(Store::StoreManager& store, const CommunityTables& tables, std::string prefix)
    : state_(std::make_unique<State>(store, tables, std::move(prefix))) {}
StashedPaths::~StashedPaths() = default;
void StashedPaths::forEach(const Visitor& visitor) { state_->forEach(visitor); }
void StashedPaths::forEachChange(const Visitor& visitor) { state_->forEachChange(visitor); }

}  // namespace Routing::Bgp
