#include "VelBgp/CommListSnapshot.h"

#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {

ClassificationSnapshot::ClassificationSnapshot(ExtCommClassification classification) : classification_(classification) {
  checkClassification(classification);
}

ClassificationSnapshot::~ClassificationSnapshot() = default;
ExtCommListSnapshot::~ExtCommListSnapshot() = default;
ExtCommClassificationListSnapshot::~ExtCommClassificationListSnapshot() = default;
ExtCommIp6ListSnapshot::~ExtCommIp6ListSnapshot() = default;
ExtCommIp6ClassificationListSnapshot::~ExtCommIp6ClassificationListSnapshot() = default;
CommListSnapshot::~CommListSnapshot() = default;
LargeCommListSnapshot::~LargeCommListSnapshot() = default;

// The factories' two names each.
#define SNAPSHOT_FACTORIES(Snapshot, snapshotFactory)                        \
  Snapshot::Ptr snapshotFactory##Factory() { return Tyr::make<Snapshot>(); } \
  Snapshot::Ptr Snapshot##Is() { return snapshotFactory##Factory(); }
SNAPSHOT_FACTORIES(ExtCommListSnapshot, extCommListSnapshot)
SNAPSHOT_FACTORIES(ExtCommIp6ListSnapshot, extCommIp6ListSnapshot)
SNAPSHOT_FACTORIES(CommListSnapshot, commListSnapshot)
SNAPSHOT_FACTORIES(LargeCommListSnapshot, largeCommListSnapshot)
#undef SNAPSHOT_FACTORIES

ExtCommClassificationListSnapshot::Ptr extCommClassificationListSnapshotFactory(ExtCommClassification classification) {
  return Tyr::make<ExtCommClassificationListSnapshot>(classification);
}
ExtCommClassificationListSnapshot::Ptr ExtCommClassificationListSnapshotIs(ExtCommClassification classification) {
  return extCommClassificationListSnapshotFactory(classification);
}
ExtCommIp6ClassificationListSnapshot::Ptr extCommIp6ClassificationListSnapshotFactory(
    ExtCommClassification classification) {
  return Tyr::make<ExtCommIp6ClassificationListSnapshot>(classification);
}
ExtCommIp6ClassificationListSnapshot::Ptr ExtCommIp6ClassificationListSnapshotIs(ExtCommClassification classification) {
  return extCommIp6ClassificationListSnapshotFactory(classification);
}

namespace {

template <typename Snapshot, typename List>
Tyr::Ptr<Snapshot> withComms(Tyr::Ptr<Snapshot> snapshot, const List& list) {
  for (const auto& comm : list.comms()) snapshot->commIs(comm);
  return snapshot;
}

template <typename Snapshot, typename Range>
void addClassificationLists(Snapshot& snapshot, const Range& lists) {
  for (const auto& list : lists) {
    if (list != nullptr) snapshot.classificationListIs(list);
  }
}

template <typename Snapshot, typename List>
Tyr::Ptr<Snapshot> withValues(Tyr::Ptr<Snapshot> snapshot, const List& list) {
  for (const auto& value : list.comms()) snapshot->commIs(value, true);
  return snapshot;
}

}  // namespace

ExtCommListSnapshot::Ptr ExtCommList::commSnapshot() const {
  ExtCommListSnapshot::Ptr snapshot = extCommListSnapshotFactory();
  addClassificationLists(*snapshot, classificationLists());
  return withComms(std::move(snapshot), *this);
}

ExtCommListSnapshot::Ptr ExtCommList::snapshot() const { return commSnapshot(); }

ExtCommClassificationListSnapshot::Ptr ExtCommClassificationList::commSnapshot() const {
  return withComms(extCommClassificationListSnapshotFactory(classification()), *this);
}

ExtCommIp6ListSnapshot::Ptr ExtCommIp6List::commSnapshot() const {
  ExtCommIp6ListSnapshot::Ptr snapshot = extCommIp6ListSnapshotFactory();
  addClassificationLists(*snapshot, classificationLists());
  return withComms(std::move(snapshot), *this);
}

ExtCommIp6ClassificationListSnapshot::Ptr ExtCommIp6ClassificationList::commSnapshot() const {
  return withComms(extCommIp6ClassificationListSnapshotFactory(classification()), *this);
}

CommListSnapshot::Ptr CommList::commSnapshot() const { return withValues(commListSnapshotFactory(), *this); }

LargeCommListSnapshot::Ptr LargeCommList::commSnapshot() const {
  return withValues(largeCommListSnapshotFactory(), *this);
}

}  // namespace Routing::Bgp
