#include "tools/velbgp/ExtendedKind.h"

#include <array>
#include <sstream>
#include <string>

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

boost::json::object serialized(const ExtCommList& list, std::vector<std::string>& notes) {
  boost::json::object out;
  for (const auto& way : serializations) {
    const std::string attribute = list.serialize(
        ExtCommList::serialization(way.includeNonTransitive, way.includeLinkBandwidth, way.includeOriginAsValidity));
    const Octets octets(reinterpret_cast<const std::uint8_t*>(attribute.data()), attribute.size());
    std::string hex;
    appendHex(hex, octets);
    out[way.name] = hex;
    if (const AttributeSize size = sizeOf(octets); size.announced != size.carried) {
      notes.push_back(std::string("the attribute \"") + way.name + "\" announces " + std::to_string(size.announced) +
                      " octets but carries " + std::to_string(size.carried) + ": prune the list before sending it so");
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

std::string subtypeText(const ExtComm& community) {
  std::ostringstream stream;
  community.formatSubtype(stream);
  return stream.str();
}

ExtComm::StrepFormat policyFormat(bool classification) {
  ExtComm::StrepFormat format;
  classification ? format.strepFormatClassificationIs(true) : format.strepFormatDefaultIs(true);
  return format;
}

class ExtendedTraits {
 public:
  using List = ExtCommList::PtrConst;
  using Community = const ExtComm*;
  static constexpr std::size_t octets = 8;

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
  static unsigned classification(Community community) { return community->classification(); }
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
  out["class"] = community->fwkType().unqualifiedName();
  out["classification"] = stringValue(community->classification());
  out["pktType"] = stringValue(community->pktType());
  out["subtype"] = subtypeText(*community);
  out["transitive"] = community->getContent().transitive();
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

}  // namespace

std::unique_ptr<Kind> makeExtendedKind(Agent& agent) { return std::make_unique<ListKind<ExtendedTraits>>(agent); }

}  // namespace VelBgpTool
