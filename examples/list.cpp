// Interns the extended communities of two paths, splits them by classification, matches, edits and sends them.
#include <cstdio>
#include <iostream>
#include <string>

#include "VelBgp/VelBgp.h"

using namespace Routing::Bgp;

namespace {

void printHex(const std::string& octets) {
  for (const unsigned char octet : octets) std::printf("%02x", octet);
  std::printf("\n");
}

}  // namespace

int main() {
  const CommunityTables tables;

  // Values as received: any order, repeats allowed. A content is used again for path after path.
  ExtCommListContentU64 content(tables.extComms());
  for (const std::uint64_t value : {0x0002fde800000064, 0x030b000000000064, 0x0002fde800000064}) content.commIs(value);
  const ExtCommList::PtrConst first = tables.dedupContent(content);
  content.reset();
  for (const std::uint64_t value : {0x030b000000000064, 0x0002fde800000064}) content.commIs(value);
  const ExtCommList::PtrConst second = tables.dedupContent(content);

  std::cout << stringify(first) << '\n'
            << "lists: " << tables.extCommLists()->size() << ", the same object: " << std::boolalpha
            << (first == second) << '\n';
  for (const ExtCommClassificationList* part : first->classificationLists()) {
    std::cout << part->classification() << ": " << part->comms().size() << '\n';
  }
  std::cout << "to prune: " << first->commVectorAttrs().hasPrunableValues() << '\n';

  const Routing::RouteMap::PosixRegex tenant("RT:65000:[0-9]+");
  std::cout << "of tenant 65000: " << first->matchCommunitiesRegex(&tenant) << '\n';

  // Another list, made of this one and interned once; then the path attribute, of what may leave the AS.
  const auto sent = EditList(first, tables).minusMatching(&tenant).plus(routeTarget(64500, 1)).interned();
  std::cout << "attribute: " << std::flush;
  printHex(AttributeWriter(sent, ExtCommList::serialization(false, false, false)).str().value());
}
