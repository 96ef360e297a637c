// What `velbgp mrt` found, and how it is printed.
#pragma once

#include <array>
#include <cstdint>

#include "tools/velbgp/Kind.h"
#include "tools/velbgp/MrtReader.h"

namespace VelBgpTool {

struct Agent;
class Console;

// What was received of one kind in well-formed attributes.
struct Received {
  std::uint64_t paths = 0;
  std::uint64_t communities = 0;
};

struct MrtTotals {
  std::uint64_t files = 0;
  MrtCounts counts;
  std::array<Received, kindCount> received;
  std::uint64_t matches = 0;
};

void printMrtJson(const MrtTotals& totals, Kinds& kinds, Console& console);
// With the most used lists and communities of each kind.
void printMrtForPeople(const MrtTotals& totals, Kinds& kinds, const Agent& agent, std::uint64_t top, Console& console);

}  // namespace VelBgpTool
