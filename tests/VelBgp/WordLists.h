// Lists of all four attributes, made of plain words, so that a test says a thing once for all of them: the attributes
// Extended, ExtendedIp6, Large and Standard. A word becomes a community of any attribute and is read back from it, with
// a look at all of the community.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "VelBgp/Agent.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/StashImpl.h"

namespace Routing::Bgp::test {

using Words = std::vector<std::uint32_t>;  // ascending

template <typename ListType, std::size_t number, auto tableOfAgent, auto listOfPath, auto referenceOfPath>
struct AttributeBase {
  using List = ListType;
  static constexpr std::size_t index = number;
  static constexpr auto table = tableOfAgent;
  static constexpr auto ofPath = listOfPath;
  static constexpr auto stashed = referenceOfPath;
};

template <typename Attribute>
auto valuesOfWords(const Words& words) {
  std::vector<decltype(Attribute::value(0))> values;
  for (const std::uint32_t word : words) values.push_back(Attribute::value(word));
  return values;
}

// A builder for each of the lists; made(words) gives one.
template <typename Made>
auto builders(const std::vector<Words>& all, Made&& made) {
  std::vector<decltype(made(Words()))> filled;
  for (const Words& words : all) filled.push_back(made(words));
  return filled;
}

// Of four classifications, some non-transitive.
struct Extended : AttributeBase<ExtCommList, 0, &Agent::extended, &PathLists::extended, &StashedPath::extended> {
  using Community = ExtComm;
  static constexpr Stashed record = Stashed::extCommList, commRecord = Stashed::extComm;

  static std::uint64_t value(std::uint32_t word) {
    constexpr std::uint64_t attributes[] = {0x0002, 0x0003, 0x4004, 0x8123};
    return attributes[word % 4] << 48 | std::uint64_t{word >> 2 & 0xffff} << 32 | word;
  }
  static std::uint32_t word(std::uint64_t value) { return static_cast<std::uint32_t>(value); }
  static std::uint64_t valueOf(const ExtComm* comm) { return comm->community(); }
  static List::PtrConst intern(const Agent& agent, const Words& words) {
    return agent.intern(valuesOfWords<Extended>(words));
  }
  // In one call, from builders or from attributes.
  static void intern(const Agent& agent, const std::vector<Words>& all, std::span<List::PtrConst> lists) {
    const auto made = builders(all, [&](const Words& words) { return agent.raw(valuesOfWords<Extended>(words)); });
    List::dedupContents(agent.extended.get(), made, lists);
  }
  static void intern(const Agent& agent, std::span<const AttributeOctets> all, std::span<List::PtrConst> lists) {
    List::dedupAttributes(agent.comms.get(), agent.extended.get(), all, lists);
  }
};

// Of two classifications, some non-transitive.
struct ExtendedIp6
    : AttributeBase<ExtCommIp6List, 1, &Agent::extendedIp6, &PathLists::extendedIp6, &StashedPath::extendedIp6> {
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
    return agent.internIp6(valuesOfWords<ExtendedIp6>(words));
  }
  static void intern(const Agent& agent, const std::vector<Words>& all, std::span<List::PtrConst> lists) {
    const auto made =
        builders(all, [&](const Words& words) { return agent.ip6Builder(valuesOfWords<ExtendedIp6>(words)); });
    List::dedupContents(agent.extendedIp6.get(), made, lists);
  }
  static void intern(const Agent& agent, std::span<const AttributeOctets> all, std::span<List::PtrConst> lists) {
    List::dedupAttributes(agent.ip6Comms.get(), agent.extendedIp6.get(), all, lists);
  }
};

// What both kinds of plain values intern in one call.
template <typename Form, auto table>
struct PlainBatches {
  template <typename Pointer>
  static void intern(const Agent& agent, const std::vector<Words>& all, std::span<Pointer> lists) {
    using Content = typename Pointer::element_type::Content;
    const auto made = builders(all, [](const Words& words) { return filled(Content(), valuesOfWords<Form>(words)); });
    Pointer::element_type::dedupContents((agent.*table).get(), made, lists);
  }
  template <typename Pointer>
  static void intern(const Agent& agent, std::span<const AttributeOctets> all, std::span<Pointer> lists) {
    Pointer::element_type::dedupAttributes((agent.*table).get(), all, lists);
  }
};

struct Large : PlainBatches<Large, &Agent::large>,
               AttributeBase<LargeCommList, 2, &Agent::large, &PathLists::large, &StashedPath::large> {
  static constexpr Stashed record = Stashed::largeCommList;
  static CommunityValue value(std::uint32_t word) { return {~word, word, word * 7}; }
  static std::uint32_t word(const CommunityValue& value) { return value.localData1(); }
  static CommunityValue valueOf(const CommunityValue& value) { return value; }
  static List::PtrConst intern(const Agent& agent, const Words& words) {
    return agent.internLarge(valuesOfWords<Large>(words));
  }
  using PlainBatches::intern;
};

struct Standard : PlainBatches<Standard, &Agent::standard>,
                  AttributeBase<CommList, 3, &Agent::standard, &PathLists::standard, &StashedPath::standard> {
  static constexpr Stashed record = Stashed::commList;
  static std::uint32_t value(std::uint32_t word) { return word; }
  static std::uint32_t word(std::uint32_t value) { return value; }
  static std::uint32_t valueOf(std::uint32_t value) { return value; }
  static List::PtrConst intern(const Agent& agent, const Words& words) { return agent.internStandard(words); }
  using PlainBatches::intern;
};

template <typename Attribute>
inline constexpr bool hasCommunities = requires {
  Attribute::commRecord;
};

template <typename Attribute>
std::uint32_t wordOf(const decltype(Attribute::value(0))& value) {
  const std::uint32_t word = Attribute::word(value);
  EXPECT_TRUE(Attribute::value(word) == value) << "another community than that of " << word;
  return word;
}
template <typename Attribute, typename List>
Words wordsOf(const List& list) {
  Words words;
  for (const auto& comm : list.comms()) words.push_back(wordOf<Attribute>(Attribute::valueOf(comm)));
  std::sort(words.begin(), words.end());
  return words;
}

// visit(Attribute()) for each attribute.
template <typename Visit>
void forEachAttribute(Visit&& visit) {
  visit(Extended());
  visit(ExtendedIp6());
  visit(Large());
  visit(Standard());
}

}  // namespace Routing::Bgp::test
