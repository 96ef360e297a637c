#include "tools/velbgp/PathBatch.h"

#include <algorithm>
#include <new>
#include <system_error>

namespace VelBgpTool {

void PathBatch::attributeIs(std::size_t kind, Octets value) {
  attributes_[kind].places.push_back(
      {static_cast<std::uint32_t>(groups_.size()), static_cast<std::uint32_t>(value.size()), octets_.size()});
  octets_.insert(octets_.end(), value.begin(), value.end());
}

void PathBatch::clear() {
  groups_.clear();
  octets_.clear();
  for (Attributes& all : attributes_) {
    all.places.clear();
    all.numbers.clear();
    all.matching.clear();
  }
}

void PathBatch::intern(std::size_t kind, Kinds& kinds, const Routing::RouteMap::PosixRegex* match, Tallies& tallies) {
  Attributes& all = attributes_[kind];
  if (all.places.empty()) return;
  all.values.clear();
  for (const Place& place : all.places) all.values.push_back(Octets(octets_).subspan(place.begin, place.size));
  all.numbers.resize(all.places.size());
  kinds.at(kind).intern(all.values, all.numbers);
  std::vector<Tally>& groups = tallies[kind];
  for (std::size_t i = 0; i < all.numbers.size(); ++i) {
    const std::uint32_t group = groups_[all.places[i].path];
    if (group >= groups.size()) groups.resize(group + 1);
    kinds.at(kind).count(all.numbers[i], all.values[i], groups[group]);
  }
  for (std::size_t i = 0; match != nullptr && i < all.numbers.size(); ++i) {
    if (kinds.at(kind).matches(all.numbers[i], *match).value_or(false)) all.matching.push_back(all.places[i].path);
  }
}

void PathBatch::addMatches(std::vector<std::uint64_t>& byGroup) const {
  std::vector<std::uint32_t> paths;
  for (const Attributes& all : attributes_) paths.insert(paths.end(), all.matching.begin(), all.matching.end());
  std::sort(paths.begin(), paths.end());
  paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
  for (const std::uint32_t path : paths) {
    byGroup.resize(std::max<std::size_t>(byGroup.size(), groups_[path] + 1));
    ++byGroup[groups_[path]];
  }
}

Interning::Interning(unsigned threads, Kinds& kinds, const Routing::RouteMap::PosixRegex* match)
    : kinds_(kinds), match_(match) {
  const unsigned most = std::min<unsigned>(threads, kindCount);
  finished_.resize(most);
  threads_.reserve(most);
  const std::lock_guard lock(mutex_);  // who begins at once would see fewer threads than there will be
  try {
    for (unsigned worker = 0; worker < most; ++worker) threads_.emplace_back([this, worker] { work(worker); });
  } catch (const std::system_error&) {  // with those that there are
  }
  finished_.resize(threads_.size());
}

Interning::~Interning() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void Interning::batchIs(PathBatch& batch) {
  std::unique_lock lock(mutex_);
  waitFor(lock, waiting - 1);
  PathBatch& place = batches_[brought_ % waiting];
  std::swap(place, batch);
  batch.clear();
  ++brought_;
  changed_.notify_all();
  if (threads_.empty()) {
    internShare(0, place);
    waitFor(lock, 0);
  }
}

void Interning::internHere(PathBatch& batch) {
  for (std::size_t kind = 0; kind < kindCount; ++kind) batch.intern(kind, kinds_, match_, tallies_);
  batch.addMatches(matches_);
}

const Tally& Interning::tally(std::size_t kind, std::uint32_t group) const {
  static const Tally none;
  return group < tallies_[kind].size() ? tallies_[kind][group] : none;
}

void Interning::finish() {
  std::unique_lock lock(mutex_);
  waitFor(lock, 0);
}

void Interning::waitFor(std::unique_lock<std::mutex>& lock, std::uint64_t underWay) {
  changed_.wait(lock, [&] { return brought_ - done() <= underWay; });
  if (failure_) std::rethrow_exception(failure_);
  for (; counted_ < done(); ++counted_) batches_[counted_ % waiting].addMatches(matches_);
}

std::uint64_t Interning::done() const {
  return finished_.empty() ? brought_ : *std::min_element(finished_.begin(), finished_.end());
}

// Kind k is the thread's k % threads.
void Interning::internShare(unsigned worker, PathBatch& batch) {
  const std::size_t step = std::max<std::size_t>(threads_.size(), 1);
  for (std::size_t kind = kindCount - 1 - worker; kind < kindCount; kind -= step)
    batch.intern(kind, kinds_, match_, tallies_);
}

void Interning::work(unsigned worker) {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return ended_ || finished_[worker] < brought_; });
    if (finished_[worker] == brought_) return;
    PathBatch& batch = batches_[finished_[worker] % waiting];
    if (!failure_ && !ended_) {
      lock.unlock();
      std::exception_ptr failure;
      try {
        internShare(worker, batch);
      } catch (...) {
        failure = std::current_exception();
      }
      lock.lock();
      if (failure && !failure_) failure_ = failure;
    }
    ++finished_[worker];
    changed_.notify_all();
  }
}

}  // namespace VelBgpTool
