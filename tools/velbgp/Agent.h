// The library, set up as an agent sets it up: one decoder, one table for the values and one for the lists.
//
// Whatever was interned through it must be released before it goes. Single-threaded.
#pragma once

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

 private:
  Tyr::Ptr<Routing::Bgp::BgpParseExtCommContainerSm> decoder_;
  Tyr::Ptr<Routing::Bgp::ExtCommDedupTable> communityTable_;
  Tyr::Ptr<Routing::Bgp::ExtCommListDedupTable> listTable_;
};

}  // namespace VelBgpTool
