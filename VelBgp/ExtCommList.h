// ExtCommList: the extended communities of a path as one interned list, ascending by value, no value twice, together
// with its communities of each classification (VelBgp/ExtCommClassificationList.h), with its attribute, and with the
// texts that policy matches.
//
//   ExtCommListContentU64 content(communityTable);
//   content.commIs(0x0002fde800000064);                        // any order, repeats allowed
//   ExtCommList::PtrConst list = ExtCommList::dedupContent(listTable, content);
//
// Ownership: lists are immutable, shared through their PtrConst (one word) and leave their table with the last one. A
// list keeps its communities alive, not the tables. Threads: interning follows the table's variant
// (Keel/DedupHashTable.h); lists are read-only. Memory: a list of n communities takes 48 + 4n octets (56 for one).
#pragma once

#include <span>
#include <vector>

#include "VelBgp/ExtCommClassificationList.h"

namespace Routing::RouteMap {
class PosixRegex;
class PosixRegexSet;
}  // namespace Routing::RouteMap

namespace Routing::Bgp {

class ExtCommListContentBase;
class ExtCommListContentU64;
class ExtCommListDedupTable;
class ExtCommListSnapshot;

class VELBGP_EXPORT ExtCommList final : public ExtCommListBase<ExtCommList, 0> {
 public:
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
  std::size_t memoryOctets() const noexcept override {
    return DedupHandleBase::memoryOctets() + comms_.blockOctets() + classificationLists_.array_.blockOctets();
  }

  // `content` is an ExtCommListContentBase.
  bool compareByContent(const Keel::DedupContentHandle& content) const override;

  // The interned list with this content, made on a miss. Sorts the content. Never null.
  static PtrConst dedupContent(const ExtCommListDedupTable* table, const ExtCommListContentBase& content);
  static PtrConst dedupContent(const ExtCommListDedupTable* table, const ExtCommListContentU64& content);
  // The interned list of each content, as dedupContent() of one after the other gives them: the same lists, and observers
  // hear the same in the same order. Faster, for memory is fetched ahead across the contents. Each list replaces what was
  // in its place when it is interned. Asserts that there are as many places as contents; none is fine. When a content
  // fails, those before it are interned, and the rest of `lists` is as it was.
  static void dedupContents(const ExtCommListDedupTable* table, std::span<const ExtCommListContentU64> contents,
                            std::span<PtrConst> lists);
  // The same, straight from the values of attributes; null for one that is malformed, since it is empty or no whole
  // number of communities (RFC 7606).
  static void dedupAttributes(const ExtCommDedupTable* commTable, const ExtCommListDedupTable* table,
                              std::span<const AttributeOctets> attributes, std::span<PtrConst> lists);
  // The interned list of this one community.
  static PtrConst dedupSingleU64(const ExtCommDedupTable* commTable, const ExtCommListDedupTable* table,
                                 std::uint64_t value);

  // As comm().
  ExtComm::PtrConst lookupExtComm(std::uint64_t value) const { return comm(value); }
  // Asserts that the list is sorted.
  std::uint32_t totalCommunities() const;
  bool empty() const noexcept { return comms_.empty(); }
  // Communities whose type octet has the 0x40 bit clear; 0 for a list that was not split by a table.
  std::uint32_t transitiveCount() const noexcept { return transitiveCount_; }

  // The communities of one classification, or null when there are none.
  ExtCommClassificationList::PtrConst classificationList(ExtCommClassification classification) const;
  ExtCommClassificationLists::Range classificationLists() const noexcept { return classificationLists_.range(); }

  void commVectorAttrsIs(CommVectorAttrs attrs) noexcept { attrsIs(attrs); }
  bool hasLinkBandwidth() const { return commVectorAttrs().hasLinkBandwidth(); }
  bool hasLinkBandwidthWithUnspecifiedAsNumber() const {
    return commVectorAttrs().hasLinkBandwidthWithUnspecifiedAsNumber();
  }
  bool hasOriginValidationState() const { return commVectorAttrs().hasOriginValidationState(); }
  bool hasPolicyMatchStrepUICommunities() const { return commVectorAttrs().hasPolicyMatchStrepUICommunities(); }

  // `all` alone with non-transitive communities included, else `transitive` and what else is included.
  static Serialization serialization(bool includeNonTransitive, bool includeLinkBandwidth,
                                     bool includeOriginAsValidity);
  static bool serializable(const ExtComm& comm, Serialization s);
  static bool serializable(const ExtComm::PtrConst& comm, Serialization s) { return serializable(*comm, s); }
  // Deliberate: link bandwidth and origin validation state count once each, however many the list holds.
  std::uint32_t serializableCommunities(Serialization s) const;
  // An EXTENDED COMMUNITIES attribute (RFC 4360), header included; empty when there is nothing to send. Deliberate: the
  // announced length comes from serializableCommunities(), while every serializable community is written, so under a
  // filter the two disagree for a list with two link bandwidths or validation states. Of link bandwidths prune() leaves
  // one; it keeps all validation states, which only `all`, or one of them a list, announces right. Asserts that the
  // value fits in 65,535 octets. What an agent sends is written by AttributeWriter (VelBgp/AttributeWriter.h), which
  // announces what it carries and refuses what is too long.
  std::string serialize(Serialization s) const;

  // The interned list without its prunable communities: this one if there are none, null if nothing is left.
  PtrConst prune(const ExtCommListDedupTable* table) const;

  // Whether the expression matches the list's text in any of the modes below, tried in their order, `ui` only on lists
  // that have communities for it. Asserts that there is an expression.
  // An interned list asks an expression once; the answer is remembered while the list lives (Policy/PosixRegex.h).
  bool matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const;
  // What that gives for each expression, in one pass.
  std::vector<bool> matchCommunitiesRegexSet(const RouteMap::PosixRegexSet& set) const;

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

  struct Batch;
  template <typename Equal>
  static PtrConst findOrMake(const ExtCommListDedupTable* table, const ExtCommListContentBase& content,
                             std::uint32_t hash, Equal&& equal);
  static PtrConst dedupHashed(const ExtCommListDedupTable* table, const ExtCommListContentU64& content,
                              std::uint32_t hash);
  static Ptr make(const ExtCommListDedupTable* table, const ExtCommListContentBase& content, std::uint32_t hash);
  // Splits the communities by classification; without a table the classification lists are private ones. `hash` is the
  // list's.
  void createClassificationListVector(const ExtCommListDedupTable* table, std::uint32_t hash);
  class Split;
  void computeCommVectorAttrs();

  void prefetchParts() const noexcept;

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

  ExtCommClassificationLists classificationLists_;
  std::uint32_t transitiveCount_ = 0;
  std::uint32_t ownBlock_ = 0;  // the count of the block of references that goes on behind the list
};
extern template class ExtCommListBase<ExtCommList, 0>;
static_assert(sizeof(ExtCommList) == 48);

// How the communities of a list become the text that a regular expression runs over, one blank between them. Every
// community contributes, also one whose text is empty; in `ui` only those that policy matches by their UI text.
enum class MatchMode : std::uint8_t { strepDefault, strepClassification, ui };

// Whether the expression is found in that text. Neither is null. Asserts that in `ui` the text is not empty.
VELBGP_EXPORT bool matchExtCommList(const ExtCommList* list, MatchMode matchMode, const RouteMap::PosixRegex* regex);

// Whether the expression matches a list of this community alone, in any of the modes that it has a text for. Asserts that
// there is an expression.
VELBGP_EXPORT bool matchExtComm(const ExtComm* comm, const RouteMap::PosixRegex* regex);

// The elements, a blank between them.
VELBGP_EXPORT std::ostream& join(std::ostream& stream, const ExtCommRange& vector);  // others: VelBgp/ListText.h

// "[ ", the communities, " ]"; "NULL" for a null list. The stream's formatting state is left as it was.
VELBGP_EXPORT std::ostream& formatCommList(std::ostream& stream, const ExtCommList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommList& list);
VELBGP_EXPORT std::string stringify(const ExtCommList* list);

}  // namespace Routing::Bgp
