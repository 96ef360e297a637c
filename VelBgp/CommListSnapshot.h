// Snapshots: the communities of a list as ordered maps, for what walks, compares or publishes them by key.
//
//   ExtCommListSnapshot, ExtCommClassificationListSnapshot         extended communities, by 64-bit value
//   ExtCommIp6ListSnapshot, ExtCommIp6ClassificationListSnapshot   IPv6 address specific ones, by content
//   CommListSnapshot, LargeCommListSnapshot                        standard and large ones, by value
//
// A list makes its snapshot with commSnapshot(). The entries of a map hold key and value, ascending by key:
//
//   for (const ExtCommListSnapshot::TyrComm& entry : snapshot->comm()) ... entry.key, entry.value
//
// commDel(key) and its like give what they removed, an empty value if there was nothing; commDel(iterator) gives the
// entry behind the one removed.
//
// Ownership: a snapshot belongs to whoever asked for it, shared through its Ptr; it holds references to the communities
// and classification lists that it names. It is not interned and may be changed. Threads: one at a time.
// Errors: Tyr::NullArgumentException for a null community or list; std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>

#include "Tyr/Exception.h"
#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp {

// Entries with a `key` and a mutable `value`; an entry stays where it is till it goes.
template <typename EntryType>
class SnapshotMap {
 public:
  using Key = decltype(EntryType::key);
  using Value = decltype(EntryType::value);
  struct ByKey {
    using is_transparent = void;
    bool operator()(const EntryType& a, const EntryType& b) const { return a.key < b.key; }
    bool operator()(const EntryType& a, const Key& b) const { return a.key < b; }
    bool operator()(const Key& a, const EntryType& b) const { return a < b.key; }
  };
  using Entries = std::set<EntryType, ByKey>;
  using iterator = typename Entries::const_iterator;

  const Entries& entries() const noexcept { return entries_; }
  const EntryType* entry(const Key& key) const {
    const auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : &*it;
  }
  // Inserts, or overwrites the value in place.
  void entryIs(const Key& key, Value value) {
    const auto it = entries_.find(key);
    if (it == entries_.end()) {
      entries_.insert(EntryType{key, std::move(value)});
    } else {
      it->value = std::move(value);
    }
  }
  Value entryDel(const Key& key) {
    Value removed{};
    const auto it = entries_.find(key);
    if (it == entries_.end()) return removed;
    removed = std::move(it->value);
    entries_.erase(it);
    return removed;
  }
  iterator entryDel(iterator it) { return entries_.erase(it); }
  void entryDelAll() noexcept { entries_.clear(); }

 private:
  Entries entries_;
};

// The collection `comm`.
template <typename KeyType, typename ValueType>
class SnapshotComms {
 public:
  struct TyrComm {
    KeyType key;
    mutable ValueType value;  // takes no part in the order
  };
  using CommMap = SnapshotMap<TyrComm>;

  const typename CommMap::Entries& comm() const noexcept { return comms_.entries(); }
  // Null when there is none.
  const TyrComm* comm(const KeyType& key) const { return comms_.entry(key); }
  std::size_t commCount() const noexcept { return comms_.entries().size(); }
  ValueType commDel(const KeyType& key) { return comms_.entryDel(key); }
  typename CommMap::iterator commDel(typename CommMap::iterator it) { return comms_.entryDel(it); }
  void commDelAll() noexcept { comms_.entryDelAll(); }

 protected:
  CommMap comms_;
};

// Of values without anything to them but that they are there.
template <typename KeyType>
class SnapshotValues : public SnapshotComms<KeyType, bool> {
 public:
  void commIs(const KeyType& value, bool present) { this->comms_.entryIs(value, present); }
};

// Of interned communities, each under its own content: KeyOf::key(community).
template <typename KeyOf, typename Community>
class SnapshotCommunities : public SnapshotComms<typename KeyOf::Key, Tyr::Ptr<const Community>> {
 public:
  void commIs(Tyr::Ptr<const Community> comm) {
    if (comm == nullptr) throw Tyr::NullArgumentException("comm");
    const auto key = KeyOf::key(*comm);
    this->comms_.entryIs(key, std::move(comm));
  }
};

// The collection `classificationList`, each list under its own classification.
template <typename List>
class SnapshotClassificationLists {
 public:
  struct TyrClassificationList {
    ExtCommClassification key;
    mutable Tyr::Ptr<const List> value;
  };
  using ClassificationListMap = SnapshotMap<TyrClassificationList>;

  const typename ClassificationListMap::Entries& classificationList() const noexcept { return lists_.entries(); }
  const TyrClassificationList* classificationList(ExtCommClassification classification) const {
    return lists_.entry(classification);
  }
  std::size_t classificationListCount() const noexcept { return lists_.entries().size(); }
  void classificationListIs(Tyr::Ptr<const List> list) {
    if (list == nullptr) throw Tyr::NullArgumentException("classificationList");
    const ExtCommClassification classification = list->classification();
    lists_.entryIs(classification, std::move(list));
  }
  Tyr::Ptr<const List> classificationListDel(ExtCommClassification classification) {
    return lists_.entryDel(classification);
  }
  typename ClassificationListMap::iterator classificationListDel(typename ClassificationListMap::iterator it) {
    return lists_.entryDel(it);
  }
  void classificationListDelAll() noexcept { lists_.entryDelAll(); }

 private:
  ClassificationListMap lists_;
};

struct ExtCommSnapshotKey {
  using Key = std::uint64_t;
  static Key key(const ExtComm& comm) noexcept { return comm.community(); }
};
struct ExtCommIp6SnapshotKey {
  using Key = ExtCommIp6Content;
  static Key key(const ExtCommIp6& comm) noexcept { return comm.getContent(); }
};

// What a snapshot of one classification adds.
class VELBGP_EXPORT ClassificationSnapshot : public Tyr::PtrInterface {
 public:
  ExtCommClassification classification() const noexcept { return classification_; }

 protected:
  // Asserts that the classification is one of the fourteen.
  explicit ClassificationSnapshot(ExtCommClassification classification);
  ~ClassificationSnapshot() override;

 private:
  const ExtCommClassification classification_;
};

// The classes. Each is made empty by its factory, notification-active.
class VELBGP_EXPORT ExtCommListSnapshot final : public Tyr::PtrInterface,
                                                public SnapshotCommunities<ExtCommSnapshotKey, ExtComm>,
                                                public SnapshotClassificationLists<ExtCommClassificationList> {
 public:
  using Ptr = Tyr::Ptr<ExtCommListSnapshot>;
  using PtrConst = Tyr::Ptr<const ExtCommListSnapshot>;
  ExtCommListSnapshot() = default;

 private:
  ~ExtCommListSnapshot() override;
};

class VELBGP_EXPORT ExtCommClassificationListSnapshot final : public ClassificationSnapshot,
                                                              public SnapshotCommunities<ExtCommSnapshotKey, ExtComm> {
 public:
  using Ptr = Tyr::Ptr<ExtCommClassificationListSnapshot>;
  using PtrConst = Tyr::Ptr<const ExtCommClassificationListSnapshot>;
  explicit ExtCommClassificationListSnapshot(ExtCommClassification classification)
      : ClassificationSnapshot(classification) {}

 private:
  ~ExtCommClassificationListSnapshot() override;
};

class VELBGP_EXPORT ExtCommIp6ListSnapshot final : public Tyr::PtrInterface,
                                                   public SnapshotCommunities<ExtCommIp6SnapshotKey, ExtCommIp6>,
                                                   public SnapshotClassificationLists<ExtCommIp6ClassificationList> {
 public:
  using Ptr = Tyr::Ptr<ExtCommIp6ListSnapshot>;
  using PtrConst = Tyr::Ptr<const ExtCommIp6ListSnapshot>;
  ExtCommIp6ListSnapshot() = default;

 private:
  ~ExtCommIp6ListSnapshot() override;
};

class VELBGP_EXPORT ExtCommIp6ClassificationListSnapshot final
    : public ClassificationSnapshot,
      public SnapshotCommunities<ExtCommIp6SnapshotKey, ExtCommIp6> {
 public:
  using Ptr = Tyr::Ptr<ExtCommIp6ClassificationListSnapshot>;
  using PtrConst = Tyr::Ptr<const ExtCommIp6ClassificationListSnapshot>;
  explicit ExtCommIp6ClassificationListSnapshot(ExtCommClassification classification)
      : ClassificationSnapshot(classification) {}

 private:
  ~ExtCommIp6ClassificationListSnapshot() override;
};

class VELBGP_EXPORT CommListSnapshot final : public Tyr::PtrInterface, public SnapshotValues<std::uint32_t> {
 public:
  using Ptr = Tyr::Ptr<CommListSnapshot>;
  using PtrConst = Tyr::Ptr<const CommListSnapshot>;
  CommListSnapshot() = default;

 private:
  ~CommListSnapshot() override;
};

class VELBGP_EXPORT LargeCommListSnapshot final : public Tyr::PtrInterface, public SnapshotValues<CommunityValue> {
 public:
  using Ptr = Tyr::Ptr<LargeCommListSnapshot>;
  using PtrConst = Tyr::Ptr<const LargeCommListSnapshot>;
  LargeCommListSnapshot() = default;

 private:
  ~LargeCommListSnapshot() override;
};

VELBGP_EXPORT ExtCommListSnapshot::Ptr extCommListSnapshotFactory();
VELBGP_EXPORT ExtCommListSnapshot::Ptr ExtCommListSnapshotIs();
VELBGP_EXPORT ExtCommClassificationListSnapshot::Ptr extCommClassificationListSnapshotFactory(
    ExtCommClassification classification);
VELBGP_EXPORT ExtCommClassificationListSnapshot::Ptr ExtCommClassificationListSnapshotIs(
    ExtCommClassification classification);
VELBGP_EXPORT ExtCommIp6ListSnapshot::Ptr extCommIp6ListSnapshotFactory();
VELBGP_EXPORT ExtCommIp6ListSnapshot::Ptr ExtCommIp6ListSnapshotIs();
VELBGP_EXPORT ExtCommIp6ClassificationListSnapshot::Ptr extCommIp6ClassificationListSnapshotFactory(
    ExtCommClassification classification);
VELBGP_EXPORT ExtCommIp6ClassificationListSnapshot::Ptr ExtCommIp6ClassificationListSnapshotIs(
    ExtCommClassification classification);
VELBGP_EXPORT CommListSnapshot::Ptr commListSnapshotFactory();
VELBGP_EXPORT CommListSnapshot::Ptr CommListSnapshotIs();
VELBGP_EXPORT LargeCommListSnapshot::Ptr largeCommListSnapshotFactory();
VELBGP_EXPORT LargeCommListSnapshot::Ptr LargeCommListSnapshotIs();

}  // namespace Routing::Bgp
