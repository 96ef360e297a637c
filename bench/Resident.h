// How much memory this process has.
#pragma once

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <string>
#include <thread>

namespace bench {

inline std::size_t residentOctets() {
  std::ifstream statm("/proc/self/statm");
  std::size_t pages = 0;
  statm >> pages >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// Of it, what is no file's.
inline std::size_t anonymousOctets() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("RssAnon:")) return std::stoul(line.substr(8)) * 1024;
  }
  return 0;
}
// What malloc() has given out.
inline std::size_t heapOctets() {
  const auto heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

// The most anonymous memory that there is while it lives, looked at every other millisecond.
class AnonymousPeak {
 public:
  AnonymousPeak() {
    watcher_ = std::thread([this] {
      while (!ended_.load(std::memory_order_relaxed)) {
        look();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
    });
  }
  ~AnonymousPeak() {
    ended_ = true;
    watcher_.join();
  }
  std::size_t octets() const { return octets_; }

 private:
  void look() { octets_ = std::max(octets_.load(), anonymousOctets()); }

  std::atomic<std::size_t> octets_ = 0;
  std::atomic<bool> ended_ = false;
  std::thread watcher_;
};

}  // namespace bench
