// What a store holds: records, named by references, and keys, named by a space and octets.
//
// A record is a type (any number of the user's) and octets. It never changes: who wants another content makes another
// record. Its reference may be kept anywhere, also inside other records, as 16 octets in host order.
//
// Plain values; threads and errors do not matter here.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace Routing::Store {

using Octets = std::span<const std::uint8_t>;

// The record's number, which is used again once the record is removed, and the anchor under which it was made, which
// never is: anchors count up from a random 64-bit start, so no two records of any stores share one.
struct Reference {
  std::uint64_t number = 0;
  std::uint64_t anchor = 0;

  // {0, 0} names no record and never will.
  bool null() const noexcept { return number == 0 && anchor == 0; }
  friend constexpr auto operator<=>(const Reference&, const Reference&) = default;
};
static_assert(sizeof(Reference) == 16 && std::is_trivially_copyable_v<Reference>);

// The payload is the store's memory, valid as its view says. It lies at any address: read words by memcpy.
struct Record {
  std::uint32_t type;
  Octets payload;
};

// What a key may have.
inline constexpr std::size_t maxKeyOctets = 255;
// What a record may have, and the value of a key.
inline constexpr std::size_t maxRecordOctets = std::size_t{1} << 30;

}  // namespace Routing::Store
