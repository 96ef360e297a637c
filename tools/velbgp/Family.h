// Address families by their numbers and names, and how their NLRI is read where it is prefixes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/velbgp/Cursor.h"

namespace VelBgpTool {

struct Family {
  static constexpr std::uint32_t ip4 = 1;
  static constexpr std::uint32_t ip6 = 2;

  std::uint32_t afi = 0;
  std::uint32_t safi = 0;

  friend bool operator==(const Family&, const Family&) = default;

  // Unicast and multicast: NLRI is prefixes.
  bool hasPrefixes() const { return (afi == ip4 || afi == ip6) && (safi == 1 || safi == 2); }
  std::uint32_t mostBits() const { return afi == ip4 ? 32 : 128; }
  // "ipv4 unicast"; the numbers, "16388/72", of one without a name.
  std::string name() const;
  // The family of a name, in any case, or of numbers.
  static std::optional<Family> read(std::string_view text);
};

// One prefix of a field of NLRI.
struct Nlri {
  std::uint32_t pathId = 0;
  std::uint32_t bits = 0;
  Octets octets;  // of the prefix, host bits and all
};

// Takes the next prefix off a field; false at its end, and where one is cut off, which leaves octets.
bool takeNlri(Cursor& field, bool pathIds, Nlri& nlri);
// What is wrong with a field of prefixes, or empty.
std::string nlriFault(Octets field, bool pathIds, std::uint32_t mostBits);

}  // namespace VelBgpTool
