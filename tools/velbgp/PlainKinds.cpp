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
  static std::string text(const Community& community) { return ListType::getStringValue(community); }
  static bool matches(const List& list, const Routing::RouteMap::PosixRegex& regex) {
    return list->matchCommunitiesRegex(&regex);
  }
  void describe(const List& list, JsonText& out, std::vector<std::string>&) const {
    out.name("text").text(stringify(list.get())).name("serialize").hex(octetsOf(list->serialize()), "");
  }

  std::size_t distinctLists() const { return Own::table(agent_)->size(); }

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
    Tyr::DynamicBuffer<> numbers;
    CommunityFormatter<false>::format(numbers, value(octets));
    out["text"] = CommList::getStringValue(value(octets));
    out["numeric"] = numbers.str();
    const std::string_view meaning = commMeaning(value(octets));
    if (!meaning.empty()) out["meaning"] = meaning;
  }
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
    out["text"] = LargeCommList::getStringValue(value(octets));
    out["asdot"] = LargeCommList::displayString(value(octets), true);
  }
};

}  // namespace

std::unique_ptr<Kind> makeStandardKind(Agent& agent) { return std::make_unique<ListKind<StandardTraits>>(agent); }
std::unique_ptr<Kind> makeLargeKind(Agent& agent) { return std::make_unique<ListKind<LargeTraits>>(agent); }

}  // namespace VelBgpTool
