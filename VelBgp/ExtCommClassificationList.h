// The communities of a list that have one classification, as interned lists of their own, shared between lists.
//
//   ExtCommClassificationList                the interned list: ascending by value, no value twice
//   LinkBandwidthExtCommClassificationList   knows the best bandwidth
//   RtExtCommClassificationList              announced to the NotifyingRtExtCommListCollection
//   ExtCommClassificationLists               those of one list, ascending by classification
//   ExtCommListBase                          what they have in common with the lists themselves (VelBgp/ExtCommList.h)
//
// Ownership: shared through their PtrConst (one word), immutable once interned; they leave their table with the last
// one. Threads: interning follows the table's variant (Keel/DedupHashTable.h); lists are read-only. Memory: 32 octets,
// 40 with a best bandwidth or a notifier, and for more than one community 4 + 4n.
#pragma once

#include <atomic>
#include <span>

#include "VelBgp/ExtCommListContent.h"

namespace Routing::Bgp {

class CommReferences;

class ExtCommClassificationListSnapshot;
class ExtCommListDedupTable;

// An array of communities and List's flags, CommVectorAttrs, in an octet of the user data.
template <typename List, unsigned attrsOctet>
class VELBGP_EXPORT ExtCommListBase : public Keel::DedupHandleBase {
 public:
  using Ptr = Tyr::Ptr<List>;
  using PtrConst = Tyr::Ptr<const List>;

  std::uint32_t hash() const override;
  // By value, position by position; nothing else takes part.
  bool compare(const Keel::DedupHandleBase* other) const override;

  // Asserts that the list is sorted, as does comm().
  ExtCommRange comms() const;
  // The community with this value, or null.
  ExtComm::PtrConst comm(std::uint64_t value) const {
    return ExtCommVectorLookup(commVectorSorted(), comms_.range(), value);
  }

  // "[ ", the communities with a blank between, " ]".
  std::string toStrep() const { return stringify(static_cast<const List*>(this)); }

  // A stored octet above the flags is thrown as the flag set's range error.
  // A template, so that programs instantiate it themselves: GCC hides the library's instance.
  template <typename Owner = List>
  typename Owner::CommVectorAttrs commVectorAttrs() const {
    return typename Owner::CommVectorAttrs(userDataOctet(attrsOctet));
  }
  bool commVectorSorted() const { return commVectorAttrs().sorted(); }
  void commVectorSortedIs(bool sorted) {
    auto attrs = commVectorAttrs();
    attrs.sortedIs(sorted);
    attrsIs(attrs);
  }
  bool hasPrunableValues() const { return commVectorAttrs().hasPrunableValues(); }

 protected:
  ExtCommListBase() noexcept = default;
  ~ExtCommListBase() override = default;

  template <typename Attrs>
  void attrsIs(Attrs attrs) noexcept {
    userDataIs((userData() & ~(0xffu << 8 * attrsOctet)) | std::uint32_t{attrs.value()} << 8 * attrsOctet);
  }

  Keel::PtrInterfaceArray<ExtComm> comms_;
};

class VELBGP_EXPORT ExtCommClassificationList : public ExtCommListBase<ExtCommClassificationList, 1> {
 public:
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
  ~ExtCommClassificationList() override = default;

 public:
  std::size_t memoryOctets() const noexcept override { return DedupHandleBase::memoryOctets() + comms_.blockOctets(); }

  // `content` is an ExtCommClassificationListContent.
  bool compareByContent(const Keel::DedupContentHandle& content) const override;

  // Told of each community while the list is filled: marks the list prunable if this one makes it so.
  virtual void checkPrunable(const ExtComm::PtrConst& comm);
  // What is left when everything prunable is taken out, in order.
  virtual ExtCommListContent::Vector prune() const;

  ExtCommClassification classification() const noexcept { return ExtCommClassification(userDataOctet(0)); }

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

  using Comms = std::span<const ExtComm* const>;

  static Keel::DedupHashTable& tableOf(const ExtCommListDedupTable& table, ExtCommClassification classification);
  // The interned list of these communities, which are ascending, and have this hash. A new one takes the references.
  static PtrConst dedupSorted(const ExtCommListDedupTable& table, ExtCommClassification classification,
                              CommReferences& comms, std::uint32_t hash);
  static Ptr newFilled(ExtCommClassification classification, CommReferences& comms);
  static Ptr newOfItsClass(ExtCommClassification classification);
  void fill(Comms comms) noexcept;
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
  ~LinkBandwidthExtCommClassificationList() override = default;

  ExtComm::PtrConst best_;
};

class VELBGP_EXPORT RtExtCommClassificationList final : public ExtCommClassificationList {
 public:
  using Ptr = Tyr::Ptr<RtExtCommClassificationList>;
  using PtrConst = Tyr::Ptr<const RtExtCommClassificationList>;

  using ExtCommClassificationList::ExtCommClassificationList;
  const Tyr::FwkType& fwkType() const override;

  // Null but while the list is interned. Made when it is asked for first, or when an observer is to be told of the list.
  // Throws std::bad_alloc.
  RtExtCommListLifeTimeNotifier* lifeTimeNotifier() const {
    RtExtCommListLifeTimeNotifier* const notifier = lifeTimeNotifier_.load(std::memory_order_acquire);
    return notifier != nullptr || !isKnown() ? notifier : made();
  }
  RtExtCommListLifeTimeNotifier::Ptr getLifeTimeNotifier() const { return lifeTimeNotifier(); }
  void lifeTimeNotifierIs(RtExtCommListLifeTimeNotifier::Ptr notifier) noexcept;
  // Makes sure that there is one, in whatever state the list is. False without memory.
  bool notifierMake() noexcept;

 private:
  ~RtExtCommClassificationList() override;
  RtExtCommListLifeTimeNotifier* made() const;

  // Holds a reference. Release in writing it: the notifier is whole.
  mutable std::atomic<RtExtCommListLifeTimeNotifier*> lifeTimeNotifier_{nullptr};
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

// "[ ", the communities, " ]"; "NULL" for a null list. The stream's formatting state is left as it was.
VELBGP_EXPORT std::ostream& formatCommList(std::ostream& stream, const ExtCommClassificationList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationList& list);
VELBGP_EXPORT std::string stringify(const ExtCommClassificationList* list);

}  // namespace Routing::Bgp
