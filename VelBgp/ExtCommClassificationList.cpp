#include <new>
#include <utility>

#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {

template class ExtCommListBase<ExtCommClassificationList, 1>;

ExtCommClassificationList::ExtCommClassificationList(ExtCommClassification classification) {
  checkClassification(classification);
  userDataIs(static_cast<std::uint32_t>(classification));
}

RtExtCommClassificationList::~RtExtCommClassificationList() { lifeTimeNotifierIs(nullptr); }

TYR_FWK_TYPE(ExtCommClassificationList, "Routing::Bgp::ExtCommClassificationList")
TYR_FWK_TYPE(LinkBandwidthExtCommClassificationList, "Routing::Bgp::LinkBandwidthExtCommClassificationList")
TYR_FWK_TYPE(RtExtCommClassificationList, "Routing::Bgp::RtExtCommClassificationList")

bool ExtCommClassificationList::compareByContent(const Keel::DedupContentHandle& content) const {
  return compareExtCommContent(static_cast<const ExtCommClassificationListContent*>(&content), this, comms_);
}

void ExtCommClassificationList::checkPrunable(const ExtComm::PtrConst& comm) {
  if (!comm->isValid()) hasPrunableValuesIs(true);
}

ExtCommListContent::Vector ExtCommClassificationList::prune() const {
  ExtCommListContent::Vector kept;
  for (const ExtComm* comm : comms()) {
    if (comm->isValid()) kept.emplace_back(comm);
  }
  return kept;
}

void ExtCommClassificationList::hasPrunableValuesIs(bool has) {
  CommVectorAttrs attrs = commVectorAttrs();
  attrs.hasPrunableValuesIs(has);
  attrsIs(attrs);
}

ExtCommClassificationList::PtrConst ExtCommClassificationList::dedupContent(
    const ExtCommListDedupTable* table, const ExtCommClassificationListContent& content) {
  const ExtCommListDedupTable& lists = Keel::tableAt(table);
  const std::uint32_t hash = content.sortAndHash();
  const auto comms = referenced(content.comms());
  CommReferences references(comms);
  return dedupSorted(lists, content.classification(), references, hash);
}

Keel::DedupHashTable& ExtCommClassificationList::tableOf(const ExtCommListDedupTable& table,
                                                         ExtCommClassification classification) {
  return classification == extCommClassificationRouteTarget ? *table.rtExtCommClassificationListDedupTableRaw()
                                                            : table.extCommClassificationListDedupTable();
}

ExtCommClassificationList::PtrConst ExtCommClassificationList::dedupSorted(const ExtCommListDedupTable& table,
                                                                           ExtCommClassification classification,
                                                                           CommReferences& comms, std::uint32_t hash) {
  return tableOf(table, classification)
      .findOrDedup<ExtCommClassificationList>(
          hash,
          [all = comms.all()](const ExtCommClassificationList& list) {
            const ExtCommRange range = list.comms_.range();
            return std::equal(all.begin(), all.end(), range.begin(), range.end(), SameCommunity());
          },
          [&] { return newFilled(classification, comms); });
}

ExtCommClassificationList::Ptr ExtCommClassificationList::newOfItsClass(ExtCommClassification classification) {
  Ptr list;
  if (classification == extCommClassificationRouteTarget) {
    list = new RtExtCommClassificationList(classification);
  } else if (classification == extCommClassificationLinkBandwidth) {
    list = new LinkBandwidthExtCommClassificationList(classification);
  } else {
    list = new ExtCommClassificationList(classification);
  }
  list->notificationActiveIs(true);
  return list;
}

ExtCommClassificationList::Ptr ExtCommClassificationList::allocateExtCommClassificationList(
    const ExtCommClassificationListContent& content) {
  content.sortAndHash();
  const auto comms = referenced(content.comms());
  CommReferences references(comms);
  return newFilled(content.classification(), references);
}

ExtCommClassificationList::Ptr ExtCommClassificationList::newFilled(ExtCommClassification classification,
                                                                    CommReferences& comms) {
  Ptr list = newOfItsClass(classification);
  list->comms_.sizeIs(static_cast<std::uint32_t>(comms.all().size()));
  list->fill(comms.taken());
  return list;
}

void ExtCommClassificationList::fill(Comms comms) noexcept {
  for (std::uint32_t i = 0; i < comms.size(); ++i) {
    ExtComm::PtrConst comm(comms[i], false);
    checkPrunable(comm);
    comms_.elementIs(i, std::move(comm));
  }
  commVectorSortedIs(true);
}

void LinkBandwidthExtCommClassificationList::checkPrunable(const ExtComm::PtrConst& comm) {
  if (!comm->isValid()) return hasPrunableValuesIs(true);
  if (best_ == nullptr || comm->isBetterThan(best_)) best_ = comm;
  if (vectorSize() >= 2) hasPrunableValuesIs(true);
}

ExtCommListContent::Vector LinkBandwidthExtCommClassificationList::prune() const {
  ExtCommListContent::Vector kept;
  if (best_ != nullptr) kept.push_back(best_);
  return kept;
}

void RtExtCommClassificationList::lifeTimeNotifierIs(RtExtCommListLifeTimeNotifier::Ptr notifier) noexcept {
  const RtExtCommListLifeTimeNotifier::Ptr before(
      lifeTimeNotifier_.exchange(notifier.detach(), std::memory_order_acq_rel), false);
}

// Of two threads that make one at the same time the second takes the first's.
RtExtCommListLifeTimeNotifier* RtExtCommClassificationList::made() const {
  auto fresh = Tyr::make<RtExtCommListLifeTimeNotifier>(const_cast<RtExtCommClassificationList*>(this));
  RtExtCommListLifeTimeNotifier* present = nullptr;
  if (!lifeTimeNotifier_.compare_exchange_strong(present, fresh.get(), std::memory_order_acq_rel)) return present;
  return fresh.detach();
}

bool RtExtCommClassificationList::notifierMake() noexcept {
  try {
    return lifeTimeNotifier_.load(std::memory_order_acquire) != nullptr || made() != nullptr;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

RtExtCommClassificationList::Ptr rtExtCommClassificationListFactory(ExtCommClassification classification) {
  RtExtCommClassificationList::Ptr list(new RtExtCommClassificationList(classification));
  list->notificationActiveIs(true);
  return list;
}

const ExtCommClassificationList* ExtCommClassificationLists::lookup(ExtCommClassification classification) const {
  checkClassification(classification);
  const Range lists = range();
  const auto found = std::lower_bound(lists.begin(), lists.end(), classification,
                                      [](const ExtCommClassificationList* list, ExtCommClassification sought) {
                                        return list->classification() < sought;
                                      });
  if (found == lists.end() || (*found)->classification() != classification) return nullptr;
  return *found;
}

}  // namespace Routing::Bgp
