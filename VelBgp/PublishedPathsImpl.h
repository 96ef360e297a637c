// The paths of a publisher: what it holds of each, by key.
#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>

#include "VelBgp/PublishedAttributesImpl.h"

namespace Routing::Bgp::detail {

// Stands for a list as long as it is interned: its place in the heap, which no other living object has.
using Slot = Keel::SlabRef;
using SlotsOfPath = ByAttribute<Slot>;  // 0: no list of the attribute

// The lists of a path, held in half the room that pointers take.
class HeldLists {
 public:
  HeldLists() = default;
  explicit HeldLists(PathLists&& lists) noexcept
      : slots_{slotOf(lists.extended), slotOf(lists.extendedIp6), slotOf(lists.large), slotOf(lists.standard)} {}
  HeldLists(HeldLists&& other) noexcept : slots_(std::exchange(other.slots_, {})) {}
  HeldLists& operator=(HeldLists&& other) noexcept {
    std::swap(slots_, other.slots_);
    return *this;
  }
  ~HeldLists() {
    for (const Slot slot : slots_) {
      if (slot != 0) at(slot).referenceRelease();
    }
  }

  const SlotsOfPath& slots() const noexcept { return slots_; }
  // Of a slot that is not 0 and of a list that is held.
  static const Keel::DedupHandleBase& at(Slot slot) noexcept { return *Keel::handleAt<Keel::DedupHandleBase>(slot); }

 private:
  template <typename List>
  static Slot slotOf(Tyr::Ptr<const List>& list) noexcept {
    const List* const taken = list.detach();
    return taken == nullptr ? 0 : Keel::handleRef(taken);
  }

  SlotsOfPath slots_ = {};
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

// A key of a path, hashed once for all that is asked of it.
struct HashedKey {
  explicit HashedKey(std::string_view key) noexcept : text(key), hash(static_cast<std::uint32_t>(TextHash()(key))) {}
  HashedKey(std::string_view key, std::uint32_t hash) noexcept : text(key), hash(hash) {}

  std::string_view text;
  std::uint32_t hash;
};

// A path and its key, one behind the other. One that is gone stays until the store has heard of that.
struct PublishedPath {
  struct Free {
    void operator()(PublishedPath* path) const noexcept {
      path->~PublishedPath();
      ::operator delete(path);
    }
  };
  using Ptr = std::unique_ptr<PublishedPath, Free>;

  static Ptr make(const HashedKey& key) {
    const std::size_t octets = offsetof(PublishedPath, keyBegin) + key.text.size();
    return Ptr(new (::operator new(std::max(sizeof(PublishedPath), octets))) PublishedPath(key));
  }
  PublishedPath(const PublishedPath&) = delete;
  PublishedPath& operator=(const PublishedPath&) = delete;

  std::string_view key() const noexcept { return {keyBegin, keyOctets}; }
  // It and its key, most of which are two lines of the cache.
  void prefetch() const noexcept {
    __builtin_prefetch(this);
    __builtin_prefetch(reinterpret_cast<const char*>(this) + 48);
  }
  HashedKey hashedKey() const noexcept { return {key(), hash}; }

  HeldLists lists;
  std::uint32_t note = 0;  // where a note of it is, if there is one
  std::uint32_t hash;      // of the key
  bool gone = false;
  std::uint8_t keyOctets;
  char keyBegin[1];  // and more

 private:
  explicit PublishedPath(const HashedKey& key) noexcept
      : hash(key.hash), keyOctets(static_cast<std::uint8_t>(key.text.size())) {
    std::memcpy(static_cast<char*>(keyBegin), key.text.data(), key.text.size());
  }
  ~PublishedPath() = default;
};

// Makes room for as many more, so that putting them there needs no memory. A table that lost entries may have less room
// than its size says, and only grows when it is asked for another size.
template <typename Table>
void roomFor(Table& table, std::size_t more) {
  if (table.size() + more <= table.max_load()) return;
  table.reserve(table.size() + more);
  if (table.size() + more > table.max_load()) table.rehash(table.bucket_count() + 1);
}

// In parts, each of which grows by itself: whoever adds a path waits for the growth of a part at most.
class PublishedPaths {
 public:
  PublishedPaths() = default;
  PublishedPaths(const PublishedPaths&) = delete;
  PublishedPaths& operator=(const PublishedPaths&) = delete;
  ~PublishedPaths() {
    for (std::size_t part = 0; part < partCount; ++part) forEachIn(part, PublishedPath::Free());
  }

  // Null: there is none.
  PublishedPath* find(const HashedKey& key) const noexcept {
    const Part& part = parts_[partOf(key)];
    const auto place = part.find(key);
    return place == part.end() ? nullptr : *place;
  }
  // So that add() needs no memory.
  void reserveFor(const HashedKey& key) { roomFor(parts_[partOf(key)], 1); }
  PublishedPath* add(PublishedPath::Ptr path) noexcept {
    parts_[partOf(path->hashedKey())].insert(path.get());
    return path.release();
  }
  PublishedPath::Ptr take(PublishedPath& path) noexcept {
    parts_[partOf(path.hashedKey())].erase(&path);
    return PublishedPath::Ptr(&path);
  }

  std::size_t size() const noexcept {
    return std::transform_reduce(parts_.begin(), parts_.end(), std::size_t{0}, std::plus(), std::mem_fn(&Part::size));
  }
  // Of a part, by number.
  static constexpr std::size_t partCount = 256;
  template <typename Visit>
  void forEachIn(std::size_t part, Visit&& visit) const {
    for (PublishedPath* const path : parts_[part]) visit(path);
  }
  void swap(PublishedPaths& other) noexcept { parts_.swap(other.parts_); }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const PublishedPath* path) const noexcept { return path->hash; }
    std::size_t operator()(const HashedKey& key) const noexcept { return key.hash; }
  };
  struct Equal {
    using is_transparent = void;
    static std::string_view keyOf(const PublishedPath* path) noexcept { return path->key(); }
    static std::string_view keyOf(const HashedKey& key) noexcept { return key.text; }
    bool operator()(const auto& a, const auto& b) const noexcept { return keyOf(a) == keyOf(b); }
  };
  using Part = boost::unordered_flat_set<PublishedPath*, Hash, Equal>;

  static std::size_t partOf(const HashedKey& key) noexcept { return key.hash >> 24; }

  std::array<Part, partCount> parts_;
};

}  // namespace Routing::Bgp::detail
