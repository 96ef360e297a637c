// HashMix: the 32-bit hash accumulator behind every interned object, and the one-value hash beside it.
//
// Feed the same fields in the same order and the results agree, within one process: the mixing constants are drawn at
// random when the library is loaded, so a peer that chooses the values cannot choose the buckets. Never store or send a
// result. A HashMix belongs to one thread; the constants are read-only and shared.
//
// The constants are a secret. This is no cryptographic hash: who chooses values must not learn the constants, nor any
// result, nor the order in which a table or set walks its members, nor which values share a bucket, as texts or dumps
// that come in that order and the time of single lookups would tell; who does can choose values that collide. They are
// drawn from the kernel. Where it gives nothing yet, or getrandom() is refused (a strict seccomp filter), they are made
// of what the kernel gave the process at its start (AT_RANDOM), the clock and an address: then whoever can read the
// process's memory or /proc/PID/auxv knows them, nobody else. A child of fork() has those of its parent.
//
// Design: words enter in pairs, each pair one 64x64-to-128-bit multiplication folded to 64 bits, alternating between
// two lanes so that two multiplications are under way at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Tyr/Export.h"

namespace Keel {

namespace detail {

__extension__ typedef unsigned __int128 Uint128;

struct HashKey {
  std::uint64_t lane0;
  std::uint64_t lane1;
  std::uint64_t second;  // meets the second word of a pair
  std::uint64_t odd;     // meets a last word that has no partner
  std::uint64_t finish;
};
extern VELBGP_EXPORT const HashKey hashKey;
// The key where the kernel draws none: all words of each depend on all that is given.
VELBGP_EXPORT HashKey hashKeyOf(const std::array<std::uint64_t, 2>& startOfProcess, std::uint64_t clock,
                                std::uint64_t address) noexcept;

// The high half of a product depends on all bits of both factors, the low half spreads the low ones.
inline std::uint64_t fold(std::uint64_t a, std::uint64_t b) noexcept {
  const Uint128 product = static_cast<Uint128>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline std::uint32_t finish(std::uint64_t lane0, std::uint64_t lane1, std::uint64_t words) noexcept {
  const std::uint64_t mixed = fold(lane0 ^ words, lane1 ^ hashKey.finish);
  return static_cast<std::uint32_t>(mixed ^ (mixed >> 32));
}

}  // namespace detail

class HashMix {
 public:
  // `state` starts the accumulator; equal states and equal words give equal results.
  explicit HashMix(std::uint32_t state = 0) noexcept
      : lane_{detail::hashKey.lane0 ^ state, detail::hashKey.lane1}, pending_(0), words_(0) {}

  // One word into the hash. Deliberate: a word counts by its value, whatever its width.
  void mixBytes1(std::uint8_t value) noexcept { mixBytes8(value); }
  void mixBytes2(std::uint16_t value) noexcept { mixBytes8(value); }
  void mixBytes4(std::uint32_t value) noexcept { mixBytes8(value); }
  void mixBytes8(std::uint64_t value) noexcept {
    if (words_++ % 2 == 0) {
      pending_ = value;
      return;
    }
    const std::uint64_t mixed = detail::fold(lane_[0] ^ pending_, value ^ detail::hashKey.second);
    lane_[0] = lane_[1];
    lane_[1] = mixed;
  }

  std::uint32_t value() const noexcept {
    const std::uint64_t last = words_ % 2 == 0 ? lane_[0] : detail::fold(lane_[0] ^ pending_, detail::hashKey.odd);
    return detail::finish(last, lane_[1], words_);
  }

  // What mixBytes8 of each of the n words and value() give, in a third of the time. words[i] gives a std::uint64_t.
  template <typename Words>
  static std::uint32_t ofWords(const Words& words, std::size_t n) noexcept {
    std::uint64_t even = detail::hashKey.lane0;
    std::uint64_t odd = detail::hashKey.lane1;
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
      even = detail::fold(even ^ words[i], words[i + 1] ^ detail::hashKey.second);
      odd = detail::fold(odd ^ words[i + 2], words[i + 3] ^ detail::hashKey.second);
    }
    if (i + 2 <= n) {
      const std::uint64_t mixed = detail::fold(even ^ words[i], words[i + 1] ^ detail::hashKey.second);
      even = odd;
      odd = mixed;
      i += 2;
    }
    if (i < n) even = detail::fold(even ^ words[i], detail::hashKey.odd);
    return detail::finish(even, odd, n);
  }

 private:
  std::uint64_t lane_[2];  // [0] takes the next pair
  std::uint64_t pending_;
  std::uint64_t words_;
};

// The hash of one 64-bit value. Values under different seeds are unrelated. One multiplication would leave values that
// count up on a lattice, which some keys map to few buckets.
inline std::uint32_t singleAttributeHash(std::uint64_t value, std::uint32_t seed) noexcept {
  const std::uint64_t once = detail::fold(value ^ detail::hashKey.lane0, detail::hashKey.odd ^ seed);
  return detail::finish(once, detail::hashKey.lane1, 1);
}

}  // namespace Keel
