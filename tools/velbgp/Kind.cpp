#include "tools/velbgp/Kind.h"

#include <algorithm>

#include "tools/velbgp/ExtendedKind.h"

namespace VelBgpTool {

namespace {

constexpr std::string_view digits = "0123456789";

// Groups of digits with exactly this many colons between them; the first group may have a dot inside.
bool isNumbers(std::string_view text, int colons, bool asdot) {
  for (;; --colons, asdot = false) {
    std::string_view group = text.substr(0, text.find(':'));
    const bool last = group.size() == text.size();
    text.remove_prefix(std::min(group.size() + 1, text.size()));
    if (const std::size_t dot = group.find('.'); asdot && dot != std::string_view::npos && dot != 0) {
      group.remove_prefix(dot + 1);
    }
    if (group.empty() || group.find_first_not_of(digits) != std::string_view::npos) return false;
    if (last) return colons == 0;
  }
}

bool isLargeText(std::string_view text) { return isNumbers(text, 2, true); }

bool isWellKnownName(std::string_view text) {
  constexpr std::string_view names[] = {"internet",  "GSHUT",        "llgr-stale", "no-llgr",
                                        "no-export", "no-advertise", "local-as"};
  return std::find(std::begin(names), std::end(names), text) != std::end(names);
}

bool isStandardText(std::string_view text) { return isNumbers(text, 1, false) || isWellKnownName(text); }

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

// "0x and 16 hex digits (extended)", for all kinds that are supported.
std::string accepted() {
  std::string text;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (!Kinds::supported(kind)) continue;
    text += text.empty() ? "expected " : ", or ";
    text += "0x and " + std::to_string(2 * kindRows[kind].octets) + " hex digits (" + kindRows[kind].name + ")";
  }
  return text;
}

std::size_t kindOfText(std::string_view text) {
  const bool hex = isHex(text);
  const auto row = std::find_if(kindRows.begin(), kindRows.end(), [&](const KindRow& candidate) {
    return hex ? candidate.hasHexForm(text.size() - 2) : candidate.typed != nullptr && candidate.typed(text);
  });
  return static_cast<std::size_t>(row - kindRows.begin());
}

}  // namespace

constinit const std::array<KindRow, kindCount> kindRows = {{
    {"extended", "EXTENDED COMMUNITIES", 16, 8, nullptr, makeExtendedKind},
    {"extendedIp6", "IPV6 ADDRESS SPECIFIC EXTENDED COMMUNITY", 25, 20, nullptr, nullptr},
    {"large", "LARGE_COMMUNITY", 32, 12, isLargeText, nullptr},
    {"standard", "COMMUNITIES", 8, 4, isStandardText, nullptr},
}};

std::size_t kindOfAttribute(std::uint8_t code) {
  const auto row = std::find_if(kindRows.begin(), kindRows.end(), [&](auto& r) { return r.attribute == code; });
  return static_cast<std::size_t>(row - kindRows.begin());
}

std::optional<TypedValue> parseValue(std::string_view text, std::string& problem) {
  const std::size_t kind = text.empty() ? kindCount : kindOfText(text);
  if (kind < kindCount && Kinds::supported(kind)) return hexTyped(kind, text.substr(2));
  const bool known = kind < kindCount;
  problem = quote(text) +
            (known ? ": communities of the kind " + std::string(kindRows[kind].name) + " are not supported yet, "
                   : " is no community, ");
  problem += accepted();
  return std::nullopt;
}

}  // namespace VelBgpTool
