// The kinds "extended" and "extendedIp6": communities of a type, a subtype and a classification.
#include <algorithm>
#include <array>
#include <sstream>
#include <string>

#include "Keel/HashMix.h"
#include "Multipath/LinkBandwidth.h"
#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/TypedComm.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/ListKind.h"
#include "tools/velbgp/Wire.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

namespace {

// The ways an agent sends a list, by the names they are printed under.
struct NamedSerialization {
  const char* name;
  bool includeNonTransitive;
  bool includeLinkBandwidth;
  bool includeOriginAsValidity;

  ExtCommList::Serialization filter() const {
    return ExtCommList::serialization(includeNonTransitive, includeLinkBandwidth, includeOriginAsValidity);
  }
};

constexpr NamedSerialization serializations[] = {
    {"all", true, false, false},
    {"transitive", false, false, false},
    {"transitive+linkBandwidth", false, true, false},
    {"transitive+originAsValidity", false, false, true},
    {"transitive+linkBandwidth+originAsValidity", false, true, true},
};

// The octets of value that an attribute announces in its header, and those that it carries.
std::pair<std::size_t, std::size_t> sizesOf(Octets attribute) {
  constexpr std::uint8_t extendedLength = 0x10;
  if (attribute.empty()) return {0, 0};
  const std::size_t header = (attribute[0] & extendedLength) != 0 ? 4 : 3;
  return {bigEndian(attribute.subspan(2, header - 2)), attribute.size() - header};
}

// Each filter counts one link bandwidth and one validation state, however many it lets through.
std::string remedy(const ExtCommList& list, const NamedSerialization& way) {
  const auto several = [&list](bool included, ExtCommClassification classification) {
    const auto part = included ? list.classificationList(classification) : nullptr;
    return part != nullptr && part->comms().size() > 1;
  };
  const char* const prune = "prune the list before sending it so";
  const char* const split = "send several validation states with \"all\", or one a list";
  if (!several(way.includeOriginAsValidity, extCommClassificationOriginValidationState)) return prune;
  if (!several(way.includeLinkBandwidth, extCommClassificationLinkBandwidth)) return split;
  return std::string(prune) + ", and " + split;
}

void serialized(const ExtCommList& list, JsonText& out, std::vector<std::string>& notes) {
  out.name("serialize").open('{');
  for (const auto& way : serializations) {
    const std::string attribute = list.serialize(way.filter());
    out.name(way.name).hex(octetsOf(attribute), "");
    if (const auto [announced, carried] = sizesOf(octetsOf(attribute)); announced != carried) {
      notes.push_back(std::string("the attribute \"") + way.name + "\" announces " + std::to_string(announced) +
                      " octets but carries " + std::to_string(carried) + ": " + remedy(list, way));
    }
  }
  out.close('}');
}

void setFlags(ExtCommList::CommVectorAttrs attrs, JsonText& out) {
  out.name("attrs").open('[');
  for (const auto& flag : attrs.names()) {
    if ((attrs.value() & flag.bit) != 0) out.text(flag.name);
  }
  out.close(']');
}

// What both kinds tell of a community before its texts.
template <typename Community>
void decodeType(const Community& community, boost::json::object& out) {
  std::ostringstream subtype;
  community.formatSubtype(subtype);
  out["class"] = community.fwkType().unqualifiedName();
  out["classification"] = stringValue(community.classification());
  out["pktType"] = stringValue(community.pktType());
  out["subtype"] = std::move(subtype).str();
  out["transitive"] = community.getContent().transitive();
}

// The communities of a list by their classification.
template <typename Traits, typename List>
void classified(const List& list, JsonText& out) {
  out.name("classifications").open('{');
  for (const auto& part : list.classificationLists()) {
    if (part != nullptr) hexValues<Traits>(out.name(stringValue(part->classification())), part->comms());
  }
  out.close('}');
}

ExtComm::StrepFormat policyFormat(bool classification) {
  ExtComm::StrepFormat format;
  classification ? format.strepFormatClassificationIs(true) : format.strepFormatDefaultIs(true);
  return format;
}

ExtCommIp6::StrepFormat uiFormatIp6() {
  ExtCommIp6::StrepFormat format;
  format.strepFormatClassificationIs(true);
  format.strepFormatUIIs(true);
  return format;
}

// What ListKind.h asks for and both kinds do alike: communities are interned objects, told apart by address.
template <typename Object>
struct ObjectTraits {
  using Community = const Object*;

  static unsigned classification(Community community) { return community->classification(); }
  static std::size_t hash(Community community) {
    return Keel::singleAttributeHash(reinterpret_cast<std::uintptr_t>(community), 0);
  }
};

class ExtendedTraits : public ObjectTraits<ExtComm> {
 public:
  using List = ExtCommList::PtrConst;
  static constexpr std::size_t octets = 8;
  static constexpr auto published = &PathLists::extended;

  explicit ExtendedTraits(const Agent& agent) : agent_(agent) {}

  void intern(std::span<const Octets> values, std::span<List> lists) const {
    ExtCommList::dedupAttributes(agent_.extComms(), agent_.extCommLists(), values, lists);
  }

  static ExtCommRange communities(const List& list) { return list->comms(); }
  static Community find(const List& list, Octets value) { return list->comm(bigEndian(value)).get(); }
  static std::string wire(Community community) { return wireOf(community->getContent()); }
  std::string text(Octets value) const { return dedup(value)->toStrepForUI(false, false, false); }
  static std::string listText(const List& list) { return stringify(list.get()); }
  static bool matches(const List& list, const Routing::RouteMap::PosixRegex& regex) {
    return list->matchCommunitiesRegex(&regex);
  }

  // Bandwidths and tunnels also as they are typed by number.
  std::vector<std::string> spellings(Octets value) const {
    const ExtComm::PtrConst community = dedup(value);
    std::vector<std::string> found = {community->toStrepForUI(false, false, false),
                                      community->toStrepForUI(true, false, false)};
    if (const auto* bandwidth = as<ExtCommLinkBandwidth>(community)) {
      const std::string text = Routing::Ucmp::LinkBandwidth(bandwidth->bandwidth()).toStrep(true);
      const std::size_t begin = text.find_first_of("0123456789", text.find('('));
      if (begin != std::string::npos) {
        found.push_back("lbw:" + bandwidth->formatAsNumber(false) + ":" + text.substr(begin, text.size() - 1 - begin));
      }
    }
    if (const auto* tunnel = as<ExtCommTunnelEncap>(community)) {
      found.push_back("encap:" + std::to_string(tunnel->tunnelTypeNumber()));
    }
    return found;
  }
  std::string matchText(Octets value) const {
    const ExtComm::PtrConst community = dedup(value);
    return community->policyMatchStrepUI() ? community->toStrepForUI(false, false, false)
                                           : community->toStrepForPolicy(policyFormat(true));
  }
  Explanation explain(Octets value) const { return VelBgpTool::explain(*dedup(value)); }

  static boost::json::object sent(Community community) {
    boost::json::object out;
    for (const auto& way : serializations) out[way.name] = ExtCommList::serializable(*community, way.filter());
    return out;
  }
  List pruned(const List& list) const { return list->prune(agent_.extCommLists()); }
  // Empty for what was kept.
  static std::string whyDropped(Community community, const List& kept) {
    if (kept && kept->comm(community->community())) return {};
    if (!community->isValid()) return "it is not valid";
    const auto rest = kept ? kept->classificationList(community->classification()) : nullptr;
    if (rest == nullptr || rest->comms().size() == 0) return "another one is better";
    return "the better one is " + rest->comms()[0]->toStrepForUI(false, true, false);
  }

  void decode(Octets value, boost::json::object& out) const {
    const ExtComm::PtrConst community = dedup(value);
    decodeType(*community, out);
    out["valid"] = community->isValid();
    out["debug"] = community->toStrep();
    out["policy"] = community->toStrepForPolicy(policyFormat(false));
    out["policyClassification"] = community->toStrepForPolicy(policyFormat(true));
    out["ui"] = community->toStrepForUI(false, false, false);
    out["uiAsdot"] = community->toStrepForUI(true, false, false);
    out["uiWeighted"] = community->toStrepForUI(false, true, false);
  }

  void describe(const List& list, JsonText& out, std::vector<std::string>& notes) const {
    out.name("text").text(listText(list));
    setFlags(list->commVectorAttrs(), out);
    out.name("transitiveCount").number(list->transitiveCount());
    classified<ExtendedTraits>(*list, out);
    serialized(*list, out, notes);
    const List kept = pruned(list);
    out.name("prune");
    kept ? hexValues<ExtendedTraits>(out, kept->comms()) : void(out.word("null"));
  }

 private:
  ExtComm::PtrConst dedup(Octets value) const {
    return ExtComm::dedupContent(agent_.extComms(), ExtCommContent(bigEndian(value)));
  }

  const Agent& agent_;
};

// Route policy has no expression over them: nothing matches.
class ExtendedIp6Traits : public ObjectTraits<ExtCommIp6> {
 public:
  using List = ExtCommIp6List::PtrConst;
  static constexpr std::size_t octets = 20;
  static constexpr auto published = &PathLists::extendedIp6;

  explicit ExtendedIp6Traits(const Agent& agent) : agent_(agent) {}

  void intern(std::span<const Octets> values, std::span<List> lists) const {
    ExtCommIp6List::dedupAttributes(agent_.extCommIp6s(), agent_.extCommIp6Lists(), values, lists);
  }

  static std::vector<Community> communities(const List& list) {
    std::vector<Community> found;
    for (const auto& community : list->comms()) found.push_back(community.get());
    return found;
  }
  static Community find(const List& list, Octets value) { return list->comm(content(value)).get(); }
  // Of a community, however it is held.
  static std::string wire(const auto& community) { return wireOf(community->getContent()); }
  std::string text(Octets value) const { return dedup(value)->toStrepForPolicy(uiFormatIp6()); }
  static std::string listText(const List& list) { return list->commsStringForm(); }

  std::vector<std::string> spellings(Octets value) const { return {text(value)}; }
  Explanation explain(Octets value) const { return VelBgpTool::explain(*dedup(value)); }
  static boost::json::object sent(Community community) {
    return {{"all", true}, {"transitive", community->getContent().transitive()}};
  }

  void decode(Octets value, boost::json::object& out) const {
    const ExtCommIp6::PtrConst community = dedup(value);
    decodeType(*community, out);
    out["debug"] = community->toStrep();
    out["policy"] = community->toStrepForPolicy(ExtCommIp6::StrepFormat(policyFormat(false)));
    out["policyClassification"] = community->toStrepForPolicy(ExtCommIp6::StrepFormat(policyFormat(true)));
    out["ui"] = text(value);
  }

  static void describe(const List& list, JsonText& out, std::vector<std::string>&) {
    out.name("text").text(listText(list));
    out.name("transitiveCount").number(list->totalTransitiveCommunities());
    classified<ExtendedIp6Traits>(*list, out);
    out.name("serialize").open('{').name("all").hex(octetsOf(list->serialize(true)), "");
    out.name("transitive").hex(octetsOf(list->serialize(false)), "").close('}');
  }

 private:
  static ExtCommIp6Content content(Octets value) {
    std::array<std::uint8_t, 16> address;
    std::copy_n(value.begin() + 2, 16, address.begin());
    return {value[0], value[1], Routing::Addr::Ip6Addr(address),
            static_cast<std::uint16_t>(bigEndian(value.subspan<18, 2>()))};
  }
  ExtCommIp6::PtrConst dedup(Octets value) const {
    return ExtCommIp6::dedupContent(agent_.extCommIp6s(), content(value));
  }

  const Agent& agent_;
};

}  // namespace

std::unique_ptr<Kind> makeExtendedKind(Agent& agent) { return std::make_unique<ListKind<ExtendedTraits>>(agent); }
std::unique_ptr<Kind> makeExtendedIp6Kind(Agent& agent) { return std::make_unique<ListKind<ExtendedIp6Traits>>(agent); }

}  // namespace VelBgpTool
