// An agent, and ways to intern a few IPv6-address-specific communities in it.
#pragma once

#include <cstdint>
#include <vector>

#include "VelBgp/Agent.h"

namespace Routing::Bgp::test {

class Ip6Tables : protected Agent {
 protected:
  using Agent::Agent;

  ExtCommIp6::PtrConst internOne(const ExtCommIp6Content& content) const {
    return ExtCommIp6::dedupContent(comms.get(), content);
  }
  ExtCommIp6List::Ptr builder(const std::vector<ExtCommIp6Content>& contents) const {
    ExtCommIp6List::Ptr list = ExtCommIp6ListIs();
    for (const ExtCommIp6Content& content : contents) list->commIs(internOne(content));
    return list;
  }
  ExtCommIp6List::PtrConst intern(const std::vector<ExtCommIp6Content>& contents) const {
    return builder(contents)->dedup(lists.get());
  }

  ExtCommIp6DedupTable::Ptr& comms = ip6Comms;
  ExtCommIp6ListDedupTable::Ptr& lists = extendedIp6;
};

}  // namespace Routing::Bgp::test
