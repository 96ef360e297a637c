// Interns the extended communities of two paths, splits them by classification, matches, edits and sends them.
#include <cstdio>
#include <iostream>
#include <string>

#include "Policy/PosixRegex.h"
#include "VelBgp/AttributeWriter.h"
#include "VelBgp/EditList.h"
#include "VelBgp/MakeValue.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunity.h"
#include "VelBgp/VelBgpCommunityList.h"

using namespace Routing::Bgp;

namespace {

void printHex(const std::string& octets) {
  for (const unsigned char octet : octets) std::printf("%02x", octet);
  std::printf("\n");
}

}  // namespace

int main() {
  const auto decoder = BgpParseExtCommContainerSmIs();
  const auto communityTable = ExtCommDedupTableIs(decoder->extCommParser());
  const auto listTable = ExtCommListDedupTableIs();

  // Values as received: any order, repeats allowed. A content is used again for path after path.
  ExtCommListContentU64 content(communityTable.get());
  for (const std::uint64_t value : {0x0002fde800000064, 0x030b000000000064, 0x0002fde800000064}) content.commIs(value);
  const ExtCommList::PtrConst first = ExtCommList::dedupContent(listTable.get(), content);
  content.reset();
  for (const std::uint64_t value : {0x030b000000000064, 0x0002fde800000064}) content.commIs(value);
  const ExtCommList::PtrConst second = ExtCommList::dedupContent(listTable.get(), content);

  std::cout << stringify(first.get()) << '\n'
            << "lists: " << listTable->size() << ", the same object: " << std::boolalpha << (first == second) << '\n';
  for (const ExtCommClassificationList* part : first->classificationLists()) {
    std::cout << part->classification() << ": " << part->comms().size() << '\n';
  }

  std::cout << "to prune: " << first->commVectorAttrs().hasPrunableValues() << '\n';

  const Routing::RouteMap::PosixRegex tenant("RT:65000:[0-9]+");
  std::cout << "of tenant 65000: " << first->matchCommunitiesRegex(&tenant) << '\n';

  // Another list, made of this one and interned once; then the path attribute, of what may leave the AS.
  const ExtCommList::PtrConst sent = EditList<ExtCommList>(first, {communityTable.get(), listTable.get()})
                                         .minusMatching(&tenant)
                                         .plus(routeTarget(64500, 1))
                                         .interned();
  std::cout << "attribute: " << std::flush;
  printHex(AttributeWriter(sent, ExtCommList::serialization(false, false, false)).str().value());
}
