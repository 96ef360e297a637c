#include "tools/velbgp/Agent.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

Agent::Agent(bool mvpn)
    : decoder_(mvpn ? BgpParseExtCommContainerSmIs() : bgpParseExtCommContainerSmFactory(false)),
      communityTable_(ExtCommDedupTableIs(decoder_->extCommParser())),
      listTable_(ExtCommListDedupTableIs()),
      ip6CommunityTable_(ExtCommIp6DedupTableIs(decoder_->extCommParser())),
      ip6ListTable_(ExtCommIp6ListDedupTableIs()),
      largeTable_(LargeCommListDedupTableIs()),
      standardTable_(CommListDedupTableIs()) {}

}  // namespace VelBgpTool
