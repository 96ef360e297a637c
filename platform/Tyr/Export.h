// VELBGP_EXPORT marks what leaves libVelBgp.so. Everything is compiled with hidden visibility; classes with virtual
// operations, and functions defined in sources, carry the mark, templates and inline functions need none. Nearly every
// header includes this one, so it also says in words what a compiler lacks.
#pragma once

#if __cplusplus < 202002L
#error "VelBgp needs C++20: compile with -std=c++20 or later"
#endif
#if !__has_include(<boost/version.hpp>)
#error "VelBgp's headers need Boost 1.81 or later, which is not there: on Debian 12, apt-get install libboost1.81-dev"
#else
#include <boost/version.hpp>
#if BOOST_VERSION < 108100
#error \
    "VelBgp's headers need Boost 1.81 or later, and an older one is found: on Debian 12, apt-get install libboost1.81-dev"
#endif
#endif

#define VELBGP_EXPORT __attribute__((visibility("default")))
