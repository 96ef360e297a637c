// What a publisher notes of lists and paths between two commits.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <map>

#include "VelBgp/PublishedAttributesImpl.h"

namespace Routing::Bgp::detail {

// Stands for a list as long as it is interned: its place in the heap, which no other living object has.
using Slot = Keel::SlabRef;
using SlotsOfPath = ByAttribute<Slot>;  // 0: no list of the attribute

// A slot is a place in our own heap, which no peer can choose; it is hashed because slots come in even steps.
struct SlotHash {
  std::size_t operator()(Slot slot) const noexcept { return Keel::singleAttributeHash(slot, 0); }
};
template <typename Value>
using BySlot = boost::unordered_flat_map<Slot, Value, SlotHash>;

// Of the lists of one attribute, since the notes were last taken: first all that went, then what came and is still
// there.
struct AttributeNotes {
  bool allGone = false;  // all that was there before, that is
  std::vector<Slot> gone;
  BySlot<Image> come;

  bool empty() const noexcept { return !allGone && gone.empty() && come.empty(); }
};

// By key; nothing: the path went.
using NotesOfPaths = std::map<std::string, std::optional<SlotsOfPath>, std::less<>>;

struct Notes {
  ByAttribute<AttributeNotes> lists;
  NotesOfPaths paths;

  bool empty() const noexcept {
    return paths.empty() &&
           std::all_of(lists.begin(), lists.end(), [](const AttributeNotes& attribute) { return attribute.empty(); });
  }

  // How many lists of each attribute may still go before these notes are taken, where `known` were there before them.
  ByAttribute<std::size_t> remaining(ByAttribute<std::size_t> known) const {
    for (std::size_t attribute = 0; attribute < known.size(); ++attribute) {
      known[attribute] += lists[attribute].come.size() - lists[attribute].gone.size();
    }
    return known;
  }
  // Whether noting that so many go needs no memory.
  bool hasRoomFor(const ByAttribute<std::size_t>& counts) const {
    return std::equal(
        lists.begin(), lists.end(), counts.begin(),
        [](const AttributeNotes& attribute, std::size_t count) { return attribute.gone.capacity() >= count; });
  }
  // Makes room for them, and for more, as lists come meanwhile.
  void reserve(const ByAttribute<std::size_t>& counts) {
    for (std::size_t attribute = 0; attribute < counts.size(); ++attribute) {
      lists[attribute].gone.reserve(counts[attribute] + counts[attribute] / 8 + 64);
    }
  }
};

// append() puts later notes behind earlier ones and leaves none there. Those of paths need no memory for it.
inline void append(NotesOfPaths& notes, NotesOfPaths& later) noexcept {
  while (!later.empty()) {
    const auto put = notes.insert(later.extract(later.begin()));
    if (!put.inserted) put.position->second = put.node.mapped();
  }
}
// Needs no memory where there is room for all of both.
inline void append(AttributeNotes& notes, AttributeNotes& later) noexcept {
  if (later.allGone) {
    notes.allGone = true;
    notes.gone.clear();
    notes.come.clear();
  }
  for (const Slot slot : later.gone) {
    if (notes.come.erase(slot) == 0) notes.gone.push_back(slot);
  }
  for (auto& [slot, image] : later.come) notes.come.emplace(slot, std::move(image));
}
// Does all or, when it throws, nothing.
inline void append(Notes& notes, Notes& later) {
  for (std::size_t attribute = 0; attribute < notes.lists.size(); ++attribute) {
    notes.lists[attribute].gone.reserve(notes.lists[attribute].gone.size() + later.lists[attribute].gone.size());
    notes.lists[attribute].come.reserve(notes.lists[attribute].come.size() + later.lists[attribute].come.size());
  }
  // From here on nothing needs memory.
  for (std::size_t attribute = 0; attribute < notes.lists.size(); ++attribute)
    append(notes.lists[attribute], later.lists[attribute]);
  append(notes.paths, later.paths);
  later = Notes();
}

}  // namespace Routing::Bgp::detail
