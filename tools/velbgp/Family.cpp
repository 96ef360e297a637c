#include "tools/velbgp/Family.h"

#include <algorithm>
#include <cctype>

namespace VelBgpTool {

namespace {

struct NamedFamily {
  Family family;
  const char* name;
};
constexpr NamedFamily namedFamilies[] = {
    {{1, 1}, "ipv4 unicast"},         {{1, 2}, "ipv4 multicast"},      {{1, 4}, "ipv4 labeled-unicast"},
    {{1, 5}, "ipv4 mcast-vpn"},       {{1, 128}, "ipv4 vpn"},          {{1, 129}, "ipv4 multicast-vpn"},
    {{1, 132}, "ipv4 rt-constraint"}, {{1, 133}, "ipv4 flowspec"},     {{1, 134}, "ipv4 flowspec-vpn"},
    {{2, 1}, "ipv6 unicast"},         {{2, 2}, "ipv6 multicast"},      {{2, 4}, "ipv6 labeled-unicast"},
    {{2, 5}, "ipv6 mcast-vpn"},       {{2, 128}, "ipv6 vpn"},          {{2, 129}, "ipv6 multicast-vpn"},
    {{2, 133}, "ipv6 flowspec"},      {{2, 134}, "ipv6 flowspec-vpn"}, {{25, 65}, "l2vpn vpls"},
    {{25, 70}, "l2vpn evpn"},         {{16388, 71}, "link-state"},
};

bool sameButCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  return std::ranges::equal(a, b, {}, lower, lower);
}

}  // namespace

std::string Family::name() const {
  const auto named = std::ranges::find(namedFamilies, *this, &NamedFamily::family);
  if (named != std::end(namedFamilies)) return named->name;
  return std::to_string(afi) + "/" + std::to_string(safi);
}

std::optional<Family> Family::read(std::string_view text) {
  for (const NamedFamily& named : namedFamilies) {
    if (sameButCase(text, named.name)) return named.family;
  }
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const auto afi = readDecimal<std::uint16_t>(text.substr(0, slash));
  const auto safi = readDecimal<std::uint8_t>(text.substr(slash + 1));
  if (!afi || !safi) return std::nullopt;
  return Family{*afi, *safi};
}

bool takeNlri(Cursor& field, bool pathIds, Nlri& nlri) {
  Cursor at = field;
  if ((pathIds && !at.number(4, nlri.pathId)) || !at.octet(nlri.bits) || !at.take((nlri.bits + 7) / 8, nlri.octets)) {
    return false;
  }
  field = at;
  return true;
}

std::string nlriFault(Octets field, bool pathIds, std::uint32_t mostBits) {
  Cursor rest(field);
  for (Nlri nlri; takeNlri(rest, pathIds, nlri);) {
    if (nlri.bits > mostBits) {
      return "a prefix of " + std::to_string(nlri.bits) + " bits, expected at most " + std::to_string(mostBits);
    }
  }
  return rest.left() == 0 ? "" : "the last prefix is cut off, expected all of it";
}

}  // namespace VelBgpTool
