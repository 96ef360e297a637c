// The table that interns lists of extended communities and their classification lists, one object per distinct
// sequence of values, and announces those of route targets.
//
// Ownership: one per agent, shared through its Ptr; it must exist before any list is interned, and lists may outlive
// it. Threads: as its hash tables' variant allows (Keel/DedupHashTable.h).
#pragma once

#include "VelBgp/NotifyingRouteTargetList.h"

namespace Routing::Bgp {

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
  ~ExtCommListDedupTable() override = default;

  const Tyr::Ptr<Keel::DedupHashTable> extCommListDedupTable_;
  const Tyr::Ptr<Keel::DedupHashTable> extCommClassificationListDedupTable_;
  const Tyr::Ptr<Keel::DedupHashTable> rtExtCommClassificationListDedupTable_;
  const NotifyingRtExtCommListCollection::Ptr notifyingRtExtCommListCollection_;
  RtExtCommListLifeTimeNotifiee::Ptr rtExtCommListLifeTimeNotifiee_;
};

VELBGP_EXPORT ExtCommListDedupTable::Ptr extCommListDedupTableFactory();
VELBGP_EXPORT ExtCommListDedupTable::Ptr ExtCommListDedupTableIs();

}  // namespace Routing::Bgp
