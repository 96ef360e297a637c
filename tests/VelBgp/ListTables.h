// An agent, and ways to intern a few extended communities in it.
#pragma once

#include <cstdint>
#include <vector>

#include "VelBgp/Agent.h"

namespace Routing::Bgp::test {

using Values = std::vector<std::uint64_t>;

class ListTables : protected Agent {
 protected:
  explicit ListTables(bool multiThreaded) : Agent(multiThreaded) {}

  ExtCommListContentU64 raw(const Values& values) const {
    ExtCommListContentU64 content(comms.get());
    for (const std::uint64_t value : values) content.commIs(value);
    return content;
  }
  ExtCommList::PtrConst intern(const Values& values) const {
    return ExtCommList::dedupContent(lists.get(), raw(values));
  }
  ExtComm::PtrConst internOne(std::uint64_t value) const {
    return ExtComm::dedupContent(comms.get(), ExtCommContent(value));
  }

  ExtCommListDedupTable::Ptr& lists = extended;
};

}  // namespace Routing::Bgp::test
