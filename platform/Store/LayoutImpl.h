// How a store lies on disk.
//
// The directory:
//   stamp          32 octets, Stamp below: what tells builds apart before anything else is read. Written once.
//   data.mdb       the engine's file. One tree; its entries are the header, keys and records below.
//   data.mdb-lock  the engine's table of readers: who reads which commit.
//   writer.lock    the writer holds flock() on it. Empty, or the machine's boot id while a writer of processCrash has
//                  the store open, and after that one died.
//   *.new          left behind by a writer that died while it made the store.
// A store is made in this order: directory, lock, stamp, data.mdb-lock, data.mdb with its header, the last three under
// another name and then renamed. So what is half made has no data.mdb, and the next writer makes it anew; what has a
// data.mdb has its table of readers too, which is the writer's own, whatever another user may have left there.
//
// Entries, ordered by memcmp of their keys:
//   'h'                        Header
//   'k' space(4) key(0-255)    checksum(8), the key's value
//   'r' number(8)              RecordHead, payload
// Space and number stand in network order, so that they sort; all else in the host's order, which the stamp names.
//
// Anchors. Each record takes the next anchor, from memory. The header holds a bound that no anchor given out ever
// reached. A writer begins at the stored bound, after it has stored one that is anchorsAhead further, and moves the
// bound again before it reaches it. So whatever becomes of a batch or of the process, no anchor is given out twice; up
// to anchorsAhead of them are lost each time. 2^64 of them last.
//
// The engine's file grows as it is written. The engine does not write every page that it counts; so before each commit
// the file is made as long as the one before counts. Only this makes a file that was cut short tell itself from a good
// one without a walk over its pages.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Store/Record.h"

namespace Routing::Store::detail {

inline constexpr std::uint32_t layoutVersion = 1;
inline constexpr std::uint32_t octetOrderMark = 0x01020304;
inline constexpr std::uint64_t anchorsAhead = std::uint64_t{1} << 20;

struct Stamp {
  std::array<char, 8> magic = {'V', 'e', 'l', 'S', 't', 'o', 'r', 'e'};
  std::uint32_t octetOrder = octetOrderMark;
  std::uint32_t version = layoutVersion;
  std::uint32_t wordOctets = sizeof(std::size_t);
  std::uint32_t unused = 0;
  std::uint64_t identity = 0;
};
static_assert(sizeof(Stamp) == 32);

struct Header {
  std::uint64_t identity;
  std::uint64_t anchorBound;
  std::uint64_t checksum;
};
static_assert(sizeof(Header) == 24);

struct RecordHead {
  std::uint64_t anchor;
  std::uint64_t checksum;  // over all else
  std::uint32_t type;
  std::uint32_t octets;
};
static_assert(sizeof(RecordHead) == 24);

inline Octets octetsOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
template <typename T>
requires(!std::is_convertible_v<const T&, std::string_view>) Octets octetsOf(const T& plain) {
  static_assert(std::is_trivially_copyable_v<T>);
  return {reinterpret_cast<const std::uint8_t*>(&plain), sizeof(T)};
}

// The octets at the start of `octets` as a value.
template <typename T>
T readPlain(Octets octets) {
  T value;
  std::memcpy(&value, octets.data(), sizeof value);
  return value;
}

// The key of an entry, or what several begin with.
class EntryKey {
 public:
  EntryKey(std::string_view prefix) noexcept { addOctets(octetsOf(prefix)); }

  operator std::string_view() const noexcept { return {reinterpret_cast<const char*>(octets_.data()), size_}; }
  std::size_t size() const noexcept { return size_; }
  // In network order.
  template <typename Number>
  EntryKey& addNumber(Number number) noexcept {
    for (int shift = 8 * (sizeof number - 1); shift >= 0; shift -= 8)
      octets_[size_++] = static_cast<std::uint8_t>(number >> shift);
    return *this;
  }
  // At most maxKeyOctets of them.
  EntryKey& addOctets(Octets octets) noexcept {
    std::copy(octets.begin(), octets.end(), octets_.begin() + static_cast<std::ptrdiff_t>(size_));
    size_ += octets.size();
    return *this;
  }

 private:
  std::array<std::uint8_t, 1 + sizeof(std::uint32_t) + maxKeyOctets> octets_;
  std::size_t size_ = 0;
};
inline constexpr std::string_view headerKey = "h";
inline EntryKey spaceKey(std::uint32_t space) noexcept { return EntryKey("k").addNumber(space); }
inline EntryKey keyKey(std::uint32_t space, Octets key) noexcept { return spaceKey(space).addOctets(key); }
inline constexpr std::string_view recordPrefix = "r";
inline EntryKey recordKey(std::uint64_t number) noexcept { return EntryKey(recordPrefix).addNumber(number); }
std::uint64_t numberOf(Octets recordKey);

Header headerOf(std::uint64_t identity, std::uint64_t anchorBound);
// What stands before the value of a key, and before the payload of a record.
std::uint64_t keyHead(Octets key, Octets value);
RecordHead recordHead(std::uint32_t type, std::uint64_t anchor, Octets payload);

// What the stored octets hold; nothing if they are damaged.
std::optional<Header> readHeader(Octets stored);
std::optional<Octets> readKeyValue(Octets key, Octets stored);
std::optional<RecordHead> readRecordHead(Octets stored);
std::optional<Record> readRecord(Octets stored);

}  // namespace Routing::Store::detail
