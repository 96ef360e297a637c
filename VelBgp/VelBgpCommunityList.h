// The communities of a path as interned lists: here the extended ones; with this header come those of standard
// (CommList.h) and large communities (LargeCommList.h).
//
//   ExtCommListContent, ExtCommListContentU64   what a list is built from: interned communities, or raw values
//   ExtCommList                                 the interned list: ascending by value, no value twice
//   ExtCommClassificationList                   its communities of one classification, shared between lists
//   LinkBandwidthExtCommClassificationList      knows the best bandwidth
//   RtExtCommClassificationList                 announced to the NotifyingRtExtCommListCollection
//   ExtCommListDedupTable                       interns both, one object per distinct sequence of values
//
//   ExtCommListContentU64 content(communityTable);
//   content.commIs(0x0002fde800000064);                        // any order, repeats allowed
//   ExtCommList::PtrConst list = ExtCommList::dedupContent(listTable, content);
//
// Ownership: a content belongs to its caller and can be used again after reset(). Lists are immutable, shared through
// their PtrConst (one word) and leave their table with the last one. A list keeps its communities alive, not the
// tables. Threads: contents belong to one thread; interning follows the table's variant (Keel/DedupHashTable.h); lists
// are read-only. Memory: a list of n communities takes 48 + 4n octets (56 for one), a classification list 32 or 40 and,
// for more than one, 4 + 4n.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "Keel/DedupHashTable.h"
#include "Keel/PtrInterfaceArray.h"
#include "Policy/PosixRegex.h"
#include "Store/Forward.h"
#include "Tyr/Assert.h"
#include "Tyr/Export.h"
#include "Tyr/FlagSet.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/CommList.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/NotifyingRouteTargetList.h"
#include "VelBgp/VelBgpCommunity.h"

namespace Routing::Bgp {

class ExtCommClassificationList;
class ExtCommClassificationListContent;
class ExtCommList;
class ExtCommListDedupTable;
class ExtCommListSnapshot;
class ExtCommClassificationListSnapshot;

// The communities of a list, as const ExtComm*, ascending by value.
using ExtCommRange = Keel::PtrInterfaceRange<ExtComm>;

// The community of `vector` with this value, or null. Asserts that the vector is sorted.
VELBGP_EXPORT ExtComm::PtrConst ExtCommVectorLookup(bool sorted, const ExtCommRange& vector, std::uint64_t value);

// Appends an interned community (any interned type, or null). std::length_error past the vector's largest size.
template <typename Element, typename Vector>
void ExtCommVectorAdd(Element comm, Vector& vector) {
  TYR_ASSERT_TEXT(!comm || comm->dedupState() != Keel::dedupHandleStateNeverDeduped(),
                  "__null == ( comm ) || ( comm )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
  vector.push_back(std::move(comm));
}

// ---- Contents -------------------------------------------------------------------------------------------------------

// What dedupContent asks of either form. Sorting changes the order of a content, never what it stands for.
class VELBGP_EXPORT ExtCommListContentBase : public Keel::DedupContentHandle {
 public:
  ~ExtCommListContentBase() override;

  // Sorts, drops repeats (both once only) and returns the hash.
  virtual std::uint32_t sortAndHash() const = 0;
  // Puts the communities, in order, into a new list.
  virtual void populateExtCommList(ExtCommList* list) const = 0;
  virtual bool compareWithExtCommList(const ExtCommList* list) const = 0;
  virtual std::size_t communityCount() const = 0;
  virtual std::uint64_t communityAt(std::size_t index) const = 0;

  bool commVectorSorted() const noexcept { return commVectorSorted_; }
  // As sortAndHash() left it.
  std::uint32_t hash() const override { return hash_; }

  // Same values in the same order, and both sorted or neither.
  VELBGP_EXPORT friend bool operator==(const ExtCommListContentBase& lhs, const ExtCommListContentBase& rhs);
  // Value by value, then by count.
  VELBGP_EXPORT friend bool operator<(const ExtCommListContentBase& lhs, const ExtCommListContentBase& rhs);

 protected:
  mutable bool commVectorSorted_ = false;
  mutable std::uint32_t hash_ = 0;
};

// "[ ", the values as "0x" and 16 hex digits with a blank between, " ]".
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommListContentBase& content);

// For a caller that holds interned communities.
class VELBGP_EXPORT ExtCommListContent final : public ExtCommListContentBase {
 public:
  using Vector = boost::container::small_vector<ExtComm::PtrConst, 64>;

  ExtCommListContent() = default;
  ~ExtCommListContent() override;

  void expectedCommunityCountIs(std::size_t count) { comms_.reserve(count); }
  // Asserts that `comm` is interned. Throws Tyr::NullArgumentException for null.
  void commIs(ExtComm::PtrConst comm);
  const Vector& comms() const noexcept { return comms_; }
  void reset() noexcept;
  explicit operator bool() const noexcept { return !comms_.empty(); }

  std::uint32_t sortAndHash() const override;
  void populateExtCommList(ExtCommList* list) const override;
  bool compareWithExtCommList(const ExtCommList* list) const override;
  std::size_t communityCount() const override { return comms_.size(); }
  std::uint64_t communityAt(std::size_t index) const override { return comms_[index]->community(); }

 private:
  mutable Vector comms_;
};

// For a caller that holds raw values, as from a received attribute. They are interned in `table` when a list is made.
class VELBGP_EXPORT ExtCommListContentU64 final : public ExtCommListContentBase {
 public:
  using Vector = boost::container::small_vector<std::uint64_t, 64>;

  // The table must outlive the content.
  explicit ExtCommListContentU64(const ExtCommDedupTable* table) noexcept : table_(table) {}
  ~ExtCommListContentU64() override;

  void expectedCommunityCountIs(std::size_t count) { comms_.reserve(count); }
  void commIs(std::uint64_t value) {
    commVectorSorted_ = false;
    comms_.push_back(value);
  }
  void commIs(const ExtCommContent& content) { commIs(content.value()); }
  const Vector& comms() const noexcept { return comms_; }
  void reset() noexcept {
    comms_.clear();
    commVectorSorted_ = false;
  }
  explicit operator bool() const noexcept { return !comms_.empty(); }

  std::uint32_t sortAndHash() const override;
  void populateExtCommList(ExtCommList* list) const override;
  bool compareWithExtCommList(const ExtCommList* list) const override;
  std::size_t communityCount() const override { return comms_.size(); }
  std::uint64_t communityAt(std::size_t index) const override { return comms_[index]; }

 private:
  friend class ExtCommList;

  // The bodies of the operations of the same names, for a caller that can take them in line.
  std::uint32_t sortAndHashInLine() const;
  bool equals(const ExtCommList& list) const;

  mutable Vector comms_;
  const ExtCommDedupTable* table_;
};

// For one classification list.
class VELBGP_EXPORT ExtCommClassificationListContent final : public Keel::DedupContentHandle {
 public:
  using Vector = boost::container::small_vector<ExtComm::PtrConst, 64>;

  // Asserts that the classification is one of the fourteen.
  explicit ExtCommClassificationListContent(ExtCommClassification classification);
  ~ExtCommClassificationListContent() override;

  ExtCommClassification classification() const noexcept { return classification_; }
  bool commVectorSorted() const noexcept { return commVectorSorted_; }
  void expectedCommunityCountIs(std::size_t count) { comms_.reserve(count); }
  void commIs(ExtComm::PtrConst comm);
  const Vector& comms() const noexcept { return comms_; }
  explicit operator bool() const noexcept { return !comms_.empty(); }

  std::uint32_t sortAndHash() const;
  std::uint32_t hash() const override { return hash_; }

  VELBGP_EXPORT friend bool operator==(const ExtCommClassificationListContent& lhs,
                                       const ExtCommClassificationListContent& rhs);
  VELBGP_EXPORT friend bool operator<(const ExtCommClassificationListContent& lhs,
                                      const ExtCommClassificationListContent& rhs);

 private:
  friend class ExtCommList;
  friend class ExtCommClassificationList;

  ExtCommClassification classification_;
  mutable bool commVectorSorted_ = false;
  mutable std::uint32_t hash_ = 0;
  mutable Vector comms_;
};

// "Value('Routing::Bgp::ExtCommClassificationListContent', ** {'classification': %s, 'commVectorSorted': %s})"
VELBGP_EXPORT std::string valueToStrep(const ExtCommClassificationListContent& content);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationListContent& content);

// ---- Classification lists -------------------------------------------------------------------------------------------

class VELBGP_EXPORT ExtCommClassificationList : public Keel::DedupHandleBase {
 public:
  using Ptr = Tyr::Ptr<ExtCommClassificationList>;
  using PtrConst = Tyr::Ptr<const ExtCommClassificationList>;

#define ROUTING_BGP_EXT_COMM_CLASSIFICATION_LIST_ATTRS(FLAG) FLAG(sorted) FLAG(hasPrunableValues)
  class CommVectorAttrs {
    TYR_FLAG_SET(CommVectorAttrs, "Routing::Bgp::ExtCommClassificationList::CommVectorAttrs",
                 ROUTING_BGP_EXT_COMM_CLASSIFICATION_LIST_ATTRS)
  };
#undef ROUTING_BGP_EXT_COMM_CLASSIFICATION_LIST_ATTRS

  // Asserts that the classification is one of the fourteen.
  explicit ExtCommClassificationList(ExtCommClassification classification);
  const Tyr::FwkType& fwkType() const override;

 protected:
  ~ExtCommClassificationList() override;

 public:
  std::uint32_t hash() const override;
  // By value, position by position; the classification takes no part.
  bool compare(const Keel::DedupHandleBase* other) const override;
  // `content` is an ExtCommClassificationListContent.
  bool compareByContent(const Keel::DedupContentHandle& content) const override;

  // Told of each community while the list is filled: marks the list prunable if this one makes it so.
  virtual void checkPrunable(const ExtComm::PtrConst& comm);
  // What is left when everything prunable is taken out, in order.
  virtual ExtCommListContent::Vector prune() const;

  ExtCommClassification classification() const noexcept { return ExtCommClassification(userDataOctet(0)); }
  CommVectorAttrs commVectorAttrs() const { return CommVectorAttrs(userDataOctet(1)); }
  bool commVectorSorted() const { return commVectorAttrs().sorted(); }
  void commVectorSortedIs(bool sorted);
  bool hasPrunableValues() const { return commVectorAttrs().hasPrunableValues(); }

  ExtCommRange comms() const;
  // The community with this value, or null.
  ExtComm::PtrConst comm(std::uint64_t value) const;

  // Its communities as a map (VelBgp/CommListSnapshot.h).
  Tyr::Ptr<ExtCommClassificationListSnapshot> commSnapshot() const;

  // The interned list with this content.
  static PtrConst dedupContent(const ExtCommListDedupTable* table, const ExtCommClassificationListContent& content);
  // A new list of the class that the content's classification asks for, never deduped.
  static Ptr allocateExtCommClassificationList(const ExtCommClassificationListContent& content);

 protected:
  void hasPrunableValuesIs(bool has);
  std::uint32_t vectorSize() const noexcept { return comms_.size(); }

 private:
  friend class ExtCommList;

  static PtrConst dedupSorted(const ExtCommListDedupTable* table, ExtCommClassificationListContent& content,
                              std::uint32_t hash);
  static Ptr newOfItsClass(ExtCommClassification classification);
  void fill(ExtCommClassificationListContent::Vector& comms);
  void commVectorAttrsIs(CommVectorAttrs attrs) noexcept;

  Keel::PtrInterfaceArray<ExtComm> comms_;
};

class VELBGP_EXPORT LinkBandwidthExtCommClassificationList final : public ExtCommClassificationList {
 public:
  using ExtCommClassificationList::ExtCommClassificationList;
  const Tyr::FwkType& fwkType() const override;

  // The valid bandwidth that no other is better than, the first of equals; null when none is valid.
  const ExtComm::PtrConst& best() const noexcept { return best_; }
  // Prunable as soon as there are two, or one that is not valid.
  void checkPrunable(const ExtComm::PtrConst& comm) override;
  // The best one alone.
  ExtCommListContent::Vector prune() const override;

 private:
  ~LinkBandwidthExtCommClassificationList() override;

  ExtComm::PtrConst best_;
};

class VELBGP_EXPORT RtExtCommClassificationList final : public ExtCommClassificationList {
 public:
  using Ptr = Tyr::Ptr<RtExtCommClassificationList>;
  using PtrConst = Tyr::Ptr<const RtExtCommClassificationList>;

  using ExtCommClassificationList::ExtCommClassificationList;
  const Tyr::FwkType& fwkType() const override;

  // Null but while the list is interned.
  RtExtCommListLifeTimeNotifier* lifeTimeNotifier() noexcept { return lifeTimeNotifier_.get(); }
  const RtExtCommListLifeTimeNotifier* lifeTimeNotifier() const noexcept { return lifeTimeNotifier_.get(); }
  RtExtCommListLifeTimeNotifier::Ptr getLifeTimeNotifier() const noexcept { return lifeTimeNotifier_; }
  void lifeTimeNotifierIs(RtExtCommListLifeTimeNotifier::Ptr notifier) noexcept { lifeTimeNotifier_.swap(notifier); }

 private:
  ~RtExtCommClassificationList() override;

  RtExtCommListLifeTimeNotifier::Ptr lifeTimeNotifier_;
};
static_assert(sizeof(ExtCommClassificationList) == 32 && sizeof(RtExtCommClassificationList) == 40);

VELBGP_EXPORT RtExtCommClassificationList::Ptr rtExtCommClassificationListFactory(ExtCommClassification classification);

// The classification lists of one list, ascending by classification.
class VELBGP_EXPORT ExtCommClassificationLists {
 public:
  using Range = Keel::PtrInterfaceRange<ExtCommClassificationList>;

  // The list of this classification, or null. Asserts that the classification is one of the fourteen.
  const ExtCommClassificationList* lookup(ExtCommClassification classification) const;
  Range range() const noexcept { return array_.range(); }

 private:
  friend class ExtCommList;

  Keel::PtrInterfaceArray<ExtCommClassificationList> array_;
};

// ---- Lists ----------------------------------------------------------------------------------------------------------

class VELBGP_EXPORT ExtCommList final : public Keel::DedupHandleBase {
 public:
  using Ptr = Tyr::Ptr<ExtCommList>;
  using PtrConst = Tyr::Ptr<const ExtCommList>;

#define ROUTING_BGP_EXT_COMM_LIST_ATTRS(FLAG)   \
  FLAG(sorted)                                  \
  FLAG(hasLinkBandwidth)                        \
  FLAG(hasLinkBandwidthWithUnspecifiedAsNumber) \
  FLAG(hasOriginValidationState) FLAG(hasPolicyMatchStrepUICommunities) FLAG(hasPrunableValues)
  class CommVectorAttrs {
    TYR_FLAG_SET(CommVectorAttrs, "Routing::Bgp::ExtCommList::CommVectorAttrs", ROUTING_BGP_EXT_COMM_LIST_ATTRS)
  };
#undef ROUTING_BGP_EXT_COMM_LIST_ATTRS

  // Which communities go into an outgoing attribute.
#define ROUTING_BGP_EXT_COMM_LIST_SERIALIZATION(FLAG) \
  FLAG(all) FLAG(transitive) FLAG(linkBandwidth) FLAG(originAsValidity)
  class Serialization {
    TYR_FLAG_SET(Serialization, "Routing::Bgp::ExtCommList::Serialization", ROUTING_BGP_EXT_COMM_LIST_SERIALIZATION)
  };
#undef ROUTING_BGP_EXT_COMM_LIST_SERIALIZATION

  ExtCommList() noexcept = default;
  // new (count) ExtCommList has room for its communities right behind it, so that a lookup finds both in one place.
  static void* operator new(std::size_t octets) { return DedupHandleBase::operator new(octets); }
  static void* operator new(std::size_t octets, std::uint32_t communities);
  static void operator delete(void* list) noexcept { DedupHandleBase::operator delete(list); }
  static void operator delete(void* list, std::uint32_t) noexcept { DedupHandleBase::operator delete(list); }

  const Tyr::FwkType& fwkType() const override;

  std::uint32_t hash() const override;
  bool compare(const Keel::DedupHandleBase* other) const override;
  // `content` is an ExtCommListContentBase.
  bool compareByContent(const Keel::DedupContentHandle& content) const override;

  // The interned list with this content, made on a miss. Sorts the content. Never null.
  static PtrConst dedupContent(const ExtCommListDedupTable* table, const ExtCommListContentBase& content);
  static PtrConst dedupContent(const ExtCommListDedupTable* table, const ExtCommListContentU64& content);
  // The interned list of this one community.
  static PtrConst dedupSingleU64(const ExtCommDedupTable* commTable, const ExtCommListDedupTable* table,
                                 std::uint64_t value);

  // Asserts that the list is sorted, as do comm() and totalCommunities().
  ExtCommRange comms() const;
  // The community with this value, or null.
  ExtComm::PtrConst comm(std::uint64_t value) const;
  ExtComm::PtrConst lookupExtComm(std::uint64_t value) const { return comm(value); }
  std::uint32_t totalCommunities() const;
  bool empty() const noexcept { return comms_.empty(); }
  // Communities whose type octet has the 0x40 bit clear; 0 for a list that was not split by a table.
  std::uint32_t transitiveCount() const noexcept { return transitiveCount_; }

  // The communities of one classification, or null when there are none.
  ExtCommClassificationList::PtrConst classificationList(ExtCommClassification classification) const;
  ExtCommClassificationLists::Range classificationLists() const noexcept { return classificationLists_.range(); }

  // A stored octet above 63 is thrown as the flag set's range error.
  CommVectorAttrs commVectorAttrs() const { return CommVectorAttrs(userDataOctet(0)); }
  void commVectorAttrsIs(CommVectorAttrs attrs) noexcept { userDataIs((userData() & ~0xffu) | attrs.value()); }
  bool commVectorSorted() const { return commVectorAttrs().sorted(); }
  void commVectorSortedIs(bool sorted);
  bool hasLinkBandwidth() const { return commVectorAttrs().hasLinkBandwidth(); }
  bool hasLinkBandwidthWithUnspecifiedAsNumber() const {
    return commVectorAttrs().hasLinkBandwidthWithUnspecifiedAsNumber();
  }
  bool hasOriginValidationState() const { return commVectorAttrs().hasOriginValidationState(); }
  bool hasPolicyMatchStrepUICommunities() const { return commVectorAttrs().hasPolicyMatchStrepUICommunities(); }
  bool hasPrunableValues() const { return commVectorAttrs().hasPrunableValues(); }

  // `all` alone with non-transitive communities included, else `transitive` and what else is included.
  static Serialization serialization(bool includeNonTransitive, bool includeLinkBandwidth,
                                     bool includeOriginAsValidity);
  static bool serializable(const ExtComm& comm, Serialization s);
  static bool serializable(const ExtComm::PtrConst& comm, Serialization s) { return serializable(*comm, s); }
  // Deliberate: link bandwidth and origin validation state count once each, however many the list holds.
  std::uint32_t serializableCommunities(Serialization s) const;
  // An EXTENDED COMMUNITIES attribute (RFC 4360), header included; empty when there is nothing to send. Deliberate: the
  // announced length comes from serializableCommunities(), while every serializable community is written. Under a
  // filter the two disagree for a list with two link bandwidths or validation states, so prune() such a list first.
  // Asserts that the value fits in 65,535 octets.
  std::string serialize(Serialization s) const;

  // The interned list without its prunable communities: this one if there are none, null if nothing is left.
  PtrConst prune(const ExtCommListDedupTable* table) const;

  // Whether the expression matches the list's text in any of the modes below, tried in their order, `ui` only on lists
  // that have communities for it.
  bool matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const;

  // Its communities and classification lists as maps (VelBgp/CommListSnapshot.h).
  Tyr::Ptr<ExtCommListSnapshot> commSnapshot() const;
  Tyr::Ptr<ExtCommListSnapshot> snapshot() const;

  // Writes the list and each of its communities as records of their own, and gives the list's.
  Store::Reference stash(Store::WriteBatch* batch) const;
  // The list that a reference names, which lies in memory at any address: a private list, in no table and never to be.
  // Its communities come from the ExtCommDedupTable that the store has as its service, see ExtComm::destash. Null for a
  // null reference. Throws the store's exceptions; nothing is left behind then.
  static PtrConst destash(const void* stashed, Store::StoreManager* store);

 private:
  friend class ExtCommListContent;
  friend class ExtCommListContentU64;

  ~ExtCommList() override;

  template <typename Equal>
  static PtrConst findOrMake(const ExtCommListDedupTable* table, const ExtCommListContentBase& content,
                             std::uint32_t hash, Equal&& equal);
  static Ptr make(const ExtCommListDedupTable* table, const ExtCommListContentBase& content);
  // Splits the communities by classification; without a table the classification lists are private ones.
  void createClassificationListVector(const ExtCommListDedupTable* table);
  class Split;
  void computeCommVectorAttrs();

  // Filled once: places for `count` communities, then each of them with a reference that the list takes over.
  void commCountIs(std::uint32_t count);
  void commIs(std::uint32_t index, ExtComm::PtrConst comm) noexcept;

  // The value of a list of one, kept behind it as well: the commonest lists are then found without a look at the
  // community.
  bool hasOwnValue() const noexcept { return (userData() & ownValueBit) != 0; }
  std::uint64_t ownValue() const noexcept { return *reinterpret_cast<const std::uint64_t*>(this + 1); }

  // User data: octet 0 holds the attributes; the references to the communities have moved on to the classification
  // lists; there is a value behind the list.
  static constexpr std::uint32_t splitBit = 1u << 8;
  static constexpr std::uint32_t ownValueBit = 1u << 9;

  Keel::PtrInterfaceArray<ExtComm> comms_;
  ExtCommClassificationLists classificationLists_;
  std::uint32_t transitiveCount_ = 0;
  std::uint32_t ownBlock_ = 0;  // the count of the block of references that goes on behind the list
};
static_assert(sizeof(ExtCommList) == 48);

// One per agent. Must exist before any list is interned.
class VELBGP_EXPORT ExtCommListDedupTable final : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<ExtCommListDedupTable>;
  using PtrConst = Tyr::Ptr<const ExtCommListDedupTable>;

  ExtCommListDedupTable();

  Keel::DedupHashTable& extCommListDedupTable() const noexcept { return *extCommListDedupTable_; }
  Keel::DedupHashTable& extCommClassificationListDedupTable() const noexcept {
    return *extCommClassificationListDedupTable_;
  }
  const Tyr::Ptr<Keel::DedupHashTable>& rtExtCommClassificationListDedupTable() const noexcept {
    return rtExtCommClassificationListDedupTable_;
  }
  Keel::DedupHashTable* rtExtCommClassificationListDedupTableRaw() const noexcept {
    return rtExtCommClassificationListDedupTable_.get();
  }
  // Distinct lists that are interned now.
  std::size_t size() const { return extCommListDedupTable_->size(); }

  const NotifyingRtExtCommListCollection::Ptr& notifyingRtExtCommListCollection() const noexcept {
    return notifyingRtExtCommListCollection_;
  }
  const RtExtCommListLifeTimeNotifiee::Ptr& rtExtCommListLifeTimeNotifiee() const noexcept {
    return rtExtCommListLifeTimeNotifiee_;
  }
  // The notifiee of this collection: the one that is there, or a new one in its place.
  RtExtCommListLifeTimeNotifiee::Ptr rtExtCommListLifeTimeNotifieeIs(NotifyingRtExtCommListCollection::Ptr collection);
  void rtExtCommListLifeTimeNotifieeDel() noexcept { rtExtCommListLifeTimeNotifiee_.reset(); }

  void dumpState(Keel::DumpContext& context, std::uint32_t indent) const;

 private:
  ~ExtCommListDedupTable() override;
  void handleInitialized();

  Tyr::Ptr<Keel::DedupHashTable> extCommListDedupTable_;
  Tyr::Ptr<Keel::DedupHashTable> extCommClassificationListDedupTable_;
  Tyr::Ptr<Keel::DedupHashTable> rtExtCommClassificationListDedupTable_;
  NotifyingRtExtCommListCollection::Ptr notifyingRtExtCommListCollection_;
  RtExtCommListLifeTimeNotifiee::Ptr rtExtCommListLifeTimeNotifiee_;
};

VELBGP_EXPORT ExtCommListDedupTable::Ptr extCommListDedupTableFactory();
VELBGP_EXPORT ExtCommListDedupTable::Ptr ExtCommListDedupTableIs();

// ---- Texts and matching ---------------------------------------------------------------------------------------------

// How the communities of a list become the text that a regular expression runs over, one blank between them. Every
// community contributes, also one whose text is empty; in `ui` only those that policy matches by their UI text.
enum class MatchMode : std::uint8_t { strepDefault, strepClassification, ui };

VELBGP_EXPORT bool matchExtCommList(const ExtCommList* list, MatchMode matchMode, const RouteMap::PosixRegex* regex);

// The elements, a blank between them.
VELBGP_EXPORT std::ostream& join(std::ostream& stream, const ExtCommRange& vector);

// "[ ", the communities, " ]"; "NULL" for a null list. The stream's formatting state is left as it was.
VELBGP_EXPORT std::ostream& formatCommList(std::ostream& stream, const ExtCommList* list);
VELBGP_EXPORT std::ostream& formatCommList(std::ostream& stream, const ExtCommClassificationList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommList& list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationList& list);
VELBGP_EXPORT std::string stringify(const ExtCommList* list);
VELBGP_EXPORT std::string stringify(const ExtCommClassificationList* list);

}  // namespace Routing::Bgp
