#include "tools/velbgp/ExtendedKinds.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string>

#include "Keel/HashMix.h"
#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/ListKind.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

namespace {

// The ways an agent sends a list, by the names they are printed under.
struct NamedSerialization {
  const char* name;
  bool includeNonTransitive;
  bool includeLinkBandwidth;
  bool includeOriginAsValidity;
};

constexpr NamedSerialization serializations[] = {
    {"all", true, false, false},
    {"transitive", false, false, false},
    {"transitive+linkBandwidth", false, true, false},
    {"transitive+originAsValidity", false, false, true},
    {"transitive+linkBandwidth+originAsValidity", false, true, true},
};

// The octets of value that an attribute announces in its header, and those that it carries.
struct AttributeSize {
  std::size_t announced;
  std::size_t carried;
};

AttributeSize sizeOf(Octets attribute) {
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

boost::json::object serialized(const ExtCommList& list, std::vector<std::string>& notes) {
  boost::json::object out;
  for (const auto& way : serializations) {
    const std::string attribute = list.serialize(
        ExtCommList::serialization(way.includeNonTransitive, way.includeLinkBandwidth, way.includeOriginAsValidity));
    out[way.name] = hexDigits(octetsOf(attribute));
    if (const AttributeSize size = sizeOf(octetsOf(attribute)); size.announced != size.carried) {
      notes.push_back(std::string("the attribute \"") + way.name + "\" announces " + std::to_string(size.announced) +
                      " octets but carries " + std::to_string(size.carried) + ": " + remedy(list, way));
    }
  }
  return out;
}

boost::json::array setFlags(ExtCommList::CommVectorAttrs attrs) {
  boost::json::array out;
  for (const auto& flag : attrs.names()) {
    if ((attrs.value() & flag.bit) != 0) out.emplace_back(flag.name);
  }
  return out;
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
  static constexpr bool classified = true;

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
  static constexpr auto stashed = &StashedPath::extended;
  static constexpr bool matchable = true;

  explicit ExtendedTraits(const Agent& agent) : agent_(agent), content_(agent.communityTable()) {}

  List intern(Octets values) {
    content_.reset();
    content_.expectedCommunityCountIs(values.size() / octets);
    for (; !values.empty(); values = values.subspan(octets)) content_.commIs(bigEndian(values.first<octets>()));
    return ExtCommList::dedupContent(agent_.listTable(), content_);
  }

  static ExtCommRange communities(const List& list) { return list->comms(); }
  static Community find(const List& list, Octets value) { return list->comm(bigEndian(value)).get(); }
  static std::array<std::uint8_t, octets> wire(Community community) {
    std::array<std::uint8_t, octets> out;
    for (unsigned i = 0; i < octets; ++i) out[i] = community->getContent().octet(i);
    return out;
  }
  static std::string text(Community community) { return community->toStrepForUI(false, false, false); }
  static bool matches(const List& list, const Routing::RouteMap::PosixRegex& regex) {
    return list->matchCommunitiesRegex(&regex);
  }

  void decode(Octets value, boost::json::object& out) const;
  void describe(const List& list, boost::json::object& out, std::vector<std::string>& notes) const;

  std::size_t distinctLists() const { return agent_.listTable()->size(); }
  std::size_t distinctCommunities() const { return agent_.communityTable()->size(); }

 private:
  const Agent& agent_;
  ExtCommListContentU64 content_;
};

void ExtendedTraits::decode(Octets value, boost::json::object& out) const {
  const ExtComm::PtrConst community = ExtComm::dedupContent(agent_.communityTable(), ExtCommContent(bigEndian(value)));
  decodeType(*community, out);
  out["valid"] = community->isValid();
  out["debug"] = community->toStrep();
  out["policy"] = community->toStrepForPolicy(policyFormat(false));
  out["policyClassification"] = community->toStrepForPolicy(policyFormat(true));
  out["ui"] = community->toStrepForUI(false, false, false);
  out["uiAsdot"] = community->toStrepForUI(true, false, false);
  out["uiWeighted"] = community->toStrepForUI(false, true, false);
}

void ExtendedTraits::describe(const List& list, boost::json::object& out, std::vector<std::string>& notes) const {
  out["text"] = stringify(list.get());
  out["attrs"] = setFlags(list->commVectorAttrs());
  out["transitiveCount"] = list->transitiveCount();
  boost::json::object& classifications = out["classifications"].emplace_object();
  for (const ExtCommClassificationList* part : list->classificationLists()) {
    classifications[stringValue(part->classification())] = hexValues<ExtendedTraits>(part->comms());
  }
  out["serialize"] = serialized(*list, notes);
  const List pruned = list->prune(agent_.listTable());
  out["prune"] = nullptr;
  if (pruned) out["prune"] = hexValues<ExtendedTraits>(pruned->comms());
}

class ExtendedIp6Traits : public ObjectTraits<ExtCommIp6> {
 public:
  using List = ExtCommIp6List::PtrConst;
  static constexpr std::size_t octets = 20;
  static constexpr auto published = &PathLists::extendedIp6;
  static constexpr auto stashed = &StashedPath::extendedIp6;
  // Route policy has no expression over them.
  static constexpr bool matchable = false;

  explicit ExtendedIp6Traits(const Agent& agent) : agent_(agent) {}

  List intern(Octets values) const {
    const ExtCommIp6List::Ptr builder = ExtCommIp6ListIs();
    builder->expectedCommunityCountIs(values.size() / octets);
    for (; !values.empty(); values = values.subspan(octets)) builder->commIs(dedup(values));
    return builder->dedup(agent_.ip6ListTable());
  }

  static std::vector<Community> communities(const List& list) {
    std::vector<Community> found;
    for (const auto& community : list->comms()) found.push_back(community.get());
    return found;
  }
  static Community find(const List& list, Octets value) { return list->comm(content(value)).get(); }
  static std::array<std::uint8_t, octets> wire(Community community) {
    const ExtCommIp6Content& content = community->getContent();
    std::array<std::uint8_t, octets> out = {content.type(), content.subtype()};
    std::copy_n(content.addr().octets().begin(), 16, out.begin() + 2);
    out[18] = static_cast<std::uint8_t>(content.localAdmin() >> 8);
    out[19] = static_cast<std::uint8_t>(content.localAdmin());
    return out;
  }
  static std::string text(Community community) { return community->toStrepForPolicy(uiFormatIp6()); }

  void decode(Octets value, boost::json::object& out) const;
  static void describe(const List& list, boost::json::object& out, std::vector<std::string>& notes);

  std::size_t distinctLists() const { return agent_.ip6ListTable()->size(); }
  std::size_t distinctCommunities() const { return agent_.ip6CommunityTable()->size(); }

 private:
  static ExtCommIp6Content content(Octets value) {
    std::array<std::uint8_t, 16> address;
    std::copy_n(value.begin() + 2, 16, address.begin());
    return {value[0], value[1], Routing::Addr::Ip6Addr(address),
            static_cast<std::uint16_t>(bigEndian(value.subspan<18, 2>()))};
  }
  ExtCommIp6::PtrConst dedup(Octets value) const {
    return ExtCommIp6::dedupContent(agent_.ip6CommunityTable(), content(value));
  }

  const Agent& agent_;
};

void ExtendedIp6Traits::decode(Octets value, boost::json::object& out) const {
  const ExtCommIp6::PtrConst community = dedup(value);
  decodeType(*community, out);
  out["debug"] = community->toStrep();
  out["policy"] = community->toStrepForPolicy(ExtCommIp6::StrepFormat(policyFormat(false)));
  out["policyClassification"] = community->toStrepForPolicy(ExtCommIp6::StrepFormat(policyFormat(true)));
  out["ui"] = text(community.get());
}

void ExtendedIp6Traits::describe(const List& list, boost::json::object& out, std::vector<std::string>&) {
  out["text"] = list->commsStringForm();
  out["transitiveCount"] = list->totalTransitiveCommunities();
  boost::json::object& classifications = out["classifications"].emplace_object();
  for (const auto& part : list->classificationLists()) {
    if (part == nullptr) continue;
    boost::json::array& values = classifications[stringValue(part->classification())].emplace_array();
    for (const auto& community : part->comms()) values.emplace_back(hexValue(wire(community.get())));
  }
  boost::json::object& attributes = out["serialize"].emplace_object();
  attributes["all"] = hexDigits(octetsOf(list->serialize(true)));
  attributes["transitive"] = hexDigits(octetsOf(list->serialize(false)));
}

}  // namespace

std::unique_ptr<Kind> makeExtendedKind(Agent& agent) { return std::make_unique<ListKind<ExtendedTraits>>(agent); }
std::unique_ptr<Kind> makeExtendedIp6Kind(Agent& agent) { return std::make_unique<ListKind<ExtendedIp6Traits>>(agent); }

}  // namespace VelBgpTool
