#include "VelBgp/CommunityTables.h"

#include <utility>

#include "Tyr/Exception.h"
#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp {
namespace {

Tyr::Ptr<BgpParseExtCommContainerSm> checked(Tyr::Ptr<BgpParseExtCommContainerSm> decoder) {
  if (decoder == nullptr) throw Tyr::NullArgumentException("decoder");
  return decoder;
}

}  // namespace

CommunityTables::CommunityTables() : CommunityTables(BgpParseExtCommContainerSmIs()) {}
CommunityTables::CommunityTables(bool mvpn) : CommunityTables(bgpParseExtCommContainerSmFactory(mvpn)) {}

CommunityTables::CommunityTables(Tyr::Ptr<BgpParseExtCommContainerSm> decoder)
    : decoder_(checked(std::move(decoder))),
      extComms_(ExtCommDedupTableIs(decoder_->extCommParser())),
      extCommIp6s_(ExtCommIp6DedupTableIs(decoder_->extCommParser())),
      extCommLists_(ExtCommListDedupTableIs()),
      extCommIp6Lists_(ExtCommIp6ListDedupTableIs()),
      commLists_(CommListDedupTableIs()),
      largeCommLists_(LargeCommListDedupTableIs()) {}

CommunityTables::~CommunityTables() = default;

ExtComm::PtrConst CommunityTables::dedupContent(const ExtCommContent& content) const {
  return ExtComm::dedupContent(extComms(), content);
}
ExtCommIp6::PtrConst CommunityTables::dedupContent(const ExtCommIp6Content& content) const {
  return ExtCommIp6::dedupContent(extCommIp6s(), content);
}
ExtCommList::PtrConst CommunityTables::dedupContent(const ExtCommListContentBase& content) const {
  return ExtCommList::dedupContent(extCommLists(), content);
}
CommList::PtrConst CommunityTables::dedupContent(const CommListContent& content) const {
  return CommList::dedupContent(commLists(), content);
}
LargeCommList::PtrConst CommunityTables::dedupContent(const LargeCommListContent& content) const {
  return LargeCommList::dedupContent(largeCommLists(), content);
}

}  // namespace Routing::Bgp
