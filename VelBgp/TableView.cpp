#include "VelBgp/TableView.h"

namespace Routing::Bgp {

using HashTables = std::vector<Keel::DedupHashTable*>;

HashTables hashTablesOf(const ExtCommDedupTableBase* table) { return {&Keel::tableAt(table).dedupTable()}; }
HashTables hashTablesOf(const CommListDedupTableBase* table) { return {&Keel::tableAt(table).dedupTable()}; }

HashTables hashTablesOf(const ExtCommListDedupTable* table) {
  return {&Keel::tableAt(table).extCommListDedupTable(), &table->extCommClassificationListDedupTable(),
          table->rtExtCommClassificationListDedupTableRaw()};
}

HashTables hashTablesOf(const ExtCommIp6ListDedupTable* table) {
  return {&Keel::tableAt(table).extCommListDedupTable(), &table->extCommClassificationListDedupTable()};
}

HashTables hashTablesOf(const CommunityTables& tables) {
  HashTables all;
  for (const HashTables& some : {hashTablesOf(tables.extComms()), hashTablesOf(tables.extCommLists()),
                                 hashTablesOf(tables.extCommIp6s()), hashTablesOf(tables.extCommIp6Lists()),
                                 hashTablesOf(tables.commLists()), hashTablesOf(tables.largeCommLists())}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

}  // namespace Routing::Bgp
