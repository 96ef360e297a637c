// Interning many lists in one call, as the lists of all attributes do it.
//
// One by one, a lookup waits for its bucket and then for its object. Here lists go in groups: all of a group are brought
// into canonical order and hashed while their buckets are loaded; then the objects that the buckets name are loaded, or
// what making a list will look at; only then they are interned, one after the other. The first two steps change nothing
// that anybody can see, so what is made, and what observers hear, is that of one by one.
//
// Traits of a kind of list say what is done with one content:
//   Content, PtrConst          a builder, and a pointer to an interned list
//   table()                    where the lists are
//   hash(content)              brings it into canonical order and gives the list's place in table(); may throw
//   expectMiss(content)        loads what making its list will look at
//   intern(content, hash)      the interned list; may throw
//   octetsEach, addContent(buffers)   for attributes as they were received: octets of a value; adds an empty content
#pragma once

#include <algorithm>
#include <array>
#include <boost/container/static_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "Keel/DedupHashTable.h"
#include "VelBgp/CommVectorContent.h"

namespace Routing::Bgp {

inline constexpr std::size_t dedupGroup = 16;
inline constexpr std::size_t dedupAhead = 8;

// Null content: there is no list.
template <typename Content>
struct DedupStep {
  Content* content;
  std::uint32_t hash;
};

// Prepares the first of `steps`, as many as it tells. What fails is left for the next group, where it fails as the
// first, with all before it interned.
template <typename Traits, typename ContentOf>
std::size_t prepareGroup(const Traits& traits, ContentOf&& contentOf, std::size_t first,
                         std::span<DedupStep<typename Traits::Content>> steps) {
  std::size_t place = 0;
  try {
    for (; place < steps.size(); ++place) {
      DedupStep<typename Traits::Content>& step = steps[place];
      step.content = contentOf(first + place, place);
      if (step.content == nullptr) continue;
      step.hash = traits.hash(*step.content);
      traits.table().prefetchBucket(step.hash);
    }
  } catch (...) {
    if (place == 0) throw;
  }
  return place;
}

// contentOf(i, place) is the content of number i at this place of its group, or null: there is no list then.
template <typename Traits, typename ContentOf>
void dedupInGroups(const Traits& traits, ContentOf&& contentOf, std::span<typename Traits::PtrConst> lists) {
  std::array<DedupStep<typename Traits::Content>, dedupGroup> steps;
  for (std::size_t first = 0, count = 0; first < lists.size(); first += count) {
    count = prepareGroup(traits, contentOf, first, std::span(steps).first(std::min(lists.size() - first, dedupGroup)));
    for (const auto& [content, hash] : std::span(steps).first(count)) {
      if (content != nullptr && !traits.table().prefetchEntry(hash)) traits.expectMiss(*content);
    }
    for (std::size_t i = 0; i < count; ++i) {
      lists[first + i] = steps[i].content == nullptr ? nullptr : traits.intern(*steps[i].content, steps[i].hash);
    }
  }
}

template <typename Traits>
void dedupAllContents(const Traits& traits, std::span<typename Traits::Content> contents,
                      std::span<typename Traits::PtrConst> lists) {
  TYR_ASSERT(contents.size() == lists.size());
  dedupInGroups(
      traits, [contents](std::size_t i, std::size_t) { return &contents[i]; }, lists);
}

// Null where the octets are none, or no whole number of values.
template <typename Traits>
void dedupAllAttributes(const Traits& traits, std::span<const AttributeOctets> attributes,
                        std::span<typename Traits::PtrConst> lists) {
  TYR_ASSERT(attributes.size() == lists.size());
  boost::container::static_vector<std::remove_const_t<typename Traits::Content>, dedupGroup> buffers;
  const auto filled = [&](std::size_t i, std::size_t place) -> typename Traits::Content* {
    if (i + dedupAhead < attributes.size()) __builtin_prefetch(attributes[i + dedupAhead].data());
    if (!isWhole(attributes[i], Traits::octetsEach)) return nullptr;
    while (buffers.size() <= place) traits.addContent(buffers);
    buffers[place].attributeIs(attributes[i]);
    return &buffers[place];
  };
  dedupInGroups(traits, filled, lists);
}

}  // namespace Routing::Bgp
