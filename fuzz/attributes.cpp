// The octets of an attribute's value, as the value of each of the four: interned as lists, printed, matched, sent under
// every filter, read back, pruned, looked at as snapshots and released, until nothing is interned any more.
#include "Policy/PosixRegex.h"
#include "VelBgp/CommListSnapshot.h"
#include "fuzz/Agent.h"

namespace VelBgpFuzz {
namespace {

const Routing::RouteMap::PosixRegex& regex() {
  static const Routing::RouteMap::PosixRegex regex("^[^ ]*:1( |$)");
  return regex;
}

// An attribute as it would be sent, in the text of it.
struct Sent {
  explicit Sent(std::string_view text) : value(octetsOf(text)) {
    Input input(value);
    const std::uint8_t flags = input.octet();
    type = input.octet();
    announced = (flags & 0x10) != 0 ? input.number<std::uint16_t>() : input.octet();
    value = input.rest();
    TYR_ASSERT((flags & 0xef) == 0xc0);
  }
  bool whole(unsigned expectedType) const { return type == expectedType && announced == value.size(); }

  unsigned type;
  std::size_t announced;  // in the header, as the size of the value
  Octets value;
};

template <typename Value>
std::vector<Value> sortedUnique(std::vector<Value> values) {
  std::ranges::sort(values, std::less());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  return values;
}

// Whether these are the elements' values, and the keys of the snapshot.
template <typename Value, typename List, typename ValueOf>
bool holds(const List& list, const std::vector<Value>& values, ValueOf&& valueOf) {
  std::vector<Value> held;
  for (const auto& element : list.comms()) held.push_back(valueOf(element));
  std::vector<Value> keys;
  const auto snapshot = list.commSnapshot();
  for (const auto& entry : snapshot->comm()) keys.push_back(entry.key);
  return held == values && keys == values;
}

// ---- Standard and large communities

template <typename List, typename Content, typename Table>
typename List::PtrConst plainList(const Table& table, const std::vector<typename List::Value>& values) {
  Content content;
  for (const auto& value : values) content.commIs(value);
  return List::dedupContent(&table, content);
}

template <typename List, typename Content, typename Table>
void plain(const Table& table, Octets octets, unsigned type) {
  using Value = typename List::Value;
  const auto values = sortedUnique(valuesOf<Value>(octets));
  const auto list = plainList<List, Content>(table, valuesOf<Value>(octets));
  TYR_ASSERT(holds(*list, values, [](const Value& value) { return value; }));
  for (const Value& value : values) TYR_ASSERT(*list->comm(value) == value);
  TYR_ASSERT(list->toStrep() == stringify(list.get()) && list->toStrep().empty() == values.empty());
  list->matchCommunitiesRegex(&regex());
  const std::string attribute = list->serialize();
  TYR_ASSERT(Sent(attribute).whole(type));
  TYR_ASSERT((plainList<List, Content>(table, valuesOf<Value>(Sent(attribute).value)) == list));
}

// ---- Extended communities

std::uint64_t valueOf(const ExtComm* community) { return community->community(); }

ExtCommList::PtrConst extendedList(const Agent& agent, const std::vector<std::uint64_t>& values) {
  ExtCommListContentU64 content(agent.communities.get());
  ExtCommListContent objects;
  for (const std::uint64_t value : values) content.commIs(value);
  for (auto value = values.rbegin(); value != values.rend(); ++value) {
    objects.commIs(ExtComm::dedupContent(agent.communities.get(), ExtCommContent(*value)));
  }
  const auto list = ExtCommList::dedupContent(agent.extended.get(), content);
  TYR_ASSERT(list == ExtCommList::dedupContent(agent.extended.get(), objects));
  return list;
}

std::size_t countOf(const ExtCommList& list, ExtCommClassification classification) {
  const auto part = list.classificationList(classification);
  return part == nullptr ? 0 : part->comms().size();
}

void extendedSent(const Agent& agent, const ExtCommList::PtrConst& list, ExtCommList::Serialization filter) {
  std::vector<std::uint64_t> expected;
  for (const ExtComm* community : list->comms()) {
    if (ExtCommList::serializable(*community, filter)) expected.push_back(valueOf(community));
  }
  const std::uint32_t count = list->serializableCommunities(filter);
  const std::string attribute = list->serialize(filter);
  TYR_ASSERT(attribute.empty() == (count == 0) && expected.empty() == (count == 0));
  if (count == 0) return;
  const Sent sent(attribute);
  TYR_ASSERT(sent.type == 16 && sent.announced == 8 * count && valuesOf<std::uint64_t>(sent.value) == expected);
  // Several of these are counted as one.
  TYR_ASSERT(sent.whole(16) || countOf(*list, extCommClassificationLinkBandwidth) > 1 ||
             countOf(*list, extCommClassificationOriginValidationState) > 1);
  TYR_ASSERT(!filter.all() || extendedList(agent, expected) == list);
}

void extendedPruned(const Agent& agent, const ExtCommList::PtrConst& list) {
  const auto pruned = list->prune(agent.extended.get());
  TYR_ASSERT((pruned == list) == !list->hasPrunableValues());
  if (pruned == nullptr) return;
  TYR_ASSERT(pruned->prune(agent.extended.get()) == pruned);
  for (const ExtComm* community : pruned->comms()) TYR_ASSERT(list->comm(valueOf(community)) == community);
}

void extended(const Agent& agent, Octets octets) {
  const auto values = sortedUnique(valuesOf<std::uint64_t>(octets));
  const auto list = extendedList(agent, valuesOf<std::uint64_t>(octets));
  TYR_ASSERT(holds(*list, values, valueOf) && !stringify(list.get()).empty());
  std::vector<std::uint64_t> ofParts;
  for (const ExtCommClassificationList* part : list->classificationLists()) {
    for (const ExtComm* community : part->comms()) ofParts.push_back(valueOf(community));
    TYR_ASSERT(part->commSnapshot()->comm().size() == part->comms().size() && !stringify(part).empty());
  }
  TYR_ASSERT(ofParts.size() == values.size() && sortedUnique(ofParts) == values);
  TYR_ASSERT(list->snapshot()->classificationListCount() == list->classificationLists().size());
  const std::size_t targets = countOf(*list, extCommClassificationRouteTarget);
  TYR_ASSERT(agent.communities->producerRtList()->rtCount() == targets);
  TYR_ASSERT(agent.extended->notifyingRtExtCommListCollection()->rtExtCommListCount() == (targets != 0));
  list->matchCommunitiesRegex(&regex());
  for (unsigned filter = 0; filter < 16; ++filter) extendedSent(agent, list, ExtCommList::Serialization(filter));
  extendedPruned(agent, list);
}

// ---- IPv6 address specific extended communities

ExtCommIp6List::PtrConst extendedIp6List(const Agent& agent, const std::vector<ExtCommIp6Content>& contents) {
  const auto builder = ExtCommIp6ListIs();
  for (const auto& content : contents) {
    builder->commIs(ExtCommIp6::dedupContent(agent.ip6Communities.get(), content));
  }
  return builder->dedup(agent.extendedIp6.get());
}

void extendedIp6(const Agent& agent, Octets octets) {
  const auto contents = sortedUnique(valuesOf<ExtCommIp6Content>(octets));
  const auto list = extendedIp6List(agent, valuesOf<ExtCommIp6Content>(octets));
  TYR_ASSERT(holds(*list, contents, [](const auto& community) { return community->getContent(); }));
  std::size_t parts = 0;
  for (const auto& part : list->classificationLists()) parts += part == nullptr ? 0 : part->comms().size();
  TYR_ASSERT(parts == contents.size() && list->toStrep().size() + list->commsStringForm().size() > 3 * parts);
  const std::string transitive = list->serialize(false);
  TYR_ASSERT(transitive.empty() || Sent(transitive).value.size() == 20 * list->totalTransitiveCommunities());
  const std::string all = list->serialize(true);
  TYR_ASSERT(all.empty() == contents.empty());
  TYR_ASSERT(all.empty() || Sent(all).whole(25));
  TYR_ASSERT(all.empty() || extendedIp6List(agent, valuesOf<ExtCommIp6Content>(Sent(all).value)) == list);
}

bool nothingInterned(const Agent& agent) {
  return agent.communities->size() + agent.extended->size() + agent.ip6Communities->size() + agent.standard->size() +
             agent.extended->extCommClassificationListDedupTable().size() + agent.extendedIp6->size() +
             agent.extended->rtExtCommClassificationListDedupTable()->size() + agent.large->size() +
             agent.extended->notifyingRtExtCommListCollection()->rtExtCommListCount() +
             agent.extendedIp6->extCommClassificationListDedupTable().size() +
             agent.communities->producerRtList()->rtCount() ==
         0;
}

}  // namespace

void oneInput(Input input) {
  const Octets octets = input.take(65535);
  for (const bool mvpn : {false, true}) {
    extended(agent(mvpn), octets);
    extendedIp6(agent(mvpn), octets);
    plain<LargeCommList, LargeCommListContent>(*agent(mvpn).large, octets, 32);
    plain<CommList, CommListContent>(*agent(mvpn).standard, octets, 8);
    TYR_ASSERT(nothingInterned(agent(mvpn)));
  }
}

}  // namespace VelBgpFuzz
