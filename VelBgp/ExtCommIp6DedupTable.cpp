#include "VelBgp/ExtCommIp6DedupTable.h"

#include <utility>

#include "Tyr/Exception.h"
#include "VelBgp/Parse/ExtCommRule.h"

namespace Routing::Bgp {

ExtCommIp6DedupTable::ExtCommIp6DedupTable(BgpParseExtendedCommunityRule::PtrConst parseExtCommRule)
    : parseExtCommRule_(std::move(parseExtCommRule)) {
  if (parseExtCommRule_ == nullptr) throw Tyr::NullArgumentException("parseExtCommRule");
  handleInitialized();
}

ExtCommIp6DedupTable::~ExtCommIp6DedupTable() = default;

void ExtCommIp6DedupTable::handleInitialized() {
  dedupTable_ = Tyr::make<Keel::DedupHashTable>("ExtCommIp6DedupTable");
}

void ExtCommIp6DedupTable::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  dedupTable_->dump(context, indent);
}

ExtCommIp6DedupTable::Ptr extCommIp6DedupTableFactory(BgpParseExtendedCommunityRule::PtrConst rule) {
  return Tyr::make<ExtCommIp6DedupTable>(std::move(rule));
}

ExtCommIp6DedupTable::Ptr ExtCommIp6DedupTableIs(BgpParseExtendedCommunityRule::PtrConst rule) {
  return extCommIp6DedupTableFactory(std::move(rule));
}

}  // namespace Routing::Bgp
