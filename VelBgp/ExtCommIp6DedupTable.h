// The table that interns IPv6-address-specific extended communities.
//
//   ExtCommIp6DedupTable   keeps one ExtCommIp6 per value, decodes on a miss
//
//   const auto table = ExtCommIp6DedupTableIs(rule);
//   const ExtCommIp6::PtrConst comm = ExtCommIp6::dedupContent(table.get(), content);
//
// Ownership: one per agent, shared through its Ptr; keeps its root rule alive. Communities may outlive it and are then
// in no table. Threads: as its hash table's variant allows (Keel/DedupHashTable.h). Errors: Tyr::NullArgumentException
// without a rule.
#pragma once

#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/ExtCommIp6.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommIp6DedupTable final : public ExtCommDedupTableBase {
 public:
  using Ptr = Tyr::Ptr<ExtCommIp6DedupTable>;
  using PtrConst = Tyr::Ptr<const ExtCommIp6DedupTable>;

  explicit ExtCommIp6DedupTable(Tyr::Ptr<const BgpParseExtendedCommunityRule> parseExtCommRule);

 private:
  ~ExtCommIp6DedupTable() override;
};

VELBGP_EXPORT ExtCommIp6DedupTable::Ptr extCommIp6DedupTableFactory(Tyr::Ptr<const BgpParseExtendedCommunityRule> rule);
VELBGP_EXPORT ExtCommIp6DedupTable::Ptr ExtCommIp6DedupTableIs(Tyr::Ptr<const BgpParseExtendedCommunityRule> rule);

}  // namespace Routing::Bgp
