// What a batch is going to write, laid down in the order in which it comes, and brought into the engine's when it is
// written: of the changes of one entry the last counts. About 16 octets a change, and the entry's own.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <memory>
#include <optional>
#include <vector>

#include "Store/LayoutImpl.h"

namespace Routing::Store::detail {

// An operation that throws (std::bad_alloc) has changed nothing.
class Changes {
 public:
  bool empty() const noexcept { return !clear_ && changes_.empty(); }
  // Whether all that the store had goes first.
  bool clear() const noexcept { return clear_; }
  // All goes, what was laid down here too.
  void clearAll() noexcept;

  void headerIs(std::uint64_t identity, std::uint64_t anchorBound);
  void keyIs(std::uint32_t space, Octets key, Octets value);
  void keyDel(std::uint32_t space, Octets key);
  void recordIs(std::uint64_t number, std::uint32_t type, std::uint64_t anchor, Octets payload);
  void recordDel(std::uint64_t number);
  // The anchor of the record that was laid down here; nothing in it if the record goes. Null for what is not changed.
  const std::optional<std::uint64_t>* record(std::uint64_t number) const noexcept;

  // Before visiting.
  void sort();
  // Calls visit(key, value) for each entry, ascending, until it gives another number than 0, and gives that. No value:
  // the entry goes.
  template <typename Visit>
  int forEach(Visit&& visit) const {
    int code = 0;
    for (auto at = changes_.begin(); code == 0 && at != changes_.end(); ++at) {
      if (ascending_ || at + 1 == changes_.end() || *at < at[1]) code = visit(at->key(), at->value());
    }
    return code;
  }

 private:
  struct Change {
    static constexpr std::uint32_t gone = ~std::uint32_t{0};

    Octets key() const noexcept { return {octets, keyOctets}; }
    std::optional<Octets> value() const noexcept {
      return valueOctets == gone ? std::nullopt : std::optional(Octets(octets + keyOctets, valueOctets));
    }
    bool operator<(const Change& other) const noexcept;

    const std::uint8_t* octets;
    std::uint32_t keyOctets;
    std::uint32_t valueOctets;
  };
  static_assert(sizeof(Change) == 16);

  // The value is both parts, one behind the other.
  void add(Octets key, std::uint32_t valueOctets, Octets head, Octets rest);
  void entryIs(Octets key, Octets head, Octets rest);
  void entryDel(Octets key) { add(key, Change::gone, {}, {}); }
  void recordChanges(std::uint64_t number, std::optional<std::uint64_t> anchor, Octets head, Octets payload);
  std::uint8_t* room(std::size_t octets);

  static constexpr std::size_t firstBlock = 4096;
  static constexpr std::size_t largestBlock = 256 * 1024;

  bool clear_ = false;
  bool ascending_ = true;  // and no two of one entry
  std::vector<Change> changes_;
  boost::unordered_flat_map<std::uint64_t, std::optional<std::uint64_t>> records_;
  std::vector<std::unique_ptr<std::uint8_t[]>> blocks_;
  std::uint8_t* free_ = nullptr;  // of the last block
  std::size_t freeOctets_ = 0;
};

}  // namespace Routing::Store::detail
