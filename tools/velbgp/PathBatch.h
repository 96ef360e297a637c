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

// By kind, and of each by group; those of a group that has nothing of the kind may be missing.
using Tallies = std::array<std::vector<Tally>, kindCount>;

class PathBatch {
 public:
  // An attribute of the path that is being added.
  void attributeIs(std::size_t kind, Octets value);
  // It belongs to this group of those that are counted apart.
  void pathEnds(std::uint32_t group) { groups_.push_back(group); }
  // Enough to be interned at a time.
  bool full() const { return groups_.size() >= 1024 || octets_.size() >= 256 * 1024; }
  void clear();

  // Interns what there is of a kind, counts it, and notes what matches. Other kinds may be at work on the batch
  // meanwhile.
  void intern(std::size_t kind, Kinds& kinds, const Routing::RouteMap::PosixRegex* match, Tallies& tallies);

  // After all kinds were interned: visit(kind, number) for each list.
  template <typename Visit>
  void forEachList(Visit&& visit) const {
    for (std::size_t kind = 0; kind < kindCount; ++kind) {
      for (const std::uint32_t number : attributes_[kind].numbers) visit(kind, number);
    }
  }
  // Adds the paths with a list that matches to their groups.
  void addMatches(std::vector<std::uint64_t>& byGroup) const;

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

  std::vector<std::uint32_t> groups_;  // of the paths
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
  // When all are interned.
  const Tally& tally(std::size_t kind, std::uint32_t group) const;
  std::uint64_t matches(std::uint32_t group) const { return group < matches_.size() ? matches_[group] : 0; }

  // Interns a batch at once, on the thread that calls: for those that bring no others.
  void internHere(PathBatch& batch);

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
  std::vector<std::uint64_t> matches_;  // by group
  Tallies tallies_;                     // those of a kind belong to its thread

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
