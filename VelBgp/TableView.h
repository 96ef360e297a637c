// What is interned now: walks over the objects of a table, and the metrics of the tables.
//
//   visitLists(tables.extCommLists(), [](const Interned<ExtCommList>& list) {
//     std::cout << list.object << ' ' << list.references << ' ' << list.octets << '\n';
//   });
//   for (const Keel::DedupHashTable* table : hashTablesOf(tables)) {
//     const Keel::DedupMetrics now = table->metrics();
//     std::cout << table->name() << ' ' << now.objects << ' ' << now.misses << ' ' << now.objectOctets << '\n';
//   }
//
// Walks. An object is held while it is visited, and stays for longer if visit() takes a pointer to it; nothing is locked
// then, so visit() may intern, look up and let go, in the table that is walked through too, take its time, or throw, which
// ends the walk. What is there during the whole walk is visited once, however the table grows; what comes or goes
// meanwhile may be visited or not. The order means nothing. A walk holds the objects of one bucket at a time, about seven,
// which may outlive their last other holder by as long as that takes; an object whose last reference the walk gives back
// leaves its tables there.
//
// Metrics. Misses are counted as objects enter, by each thread in a line of its own. Hits write no counter, for nothing
// else that they write is their thread's; a table that is told to (countsHitsIs) counts them too, and its metrics have
// them. The other numbers are taken when they are asked for, in a walk that locks one bucket after the other.
// Keel::SlabHeap::heldOctets() says what all tables of the process together keep of the system's memory.
//
// Threads: any while the agent is multi-threaded (Keel/DedupHashTable.h). The tables are to outlive the call. Errors: a
// null table stops the process; std::bad_alloc, and what visit() throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "VelBgp/CommunityTables.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp {

template <typename T>
struct Interned {
  const T& object;
  std::uint32_t references;  // of others than the walk; while other threads copy and let go, about now
  std::size_t octets;        // that it takes, with what it alone owns
};

// Any hash table of which all objects are Ts.
template <typename T, typename Visit>
void visitTable(const Keel::DedupHashTable& table, Visit&& visit) {
  table.forEachHeld([&visit](const Keel::DedupHandleBase* handle) {
    visit(Interned<T>{static_cast<const T&>(*handle), handle->referenceCount() - 1, handle->memoryOctets()});
  });
}

// visit(const Interned<T>&) for each community that the table has.
template <typename Visit>
void visitCommunities(const ExtCommDedupTable* table, Visit&& visit) {
  visitTable<ExtComm>(Keel::tableAt(table).dedupTable(), visit);
}
template <typename Visit>
void visitCommunities(const ExtCommIp6DedupTable* table, Visit&& visit) {
  visitTable<ExtCommIp6>(Keel::tableAt(table).dedupTable(), visit);
}
// The same of its lists.
template <typename Visit>
void visitLists(const ExtCommListDedupTable* table, Visit&& visit) {
  visitTable<ExtCommList>(Keel::tableAt(table).extCommListDedupTable(), visit);
}
template <typename Visit>
void visitLists(const ExtCommIp6ListDedupTable* table, Visit&& visit) {
  visitTable<ExtCommIp6List>(Keel::tableAt(table).extCommListDedupTable(), visit);
}
template <typename Visit>
void visitLists(const CommListDedupTable* table, Visit&& visit) {
  visitTable<CommList>(Keel::tableAt(table).dedupTable(), visit);
}
template <typename Visit>
void visitLists(const LargeCommListDedupTable* table, Visit&& visit) {
  visitTable<LargeCommList>(Keel::tableAt(table).dedupTable(), visit);
}
// The same of its classification lists.
template <typename Visit>
void visitClassificationLists(const ExtCommListDedupTable* table, Visit&& visit) {
  visitTable<ExtCommClassificationList>(Keel::tableAt(table).extCommClassificationListDedupTable(), visit);
  visitTable<ExtCommClassificationList>(*table->rtExtCommClassificationListDedupTable(), visit);
}
template <typename Visit>
void visitClassificationLists(const ExtCommIp6ListDedupTable* table, Visit&& visit) {
  visitTable<ExtCommIp6ClassificationList>(Keel::tableAt(table).extCommClassificationListDedupTable(), visit);
}

// The hash tables that a table is made of, good for as long as it lives.
VELBGP_EXPORT std::vector<Keel::DedupHashTable*> hashTablesOf(const ExtCommDedupTableBase* table);
VELBGP_EXPORT std::vector<Keel::DedupHashTable*> hashTablesOf(const CommListDedupTableBase* table);
VELBGP_EXPORT std::vector<Keel::DedupHashTable*> hashTablesOf(const ExtCommListDedupTable* table);
VELBGP_EXPORT std::vector<Keel::DedupHashTable*> hashTablesOf(const ExtCommIp6ListDedupTable* table);
VELBGP_EXPORT std::vector<Keel::DedupHashTable*> hashTablesOf(const CommunityTables& tables);

}  // namespace Routing::Bgp
