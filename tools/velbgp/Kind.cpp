#include "tools/velbgp/Kind.h"

#include <algorithm>

#include "tools/velbgp/ExtendedKinds.h"
#include "tools/velbgp/PlainKinds.h"

namespace VelBgpTool {

namespace {

// The value of a hex digit, or 16.
unsigned hexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 16;
}

bool isHex(std::string_view text) {
  return text.starts_with("0x") && std::all_of(text.begin() + 2, text.end(), [](char c) { return hexDigit(c) < 16; });
}

TypedValue hexTyped(std::size_t kind, std::string_view hex) {
  TypedValue value{kind, {}};
  for (std::size_t i = 0; i < hex.size() / 2; ++i) {
    value.octets[i] = static_cast<std::uint8_t>(hexDigit(hex[2 * i]) << 4 | hexDigit(hex[2 * i + 1]));
  }
  return value;
}

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

std::optional<TypedValue> readHex(std::string_view text) {
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (kindRows[kind].hasHexForm(text.size() - 2)) return hexTyped(kind, text.substr(2));
  }
  return std::nullopt;
}

std::optional<TypedValue> readForm(std::string_view text) {
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    TypedValue value{kind, {}};
    if (kindRows[kind].read != nullptr && kindRows[kind].read(text, value.octets.data())) return value;
  }
  return std::nullopt;
}

}  // namespace

constinit const std::array<KindRow, kindCount> kindRows = {{
    {"extended", "EXTENDED COMMUNITIES", 16, 8, nullptr, nullptr, makeExtendedKind},
    {"extendedIp6", "IPV6 ADDRESS SPECIFIC EXTENDED COMMUNITY", 25, 20, nullptr, nullptr, makeExtendedIp6Kind},
    {"large", "LARGE_COMMUNITY", 32, 12, "A:B:C", readLarge, makeLargeKind},
    {"standard", "COMMUNITIES", 8, 4, "A:B, a well-known name", readStandard, makeStandardKind},
}};

std::size_t kindOfAttribute(std::uint8_t code) {
  const auto row = std::find_if(kindRows.begin(), kindRows.end(), [&](auto& r) { return r.attribute == code; });
  return static_cast<std::size_t>(row - kindRows.begin());
}

std::optional<TypedValue> parseValue(std::string_view text, std::string& problem) {
  const auto value = isHex(text) ? readHex(text) : readForm(text);
  if (!value) problem = quote(text) + " is no community, " + accepted();
  return value;
}

}  // namespace VelBgpTool
