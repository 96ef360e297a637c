// Paul Hsieh's hash (published as SuperFastHash): 32 bits over a run of octets.
//
// Fast and well spread, but without a key: anybody can compute octets that collide. Where a peer chooses the octets, do
// not place objects in a table by it. 16-bit pieces are read in the host's octet order, so results differ between
// machines. Threads: no state.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Tyr/Export.h"

namespace Tyr {

// `initial` starts the accumulator (as published it is the number of octets). No octets hash to 0.
VELBGP_EXPORT std::uint32_t paulHsiehHash(const void* octets, std::size_t count, std::uint32_t initial) noexcept;

}  // namespace Tyr
