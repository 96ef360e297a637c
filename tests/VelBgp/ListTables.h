// What every test of lists needs: a decoder and the two tables, in either variant, and a way to intern a few values.
#pragma once

#include <cstdint>
#include <vector>

#include "Tyr/Threading.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp::test {

using Values = std::vector<std::uint64_t>;

class ListTables {
 protected:
  explicit ListTables(bool multiThreaded) {
    Tyr::agentMultiThreadedIs(multiThreaded);
    decoder = bgpParseExtCommContainerSmFactory(true);
    comms = ExtCommDedupTableIs(decoder->extCommParser());
    lists = ExtCommListDedupTableIs();
  }
  ~ListTables() {
    lists.reset();
    comms.reset();
    Tyr::agentMultiThreadedIs(false);
  }

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

  Tyr::Ptr<BgpParseExtCommContainerSm> decoder;
  ExtCommDedupTable::Ptr comms;
  ExtCommListDedupTable::Ptr lists;
};

}  // namespace Routing::Bgp::test
