// The IPv6-address-specific extended communities of a path, as one interned list (RFC 5701).
//
//   ExtCommIp6List                 the list: ascending by content, no content twice; builder and interned object in one
//   ExtCommIp6ClassificationList   its communities of one classification, shared between lists
//   ExtCommIp6ListBase             what both are: a vector of communities that is built, then sorted and interned
//   ExtCommIp6ListDedupTable       interns both, one object per distinct sequence of communities
//   ExtCommIp6ListContent          raw values to intern a list from, as the lists of the other attributes are
//
//   ExtCommIp6ListContent content(communityTable);
//   content.commIs(value);                                                // any order, repeats allowed
//   const ExtCommIp6List::PtrConst list = ExtCommIp6List::dedupContent(listTable, content);
//
// or, from communities that are interned already,
//
//   const auto builder = ExtCommIp6ListIs();
//   builder->commIs(ExtCommIp6::dedupContent(communityTable, content));   // any order, repeats allowed
//   const ExtCommIp6List::PtrConst list = builder->dedup(listTable);      // the builder itself, if it is the first
//
// A list is open while it was never deduped and read-only from then on: changing it is an assertion. Communities are
// told apart by object, so the communities of a list are to be interned in one table.
//
// Ownership: shared through Ptr and PtrConst (one word); a list leaves its table with the last one. A list keeps its
// communities alive, not the tables. Threads: a builder belongs to one thread; interning follows the table's variant
// (Keel/DedupHashTable.h); interned lists are read-only. Errors: Tyr::NullArgumentException for a null community or
// list; std::bad_alloc, which leaves a builder with what it had.
#pragma once

#include <span>
#include <vector>

#include "VelBgp/CommVectorContent.h"
#include "VelBgp/ExtCommIp6.h"

namespace Routing::Bgp {

class ExtCommIp6DedupTable;
class ExtCommIp6List;
class ExtCommIp6ListBase;
class ExtCommIp6ListDedupTable;
class ExtCommIp6ListSnapshot;
class ExtCommIp6ClassificationListSnapshot;

// What the virtual operations look an interned list up by: another list, mostly a builder, that must outlive it.
class VELBGP_EXPORT ExtCommIp6ListDedupContent final : public Keel::DedupContentHandle {
 public:
  explicit ExtCommIp6ListDedupContent(const ExtCommIp6ListBase& list) noexcept : list_(list) {}
  std::uint32_t hash() const override;
  const ExtCommIp6ListBase& list() const noexcept { return list_; }

 private:
  const ExtCommIp6ListBase& list_;
};

class VELBGP_EXPORT ExtCommIp6ListBase : public Keel::DedupHandleBase {
 public:
  using Vector = std::vector<ExtCommIp6::PtrConst>;

  // Building. Each asserts that the list was never deduped.
  // Makes room for `count` communities in all.
  void expectedCommunityCountIs(std::size_t count);
  // Asserts that `comm` is interned.
  void commIs(ExtCommIp6::PtrConst comm);

  // In ascending order and without repeats once the list is sorted, as they were added before.
  const Vector& comms() const noexcept { return comms_; }
  bool commVectorSorted() const noexcept { return commVectorSorted_; }
  std::uint32_t totalCommunities() const noexcept { return static_cast<std::uint32_t>(comms_.size()); }
  bool empty() const noexcept { return comms_.empty(); }
  // The community with this content, or null. Asserts that the list is sorted.
  ExtCommIp6::PtrConst comm(const ExtCommIp6Content& content) const;
  ExtCommIp6::PtrConst lookupExtComm(const ExtCommIp6Content& content) const { return comm(content); }

  // "[ ", the communities with a blank between, " ]".
  std::string toStrep() const;

  std::size_t memoryOctets() const noexcept override {
    return DedupHandleBase::memoryOctets() + comms_.capacity() * sizeof(comms_[0]);
  }

  // Of the communities' identities, in order.
  std::uint32_t hash() const override;
  // `content` is an ExtCommIp6ListDedupContent of a list of the same class.
  bool compareByContent(const Keel::DedupContentHandle& content) const override;

 protected:
  ExtCommIp6ListBase() noexcept = default;
  ~ExtCommIp6ListBase() override = default;

  void assertNeverDeduped() const;
  // `list` itself, after prepare(), if `table` has no equal one.
  template <typename List, typename Prepare>
  static Tyr::Ptr<const List> findOrDedup(Keel::DedupHashTable& table, List* list, Prepare&& prepare);

  Vector comms_;
  bool commVectorSorted_ = false;
};

// The same list, for a null pointer "NULL". The stream's formatting state is left as it was.
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommIp6ListBase* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommIp6ListBase& list);

class VELBGP_EXPORT ExtCommIp6ClassificationList final : public ExtCommIp6ListBase {
 public:
  using Ptr = Tyr::Ptr<ExtCommIp6ClassificationList>;
  using PtrConst = Tyr::Ptr<const ExtCommIp6ClassificationList>;

  // Asserts that the classification is one of the fourteen.
  explicit ExtCommIp6ClassificationList(ExtCommClassification classification);
  const Tyr::FwkType& fwkType() const override;
  // Same classification, same communities.
  bool compare(const Keel::DedupHandleBase* other) const override;

  ExtCommClassification classification() const noexcept { return classification_; }
  // Its communities as a map (VelBgp/CommListSnapshot.h).
  Tyr::Ptr<ExtCommIp6ClassificationListSnapshot> commSnapshot() const;

  // Said by who added the communities in order.
  void commVectorSortedIs(bool sorted);

  // The interned list of this classification with these communities: this one, if no equal one is there. Asserts that
  // the list is sorted and its communities are of this classification. A list that was ever deduped is left as it is.
  PtrConst dedup(const ExtCommIp6ListDedupTable* table);

 private:
  ~ExtCommIp6ClassificationList() override = default;

  const ExtCommClassification classification_;
};

// Its values are interned in `table` when a list is looked up. No DedupContentHandle: a list's hash is of its communities'
// identities. Ownership, threads and errors: as for every content (VelBgp/CommVectorContent.h).
class VELBGP_EXPORT ExtCommIp6ListContent final : public CommVectorContent<ExtCommIp6Content, CommVectorState> {
 public:
  // The table must outlive the content; where a list is to be looked up and it did not, the process stops.
  explicit ExtCommIp6ListContent(const ExtCommIp6DedupTable* table) noexcept;

  void commIs(const ExtCommIp6Content& value) { add(value); }
  // The communities of an IPV6 ADDRESS SPECIFIC EXTENDED COMMUNITIES attribute, in place of what was there. Octets behind
  // the last whole value are passed over.
  void attributeIs(AttributeOctets octets);
  // All values of a list. Throws Tyr::NullArgumentException for null.
  void append(const ExtCommIp6ListBase* list);

  void sortAndUnique() const;

 private:
  friend class ExtCommIp6List;

  TableAddress<ExtCommIp6DedupTable> table_;
};

class VELBGP_EXPORT ExtCommIp6List final : public ExtCommIp6ListBase {
 public:
  using Ptr = Tyr::Ptr<ExtCommIp6List>;
  using PtrConst = Tyr::Ptr<const ExtCommIp6List>;
  using ClassificationLists = std::vector<ExtCommIp6ClassificationList::PtrConst>;

  // Not defaulted: `new ExtCommIp6List()` would first zero all of it, also the count that a lock-free reader may look at.
  ExtCommIp6List() noexcept {}
  const Tyr::FwkType& fwkType() const override;
  bool compare(const Keel::DedupHandleBase* other) const override;

  std::size_t memoryOctets() const noexcept override {
    return ExtCommIp6ListBase::memoryOctets() + classificationLists_.capacity() * sizeof(classificationLists_[0]);
  }

  // The interned list with this content, made on a miss. Sorts the content. Never null.
  static PtrConst dedupContent(const ExtCommIp6ListDedupTable* table, const ExtCommIp6ListContent& content);

  // Adds all communities of another list. Asserts that this one was never deduped.
  void append(const PtrConst& list);

  // The interned list with these communities: this one, if it was never deduped and no equal one is there. Sorts the
  // list and drops its repeats.
  PtrConst dedup(const ExtCommIp6ListDedupTable* table);
  // The same, of a copy.
  PtrConst dedup(const ExtCommIp6ListDedupTable* table) const;
  // The interned list of each builder, as dedup() of one after the other gives them: the same lists, and observers hear
  // the same in the same order. Faster, for memory is fetched ahead across the builders. Each list replaces what was in
  // its place when it is interned. Asserts that there are as many places as builders; none is fine. When a builder fails,
  // those before it are interned, and the rest of `lists` is as it was; the builders may be sorted.
  static void dedupContents(const ExtCommIp6ListDedupTable* table, std::span<const Ptr> builders,
                            std::span<PtrConst> lists);
  // The same, straight from the values of attributes; null for one that is malformed, since it is empty or no whole
  // number of communities (RFC 7606).
  static void dedupAttributes(const ExtCommIp6DedupTable* commTable, const ExtCommIp6ListDedupTable* table,
                              std::span<const AttributeOctets> attributes, std::span<PtrConst> lists);

  // Communities whose type octet has the 0x40 bit clear; 0 for a list that was never deduped.
  std::uint32_t totalTransitiveCommunities() const noexcept { return totalTransitiveCommunities_; }
  // The communities of one classification, or null when there are none. Asserts that the list was deduped.
  ExtCommIp6ClassificationList::PtrConst classificationList(ExtCommClassification classification) const;
  // At the classification's number its list, or null; none behind the last classification present.
  const ClassificationLists& classificationLists() const noexcept { return classificationLists_; }

  // An IPV6 ADDRESS SPECIFIC EXTENDED COMMUNITIES attribute, header included; empty when there is nothing to send.
  // Asserts that the value fits in 65,535 octets. What an agent sends is written by AttributeWriter
  // (VelBgp/AttributeWriter.h), which refuses what is too long, and counts the transitive ones of any list.
  std::string serialize(bool sendNonTransExtComms) const;
  // The communities' policy texts, a blank behind each.
  std::string commsStringForm() const;

  // Its communities and classification lists as maps (VelBgp/CommListSnapshot.h).
  Tyr::Ptr<ExtCommIp6ListSnapshot> commSnapshot() const;

  // Writes the list and each of its communities as records of their own, and gives the list's.
  Store::Reference stash(Store::WriteBatch* batch) const;
  // The list that a reference names, which lies in memory at any address: a private list of private communities, in no
  // table and never to be. Null for a null reference. Throws the store's exceptions; nothing is left behind then.
  // Threads as for ExtComm::destash.
  static PtrConst destash(const void* stashed, Store::StoreManager* store);

 private:
  class OpenAgain;
  struct Builders;
  struct Attributes;

  ~ExtCommIp6List() override = default;
  Ptr copy() const;
  // Makes and interns the classification lists, and counts the transitive communities. Without a table the
  // classification lists are private ones.
  void split(const ExtCommIp6ListDedupTable* table);

  std::uint32_t totalTransitiveCommunities_ = 0;
  ClassificationLists classificationLists_;
};

// A new list, never deduped and empty.
VELBGP_EXPORT ExtCommIp6List::Ptr extCommIp6ListFactory();
VELBGP_EXPORT ExtCommIp6List::Ptr ExtCommIp6ListIs();

// One per agent. Must exist before any list is interned; lists may outlive it.
class VELBGP_EXPORT ExtCommIp6ListDedupTable final : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<ExtCommIp6ListDedupTable>;
  using PtrConst = Tyr::Ptr<const ExtCommIp6ListDedupTable>;

  Keel::DedupHashTable& extCommListDedupTable() const noexcept { return *extCommListDedupTable_; }
  Keel::DedupHashTable& extCommClassificationListDedupTable() const noexcept {
    return *extCommClassificationListDedupTable_;
  }
  // Distinct lists that are interned now.
  std::size_t size() const { return extCommListDedupTable_->size(); }

  void dumpState(Keel::DumpContext& context, std::uint32_t indent) const;

 private:
  ~ExtCommIp6ListDedupTable() override = default;

  const Tyr::Ptr<Keel::DedupHashTable> extCommListDedupTable_ = Tyr::make<Keel::DedupHashTable>("extCommIp6List");
  const Tyr::Ptr<Keel::DedupHashTable> extCommClassificationListDedupTable_ =
      Tyr::make<Keel::DedupHashTable>("extCommIp6ClassificationList");
};

VELBGP_EXPORT ExtCommIp6ListDedupTable::Ptr extCommIp6ListDedupTableFactory();
VELBGP_EXPORT ExtCommIp6ListDedupTable::Ptr ExtCommIp6ListDedupTableIs();

}  // namespace Routing::Bgp
