// A test program that links FailingNew.cpp can make its allocations fail. In a source of its own: compilers that see
// these operators in line take them for a mismatch of new and free.
#pragma once

#include <new>

namespace Routing::Bgp::test {

// Counts down to a failure of operator new; negative: none. One thread at a time.
extern int allocationsLeft;

// Does it again and again, with the first, the second ... allocation failing, until none does; failed() is called after
// each failure. How many there were.
template <typename Action, typename Failed>
int failAtEachAllocation(Action&& action, Failed&& failed) {
  for (int failures = 0;; ++failures) {
    allocationsLeft = failures;
    bool done = false;
    try {
      action();
      done = true;
    } catch (const std::bad_alloc&) {
    }
    allocationsLeft = -1;
    if (done) return failures;
    failed();
  }
}

}  // namespace Routing::Bgp::test
