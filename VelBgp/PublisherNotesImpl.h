// What a publisher notes of lists and paths between two commits.
#pragma once

#include <boost/container/deque.hpp>
#include <boost/unordered/unordered_flat_map.hpp>

#include "VelBgp/PublishedPathsImpl.h"

namespace Routing::Bgp::detail {

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
    for (std::size_t i = 0; i < parts_.size(); ++i) roomFor(parts_[i], other.parts_[i].size());
  }
  // Takes what the other has.
  void append(BySlotInParts& other) noexcept {
    if (empty()) parts_.swap(other.parts_);  // also where clear() gave the room away
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

// Where a path leads to, unless it is gone.
struct PathNote {
  PublishedPath* path;
  SlotsOfPath slots;
  bool gone;
};

// One note of each path at most, the last one. In the order in which the paths were first noted.
class NotesOfPaths {
 public:
  // May throw, and has then noted nothing.
  void put(const PathNote& note) {
    if (has(*note.path)) {
      notes_[note.path->note] = note;
    } else {
      notes_.push_back(note);
      note.path->note = static_cast<std::uint32_t>(notes_.size() - 1);
    }
  }
  // For notes that put() still puts something into.
  bool has(const PublishedPath& path) const noexcept {
    return path.note < notes_.size() && notes_[path.note].path == &path;
  }
  // Takes what the later ones have. Afterwards nothing is put here. May throw, and has then changed nothing.
  void append(NotesOfPaths& later) {
    notes_.insert(notes_.end(), later.notes_.begin(), later.notes_.end());
    later.notes_.clear();
    const auto byPath = [](const PathNote& a, const PathNote& b) { return a.path < b.path; };
    const auto samePath = [](const PathNote& a, const PathNote& b) { return a.path == b.path; };
    std::stable_sort(notes_.begin(), notes_.end(), byPath);
    notes_.erase(notes_.begin(), std::unique(notes_.rbegin(), notes_.rend(), samePath).base());
  }

  bool empty() const noexcept { return notes_.empty(); }
  std::size_t size() const noexcept { return notes_.size(); }
  auto begin() const noexcept { return notes_.begin(); }
  auto end() const noexcept { return notes_.end(); }

 private:
  boost::container::deque<PathNote> notes_;  // which never moves what is there, and needs no memory to be empty
};

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

// append() puts later notes behind earlier ones and leaves none there. Needs no memory where there is room for all of
// both.
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
  if (notes.empty()) return std::swap(notes, later);
  for (std::size_t attribute = 0; attribute < notes.lists.size(); ++attribute) {
    notes.lists[attribute].gone.reserve(notes.lists[attribute].gone.size() + later.lists[attribute].gone.size());
    notes.lists[attribute].come.reserveFor(later.lists[attribute].come);
  }
  notes.paths.append(later.paths);
  // From here on nothing needs memory.
  for (std::size_t attribute = 0; attribute < notes.lists.size(); ++attribute)
    append(notes.lists[attribute], later.lists[attribute]);
  later.lists = {};
}

}  // namespace Routing::Bgp::detail
