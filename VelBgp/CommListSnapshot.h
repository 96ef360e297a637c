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

#include <set>

#include "Tyr/Exception.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp {

// Entries with a `key` and a mutable `value`; an entry stays where it is till it goes.
template <typename EntryType>
class SnapshotMap {
 public:
  using Key = decltype(EntryType::key);
  using Value = decltype(EntryType::value);
  // The order of the keys; a key alone is looked up.
  struct ByKey {
    using is_transparent = void;
    bool operator()(const EntryType& a, const EntryType& b) const { return a.key < b.key; }
    bool operator()(const EntryType& a, const Key& b) const { return a.key < b; }
    bool operator()(const Key& a, const EntryType& b) const { return a < b.key; }
  };
  using Entries = std::set<EntryType, ByKey>;
  using iterator = typename Entries::const_iterator;

  const Entries& entries() const noexcept { return entries_; }
  // Null when there is none; valid till that entry goes.
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

// The key of an interned community is its content.
inline std::uint64_t snapshotKey(const ExtComm& comm) noexcept { return comm.community(); }
inline const ExtCommIp6Content& snapshotKey(const ExtCommIp6& comm) noexcept { return comm.getContent(); }

// What all snapshots are: counted objects with the collection `comm`. Its values are interned communities or, where the
// keys say all, true.
template <typename Snapshot, typename KeyType, typename ValueType>
class VELBGP_EXPORT CommSnapshot : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<Snapshot>;
  using PtrConst = Tyr::Ptr<const Snapshot>;
  // One entry of `comm`.
  struct TyrComm {
    KeyType key;
    mutable ValueType value;  // takes no part in the order
  };
  using CommMap = SnapshotMap<TyrComm>;

  const typename CommMap::Entries& comm() const noexcept { return comms_.entries(); }
  // Null when there is none.
  const TyrComm* comm(const KeyType& key) const { return comms_.entry(key); }
  std::size_t commCount() const noexcept { return comms_.entries().size(); }
  void commIs(ValueType comm) requires(!std::is_same_v<ValueType, bool>) {
    if (comm == nullptr) throw Tyr::NullArgumentException("comm");
    const KeyType key = snapshotKey(*comm);
    comms_.entryIs(key, std::move(comm));
  }
  void commIs(const KeyType& value, bool present) requires std::is_same_v<ValueType, bool> {
    comms_.entryIs(value, present);
  }
  ValueType commDel(const KeyType& key) { return comms_.entryDel(key); }
  typename CommMap::iterator commDel(typename CommMap::iterator it) { return comms_.entryDel(it); }
  void commDelAll() noexcept { comms_.entryDelAll(); }

 protected:
  CommSnapshot() = default;
  ~CommSnapshot() override = default;

 private:
  CommMap comms_;
};

// The collection `classificationList`, each list under its own classification.
template <typename List>
class SnapshotClassificationLists {
 public:
  // One entry: a list and its classification.
  struct TyrClassificationList {
    ExtCommClassification key;
    mutable Tyr::Ptr<const List> value;
  };
  using ClassificationListMap = SnapshotMap<TyrClassificationList>;

  const typename ClassificationListMap::Entries& classificationList() const noexcept { return lists_.entries(); }
  // Null when there is none.
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

// What snapshots of one classification add.
class VELBGP_EXPORT SnapshotClassification {
 public:
  ExtCommClassification classification() const noexcept { return classification_; }

 protected:
  // Asserts that the classification is one of the fourteen.
  explicit SnapshotClassification(ExtCommClassification classification);

 private:
  const ExtCommClassification classification_;
};

// The classes. Each is made empty by its factory, notification-active.
class VELBGP_EXPORT ExtCommListSnapshot final
    : public CommSnapshot<ExtCommListSnapshot, std::uint64_t, ExtComm::PtrConst>,
      public SnapshotClassificationLists<ExtCommClassificationList> {
  ~ExtCommListSnapshot() override = default;
};

class VELBGP_EXPORT ExtCommClassificationListSnapshot final
    : public CommSnapshot<ExtCommClassificationListSnapshot, std::uint64_t, ExtComm::PtrConst>,
      public SnapshotClassification {
 public:
  explicit ExtCommClassificationListSnapshot(ExtCommClassification classification)
      : SnapshotClassification(classification) {}

 private:
  ~ExtCommClassificationListSnapshot() override = default;
};

class VELBGP_EXPORT ExtCommIp6ListSnapshot final
    : public CommSnapshot<ExtCommIp6ListSnapshot, ExtCommIp6Content, ExtCommIp6::PtrConst>,
      public SnapshotClassificationLists<ExtCommIp6ClassificationList> {
  ~ExtCommIp6ListSnapshot() override = default;
};

class VELBGP_EXPORT ExtCommIp6ClassificationListSnapshot final
    : public CommSnapshot<ExtCommIp6ClassificationListSnapshot, ExtCommIp6Content, ExtCommIp6::PtrConst>,
      public SnapshotClassification {
 public:
  explicit ExtCommIp6ClassificationListSnapshot(ExtCommClassification classification)
      : SnapshotClassification(classification) {}

 private:
  ~ExtCommIp6ClassificationListSnapshot() override = default;
};

class VELBGP_EXPORT CommListSnapshot final : public CommSnapshot<CommListSnapshot, std::uint32_t, bool> {
  ~CommListSnapshot() override = default;
};

class VELBGP_EXPORT LargeCommListSnapshot final : public CommSnapshot<LargeCommListSnapshot, CommunityValue, bool> {
  ~LargeCommListSnapshot() override = default;
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
