#include <bit>
#include <utility>

#include "VelBgp/VelBgpCommunityListImpl.h"
#include "VelBgp/VelBgpSerialize.h"

namespace Routing::Bgp {
namespace {

constexpr std::uint32_t bitOf(ExtCommClassification classification) noexcept {
  return 1u << static_cast<unsigned>(classification);
}

}  // namespace

ExtCommList::~ExtCommList() {
  // Only a list whose making was broken off still holds references itself.
  if (splitOff_ != splitOffAll) {
    for (const ExtComm* comm : comms_.range()) {
      if (comm != nullptr && (splitOff_ & bitOf(comm->classification())) == 0) comm->referenceRelease();
    }
  }
  comms_.forgetElements();
}

const Tyr::FwkType& ExtCommList::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::ExtCommList"};
  return type;
}

std::uint32_t ExtCommList::hash() const { return isDeduped() ? storedHash() : hashExtCommList(this); }

bool ExtCommList::compare(const Keel::DedupHandleBase* other) const {
  return compareExtCommLists(this, static_cast<const ExtCommList*>(other));
}

bool ExtCommList::compareByContent(const Keel::DedupContentHandle& content) const {
  return static_cast<const ExtCommListContentBase&>(content).compareWithExtCommList(this);
}

ExtCommList::PtrConst ExtCommList::dedupContent(const ExtCommListDedupTable* table,
                                                const ExtCommListContentBase& content) {
  return dedupContentOf(table, content);
}

// The form that attributes arrive in: known at compile time, a hit makes no virtual call.
ExtCommList::PtrConst ExtCommList::dedupContent(const ExtCommListDedupTable* table,
                                                const ExtCommListContentU64& content) {
  return dedupContentOf(table, content);
}

template <typename Content>
ExtCommList::PtrConst ExtCommList::dedupContentOf(const ExtCommListDedupTable* table, const Content& content) {
  const std::uint32_t hash = content.sortAndHash();
  auto equal = [&content](const Keel::DedupHandleBase& list) {
    return content.compareWithExtCommList(static_cast<const ExtCommList*>(&list));
  };
  if (Keel::DedupHandleBase* found = table->extCommListDedupTable().find(hash, equal)) {
    return PtrConst(static_cast<const ExtCommList*>(found), false);
  }
  return make(table, content, hash);
}

ExtCommList::PtrConst ExtCommList::make(const ExtCommListDedupTable* table, const ExtCommListContentBase& content,
                                        std::uint32_t hash) {
  const Ptr list(new ExtCommList);
  list->notificationActiveIs(true);
  content.populateExtCommList(list.get());
  list->commVectorSortedIs(true);
  list->createClassificationListVector(table);
  list->computeCommVectorAttrs();
  return PtrConst(static_cast<const ExtCommList*>(table->extCommListDedupTable().dedup(list.get(), hash)), false);
}

ExtCommList::PtrConst ExtCommList::dedupSingleU64(const ExtCommDedupTable* commTable,
                                                  const ExtCommListDedupTable* table, std::uint64_t value) {
  ExtCommListContentU64 content(commTable);
  content.commIs(value);
  return dedupContent(table, content);
}

void ExtCommList::createClassificationListVector(const ExtCommListDedupTable* table) {
  TYR_ASSERT(commVectorSorted());
  TYR_ASSERT(classificationLists_.array_.empty());
  std::uint32_t counts[Tyr::Range<ExtCommClassification>::size()] = {};
  std::uint32_t present = 0;
  CommVectorAttrs attrs = commVectorAttrs();
  bool policyMatchStrepUI = false;
  bool unspecifiedAsNumber = false;
  for (const ExtComm* comm : comms_.range()) {
    const ExtCommClassification classification = comm->classification();
    checkClassification(classification);
    ++counts[classification];
    present |= bitOf(classification);
    transitiveCount_ += comm->getContent().transitive();
    policyMatchStrepUI |= comm->internedPolicyMatchStrepUI();
    unspecifiedAsNumber |= comm->internedLinkBandwidthWithUnspecifiedAsNumber();
  }
  if (table == nullptr) {
    transitiveCount_ = 0;
    policyMatchStrepUI = false;
  }
  classificationLists_.array_.sizeIs(static_cast<std::uint32_t>(std::popcount(present)));
  std::uint32_t place = 0;
  for (std::uint32_t left = present; left != 0; left &= left - 1) {
    const auto classification = ExtCommClassification(std::countr_zero(left));
    splitOff(table, classification, counts[classification], place++);
  }
  splitOff_ = splitOffAll;
  attrs.hasPolicyMatchStrepUICommunitiesIs(policyMatchStrepUI);
  attrs.hasLinkBandwidthWithUnspecifiedAsNumberIs(unspecifiedAsNumber);
  attrs.hasLinkBandwidthIs((present & bitOf(extCommClassificationLinkBandwidth)) != 0);
  commVectorAttrsIs(attrs);
}

// All that can fail comes before the references move or after: a list that is broken off gives each back once.
void ExtCommList::splitOff(const ExtCommListDedupTable* table, ExtCommClassification classification,
                           std::uint32_t count, std::uint32_t place) {
  ExtCommClassificationListContent content(classification);
  content.expectedCommunityCountIs(count);
  for (const ExtComm* comm : comms_.range()) {
    if (comm->classification() == classification) ExtCommVectorAdd(ExtComm::PtrConst(comm, false), content.comms_);
  }
  splitOff_ = static_cast<std::uint16_t>(splitOff_ | bitOf(classification));
  content.commVectorSorted_ = true;  // a part of a sorted vector
  const std::uint32_t hash = content.sortAndHash();
  classificationLists_.array_.elementIs(
      place, table == nullptr ? ExtCommClassificationList::allocateExtCommClassificationList(content)
                              : ExtCommClassificationList::dedupSorted(table, content, hash));
}

void ExtCommList::computeCommVectorAttrs() {
  CommVectorAttrs attrs = commVectorAttrs();
  for (const ExtCommClassificationList* _classificationList : classificationLists()) {
    TYR_ASSERT(_classificationList->isDeduped());
    if (_classificationList->hasPrunableValues()) attrs.hasPrunableValuesIs(true);
    if (_classificationList->classification() == extCommClassificationLinkBandwidth) attrs.hasLinkBandwidthIs(true);
    if (_classificationList->classification() == extCommClassificationOriginValidationState) {
      attrs.hasOriginValidationStateIs(true);
    }
  }
  commVectorAttrsIs(attrs);
}

ExtCommRange ExtCommList::comms() const { return sortedComms(this, comms_); }

ExtComm::PtrConst ExtCommList::comm(std::uint64_t value) const {
  return ExtCommVectorLookup(commVectorSorted(), comms_.range(), value);
}

std::uint32_t ExtCommList::totalCommunities() const { return comms().size(); }

ExtCommClassificationList::PtrConst ExtCommList::classificationList(ExtCommClassification classification) const {
  return classificationLists_.lookup(classification);
}

void ExtCommList::commVectorSortedIs(bool sorted) {
  CommVectorAttrs attrs = commVectorAttrs();
  attrs.sortedIs(sorted);
  commVectorAttrsIs(attrs);
}

ExtCommList::Serialization ExtCommList::serialization(bool includeNonTransitive, bool includeLinkBandwidth,
                                                      bool includeOriginAsValidity) {
  Serialization s;
  s.allIs(includeNonTransitive);
  s.transitiveIs(!includeNonTransitive);
  s.linkBandwidthIs(!includeNonTransitive && includeLinkBandwidth);
  s.originAsValidityIs(!includeNonTransitive && includeOriginAsValidity);
  return s;
}

bool ExtCommList::serializable(const ExtComm& comm, Serialization s) {
  return s.all() || (s.transitive() && comm.getContent().transitive()) ||
         (s.linkBandwidth() && comm.classification() == extCommClassificationLinkBandwidth) ||
         (s.originAsValidity() && comm.classification() == extCommClassificationOriginValidationState);
}

std::uint32_t ExtCommList::serializableCommunities(Serialization s) const {
  if (s.all()) return totalCommunities();
  std::uint32_t count = s.transitive() ? transitiveCount_ : 0;
  if (s.linkBandwidth() && hasLinkBandwidth()) ++count;
  if (s.originAsValidity() && hasOriginValidationState()) ++count;
  return count;
}

std::string ExtCommList::serialize(Serialization s) const {
  const std::uint32_t n = serializableCommunities(s);
  if (n == 0) return {};
  constexpr std::uint32_t octetsEach = sizeof(std::uint64_t);
  SerializePathAttribute attribute(BgpPathAttrType::extCommunity, BgpPathAttrFlag::optionalTransitive, n * octetsEach);
  for (const ExtComm* comm : comms()) {
    if (serializable(*comm, s)) attribute.addU64hton(comm->community());
  }
  return attribute.serializedBytes(0);
}

ExtCommList::PtrConst ExtCommList::prune(const ExtCommListDedupTable* table) const {
  if (!hasPrunableValues()) return this;
  ExtCommListContent content;
  for (const ExtCommClassificationList* list : classificationLists()) {
    if (list->hasPrunableValues()) {
      for (ExtComm::PtrConst& comm : list->prune()) content.commIs(std::move(comm));
    } else {
      for (const ExtComm* comm : list->comms()) content.commIs(comm);
    }
  }
  if (!content) return nullptr;
  return dedupContent(table, content);
}

ExtCommListDedupTable::ExtCommListDedupTable() { handleInitialized(); }

ExtCommListDedupTable::~ExtCommListDedupTable() = default;

void ExtCommListDedupTable::handleInitialized() {
  extCommListDedupTable_ = Tyr::make<Keel::DedupHashTable>("extCommList");
  extCommClassificationListDedupTable_ = Tyr::make<Keel::DedupHashTable>("extCommClassificationList");
  rtExtCommClassificationListDedupTable_ = Tyr::make<Keel::DedupHashTable>("rtExtCommClassificationList");
  notifyingRtExtCommListCollection_ = Tyr::make<NotifyingRtExtCommListCollection>();
  rtExtCommListLifeTimeNotifieeIs(notifyingRtExtCommListCollection_);
  rtExtCommClassificationListDedupTable_->lifeTimeNotifieeIs(rtExtCommListLifeTimeNotifiee_);
}

RtExtCommListLifeTimeNotifiee::Ptr ExtCommListDedupTable::rtExtCommListLifeTimeNotifieeIs(
    NotifyingRtExtCommListCollection::Ptr collection) {
  if (rtExtCommListLifeTimeNotifiee_ == nullptr || rtExtCommListLifeTimeNotifiee_->collection() != collection) {
    rtExtCommListLifeTimeNotifiee_ = rtExtCommListLifeTimeNotifieeFactory(std::move(collection));
  }
  return rtExtCommListLifeTimeNotifiee_;
}

void ExtCommListDedupTable::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  context.line(indent, "ExtCommListDedupTable");
  context.line(indent + 2, "extComm");  // Deliberate: scripts look for this label, though the section is of lists
  extCommListDedupTable_->dump(context, indent + 4);
  context.line(indent + 2, "extCommClassification");
  extCommClassificationListDedupTable_->dump(context, indent + 4);
  context.line(indent + 2, "rtExtCommClassification");
  rtExtCommClassificationListDedupTable_->dump(context, indent + 4);
}

ExtCommListDedupTable::Ptr extCommListDedupTableFactory() { return Tyr::make<ExtCommListDedupTable>(); }
ExtCommListDedupTable::Ptr ExtCommListDedupTableIs() { return Tyr::make<ExtCommListDedupTable>(); }

}  // namespace Routing::Bgp
