#include "Tyr/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Tyr {

void assertionFailed(const char* text, const char* file, int line) noexcept {
  std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, text);
  std::abort();
}

}  // namespace Tyr
