// How much memory this process has.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <fstream>

namespace bench {

inline std::size_t residentOctets() {
  std::ifstream statm("/proc/self/statm");
  std::size_t pages = 0;
  statm >> pages >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace bench
