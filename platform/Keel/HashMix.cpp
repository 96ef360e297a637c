#include "Keel/HashMix.h"

#include <sys/random.h>

#include <chrono>
#include <cstring>

namespace Keel::detail {
namespace {

HashKey randomKey() noexcept {
  HashKey key{};
  if (getrandom(&key, sizeof key, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof key)) {
    // No entropy that early in a boot: the clock and the load address still differ from process to process.
    std::uint64_t weak = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
                         reinterpret_cast<std::uintptr_t>(&hashKey);
    for (std::uint64_t* word : {&key.lane0, &key.lane1, &key.second, &key.odd, &key.finish}) {
      weak = fold(weak + 0x9e3779b97f4a7c15, 0xbf58476d1ce4e5b9);
      *word = weak;
    }
  }
  key.odd |= 1;  // a factor that cannot be zero by itself
  key.finish |= 1;
  return key;
}

}  // namespace

// Before every other static object of the library and its users: a hash taken with an older key would never be found.
__attribute__((init_priority(101))) const HashKey hashKey = randomKey();

}  // namespace Keel::detail
