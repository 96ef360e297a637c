#include "Keel/DedupHashTable.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <utility>

namespace Keel {

DedupLifeTimeNotifiee::~DedupLifeTimeNotifiee() = default;
DedupHandleLifeTimeNotifier::~DedupHandleLifeTimeNotifier() = default;

namespace {

constexpr std::uint32_t firstBuckets = 16;
// Old buckets emptied per insert: the growth is over long before the next one.
constexpr std::uint32_t bucketsPerStep = 4;

// Tables by number. An object holds its table's number, two octets, instead of an address.
class TableDirectory {
 public:
  std::uint16_t add(DedupHashTable* table) {
    const std::lock_guard lock(mutex_);
    for (std::uint32_t tried = 0; tried < numbers; ++tried) {
      last_ = static_cast<std::uint16_t>(last_ % numbers + 1);
      if (tables_[last_].load(std::memory_order_relaxed) != nullptr) continue;
      tables_[last_].store(table, std::memory_order_release);
      return last_;
    }
    throw std::length_error("too many interning tables");
  }
  void remove(std::uint16_t number) noexcept { tables_[number].store(nullptr, std::memory_order_release); }
  DedupHashTable* at(std::uint16_t number) const noexcept { return tables_[number].load(std::memory_order_acquire); }

 private:
  static constexpr std::uint32_t numbers = 0xfffe;  // 1 to 0xfffe; 0 and 0xffff say "no table"
  std::mutex mutex_;
  std::uint16_t last_ = 0;
  std::array<std::atomic<DedupHashTable*>, numbers + 2> tables_{};
};

constinit TableDirectory tableDirectory;

SlabRef* newHeads(std::uint32_t buckets) {
  // Zeroed by the system page by page, as they are touched.
  auto* heads = static_cast<SlabRef*>(std::calloc(buckets, sizeof(SlabRef)));
  if (heads == nullptr) throw std::bad_alloc();
  return heads;
}

}  // namespace

DedupHashTable::DedupHashTable(std::string name)
    : name_(std::move(name)),
      multiThreaded_(Tyr::agentMultiThreaded()),
#ifdef NDEBUG
      checksThread_(false),
#else
      checksThread_(!multiThreaded_),
#endif
      shards_(std::make_unique<Shard[]>(multiThreaded_ ? std::size_t{1} << shardBits : 1)),
      number_(tableDirectory.add(this)),
      ownerThread_(std::this_thread::get_id()) {
}

DedupHashTable::~DedupHashTable() {
  if (lifeTimeNotifiee_ != nullptr) lifeTimeNotifiee_->handleNotificationStop(this);
  for (std::size_t i = 0; i < (multiThreaded_ ? std::size_t{1} << shardBits : 1); ++i) bar(shards_[i]);
  tableDirectory.remove(number_);
}

DedupHandleBase* DedupHashTable::lookupByContent(const DedupContentHandle& content, std::uint32_t hash) const {
  return find(hash, [&content](const DedupHandleBase& object) { return object.compareByContent(content); });
}

DedupHandleBase* DedupHashTable::dedup(DedupHandleBase* fresh, std::uint32_t hash) {
  checkThread();
  TYR_ASSERT(fresh->dedupState() == dedupHandleStateNeverDeduped());
  Shard& shard = shardOf(hash);
  if (!multiThreaded_) return dedupIn(shard, fresh, hash);
  const std::lock_guard lock(shard.mutex);
  return dedupIn(shard, fresh, hash);
}

DedupHandleBase* DedupHashTable::dedupIn(Shard& shard, DedupHandleBase* fresh, std::uint32_t hash) {
  auto equal = [fresh](const DedupHandleBase& object) { return object.compare(fresh); };
  if (DedupHandleBase* present = findIn(shard, hash, equal)) return present;
  makeRoom(shard);
  SlabRef* bucket = bucketOf(shard, hash);
  fresh->hash_ = hash;
  fresh->next_ = *bucket;
  fresh->owner_.store(number_, std::memory_order_relaxed);
  fresh->referenceAdd();
  *bucket = handleRef(fresh);
  ++shard.size;
  announceInsert(shard, fresh);
  return fresh;
}

// When the notifiee has no memory for an object, the object was never here.
void DedupHashTable::announceInsert(Shard& shard, DedupHandleBase* fresh) {
  try {
    announce([fresh](DedupLifeTimeNotifiee& notifiee) { notifiee.handleInsert(fresh); });
  } catch (...) {
    unlink(shard, fresh);
    fresh->owner_.store(DedupHandleBase::ownerNone, std::memory_order_relaxed);
    fresh->count_.fetch_sub(1, std::memory_order_relaxed);  // the caller holds another
    throw;
  }
}

template <typename Announce>
void DedupHashTable::announce(Announce&& call) {
  if (lifeTimeNotifiee_ == nullptr) return;
  if (!multiThreaded_) return call(*lifeTimeNotifiee_);
  const std::lock_guard lock(notificationMutex_);
  call(*lifeTimeNotifiee_);
}

bool DedupHashTable::letGo(DedupHandleBase* handle) noexcept {
  const std::uint16_t owner = handle->owner_.load(std::memory_order_relaxed);
  if (owner == DedupHandleBase::ownerNone || owner == DedupHandleBase::ownerBarred) return stepDown(handle);
  return tableDirectory.at(owner)->leave(handle);
}

// Acquire: whoever deletes must see all that the other holders wrote.
bool DedupHashTable::stepDown(DedupHandleBase* handle) noexcept {
  return handle->count_.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

bool DedupHashTable::leave(DedupHandleBase* handle) noexcept {
  checkThread();
  Shard& shard = shardOf(handle->hash_);
  std::unique_lock<std::mutex> lock(shard.mutex, std::defer_lock);
  if (multiThreaded_) lock.lock();
  std::uint32_t count = handle->count_.load(std::memory_order_acquire);
  while (count != 1) {  // found again before we had the lock
    if (handle->count_.compare_exchange_weak(count, count - 1, std::memory_order_release, std::memory_order_acquire)) {
      return false;
    }
  }
  unlink(shard, handle);
  handle->owner_.store(DedupHandleBase::ownerBarred, std::memory_order_relaxed);
  announce([handle](DedupLifeTimeNotifiee& notifiee) { notifiee.handleRemove(handle); });
  if (multiThreaded_) lock.unlock();
  return stepDown(handle);
}

void DedupHashTable::unlink(Shard& shard, DedupHandleBase* handle) noexcept {
  const SlabRef self = handleRef(handle);
  SlabRef* link = bucketOf(shard, handle->hash_);
  while (*link != self) link = &static_cast<DedupHandleBase*>(SlabHeap::at(*link))->next_;
  *link = handle->next_;
  handle->next_ = 0;
  --shard.size;
}

void DedupHashTable::makeRoom(Shard& shard) {
  if (shard.old.heads != nullptr) return moveSome(shard);
  if (shard.heads == nullptr) {
    shard.heads = newHeads(firstBuckets);
    shard.mask = firstBuckets - 1;
  } else if (shard.size > shard.mask && shard.mask < 0x7fffffff) {
    SlabRef* wider = newHeads(2 * (shard.mask + 1));
    shard.old = {shard.heads, shard.mask};
    shard.heads = wider;
    shard.mask = 2 * shard.mask + 1;
    shard.moved = 0;
    moveSome(shard);
  }
}

void DedupHashTable::moveSome(Shard& shard) noexcept {
  const std::uint32_t end = std::min(shard.moved + bucketsPerStep, shard.old.mask + 1);
  while (shard.moved < end) {
    moveBucket(shard, shard.moved);
    ++shard.moved;
  }
  if (shard.moved <= shard.old.mask) return;
  std::free(shard.old.heads);
  shard.old = {};
}

void DedupHashTable::moveBucket(Shard& shard, std::uint32_t bucket) noexcept {
  SlabRef ref = std::exchange(shard.old.heads[bucket], 0);
  while (ref != 0) {
    auto* handle = static_cast<DedupHandleBase*>(SlabHeap::at(ref));
    const SlabRef next = handle->next_;
    SlabRef* head = &shard.heads[handle->hash_ & shard.mask];
    handle->next_ = *head;
    *head = ref;
    ref = next;
  }
}

template <typename Visit>
void DedupHashTable::forEachIn(const Shard& shard, Visit&& visit) {
  for (const Heads& part : {Heads{shard.heads, shard.mask}, shard.old}) {
    for (std::uint32_t bucket = 0; part.heads != nullptr && bucket <= part.mask; ++bucket) {
      std::uint32_t place = 0;
      for (SlabRef ref = part.heads[bucket]; ref != 0;) {
        auto* handle = static_cast<DedupHandleBase*>(SlabHeap::at(ref));
        ref = handle->next_;
        visit(handle, ++place);
      }
    }
  }
}

void DedupHashTable::bar(Shard& shard) noexcept {
  forEachIn(shard, [](DedupHandleBase* handle, std::uint32_t) {
    handle->next_ = 0;
    handle->owner_.store(DedupHandleBase::ownerBarred, std::memory_order_relaxed);
  });
  std::free(shard.heads);
  std::free(shard.old.heads);
}

void DedupHashTable::lifeTimeNotifieeIs(Tyr::Ptr<DedupLifeTimeNotifiee> notifiee) {
  TYR_ASSERT(size() == 0);
  lifeTimeNotifiee_.swap(notifiee);
  if (notifiee != nullptr) notifiee->handleNotificationStop(this);
}

std::size_t DedupHashTable::size() const {
  checkThread();
  if (!multiThreaded_) return shards_[0].size;
  std::size_t size = 0;
  for (std::size_t i = 0; i < std::size_t{1} << shardBits; ++i) {
    const std::lock_guard lock(shards_[i].mutex);
    size += shards_[i].size;
  }
  return size;
}

std::uint32_t DedupHashTable::longestChain(const Shard& shard) noexcept {
  std::uint32_t longest = 0;
  forEachIn(shard, [&longest](DedupHandleBase*, std::uint32_t place) { longest = std::max(longest, place); });
  return longest;
}

void DedupHashTable::dump(DumpContext& context, std::uint32_t indent) const {
  std::size_t objects = 0;
  std::size_t buckets = 0;
  std::uint32_t longest = 0;
  for (std::size_t i = 0; i < (multiThreaded_ ? std::size_t{1} << shardBits : 1); ++i) {
    std::unique_lock<std::mutex> lock(shards_[i].mutex, std::defer_lock);
    if (multiThreaded_) lock.lock();
    objects += shards_[i].size;
    buckets += shards_[i].heads == nullptr ? 0 : shards_[i].mask + std::size_t{1};
    longest = std::max(longest, longestChain(shards_[i]));
  }
  context.line(indent, "DedupHashTable " + name_ + (multiThreaded_ ? " multi-threaded" : " single-threaded") +
                           " objects #" + std::to_string(objects) + " buckets #" + std::to_string(buckets) +
                           " longest chain " + std::to_string(longest));
}

}  // namespace Keel
