// What a publisher notes of lists and paths between two commits.
#pragma once

#include <bit>
#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
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

// Makes room for as many more, so that putting them there needs no memory. A table that lost entries may have less room
// than its size says, and only grows when it is asked for another size.
template <typename Table>
void roomFor(Table& table, std::size_t more) {
  if (table.size() + more <= table.max_load()) return;
  table.reserve(table.size() + more);
  if (table.size() + more > table.max_load()) table.rehash(table.bucket_count() + 1);
}

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

// Peers choose a part of what the keys of paths are made of.
struct TextHash {
  std::size_t operator()(std::string_view text) const noexcept {
    Keel::HashMix mix(static_cast<std::uint32_t>(text.size()));
    for (std::size_t at = 0; at < text.size(); at += sizeof(std::uint64_t)) {
      std::uint64_t word = 0;
      std::memcpy(&word, text.data() + at, std::min(sizeof word, text.size() - at));
      mix.mixBytes8(word);
    }
    return mix.value();
  }
};

// A value and the key that it is found by, one behind the other.
template <typename Value>
class Keyed {
 public:
  struct Free {
    void operator()(Keyed* keyed) const noexcept {
      keyed->~Keyed();
      ::operator delete(keyed);
    }
  };
  using Ptr = std::unique_ptr<Keyed, Free>;

  static Ptr make(std::string_view key, Value value = {}) {
    void* const place = ::operator new(std::max(sizeof(Keyed), offsetof(Keyed, key_) + key.size()));
    return Ptr(new (place) Keyed(key, std::move(value)));
  }
  Keyed(const Keyed&) = delete;
  Keyed& operator=(const Keyed&) = delete;

  std::string_view key() const noexcept { return {key_, octets_}; }
  // Its first eight octets, zeros behind it, in the order of keys.
  std::uint64_t keyBegin() const noexcept {
    std::uint64_t begin = 0;
    std::memcpy(&begin, key_, std::min<std::size_t>(octets_, sizeof begin));
    return std::endian::native == std::endian::little ? __builtin_bswap64(begin) : begin;
  }
  Value& value() noexcept { return value_; }
  const Value& value() const noexcept { return value_; }

 private:
  Keyed(std::string_view key, Value&& value) noexcept
      : value_(std::move(value)), octets_(static_cast<std::uint8_t>(key.size())) {
    std::memcpy(static_cast<char*>(key_), key.data(), key.size());
  }
  ~Keyed() = default;

  Value value_;
  std::uint8_t octets_;
  char key_[1];  // and more
};

// Values by key, in no order, in parts as BySlotInParts.
template <typename Value>
class ByKeyInParts {
 public:
  using Node = Keyed<Value>;

  ByKeyInParts() = default;
  ByKeyInParts(ByKeyInParts&& other) noexcept : parts_(std::exchange(other.parts_, {})) {}
  ByKeyInParts& operator=(ByKeyInParts&& other) noexcept {
    std::swap(parts_, other.parts_);
    return *this;
  }
  ~ByKeyInParts() {
    forEach([](Node& node) { typename Node::Free()(&node); });
  }

  bool contains(std::string_view key) const { return partOf(key).contains(key); }
  bool empty() const noexcept {
    return std::all_of(parts_.begin(), parts_.end(), [](const Part& part) { return part.empty(); });
  }
  std::size_t size() const noexcept {
    return std::transform_reduce(parts_.begin(), parts_.end(), std::size_t{0}, std::plus(), std::mem_fn(&Part::size));
  }
  // So that put() needs no memory.
  void reserveFor(std::string_view key) { roomFor(parts_[numberOf(key)], 1); }
  void reserveFor(const ByKeyInParts& other) {
    for (std::size_t i = 0; i < parts_.size(); ++i) roomFor(parts_[i], other.parts_[i].size());
  }
  // In place of the value that was there, which is in what comes back.
  typename Node::Ptr put(typename Node::Ptr node) {
    const auto [place, isNew] = parts_[numberOf(node->key())].insert(node.get());
    if (isNew) return node.release(), nullptr;
    std::swap((*place)->value(), node->value());
    return node;
  }
  // Null: there is none.
  typename Node::Ptr take(std::string_view key) noexcept {
    Part& part = parts_[numberOf(key)];
    const auto place = part.find(key);
    if (place == part.end()) return nullptr;
    typename Node::Ptr node(*place);
    part.erase(place);
    return node;
  }
  // Puts what the other has.
  void append(ByKeyInParts& other) noexcept {
    const ByKeyInParts::Parts nodes = std::exchange(other.parts_, {});
    for (const Part& part : nodes) {
      for (Node* const node : part) put(typename Node::Ptr(node));
    }
  }
  template <typename Visit>
  void forEach(Visit&& visit) const {
    for (std::size_t part = 0; part < partCount; ++part) forEachIn(part, visit);
  }
  // Of a part, by number.
  static constexpr std::size_t partCount = 256;
  template <typename Visit>
  void forEachIn(std::size_t part, Visit&& visit) const {
    for (Node* const node : parts_[part]) visit(*node);
  }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const Node* node) const noexcept { return TextHash()(node->key()); }
    std::size_t operator()(std::string_view key) const noexcept { return TextHash()(key); }
  };
  struct Equal {
    using is_transparent = void;
    static std::string_view keyOf(const Node* node) noexcept { return node->key(); }
    static std::string_view keyOf(std::string_view key) noexcept { return key; }
    bool operator()(const auto& a, const auto& b) const noexcept { return keyOf(a) == keyOf(b); }
  };
  using Part = boost::unordered_flat_set<Node*, Hash, Equal>;
  using Parts = std::array<Part, partCount>;

  static std::size_t numberOf(std::string_view key) noexcept { return TextHash()(key) >> 24; }
  const Part& partOf(std::string_view key) const noexcept { return parts_[numberOf(key)]; }

  Parts parts_;
};

// Where a path leads to, unless it is gone.
struct PathNote {
  SlotsOfPath slots = {};
  bool gone = false;
};
using NotesOfPaths = ByKeyInParts<PathNote>;

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
  notes.paths.reserveFor(later.paths);
  // From here on nothing needs memory.
  for (std::size_t attribute = 0; attribute < notes.lists.size(); ++attribute)
    append(notes.lists[attribute], later.lists[attribute]);
  notes.paths.append(later.paths);
  later = Notes();
}

}  // namespace Routing::Bgp::detail
