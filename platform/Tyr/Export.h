// VELBGP_EXPORT marks what leaves libVelBgp.so. Everything is compiled with hidden visibility; classes with virtual
// operations, and functions defined in sources, carry the mark, templates and inline functions need none.
#pragma once

#define VELBGP_EXPORT __attribute__((visibility("default")))
