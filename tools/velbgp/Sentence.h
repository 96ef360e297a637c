// What a community says, for people who have no RFC at hand: one sentence, and its octets field by field.
//
// Every number and every meaning comes from the library's accessors; here are only the words around them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "VelBgp/ValueText.h"

namespace VelBgpTool {

struct Field {
  unsigned first;  // octets of the value
  unsigned last;
  std::string says;
};

struct Explanation {
  std::string sentence;
  std::vector<Field> fields;
};

Explanation explain(const Routing::Bgp::ExtComm& community);
Explanation explain(const Routing::Bgp::ExtCommIp6& community);
Explanation explain(const Routing::Bgp::CommunityValue& value);
Explanation explain(std::uint32_t value);

}  // namespace VelBgpTool
