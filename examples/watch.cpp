// Watches which route targets are in use, while routes that carry them come and go.
#include <iostream>

#include "VelBgp/NotifyingRouteTargetList.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunity.h"

using namespace Routing::Bgp;

int main() {
  const auto decoder = BgpParseExtCommContainerSmIs();
  const auto table = ExtCommDedupTableIs(decoder->extCommParser());
  const NotifyingRouteTargetList::Ptr inUse = table->producerRtList();

  // Told of each change; whether it came or went, the list itself says. The handle ends the watch when it goes.
  const auto watch = inUse->notifieeList().attach([&inUse](unsigned, const RouteTarget& target) {
    std::cout << (inUse->rt(target) ? "+ " : "- ") << target.toStrep(false) << '\n';
  });

  auto route = ExtComm::dedupContent(table.get(), ExtCommContent(0x0002fde800000064));
  {
    const auto other = ExtComm::dedupContent(table.get(), ExtCommContent(0x0102c00002010064));
    // A second holder of a value changes nothing, nor does a community that is no route target.
    const auto same = ExtComm::dedupContent(table.get(), ExtCommContent(0x0002fde800000064));
    const auto color = ExtComm::dedupContent(table.get(), ExtCommContent(0x030b000000000064));
    std::cout << "in use: " << inUse->rtCount() << '\n';
  }
  std::cout << "the last route goes\n";
  route.reset();
}
