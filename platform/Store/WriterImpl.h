// What a manager that writes keeps in memory.
#pragma once

#include <new>
#include <vector>

#include "Store/FilesImpl.h"

namespace Routing::Store::detail {

// Record numbers that are free: the last one freed is the first one taken, then the next that never was. What was freed
// before the store was opened is not known here, and is not used again until clear().
struct Numbers {
  std::uint64_t next = 1;
  std::vector<std::uint64_t> unused;

  std::uint64_t take() {
    if (unused.empty()) return next++;
    const std::uint64_t number = unused.back();
    unused.pop_back();
    return number;
  }
  void free(const std::vector<std::uint64_t>& numbers) noexcept {
    try {
      unused.insert(unused.end(), numbers.begin(), numbers.end());
    } catch (const std::bad_alloc&) {  // then they are not used again in this run
    }
  }
};

struct Writer {
  File lock;
  Numbers numbers{};
  std::uint64_t nextAnchor = 0;
  std::uint64_t anchorBound = 0;  // the one stored
  std::uint64_t commits = 0;      // of this run
  std::uint64_t mostCommitsAhead = 0;
  bool tooFarAhead = false;
  bool batchOpen = false;
};

}  // namespace Routing::Store::detail
