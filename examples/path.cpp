// Interns the standard and the large communities of a path, asks a policy's question, prints the attributes to send.
#include <cstdio>
#include <iostream>
#include <string>

#include "Policy/PosixRegex.h"
#include "VelBgp/CommList.h"
#include "VelBgp/LargeCommList.h"

using namespace Routing::Bgp;

namespace {

template <typename List>
void print(const char* kind, const List& list, const Routing::RouteMap::PosixRegex& regex) {
  std::cout << kind << ": " << stringify(&list) << "\nmatches: " << list.matchCommunitiesRegex(&regex)
            << "\nattribute: " << std::flush;
  for (const unsigned char octet : list.serialize()) std::printf("%02x", octet);
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main() {
  const auto standardTable = CommListDedupTableIs();
  const auto largeTable = LargeCommListDedupTableIs();

  // Values as received, in host order: any order, repeats allowed.
  CommListContent standard;
  for (const std::uint32_t value : {0xffffff01U, 0x00010064U, 0xffffff01U}) standard.commIs(value);
  LargeCommListContent large;
  large.commIs({65536, 1, 2});
  large.commIs({0, 9, 9});

  // Standard communities are matched as numbers, then by their names; large ones as numbers alone.
  const Routing::RouteMap::PosixRegex noExport("no-export$");
  std::cout << std::boolalpha;
  print("standard", *CommList::dedupContent(standardTable.get(), standard), noExport);
  print("large", *LargeCommList::dedupContent(largeTable.get(), large), noExport);
}
