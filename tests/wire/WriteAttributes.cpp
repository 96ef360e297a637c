// Lines "CODE FILTER VALUES" on standard input, the values in hex as they stand in a received attribute: for each, the
// attribute that is sent of their list under the filter, in hex, or "refused".
#include <boost/algorithm/hex.hpp>
#include <iostream>

#include "VelBgp/AttributeWriter.h"
#include "VelBgp/CommunityTables.h"
#include "VelBgp/PathLists.h"
#include "VelBgp/ReceivedAttributes.h"

namespace {

using namespace Routing::Bgp;

PathLists listsOf(const CommunityTables& tables, unsigned code, const std::string& hex) {
  std::string octets;
  boost::algorithm::unhex(hex, std::back_inserter(octets));
  ReceivedAttributes received;
  const auto* const data = reinterpret_cast<const std::uint8_t*>(octets.data());
  received.attributeIs({0, BgpUpdateMsgAttributeFlags(0xc0), static_cast<std::uint8_t>(code), {data, octets.size()}});
  return dedupAttributes(tables, received);
}

AttributeWriter writerOf(const PathLists& lists, AttributeWriter::Filter filter) {
  if (lists.extended != nullptr) return AttributeWriter(lists.extended, filter);
  if (lists.extendedIp6 != nullptr) return AttributeWriter(lists.extendedIp6, filter);
  if (lists.large != nullptr) return AttributeWriter(lists.large, filter);
  return AttributeWriter(lists.standard, filter);
}

}  // namespace

int main() {
  const CommunityTables tables;
  unsigned code = 0, filter = 0;
  for (std::string values; std::cin >> code >> filter >> values;) {
    const PathLists lists = listsOf(tables, code, values);
    const auto attribute = writerOf(lists, AttributeWriter::Filter(filter)).str();
    std::cout << (attribute ? boost::algorithm::hex_lower(*attribute) : "refused") << '\n';
  }
}
