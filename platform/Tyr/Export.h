// VELBGP_EXPORT marks what leaves libVelBgp.so. Everything is compiled with hidden visibility; classes with virtual
// operations, and functions defined in sources, carry the mark, templates and inline functions need none.
#pragma once

#if __cplusplus < 202002L
#error "VelBgp needs C++20: compile with -std=c++20 or later"
#endif

#define VELBGP_EXPORT __attribute__((visibility("default")))
