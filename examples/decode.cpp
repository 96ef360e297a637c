// Decodes one raw value and prints the texts of the object that it becomes.
#include <iostream>

#include "VelBgp/VelBgp.h"

using namespace Routing::Bgp;

int main() {
  // The decoder and the tables of all kinds: one for a whole agent.
  const CommunityTables tables;

  const ExtComm::PtrConst community = tables.dedupContent(ExtCommContent(0x0002fde800000064));
  ExtComm::StrepFormat policy;
  policy.strepFormatDefaultIs(true);
  std::cout << "class   " << community->fwkType().unqualifiedName() << '\n'
            << "kind    " << community->classification() << '\n'
            << "debug   " << *community << '\n'
            << "policy  " << community->toStrepForPolicy(policy) << '\n'
            << "ui      " << community->toStrepForUI(false, false, false) << '\n'
            << "asdot   " << community->toStrepForUI(true, false, false) << '\n';

  // The object is of the kind's own class, which has the fields.
  if (const auto* target = as<ExtCommRouteTargetAs>(community)) {
    std::cout << "fields  AS " << target->asNumber() << ", number " << target->localAdmin() << '\n';
  }

  // Equal values are one object for as long as someone holds it.
  const ExtComm::PtrConst again = tables.dedupContent(routeTarget(65000, 100));
  std::cout << "interned communities: " << tables.extComms()->size() << ", the same object: " << std::boolalpha
            << (community == again) << '\n';
}
