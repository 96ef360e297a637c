#include "VelBgp/ExtCommIp6DedupTable.h"

#include <utility>

#include "VelBgp/Parse/ExtCommRule.h"

namespace Routing::Bgp {

ExtCommIp6DedupTable::ExtCommIp6DedupTable(BgpParseExtendedCommunityRule::PtrConst parseExtCommRule)
    : ExtCommDedupTableBase("ExtCommIp6DedupTable", std::move(parseExtCommRule)) {}

ExtCommIp6DedupTable::~ExtCommIp6DedupTable() = default;

ExtCommIp6DedupTable::Ptr extCommIp6DedupTableFactory(BgpParseExtendedCommunityRule::PtrConst rule) {
  return Tyr::make<ExtCommIp6DedupTable>(std::move(rule));
}

ExtCommIp6DedupTable::Ptr ExtCommIp6DedupTableIs(BgpParseExtendedCommunityRule::PtrConst rule) {
  return extCommIp6DedupTableFactory(std::move(rule));
}

}  // namespace Routing::Bgp
