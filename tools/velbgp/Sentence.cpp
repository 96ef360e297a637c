#include "tools/velbgp/Sentence.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

#include "Multipath/LinkBandwidth.h"
#include "VelBgp/CommList.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/TypedComm.h"
#include "tools/velbgp/Text.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

namespace {

// What well-known standard communities ask for, by the names that the library has for them.
struct WellKnown {
  std::string_view name;
  std::string_view asks;
};
constexpr WellKnown wellKnown[] = {
    {"internet", "the route may go to everyone"},
    {"GSHUT", "the path is about to go away, so others are to be preferred"},
    {"accept-own", "the router that the route came from may take it back into another VPN"},
    {"route-filter-translated-v4", "the route is an IPv4 route filter in translated form"},
    {"route-filter-v4", "the route is an IPv4 route filter"},
    {"route-filter-translated-v6", "the route is an IPv6 route filter in translated form"},
    {"route-filter-v6", "the route is an IPv6 route filter"},
    {"llgr-stale", "the route is stale and kept for want of a better one, since its session is down"},
    {"no-llgr", "the route is not to be kept when its session goes down"},
    {"accept-own-nexthop", "a router may take the route although it is the next hop itself"},
    {"standby-pe", "the route comes from a router that stands by for another"},
    {"blackhole", "traffic to the prefix is to be dropped"},
    {"no-export", "the route is not to leave the AS, or its confederation"},
    {"no-advertise", "the route is not to be passed on to anyone"},
    {"local-as", "the route is not to leave the AS, not even for another one of its confederation"},
    {"nopeer", "the route need not be passed on to peers"},
};

std::string reach(bool transitive) {
  return transitive ? ", passed on to other ASes" : ", not passed on to other ASes";
}

std::string asNumber(const ExtCommAsNumber& community) { return "AS " + community.formatAsNumber(false); }
std::string address(const auto& value) {
  std::ostringstream text;
  text << value;
  return std::move(text).str();
}

// A community of an administrator and a number, in the words of its kind.
std::string administered(const char* kind, const char* says, const std::string& number, const std::string& by) {
  std::string text = kind + std::string(": ") + says;
  text.replace(text.find('#'), 1, number);
  return text.replace(text.find('@'), 1, by);
}
std::string administered(const ExtCommAsNumber& community, const char* kind, const char* says) {
  return administered(kind, says, std::to_string(community.localAdmin()), asNumber(community));
}
std::string administered(const ExtCommIpv4Address& community, const char* kind, const char* says) {
  return administered(kind, says, std::to_string(community.localAdmin()), address(community.ipv4Address()));
}

template <typename Community>
std::string subtypeName(const Community& community) {
  std::ostringstream text;
  community.formatSubtype(text);
  return std::move(text).str();
}

// What the number behind "(weight " is, in threes.
std::string octetsASecond(const Routing::Ucmp::LinkBandwidth& bandwidth) {
  const std::string text = bandwidth.toStrep(true);
  const std::size_t begin = text.find_first_of("0123456789", text.find('('));
  if (begin == std::string::npos) return {};
  const std::string_view number =
      std::string_view(text).substr(begin, text.find_first_not_of("0123456789.", begin) - begin);
  std::string whole(number.substr(0, number.find('.')));
  for (std::size_t end = whole.size(); end > 3;) whole.insert(end -= 3, 1, ',');
  return whole.append(number.substr(std::min(number.find('.'), number.size())));
}

std::string bitsASecond(const Routing::Ucmp::LinkBandwidth& bandwidth) {
  std::string text = bandwidth.toStrep(false);
  if (text.ends_with("bps")) text.replace(text.size() - 2, 2, "it/s");
  return text;
}

std::string bandwidthSentence(const ExtCommLinkBandwidth& community) {
  const Routing::Ucmp::LinkBandwidth bandwidth(community.bandwidth());
  const std::string by = community.isLinkBandwidthWithUnspecifiedAsNumber() ? "any AS" : asNumber(community);
  const std::string text = "Link bandwidth: " + by + " offers " + bitsASecond(bandwidth);
  if (!community.isValid()) return text + ", which is no bandwidth to share traffic by";
  return text + " (" + octetsASecond(bandwidth) + " octets a second)";
}

std::string colorSentence(const ExtCommColor& community) {
  const std::string text =
      "Color: traffic is to take a path of color " + grouped(community.color()) + " to the next hop";
  if (community.colorOnlyBits() == 0) return text;
  return text + ", or one of that color elsewhere (color-only bits " + std::to_string(community.colorOnlyBits()) + ")";
}

// "Vxlan" for tunnelTypeVxlan.
std::string tunnelSentence(const ExtCommTunnelEncap& community) {
  constexpr std::string_view prefix = "tunnelType";
  const std::string name = stringValue(community.tunnelType());
  const bool known = community.tunnelType() != tunnelTypeUnknown;
  return "Tunnel encapsulation: traffic is to be sent through a tunnel of the type " +
         (known ? name.substr(prefix.size())
                : std::to_string(community.tunnelTypeNumber()) + ", which is not known here");
}

std::string validationSentence(const ExtCommOriginValidationState& community) {
  const std::string text = community.toStrepForUI(false, false, false);
  return "Origin validation: the sender found the AS that the route comes from to be " +
         text.substr(text.rfind(':') + 1);
}

// "Ospf domain identifier" for extCommPktSubtypeTransTwoOctetAsOspfDomainIdentifier.
std::string useOf(const auto& community) {
  std::string name = subtypeName(community);
  const std::string type = stringValue(community.pktType());
  const std::size_t subtype = name.find("Subtype");
  if (subtype == std::string::npos) return "Extended community of a use not known here (" + name + ")";
  name.erase(0, subtype + 7);
  const std::string family = type.substr(type.find("Type") + 4);
  if (name.starts_with(family)) name.erase(0, family.size());
  for (std::size_t i = 1; i < name.size(); ++i) {
    if (std::isupper(static_cast<unsigned char>(name[i])) == 0) continue;
    name[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[i])));
    name.insert(i++, 1, ' ');
  }
  return name;
}

std::string sentence(const ExtComm& community) {
  return visit(
      community,
      [](const ExtCommRouteTargetAs& c) {
        return administered(c, "Route target", "the route is for the VPNs that import target # of @");
      },
      [](const ExtCommRouteTargetIpv4Address& c) {
        return administered(c, "Route target", "the route is for the VPNs that import target # of @");
      },
      [](const ExtCommRouteOriginAs& c) { return administered(c, "Route origin", "the route comes from site # of @"); },
      [](const ExtCommRouteOriginIpv4Address& c) {
        return administered(c, "Route origin", "the route comes from site # of @");
      },
      [](const ExtCommSourceAs& c) {
        return administered(c, "Source AS", "multicast sources behind the route are in @ (number #)");
      },
      [](const ExtCommVrfRouteImportIpv4Address& c) {
        return administered(c, "VRF route import", "multicast joins for the route go to VRF # of the router @");
      },
      [](const ExtCommLinkBandwidth& c) { return bandwidthSentence(c); },
      [](const ExtCommColor& c) { return colorSentence(c); },
      [](const ExtCommTunnelEncap& c) { return tunnelSentence(c); },
      [](const ExtCommDefaultGateway&) {
        return std::string("Default gateway: the route's address is a default gateway of its network");
      },
      [](const ExtCommOriginValidationState& c) { return validationSentence(c); },
      [](const ExtCommAsNumber& c) {
        return useOf(c) + ": number " + std::to_string(c.localAdmin()) + " of " + asNumber(c);
      },
      [](const ExtCommIpv4Address& c) {
        return useOf(c) + ": number " + std::to_string(c.localAdmin()) + " of " + address(c.ipv4Address());
      },
      [](const ExtCommSubtyped& c) { return useOf(c); }, [](const ExtComm& c) { return useOf(c); });
}

Field asField(const ExtCommAsNumber& c) { return {2, c.fourByteAs() ? 5U : 3U, asNumber(c)}; }

// The fields behind type and subtype.
std::vector<Field> payload(const ExtComm& community) {
  if (const auto* c = as<ExtCommLinkBandwidth>(community)) {
    return {asField(*c), {4, 7, Routing::Ucmp::LinkBandwidth(c->bandwidth()).toStrep(true)}};
  }
  if (const auto* c = as<ExtCommAsNumber>(community)) {
    const Field administrator = asField(*c);
    return {administrator, {administrator.last + 1, 7, "number " + std::to_string(c->localAdmin())}};
  }
  if (const auto* c = as<ExtCommIpv4Address>(community)) {
    return {{2, 5, address(c->ipv4Address())}, {6, 7, "number " + std::to_string(c->localAdmin())}};
  }
  if (const auto* c = as<ExtCommColor>(community)) {
    return {{2, 3, "flags, color-only bits " + std::to_string(c->colorOnlyBits())},
            {4, 7, "color " + std::to_string(c->color())}};
  }
  if (const auto* c = as<ExtCommTunnelEncap>(community)) {
    return {{2, 5, "reserved"}, {6, 7, stringValue(c->tunnelType())}};
  }
  if (const auto* c = as<ExtCommOriginValidationState>(community)) {
    return {{2, 6, "reserved"}, {7, 7, "state " + std::to_string(c->state())}};
  }
  if (as<ExtCommDefaultGateway>(community) != nullptr) return {{2, 7, "reserved"}};
  return {{2, 7, "value"}};
}

template <typename Community>
std::vector<Field> typeFields(const Community& community) {
  return {{0, 0, "type " + stringValue(community.pktType())}, {1, 1, "subtype " + subtypeName(community)}};
}

}  // namespace

Explanation explain(const ExtComm& community) {
  std::vector<Field> fields = typeFields(community);
  for (Field& field : payload(community)) fields.push_back(std::move(field));
  return {sentence(community) + reach(community.getContent().transitive()), std::move(fields)};
}

Explanation explain(const ExtCommIp6& community) {
  const ExtCommIp6Content& content = community.getContent();
  const std::string number = "number " + std::to_string(content.localAdmin());
  std::vector<Field> fields = typeFields(community);
  fields.push_back({2, 17, address(content.addr())});
  fields.push_back({18, 19, number});
  return {useOf(community) + ": " + number + " of " + address(content.addr()) + reach(content.transitive()),
          std::move(fields)};
}

Explanation explain(const CommunityValue& value) {
  const auto [as, first, second] = std::tuple(std::to_string(value.globalAdmin()), std::to_string(value.localData1()),
                                              std::to_string(value.localData2()));
  return {"Large community: " + first + ":" + second + " of AS " + as + ", which says what it means",
          {{0, 3, "AS " + as}, {4, 7, "number " + first}, {8, 11, "number " + second}}};
}

Explanation explain(std::uint32_t value) {
  const std::string as = std::to_string(value >> 16);
  const std::string number = std::to_string(value & 0xffff);
  std::vector<Field> fields = {{0, 1, "AS " + as}, {2, 3, "number " + number}};
  const std::string text = CommList::getStringValue(value);
  const auto known = std::find_if(std::begin(wellKnown), std::end(wellKnown), [&](const WellKnown& row) {
    return row.name == text || row.name == commMeaning(value);
  });
  if (known == std::end(wellKnown) && as == "65535") {
    return {"Well-known community " + text + ", of a use not known here", std::move(fields)};
  }
  if (known == std::end(wellKnown)) {
    return {"Community: " + number + " of AS " + as + ", which says what it means", std::move(fields)};
  }
  return {"Well-known community " + std::string(known->name) + ": " + std::string(known->asks), std::move(fields)};
}

}  // namespace VelBgpTool
