#include "VelBgp/CommListSnapshot.h"

#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {

SnapshotClassification::SnapshotClassification(ExtCommClassification classification) : classification_(classification) {
  checkClassification(classification);
}

// The destructor, and the factory's two names.
#define SNAPSHOT(Snapshot, snapshotFactory, Parameters, arguments)                            \
  Snapshot::~Snapshot() = default;                                                            \
  Snapshot::Ptr snapshotFactory##Factory Parameters { return Tyr::make<Snapshot> arguments; } \
  Snapshot::Ptr Snapshot##Is Parameters { return snapshotFactory##Factory arguments; }
SNAPSHOT(ExtCommListSnapshot, extCommListSnapshot, (), ())
SNAPSHOT(ExtCommIp6ListSnapshot, extCommIp6ListSnapshot, (), ())
SNAPSHOT(CommListSnapshot, commListSnapshot, (), ())
SNAPSHOT(LargeCommListSnapshot, largeCommListSnapshot, (), ())
SNAPSHOT(ExtCommClassificationListSnapshot, extCommClassificationListSnapshot, (ExtCommClassification classification),
         (classification))
SNAPSHOT(ExtCommIp6ClassificationListSnapshot, extCommIp6ClassificationListSnapshot,
         (ExtCommClassification classification), (classification))
#undef SNAPSHOT

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
