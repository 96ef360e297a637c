// The community attributes of some paths, kept until they are interned together, and the threads that intern them.
//
// The order is that of one by one whatever the number of threads: a kind's lists are interned by one thread, batch after
// batch, and a list's number depends on nothing but what came before it of its own kind.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

class PathBatch {
 public:
  // An attribute of the path that is being added.
  void attributeIs(std::size_t kind, Octets value);
  void pathEnds() { ++paths_; }
  std::uint32_t paths() const { return paths_; }
  // Enough to be interned at a time.
  bool full() const { return paths_ >= 1024 || octets_.size() >= 256 * 1024; }
  void clear();

  // Interns what there is of a kind, and notes what matches. Other kinds may be at work on the batch meanwhile.
  void intern(std::size_t kind, Kinds& kinds, const Routing::RouteMap::PosixRegex* match);

  // After all kinds were interned: visit(kind, number) for each list.
  template <typename Visit>
  void forEachList(Visit&& visit) const {
    for (std::size_t kind = 0; kind < kindCount; ++kind) {
      for (const std::uint32_t number : attributes_[kind].numbers) visit(kind, number);
    }
  }
  // How many paths have a list that matches.
  std::uint64_t matches() const;

 private:
  struct Place {
    std::uint32_t path;
    std::uint32_t size;
    std::size_t begin;  // in octets_
  };
  struct Attributes {
    std::vector<Place> places;
    // As they were interned.
    std::vector<Octets> values;
    std::vector<std::uint32_t> numbers;
    std::vector<std::uint32_t> matching;  // the paths
  };

  std::uint32_t paths_ = 0;
  std::vector<std::uint8_t> octets_;
  std::array<Attributes, kindCount> attributes_;
};

// Interns batches in the order in which they come, each kind on a thread of its own as long as there are some. What
// fails there is thrown at the next batch, or at the end.
class Interning {
 public:
  // As many threads at most, none is fine, beside the one that calls.
  Interning(unsigned threads, Kinds& kinds, const Routing::RouteMap::PosixRegex* match);
  ~Interning();
  Interning(const Interning&) = delete;
  Interning& operator=(const Interning&) = delete;

  // Gives the batch away, and an empty one back.
  void batchIs(PathBatch& batch);
  // Waits for all of them.
  void finish();
  std::uint64_t matches() const { return matches_; }
  const Routing::RouteMap::PosixRegex* match() const { return match_; }

 private:
  static constexpr std::uint64_t waiting = 4;  // batches, before whoever brings one has to wait

  void work(unsigned worker);
  void internShare(unsigned worker, PathBatch& batch);
  // The batches that all threads are done with.
  std::uint64_t done() const;
  // Under the lock: waits until no more than so many batches are under way, and counts what matched in the others.
  void waitFor(std::unique_lock<std::mutex>& lock, std::uint64_t underWay);

  Kinds& kinds_;
  const Routing::RouteMap::PosixRegex* const match_;
  std::uint64_t matches_ = 0;

  std::mutex mutex_;  // of all below, but for the insides of batches under way
  std::condition_variable changed_;
  std::array<PathBatch, waiting> batches_;  // number n at n % waiting
  std::uint64_t brought_ = 0;
  std::uint64_t counted_ = 0;
  bool ended_ = false;
  std::exception_ptr failure_;
  std::vector<std::uint64_t> finished_;  // by each thread
  std::vector<std::thread> threads_;
};

}  // namespace VelBgpTool
