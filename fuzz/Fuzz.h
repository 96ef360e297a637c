// What the fuzzers share. Each is one source that defines oneInput() and asserts (TYR_ASSERT) what holds for any input;
// an exception that leaves it is a finding too.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Tyr/Assert.h"

namespace VelBgpFuzz {

using Octets = std::span<const std::uint8_t>;

inline std::string_view textOf(Octets octets) { return {reinterpret_cast<const char*>(octets.data()), octets.size()}; }
inline Octets octetsOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// An input, taken from the front. What is not there any more reads as zero, or as fewer octets.
class Input {
 public:
  explicit Input(Octets octets) : rest_(octets) {}

  bool empty() const { return rest_.empty(); }
  Octets take(std::size_t count) {
    const Octets taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  Octets rest() { return take(rest_.size()); }
  template <std::unsigned_integral Number>
  Number number() {  // in network order
    Number value = 0;
    for (const std::uint8_t octet : take(sizeof value)) value = static_cast<Number>(value << 8 | octet);
    return value;
  }
  std::uint8_t octet() { return number<std::uint8_t>(); }

 private:
  Octets rest_;
};

void oneInput(Input input);

// The one folder of this process, under $TMPDIR, best in memory. A fuzzer that dies leaves it behind.
const std::filesystem::path& folder();
void writeFile(const std::filesystem::path& file, std::string_view octets);

// Whether it went through. `Failure` is what may be thrown.
template <typename Failure, typename Body>
bool done(Body&& body) {
  try {
    body();
    return true;
  } catch (const Failure&) {
    return false;
  }
}

}  // namespace VelBgpFuzz
