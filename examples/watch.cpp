// Watches which route targets are in use, while routes that carry them come and go.
#include <iostream>

#include "VelBgp/NotifyingRouteTargetList.h"
#include "VelBgp/VelBgp.h"

using namespace Routing::Bgp;

int main() {
  const CommunityTables tables;
  const NotifyingRouteTargetList::Ptr inUse = tables.extComms()->producerRtList();

  // Told of each change; whether it came or went, the list itself says. The handle ends the watch when it goes.
  const auto watch = inUse->notifieeList().attach([&inUse](unsigned, const RouteTarget& target) {
    std::cout << (inUse->rt(target) ? "+ " : "- ") << target.toStrep(false) << '\n';
  });

  auto route = tables.dedupContent(routeTarget(65000, 100));
  {
    const auto other = tables.dedupContent(routeTarget(Routing::Addr::Ip4Addr("192.0.2.1"), 100));
    // A second holder of a value changes nothing, nor does a community that is no route target.
    const auto same = tables.dedupContent(routeTarget(65000, 100));
    const auto color = tables.dedupContent(ExtCommContent(0x030b000000000064));
    std::cout << "in use: " << inUse->rtCount() << '\n';
  }
  std::cout << "the last route goes\n";
  route.reset();
}
