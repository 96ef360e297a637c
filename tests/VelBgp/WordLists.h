// Lists of all four kinds, made of plain words, so that a test says a thing once for all of them: the kinds Extended,
// ExtendedIp6, Large and Standard. A word becomes a community of any kind and is read back from it, with a look at all
// of the community.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "VelBgp/Agent.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/StashImpl.h"

namespace Routing::Bgp::test {

using Words = std::vector<std::uint32_t>;  // ascending

template <typename ListType, std::size_t number, auto tableOfAgent, auto listOfPath, auto referenceOfPath>
struct KindBase {
  using List = ListType;
  static constexpr std::size_t index = number;
  static constexpr auto table = tableOfAgent;
  static constexpr auto ofPath = listOfPath;
  static constexpr auto stashed = referenceOfPath;
};

// Of four classifications, some non-transitive.
struct Extended : KindBase<ExtCommList, 0, &Agent::extended, &PathLists::extended, &StashedPath::extended> {
  using Community = ExtComm;
  static constexpr Stashed record = Stashed::extCommList, commRecord = Stashed::extComm;

  static std::uint64_t value(std::uint32_t word) {
    constexpr std::uint64_t kinds[] = {0x0002, 0x0003, 0x4004, 0x8123};
    return kinds[word % 4] << 48 | std::uint64_t{word >> 2 & 0xffff} << 32 | word;
  }
  static std::uint32_t word(std::uint64_t value) { return static_cast<std::uint32_t>(value); }
  static std::uint64_t valueOf(const ExtComm* comm) { return comm->community(); }
  static List::PtrConst intern(const Agent& agent, const Words& words) {
    ExtCommListContentU64 content(agent.comms.get());
    for (const std::uint32_t word : words) content.commIs(value(word));
    return List::dedupContent(agent.extended.get(), content);
  }
};

// Of two classifications, some non-transitive.
struct ExtendedIp6
    : KindBase<ExtCommIp6List, 1, &Agent::extendedIp6, &PathLists::extendedIp6, &StashedPath::extendedIp6> {
  using Community = ExtCommIp6;
  static constexpr Stashed record = Stashed::extCommIp6List, commRecord = Stashed::extCommIp6;

  static ExtCommIp6Content value(std::uint32_t word) {
    constexpr std::uint8_t types[] = {0x00, 0x40, 0x77};
    Addr::Ip6Addr::Octets octets{0x20, 0x01, 0x0d, 0xb8};
    for (unsigned i = 0; i < 4; ++i) octets[12 + i] = static_cast<std::uint8_t>(word >> 8 * (3 - i));
    return {types[word % 3], 2, Addr::Ip6Addr(octets), static_cast<std::uint16_t>(word * 7)};
  }
  static std::uint32_t word(const ExtCommIp6Content& content) { return content.addr().word(3); }
  static ExtCommIp6Content valueOf(const ExtCommIp6::PtrConst& comm) { return comm->getContent(); }
  static List::PtrConst intern(const Agent& agent, const Words& words) {
    const List::Ptr list = ExtCommIp6ListIs();
    for (const std::uint32_t word : words) list->commIs(ExtCommIp6::dedupContent(agent.ip6Comms.get(), value(word)));
    return list->dedup(agent.extendedIp6.get());
  }
};

template <typename Kind, typename Content>
auto internValues(const Agent& agent, const Words& words) {
  Content content;
  for (const std::uint32_t word : words) content.commIs(Kind::value(word));
  return Kind::List::dedupContent((agent.*Kind::table).get(), content);
}

struct Large : KindBase<LargeCommList, 2, &Agent::large, &PathLists::large, &StashedPath::large> {
  static constexpr Stashed record = Stashed::largeCommList;
  static CommunityValue value(std::uint32_t word) { return {~word, word, word * 7}; }
  static std::uint32_t word(const CommunityValue& value) { return value.localData1(); }
  static CommunityValue valueOf(const CommunityValue& value) { return value; }
  static constexpr auto intern = internValues<Large, LargeCommListContent>;
};

struct Standard : KindBase<CommList, 3, &Agent::standard, &PathLists::standard, &StashedPath::standard> {
  static constexpr Stashed record = Stashed::commList;
  static std::uint32_t value(std::uint32_t word) { return word; }
  static std::uint32_t word(std::uint32_t value) { return value; }
  static std::uint32_t valueOf(std::uint32_t value) { return value; }
  static constexpr auto intern = internValues<Standard, CommListContent>;
};

template <typename Kind>
inline constexpr bool hasCommunities = requires {
  Kind::commRecord;
};

template <typename Kind>
std::uint32_t wordOf(const decltype(Kind::value(0))& value) {
  const std::uint32_t word = Kind::word(value);
  EXPECT_TRUE(Kind::value(word) == value) << "another community than that of " << word;
  return word;
}
template <typename Kind, typename List>
Words wordsOf(const List& list) {
  Words words;
  for (const auto& comm : list.comms()) words.push_back(wordOf<Kind>(Kind::valueOf(comm)));
  std::sort(words.begin(), words.end());
  return words;
}

// visit(Kind()) for each kind.
template <typename Visit>
void forEachKind(Visit&& visit) {
  visit(Extended());
  visit(ExtendedIp6());
  visit(Large());
  visit(Standard());
}

}  // namespace Routing::Bgp::test
