// What a publisher notes of lists and paths between two commits.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <functional>
#include <map>
#include <numeric>

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

// Such a map in parts, each of which grows by itself: whoever puts something into it waits for the growth of a part at
// most. No part needs memory for what is put there after reserveFor().
template <typename Value>
class BySlotInParts {
 public:
  using Part = BySlot<Value>;

  void put(Slot slot, Value value) { partOf(slot).insert_or_assign(slot, std::move(value)); }
  // Whether it was there.
  bool erase(Slot slot) noexcept { return partOf(slot).erase(slot) != 0; }
  void clear() noexcept { parts_ = {}; }

  const auto& parts() const noexcept { return parts_; }
  std::size_t size() const noexcept {
    return std::transform_reduce(parts_.begin(), parts_.end(), std::size_t{0}, std::plus(), std::mem_fn(&Part::size));
  }
  bool empty() const noexcept { return std::all_of(parts_.begin(), parts_.end(), std::mem_fn(&Part::empty)); }

  void reserveFor(const BySlotInParts& other) {
    for (std::size_t i = 0; i < parts_.size(); ++i) parts_[i].reserve(parts_[i].size() + other.parts_[i].size());
  }
  // Takes what the other has.
  void append(BySlotInParts& other) noexcept {
    for (Part& part : other.parts_) {
      for (auto& [slot, value] : part) put(slot, std::move(value));
    }
    other.clear();
  }

 private:
  Part& partOf(Slot slot) noexcept { return parts_[SlotHash()(slot) >> 26]; }

  std::array<Part, 64> parts_;
};

// Of the lists of one attribute, since the notes were last taken: first all that went, then what came and is still
// there.
struct AttributeNotes {
  bool allGone = false;  // all that was there before, that is
  std::vector<Slot> gone;
  BySlotInParts<Image> come;

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
    if (!notes.come.erase(slot)) notes.gone.push_back(slot);
  }
  notes.come.append(later.come);
}
// Does all or, when it throws, nothing.
inline void append(Notes& notes, Notes& later) {
  for (std::size_t attribute = 0; attribute < notes.lists.size(); ++attribute) {
    notes.lists[attribute].gone.reserve(notes.lists[attribute].gone.size() + later.lists[attribute].gone.size());
    notes.lists[attribute].come.reserveFor(later.lists[attribute].come);
  }
  // From here on nothing needs memory.
  for (std::size_t attribute = 0; attribute < notes.lists.size(); ++attribute)
    append(notes.lists[attribute], later.lists[attribute]);
  append(notes.paths, later.paths);
  later = Notes();
}

}  // namespace Routing::Bgp::detail
