// Interning many lists in one call, as the lists of all attributes do it.
//
// One by one, a lookup waits for its bucket and then for its object. Here the lists go in groups: all of a group are
// brought into canonical order and hashed while their buckets are loaded, then the objects that the buckets name, or what
// making a list will look at, and only then they are interned, one after the other. The first two steps change nothing
// that anybody can see, so what is made, and what observers hear, is that of one by one.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "Keel/DedupHashTable.h"

namespace Routing::Bgp {

inline constexpr std::size_t dedupGroup = 16;

// Of lists first to first + hashes.size() of a batch: how many of them are prepared. Who fails is left for the next
// group, where it fails as the first, with all before it interned.
template <typename Batch, typename Hashes>
std::size_t prepareGroup(Batch& batch, std::size_t first, std::size_t count, Hashes& hashes) {
  std::size_t i = 0;
  try {
    for (; i < count; ++i) batch.table().prefetchBucket(hashes[i] = batch.hash(first + i));
  } catch (...) {
    if (i == 0) throw;
  }
  return i;
}

// A batch says of each of its lists, in this order:
//   hash(i)          brings it into canonical order and gives where table() keeps it; may throw
//   expectMiss(i)    loads what making it will look at; it is probably not there
//   intern(i, hash)
template <typename Batch>
void dedupInGroups(Batch&& batch, std::size_t count) {
  std::array<std::uint32_t, dedupGroup> hashes;
  for (std::size_t first = 0, prepared = 0; first < count; first += prepared) {
    prepared = prepareGroup(batch, first, std::min(count - first, dedupGroup), hashes);
    for (std::size_t i = 0; i < prepared; ++i) {
      if (!batch.table().prefetchEntry(hashes[i])) batch.expectMiss(first + i);
    }
    for (std::size_t i = 0; i < prepared; ++i) batch.intern(first + i, hashes[i]);
  }
}

}  // namespace Routing::Bgp
