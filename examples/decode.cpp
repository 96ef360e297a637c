// Decodes one raw value and prints the texts of the object that it becomes.
#include <iostream>

#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunity.h"

using namespace Routing::Bgp;

int main() {
  // One decoder and one table serve a whole agent.
  const auto decoder = BgpParseExtCommContainerSmIs();
  const auto table = ExtCommDedupTableIs(decoder->extCommParser());

  const ExtComm::PtrConst community = ExtComm::dedupContent(table.get(), ExtCommContent(0x0002fde800000064));
  ExtComm::StrepFormat policy;
  policy.strepFormatDefaultIs(true);
  std::cout << "class   " << community->fwkType().unqualifiedName() << '\n'
            << "kind    " << community->classification() << '\n'
            << "debug   " << *community << '\n'
            << "policy  " << community->toStrepForPolicy(policy) << '\n'
            << "ui      " << community->toStrepForUI(false, false, false) << '\n'
            << "asdot   " << community->toStrepForUI(true, false, false) << '\n';

  // Equal values are one object for as long as someone holds it.
  const ExtComm::PtrConst again = ExtComm::dedupContent(table.get(), ExtCommContent(0x0002fde800000064));
  std::cout << "interned communities: " << table->size() << ", the same object: " << std::boolalpha
            << (community == again) << '\n';
}
