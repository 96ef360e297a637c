#include "Tyr/PaulHsiehHash.h"

#include <cstring>

namespace Tyr {
namespace {

std::uint32_t read16(const unsigned char* octets) noexcept {
  std::uint16_t value;
  std::memcpy(&value, octets, sizeof value);
  return value;
}

// The last one to three octets.
std::uint32_t mixRest(std::uint32_t hash, const unsigned char* rest, std::size_t count) noexcept {
  const auto last = [rest](unsigned i) { return static_cast<std::uint32_t>(static_cast<signed char>(rest[i])); };
  switch (count) {
    case 3:
      hash += read16(rest);
      hash ^= hash << 16;
      hash ^= last(2) << 18;
      return hash + (hash >> 11);
    case 2:
      hash += read16(rest);
      hash ^= hash << 11;
      return hash + (hash >> 17);
    case 1:
      hash += last(0);
      hash ^= hash << 10;
      return hash + (hash >> 1);
    default:
      return hash;
  }
}

}  // namespace

std::uint32_t paulHsiehHash(const void* octets, std::size_t count, std::uint32_t initial) noexcept {
  const auto* next = static_cast<const unsigned char*>(octets);
  if (count == 0) return 0;
  std::uint32_t hash = initial;
  for (const unsigned char* const end = next + count / 4 * 4; next != end; next += 4) {
    hash += read16(next);
    hash = (hash << 16) ^ ((read16(next + 2) << 11) ^ hash);
    hash += hash >> 11;
  }
  hash = mixRest(hash, next, count % 4);
  // So that the last octets reach all bits.
  hash ^= hash << 3;
  hash += hash >> 5;
  hash ^= hash << 4;
  hash += hash >> 17;
  hash ^= hash << 25;
  return hash + (hash >> 6);
}

}  // namespace Tyr
