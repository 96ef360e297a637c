// BgpHashMixImpl: the hashes that the interning tables and the contents that they are asked for have to agree on. As all
// Impl.h it is shared by our own sources and never installed; what it does is Keel's, and only the seeds and the choice
// of function are told here. Results hold within one process only (Keel/HashMix.h); any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Keel/HashMix.h"

namespace Routing::Bgp {

// The hash of an object that is one 64-bit value.
inline std::uint32_t singleAttributeHash(std::uint64_t value, std::uint32_t seed) noexcept {
  return Keel::singleAttributeHash(value, seed);
}

// The hash of a list's n values, sorted ascending and without repeats.
inline std::uint32_t hashExtCommValues(const std::uint64_t* words, std::size_t n) noexcept {
  return Keel::HashMix::ofWords(words, n);
}

}  // namespace Routing::Bgp
