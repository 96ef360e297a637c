#include "tools/velbgp/Agent.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

Agent::Agent(bool mvpn)
    : decoder_(mvpn ? BgpParseExtCommContainerSmIs() : bgpParseExtCommContainerSmFactory(false)),
      communityTable_(ExtCommDedupTableIs(decoder_->extCommParser())),
      listTable_(ExtCommListDedupTableIs()) {}

}  // namespace VelBgpTool
