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

inline std::size_t statusOctets(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stoul(line.substr(name.size())) * 1024;
  }
  return 0;
}
// Of it, what is no file's, and what is a mapped file's, which the system can take back at any time.
inline std::size_t anonymousOctets() { return statusOctets("RssAnon:"); }
inline std::size_t fileOctets() { return statusOctets("RssFile:"); }
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
