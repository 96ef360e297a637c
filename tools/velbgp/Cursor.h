// Octets that are read forward and never past their end: each step says whether there was enough, and moves only if
// there was.
#pragma once

#include <cstdint>

#include "tools/velbgp/Text.h"

namespace VelBgpTool {

class Cursor {
 public:
  explicit Cursor(Octets octets = {}) : rest_(octets) {}

  std::size_t left() const { return rest_.size(); }
  Octets rest() const { return rest_; }

  bool skip(std::size_t count) {
    Octets skipped;
    return take(count, skipped);
  }
  bool take(std::size_t count, Octets& out) {
    if (count > rest_.size()) return false;
    out = rest_.first(count);
    rest_ = rest_.subspan(count);
    return true;
  }
  bool octet(std::uint32_t& out) { return number(1, out); }
  bool twoOctets(std::uint32_t& out) { return number(2, out); }
  bool number(std::size_t count, std::uint32_t& out) {
    Octets octets;
    if (!take(count, octets)) return false;
    out = static_cast<std::uint32_t>(bigEndian(octets));
    return true;
  }

 private:
  Octets rest_;
};

}  // namespace VelBgpTool
