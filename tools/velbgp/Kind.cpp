#include "tools/velbgp/Kind.h"

#include <variant>

#include "tools/velbgp/Wire.h"

namespace VelBgpTool {

constinit const std::array<KindRow, kindCount> kindRows = {{
    {"extended", "EXTENDED COMMUNITIES", 16, 8, makeExtendedKind},
    {"extendedIp6", "IPV6 ADDRESS SPECIFIC EXTENDED COMMUNITY", 25, 20, makeExtendedIp6Kind},
    {"large", "LARGE_COMMUNITY", 32, 12, makeLargeKind},
    {"standard", "COMMUNITIES", 8, 4, makeStandardKind},
}};

static_assert(std::variant_size_v<Routing::Bgp::AnyCommValue> == kindCount);

TypedValue typedValue(const Routing::Bgp::AnyCommValue& value) {
  return {value.index(), std::visit([](const auto& v) { return wireOf(v); }, value)};
}

std::string problemOf(std::string_view text, const Routing::Bgp::ValueTextError& error) {
  const std::string message = error.message();
  // The text stands once where the words are about all of it.
  if (!text.empty() && message.starts_with(text)) return quote(text) + message.substr(text.size());
  return quote(text) + " is no community: " + message;
}

}  // namespace VelBgpTool
