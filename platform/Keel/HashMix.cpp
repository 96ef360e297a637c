#include "Keel/HashMix.h"

#include <sys/auxv.h>
#include <sys/random.h>

#include <chrono>
#include <cstring>

namespace Keel::detail {

HashKey hashKeyOf(const std::array<std::uint64_t, 2>& startOfProcess, std::uint64_t clock,
                  std::uint64_t address) noexcept {
  HashKey key{};
  std::uint64_t a = startOfProcess[0];
  std::uint64_t b = startOfProcess[1];
  const auto mix = [&a, &b](std::uint64_t more) {
    a = fold(a + more + 0x9e3779b97f4a7c15, 0xbf58476d1ce4e5b9) ^ b;
    b = fold(b + more + 0x94d049bb133111eb, 0xd6e8feb86659fd93) + a;
  };
  for (const std::uint64_t more : {clock, address, startOfProcess[0], startOfProcess[1]}) mix(more);
  for (std::uint64_t* word : {&key.lane0, &key.lane1, &key.second, &key.odd, &key.finish}) {
    mix(clock);
    *word = a;
  }
  key.odd |= 1;  // a factor that cannot be zero by itself
  key.finish |= 1;
  return key;
}

namespace {

HashKey weakKey() noexcept {
  std::array<std::uint64_t, 2> startOfProcess{};
  static_assert(sizeof startOfProcess == 16);  // as many octets as the kernel gives
  if (const void* random = reinterpret_cast<const void*>(::getauxval(AT_RANDOM))) {
    std::memcpy(&startOfProcess, random, sizeof startOfProcess);
  }
  return hashKeyOf(startOfProcess,
                   static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()),
                   reinterpret_cast<std::uintptr_t>(&hashKey));
}

HashKey randomKey() noexcept {
  HashKey key{};
  if (::getrandom(&key, sizeof key, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof key)) return weakKey();
  key.odd |= 1;
  key.finish |= 1;
  return key;
}

}  // namespace

// Before every other static object of the library and its users: a hash taken with an older key would never be found.
__attribute__((init_priority(101))) const HashKey hashKey = randomKey();

}  // namespace Keel::detail
