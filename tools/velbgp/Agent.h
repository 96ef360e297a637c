// The library, set up as an agent sets it up: one decoder, and tables for values and lists of
// all kinds.
//
// Whatever was interned through it must be released before it goes. Single-threaded.
#pragma once

#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunity.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace VelBgpTool {

class Agent {
 public:
  // Without `mvpn` the decoder leaves out what the feature toggle "Mvpn" guards; else the toggle decides.
  explicit Agent(bool mvpn);

  const Routing::Bgp::ExtCommDedupTable* communityTable() const { return communityTable_.get(); }
  const Routing::Bgp::ExtCommListDedupTable* listTable() const { return listTable_.get(); }
  const Routing::Bgp::ExtCommIp6DedupTable* ip6CommunityTable() const { return ip6CommunityTable_.get(); }
  const Routing::Bgp::ExtCommIp6ListDedupTable* ip6ListTable() const { return ip6ListTable_.get(); }
  const Routing::Bgp::LargeCommListDedupTable* largeTable() const { return largeTable_.get(); }
  const Routing::Bgp::CommListDedupTable* standardTable() const { return standardTable_.get(); }

 private:
  Tyr::Ptr<Routing::Bgp::BgpParseExtCommContainerSm> decoder_;
  Tyr::Ptr<Routing::Bgp::ExtCommDedupTable> communityTable_;
  Tyr::Ptr<Routing::Bgp::ExtCommListDedupTable> listTable_;
  Tyr::Ptr<Routing::Bgp::ExtCommIp6DedupTable> ip6CommunityTable_;
  Tyr::Ptr<Routing::Bgp::ExtCommIp6ListDedupTable> ip6ListTable_;
  Tyr::Ptr<Routing::Bgp::LargeCommListDedupTable> largeTable_;
  Tyr::Ptr<Routing::Bgp::CommListDedupTable> standardTable_;
};

}  // namespace VelBgpTool
