#include "VelBgp/CommListSnapshot.h"

#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {

SnapshotClassification::SnapshotClassification(ExtCommClassification classification) : classification_(classification) {
  checkClassification(classification);
}

TYR_FACTORIES(ExtCommListSnapshot::Ptr, extCommListSnapshot, ExtCommListSnapshot, (), ())
TYR_FACTORIES(ExtCommIp6ListSnapshot::Ptr, extCommIp6ListSnapshot, ExtCommIp6ListSnapshot, (), ())
TYR_FACTORIES(CommListSnapshot::Ptr, commListSnapshot, CommListSnapshot, (), ())
TYR_FACTORIES(LargeCommListSnapshot::Ptr, largeCommListSnapshot, LargeCommListSnapshot, (), ())
TYR_FACTORIES(ExtCommClassificationListSnapshot::Ptr, extCommClassificationListSnapshot,
              ExtCommClassificationListSnapshot, (ExtCommClassification classification), (classification))
TYR_FACTORIES(ExtCommIp6ClassificationListSnapshot::Ptr, extCommIp6ClassificationListSnapshot,
              ExtCommIp6ClassificationListSnapshot, (ExtCommClassification classification), (classification))

namespace {

// With the communities of a list, and with its classification lists where the snapshot has those.
template <typename Snapshot, typename List>
Tyr::Ptr<Snapshot> filled(Tyr::Ptr<Snapshot> snapshot, const List& list) {
  constexpr bool values = requires { snapshot->commIs(*list.comms().begin(), true); };
  for (const auto& comm : list.comms()) {
    if constexpr (values) {
      snapshot->commIs(comm, true);
    } else {
      snapshot->commIs(comm);
    }
  }
  if constexpr (requires { snapshot->classificationListCount(); }) {
    for (const auto& part : list.classificationLists()) {
      if (part != nullptr) snapshot->classificationListIs(part);
    }
  }
  return snapshot;
}

}  // namespace

ExtCommListSnapshot::Ptr ExtCommList::commSnapshot() const { return filled(extCommListSnapshotFactory(), *this); }
ExtCommListSnapshot::Ptr ExtCommList::snapshot() const { return commSnapshot(); }
ExtCommClassificationListSnapshot::Ptr ExtCommClassificationList::commSnapshot() const {
  return filled(extCommClassificationListSnapshotFactory(classification()), *this);
}
ExtCommIp6ListSnapshot::Ptr ExtCommIp6List::commSnapshot() const {
  return filled(extCommIp6ListSnapshotFactory(), *this);
}
ExtCommIp6ClassificationListSnapshot::Ptr ExtCommIp6ClassificationList::commSnapshot() const {
  return filled(extCommIp6ClassificationListSnapshotFactory(classification()), *this);
}
CommListSnapshot::Ptr CommList::commSnapshot() const { return filled(commListSnapshotFactory(), *this); }
LargeCommListSnapshot::Ptr LargeCommList::commSnapshot() const { return filled(largeCommListSnapshotFactory(), *this); }

}  // namespace Routing::Bgp
