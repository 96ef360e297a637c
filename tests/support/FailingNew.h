// A test program that links FailingNew.cpp can make its allocations fail. In a source of its own: compilers that see
// these operators in line take them for a mismatch of new and free.
#pragma once

namespace Routing::Bgp::test {

// Counts down to a failure of operator new; negative: none. One thread at a time.
extern int allocationsLeft;

}  // namespace Routing::Bgp::test
