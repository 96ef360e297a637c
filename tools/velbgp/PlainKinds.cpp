// The kinds "standard" and "large": communities that are plain numbers and have no classification.
#include <optional>

#include "Keel/HashMix.h"
#include "VelBgp/CommList.h"
#include "VelBgp/LargeCommList.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/ListKind.h"
#include "tools/velbgp/Wire.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

namespace {

std::uint32_t read32(Octets octets) { return static_cast<std::uint32_t>(bigEndian(octets.first<4>())); }

// What both do alike; Own gives the rest of what ListKind.h asks for, value() from wire octets, and its table.
template <typename Own, typename ListType>
class PlainTraits {
 public:
  using List = typename ListType::PtrConst;
  using Community = typename ListType::Value;

  explicit PlainTraits(const Agent& agent) : agent_(agent) {}

  void intern(std::span<const Octets> values, std::span<List> lists) const {
    ListType::dedupAttributes(Own::table(agent_), values, lists);
  }
  static typename ListType::Values communities(const List& list) { return list->comms(); }
  static Community find(const List& list, Octets value) { return *list->comm(Own::value(value)); }
  static std::string wire(const Community& community) { return wireOf(community); }
  static std::string text(Octets value) { return ListType::getStringValue(Own::value(value)); }
  static std::string listText(const List& list) { return stringify(list.get()); }
  static std::string matchText(Octets value) { return text(value); }
  static Explanation explain(Octets value) { return VelBgpTool::explain(Own::value(value)); }
  static boost::json::object sent(const Community&) { return {{"all", true}}; }
  static bool matches(const List& list, const Routing::RouteMap::PosixRegex& regex) {
    return list->matchCommunitiesRegex(&regex);
  }
  void describe(const List& list, JsonText& out, std::vector<std::string>&) const {
    out.name("text").text(listText(list)).name("serialize").hex(octetsOf(list->serialize()), "");
  }

 private:
  const Agent& agent_;
};

struct StandardTraits : PlainTraits<StandardTraits, CommList> {
  using PlainTraits::PlainTraits;
  static constexpr std::size_t octets = 4;
  static constexpr auto published = &PathLists::standard;

  static const CommListDedupTable* table(const Agent& agent) { return agent.commLists(); }
  static std::uint32_t value(Octets octets) { return read32(octets); }
  static std::size_t hash(std::uint32_t community) { return Keel::singleAttributeHash(community, 0); }

  static void decode(Octets octets, boost::json::object& out) {
    out["text"] = text(octets);
    out["numeric"] = numeric(octets);
  }
  static std::vector<std::string> spellings(Octets octets) { return {numeric(octets)}; }
  static std::string numeric(Octets octets) {
    Tyr::DynamicBuffer<> numbers;
    CommunityFormatter<false>::format(numbers, value(octets));
    return numbers.str();
  }
  static std::string meaning(Octets octets) { return std::string(commMeaning(value(octets))); }
};

struct LargeTraits : PlainTraits<LargeTraits, LargeCommList> {
  using PlainTraits::PlainTraits;
  static constexpr std::size_t octets = 12;
  static constexpr auto published = &PathLists::large;

  static const LargeCommListDedupTable* table(const Agent& agent) { return agent.largeCommLists(); }
  static CommunityValue value(Octets octets) {
    return {read32(octets), read32(octets.subspan(4)), read32(octets.subspan(8))};
  }
  static std::size_t hash(const CommunityValue& community) {
    return LargeCommListTraits::hash(std::span(&community, 1));
  }

  static void decode(Octets octets, boost::json::object& out) {
    out["text"] = text(octets);
    out["asdot"] = asdot(octets);
  }
  static std::string asdot(Octets octets) { return LargeCommList::displayString(value(octets), true); }
  static std::vector<std::string> spellings(Octets octets) { return {text(octets), asdot(octets)}; }
};

}  // namespace

std::unique_ptr<Kind> makeStandardKind(Agent& agent) { return std::make_unique<ListKind<StandardTraits>>(agent); }
std::unique_ptr<Kind> makeLargeKind(Agent& agent) { return std::make_unique<ListKind<LargeTraits>>(agent); }

}  // namespace VelBgpTool
