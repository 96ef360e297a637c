#include "tools/velbgp/Kind.h"

#include <boost/algorithm/hex.hpp>
#include <iterator>

#include "tools/velbgp/ExtendedKinds.h"
#include "tools/velbgp/PlainKinds.h"

namespace VelBgpTool {

namespace {

// "0x and 16 hex digits (extended)" and so on, for all kinds.
std::string accepted() {
  std::string text;
  for (const KindRow& row : kindRows) {
    text += text.empty() ? "expected " : "; ";
    if (row.form != nullptr) text += std::string(row.form) + ", ";
    text += "0x and " + std::to_string(2 * row.octets) + " hex digits (" + row.name + ")";
  }
  return text;
}

std::optional<std::string> readHex(std::string_view text) {
  std::string octets;
  try {
    boost::algorithm::unhex(text, std::back_inserter(octets));
  } catch (const boost::algorithm::hex_decode_error&) {
    return std::nullopt;
  }
  return octets;
}

}  // namespace

constinit const std::array<KindRow, kindCount> kindRows = {{
    {"extended", "EXTENDED COMMUNITIES", 16, 8, nullptr, nullptr, makeExtendedKind},
    {"extendedIp6", "IPV6 ADDRESS SPECIFIC EXTENDED COMMUNITY", 25, 20, nullptr, nullptr, makeExtendedIp6Kind},
    {"large", "LARGE_COMMUNITY", 32, 12, "A:B:C", readLarge, makeLargeKind},
    {"standard", "COMMUNITIES", 8, 4, "A:B, a well-known name", readStandard, makeStandardKind},
}};

std::optional<TypedValue> parseValue(std::string_view text, std::string& problem) {
  const auto hex = text.starts_with("0x") ? readHex(text.substr(2)) : std::nullopt;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    const KindRow& row = kindRows[kind];
    if (hex && hex->size() == row.octets) return TypedValue{kind, *hex};
    if (const auto typed = row.read != nullptr ? row.read(text) : std::nullopt) return TypedValue{kind, *typed};
  }
  problem = quote(text) + " is no community, " + accepted();
  return std::nullopt;
}

}  // namespace VelBgpTool
