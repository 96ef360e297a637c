// The library, set up as an agent sets it up. Whatever was interned through it must be released before it goes.
#pragma once

#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgp.h"

namespace VelBgpTool {

struct Agent : Routing::Bgp::CommunityTables {
  // Without `mvpn` the decoder leaves out what the feature toggle "Mvpn" guards; else the toggle decides.
  explicit Agent(bool mvpn) : CommunityTables(mvpn && Routing::Bgp::toggleMvpnEnabled()) {}
};

}  // namespace VelBgpTool
