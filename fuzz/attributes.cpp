// The octets of an attribute's value, as the value of each of the four: interned as lists, printed, matched, sent under
// every filter, read back, pruned, looked at as snapshots and released, until nothing is interned any more.
#include <set>
#include <vector>

#include "Policy/PosixRegex.h"
#include "VelBgp/CommListSnapshot.h"
#include "fuzz/Fuzz.h"
#include "tools/velbgp/Agent.h"

namespace VelBgpFuzz {

namespace {

using namespace Routing::Bgp;
using VelBgpTool::Agent;

constexpr std::size_t longest = 65535;

const Routing::RouteMap::PosixRegex& regex() {
  static const Routing::RouteMap::PosixRegex regex("^[^ ]*:1( |$)");
  return regex;
}

// An attribute as it would be sent. `announced` is the length that its header tells.
struct Sent {
  explicit Sent(const std::string& text) {
    Input input(octetsOf(text));
    const std::uint8_t flags = input.octet();
    type = input.octet();
    TYR_ASSERT((flags & 0xef) == 0xc0);
    announced = (flags & 0x10) != 0 ? input.number<std::uint16_t>() : input.octet();
    value = input.rest();
  }
  std::uint8_t type;
  std::size_t announced;
  Octets value;  // in the text
};

// The value of an attribute that holds what it announces.
Octets sentValue(const std::string& text, std::uint8_t type) {
  const Sent sent(text);
  TYR_ASSERT(sent.type == type && sent.announced == sent.value.size());
  return sent.value;
}

// Keys or values of ranges, in order.
template <typename Range, typename Project>
auto all(const Range& range, Project&& project) {
  std::vector<std::decay_t<decltype(project(*range.begin()))>> values;
  for (const auto& element : range) values.push_back(project(element));
  return values;
}
constexpr auto itself = [](const auto& value) { return value; };
constexpr auto keyOf = [](const auto& entry) { return entry.key; };
constexpr auto contentOf = [](const auto& community) { return community->getContent(); };
constexpr auto valueOf = [](const auto* community) { return community->community(); };

// ---- Standard and large communities

std::uint32_t standardValue(Input& input) { return input.number<std::uint32_t>(); }

CommunityValue largeValue(Input& input) {
  const auto globalAdmin = input.number<std::uint32_t>();
  const auto localData1 = input.number<std::uint32_t>();
  return {globalAdmin, localData1, input.number<std::uint32_t>()};
}

template <typename List, typename Content, typename Table, typename Value>
typename List::PtrConst interned(const Table* table, Octets octets, Value&& value) {
  Content content;
  Input input(octets.first(octets.size() - octets.size() % sizeof(typename List::Value)));
  while (!input.empty()) content.commIs(value(input));
  return List::dedupContent(table, content);
}

template <typename List, typename Content, typename Table, typename Value>
void plain(const Table* table, Octets octets, std::uint8_t type, Value&& value) {
  const auto list = interned<List, Content>(table, octets, value);
  std::set<typename List::Value> expected;
  for (Input input(octets.first(octets.size() - octets.size() % sizeof(typename List::Value))); !input.empty();) {
    expected.insert(value(input));
  }
  const auto values = all(list->comms(), itself);
  TYR_ASSERT(values == all(expected, itself));
  TYR_ASSERT(values == all(list->commSnapshot()->comm(), keyOf));
  for (const auto& one : values) TYR_ASSERT(*list->comm(one) == one && !List::getStringValue(one).empty());
  TYR_ASSERT(list->toStrep() == stringify(list.get()) && list->empty() == list->toStrep().empty());
  list->matchCommunitiesRegex(&regex());
  const std::string attribute = list->serialize();
  TYR_ASSERT((interned<List, Content>(table, sentValue(attribute, type), value) == list));
}

// ---- Extended communities

ExtCommList::PtrConst extendedList(const Agent& agent, Octets octets) {
  ExtCommListContentU64 content(agent.communityTable());
  for (Input input(octets.first(octets.size() / 8 * 8)); !input.empty();) content.commIs(input.number<std::uint64_t>());
  return ExtCommList::dedupContent(agent.listTable(), content);
}

// The other form of content, in the other order.
ExtCommList::PtrConst extendedListOfObjects(const Agent& agent, Octets octets) {
  ExtCommListContent content;
  for (std::size_t at = octets.size() / 8 * 8; at != 0; at -= 8) {
    const ExtCommContent value(Input(octets.subspan(at - 8)).number<std::uint64_t>());
    content.commIs(ExtComm::dedupContent(agent.communityTable(), value));
  }
  return ExtCommList::dedupContent(agent.listTable(), content);
}

std::size_t countOf(const ExtCommList& list, ExtCommClassification classification) {
  const auto part = list.classificationList(classification);
  return part == nullptr ? 0 : part->comms().size();
}

void extendedSent(const Agent& agent, const ExtCommList::PtrConst& list) {
  const std::size_t most = std::max(countOf(*list, extCommClassificationLinkBandwidth),
                                    countOf(*list, extCommClassificationOriginValidationState));
  for (unsigned octet = 0; octet < 16; ++octet) {
    const ExtCommList::Serialization filter(octet);
    std::string expected;
    for (const ExtComm* community : list->comms()) {
      for (unsigned i = 0; ExtCommList::serializable(*community, filter) && i < 8; ++i) {
        expected += static_cast<char>(community->getContent().octet(i));
      }
    }
    const std::string attribute = list->serialize(filter);
    TYR_ASSERT(attribute.empty() == (list->serializableCommunities(filter) == 0));
    if (attribute.empty()) continue;
    const Sent sent(attribute);
    TYR_ASSERT(sent.type == 16 && textOf(sent.value) == expected);
    TYR_ASSERT(sent.announced == 8 * list->serializableCommunities(filter));
    TYR_ASSERT(sent.announced == sent.value.size() || most > 1);
    if (filter.all()) TYR_ASSERT(extendedList(agent, sentValue(attribute, 16)) == list);
  }
}

void extendedPruned(const Agent& agent, const ExtCommList::PtrConst& list) {
  const auto pruned = list->prune(agent.listTable());
  if (pruned == nullptr) return TYR_ASSERT(list->hasPrunableValues());
  TYR_ASSERT((pruned == list) == !list->hasPrunableValues());
  TYR_ASSERT(!pruned->hasPrunableValues() && pruned->prune(agent.listTable()) == pruned);
  for (const ExtComm* community : pruned->comms()) TYR_ASSERT(list->comm(community->community()) == community);
}

void extended(const Agent& agent, Octets octets) {
  const auto list = extendedList(agent, octets);
  TYR_ASSERT(list == extendedListOfObjects(agent, octets));
  std::set<std::uint64_t> expected;
  for (Input input(octets.first(octets.size() / 8 * 8)); !input.empty();)
    expected.insert(input.number<std::uint64_t>());
  const auto values = all(list->comms(), valueOf);
  TYR_ASSERT(values == all(expected, itself));
  TYR_ASSERT(values == all(list->commSnapshot()->comm(), keyOf));
  if (values.size() == 1) {
    TYR_ASSERT(list == ExtCommList::dedupSingleU64(agent.communityTable(), agent.listTable(), values[0]));
  }
  std::size_t parts = 0;
  for (const ExtCommClassificationList* part : list->classificationLists()) {
    parts += part->comms().size();
    TYR_ASSERT(all(part->commSnapshot()->comm(), keyOf) == all(part->comms(), valueOf));
    TYR_ASSERT(stringify(part).size() > 4);
  }
  TYR_ASSERT(parts == values.size());
  TYR_ASSERT(list->snapshot()->classificationListCount() == list->classificationLists().size());
  const std::size_t targets = countOf(*list, extCommClassificationRouteTarget);
  TYR_ASSERT(agent.communityTable()->producerRtList()->rtCount() == targets);
  TYR_ASSERT(agent.listTable()->notifyingRtExtCommListCollection()->rtExtCommListCount() == (targets != 0));
  stringify(list.get());
  list->matchCommunitiesRegex(&regex());
  extendedSent(agent, list);
  extendedPruned(agent, list);
}

// ---- IPv6 address specific extended communities

ExtCommIp6List::PtrConst extendedIp6List(const Agent& agent, Octets octets) {
  const auto builder = ExtCommIp6ListIs();
  for (Input input(octets.first(octets.size() / 20 * 20)); !input.empty();) {
    const std::uint8_t type = input.octet();
    const std::uint8_t subtype = input.octet();
    Routing::Addr::Ip6Addr::Octets address{};
    std::ranges::copy(input.take(address.size()), address.begin());
    const ExtCommIp6Content content(type, subtype, Routing::Addr::Ip6Addr(address), input.number<std::uint16_t>());
    builder->commIs(ExtCommIp6::dedupContent(agent.ip6CommunityTable(), content));
  }
  return builder->dedup(agent.ip6ListTable());
}

void extendedIp6(const Agent& agent, Octets octets) {
  const auto list = extendedIp6List(agent, octets);
  TYR_ASSERT(list == extendedIp6List(agent, octets));
  const auto contents = all(list->comms(), contentOf);
  TYR_ASSERT(std::ranges::adjacent_find(contents, std::ranges::greater_equal()) == contents.end());
  TYR_ASSERT(contents == all(list->commSnapshot()->comm(), keyOf));
  std::size_t parts = 0;
  for (const auto& part : list->classificationLists()) parts += part == nullptr ? 0 : part->comms().size();
  TYR_ASSERT(parts == contents.size() && list->toStrep().size() >= 3 * parts);
  list->commsStringForm();
  const std::string some = list->serialize(false);
  TYR_ASSERT(some.empty() || sentValue(some, 25).size() == 20 * list->totalTransitiveCommunities());
  const std::string whole = list->serialize(true);
  TYR_ASSERT(whole.empty() == list->empty());
  if (!whole.empty()) TYR_ASSERT(extendedIp6List(agent, sentValue(whole, 25)) == list);
}

bool nothingInterned(const Agent& agent) {
  const ExtCommListDedupTable& lists = *agent.listTable();
  const ExtCommIp6ListDedupTable& ip6Lists = *agent.ip6ListTable();
  return agent.communityTable()->size() + lists.size() + lists.extCommClassificationListDedupTable().size() +
             lists.rtExtCommClassificationListDedupTable()->size() + agent.ip6CommunityTable()->size() +
             ip6Lists.size() + ip6Lists.extCommClassificationListDedupTable().size() + agent.largeTable()->size() +
             agent.standardTable()->size() + agent.communityTable()->producerRtList()->rtCount() +
             lists.notifyingRtExtCommListCollection()->rtExtCommListCount() ==
         0;
}

}  // namespace

void oneInput(Input& input) {
  static Agent with(true);
  static Agent without(false);
  const Octets octets = input.take(longest);
  for (const Agent* agent : {&with, &without}) {
    extended(*agent, octets);
    extendedIp6(*agent, octets);
    plain<LargeCommList, LargeCommListContent>(agent->largeTable(), octets, 32, largeValue);
    plain<CommList, CommListContent>(agent->standardTable(), octets, 8, standardValue);
    TYR_ASSERT(nothingInterned(*agent));
  }
}

}  // namespace VelBgpFuzz
