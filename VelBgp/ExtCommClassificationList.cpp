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
  const std::uint32_t hash = content.sortAndHash();
  ExtCommClassificationListContent ours(content);  // dedupSorted takes the communities
  return dedupSorted(table, ours, hash);
}

// The content's references move into a new list, or stay with the content when the list is there already.
ExtCommClassificationList::PtrConst ExtCommClassificationList::dedupSorted(const ExtCommListDedupTable* table,
                                                                           ExtCommClassificationListContent& content,
                                                                           std::uint32_t hash) {
  Keel::DedupHashTable& dedupTable = content.classification() == extCommClassificationRouteTarget
                                         ? *table->rtExtCommClassificationListDedupTableRaw()
                                         : table->extCommClassificationListDedupTable();
  return dedupTable.findOrDedup<ExtCommClassificationList>(
      hash,
      [&content](const ExtCommClassificationList& list) { return compareExtCommContent(&content, &list, list.comms_); },
      [&content] {
        Ptr fresh = newOfItsClass(content.classification());
        fresh->fill(content.comms_);
        return fresh;
      });
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
  ExtCommClassificationListContent::Vector comms(content.comms());
  Ptr list = newOfItsClass(content.classification());
  list->fill(comms);
  return list;
}

void ExtCommClassificationList::fill(ExtCommClassificationListContent::Vector& comms) {
  const auto count = static_cast<std::uint32_t>(comms.size());
  comms_.sizeIs(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    checkPrunable(comms[i]);
    comms_.elementIs(i, std::move(comms[i]));
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
