#include "Tyr/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Tyr {

void assertionFailed(const char* text, const char* file, int line, const char* advice) noexcept {
  std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, text);
  if (advice != nullptr) std::fprintf(stderr, "%s:%d: %s\n", file, line, advice);
  std::abort();
}

}  // namespace Tyr
