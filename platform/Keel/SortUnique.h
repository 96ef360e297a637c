// Sorting of short runs of numbers, the costliest step of interning a list that arrives in any order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Tyr/Export.h"

namespace Keel {

// Sorts values[0..n) ascending (unsigned), drops repeats and returns how many are left, at the front. Allocates only
// above 512 values; then std::bad_alloc may pass, with the values in some order and none lost.
VELBGP_EXPORT std::size_t sortUnique(std::uint64_t* values, std::size_t n);
VELBGP_EXPORT std::size_t sortUnique(std::uint32_t* values, std::size_t n);

}  // namespace Keel
