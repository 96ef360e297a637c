// The library, set up as an agent sets it up: one decoder, and tables for values and lists of
// all kinds.
//
// Whatever was interned through it must be released before it goes. Of one thread, unless the agent is multi-threaded
// (Tyr/Threading.h) when it is made.
#pragma once

#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunity.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace VelBgpTool {

struct Agent {
  // Without `mvpn` the decoder leaves out what the feature toggle "Mvpn" guards; else the toggle decides.
  explicit Agent(bool mvpn)
      : decoder(mvpn ? Routing::Bgp::BgpParseExtCommContainerSmIs()
                     : Routing::Bgp::bgpParseExtCommContainerSmFactory(false)) {}

  const Tyr::Ptr<Routing::Bgp::BgpParseExtCommContainerSm> decoder;
  const Routing::Bgp::ExtCommDedupTable::Ptr communities = Routing::Bgp::ExtCommDedupTableIs(decoder->extCommParser());
  const Routing::Bgp::ExtCommIp6DedupTable::Ptr ip6Communities =
      Routing::Bgp::ExtCommIp6DedupTableIs(decoder->extCommParser());
  const Routing::Bgp::ExtCommListDedupTable::Ptr extended = Routing::Bgp::ExtCommListDedupTableIs();
  const Routing::Bgp::ExtCommIp6ListDedupTable::Ptr extendedIp6 = Routing::Bgp::ExtCommIp6ListDedupTableIs();
  const Routing::Bgp::LargeCommListDedupTable::Ptr large = Routing::Bgp::LargeCommListDedupTableIs();
  const Routing::Bgp::CommListDedupTable::Ptr standard = Routing::Bgp::CommListDedupTableIs();
};

}  // namespace VelBgpTool
