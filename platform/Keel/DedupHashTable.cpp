#include "Keel/DedupHashTable.h"

#include <sys/mman.h>

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace Keel {

DedupLifeTimeNotifiee::~DedupLifeTimeNotifiee() = default;
bool DedupLifeTimeNotifiee::wantsToHearOf(DedupHandleBase& handle) noexcept {
  return handle.dedupState() == dedupHandleStateNeverDeduped();
}
DedupHandleLifeTimeNotifier::~DedupHandleLifeTimeNotifier() = default;

namespace {

constexpr std::uint32_t firstBuckets = 16;
constexpr std::uint32_t objectsPerBucket = 7;
// Of the inserts that find their bucket full, every fourth splits up to sixteen buckets: at the load above about one in
// ten inserts does, and each insert needs a seventh of a bucket.
constexpr unsigned crowdedPerGrowth = 4;
constexpr unsigned splitsPerGrowth = 16;

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
  static constexpr std::uint32_t numbers = 0xfffd;  // 1 to 0xfffd; the others say "no table"
  std::mutex mutex_;
  std::uint16_t last_ = 0;
  std::array<std::atomic<DedupHashTable*>, numbers + 3> tables_{};
};

constinit TableDirectory tableDirectory;

DedupHandleBase* handleOf(SlabRef ref) noexcept { return static_cast<DedupHandleBase*>(SlabHeap::at(ref)); }

}  // namespace

// ---- Lines

namespace detail {

namespace {

// Large pieces come from the system, which zeroes them page by page as they are touched.
constexpr std::size_t mappedOctets = 64 * 1024;

void* zeroedLines(std::size_t octets) noexcept {
  if (octets < mappedOctets) {
    void* const memory = std::aligned_alloc(alignof(DedupLine), octets);
    return memory == nullptr ? nullptr : std::memset(memory, 0, octets);
  }
  void* const memory = mmap(nullptr, octets, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory == MAP_FAILED ? nullptr : memory;
}

}  // namespace

bool DedupLines::reach(std::uint32_t number) noexcept {
  const unsigned piece = pieceOf(number);
  if (pieces_[piece] != 0) return true;
  void* const memory = zeroedLines(linesIn(piece) * sizeof(DedupLine));
  if (memory == nullptr) return false;
  pieces_[piece] = reinterpret_cast<std::uintptr_t>(memory) - firstOf(piece) * sizeof(DedupLine);
  return true;
}

DedupLines::~DedupLines() {
  for (unsigned piece = 0; piece < pieces_.size(); ++piece) {
    if (pieces_[piece] == 0) continue;
    void* const memory = reinterpret_cast<void*>(pieces_[piece] + firstOf(piece) * sizeof(DedupLine));
    const std::size_t octets = linesIn(piece) * sizeof(DedupLine);
    octets < mappedOctets ? std::free(memory) : static_cast<void>(munmap(memory, octets));
  }
}

}  // namespace detail

// ---- The table

DedupHashTable::DedupHashTable(std::string name)
    : name_(std::move(name)),
      multiThreaded_(Tyr::agentMultiThreaded()),
#ifdef NDEBUG
      watched_(0),
#else
      watched_(multiThreaded_ ? 0 : watchedThread),
#endif
      ownerRecord_(multiThreaded_ ? nullptr : &detail::thisThread()),
      ownerThread_(pthread_self()),
      stripes_(std::make_unique<Stripe[]>(multiThreaded_ ? detail::stripes : 1)) {
  if (!lines_.reach(0)) throw std::bad_alloc();
  buckets_.store(firstBuckets, std::memory_order_release);
  number_ = tableDirectory.add(this);
}

DedupHashTable::~DedupHashTable() {
  TYR_ASSERT(!announcesNow());
  tell();
  bar();
  KEEL_PAUSE_POINT(tableEmptied);
  for (detail::Backoff backoff; letters_.load(std::memory_order_acquire) != 0;) backoff.pause();
  tell();
  asked_.store(nullptr, std::memory_order_relaxed);
  if (const Tyr::Ptr<DedupLifeTimeNotifiee> notifiee = std::move(lifeTimeNotifiee_)) {
    notifiee->handleNotificationStop(this);
    while (stopped_ != 0) {
      DedupHandleBase* const handle = handleOf(stopped_);
      stopped_ = std::exchange(handle->next_, 0);
      handle->referenceRelease();
    }
    bar();  // what an observer interned in the end
  }
  tableDirectory.remove(number_);
  if (!multiThreaded_) return;
  detail::graceWait();
  for (detail::Backoff backoff; letters_.load(std::memory_order_acquire) != 0;) backoff.pause();
}

DedupHandleBase* DedupHashTable::lookupByContent(const DedupContentHandle& content, std::uint32_t hash) const {
  return find(hash, [&content](const DedupHandleBase& object) { return object.compareByContent(content); });
}

bool DedupHashTable::isAlive(std::uint16_t number) noexcept { return tableDirectory.at(number) != nullptr; }

// The record says it for nearly all; at its very end a thread may get another one.
void DedupHashTable::checkThreadItself() const {
  TYR_ASSERT_ADVICE(
      pthread_equal(ownerThread_, pthread_self()),
      "a second thread uses an interning table, or an object of one, and the agent is single-threaded: call "
      "Tyr::agentMultiThreadedIs(true) before the first table is made");
}

// ---- Buckets

// Acquire: what the last holder of the lock did.
[[gnu::always_inline]] inline bool DedupHashTable::lockFrom(Line& bucket, std::uint32_t version) const noexcept {
  if (!multiThreaded_) return bucket.version.load(std::memory_order_relaxed) == version;
  return version % 2 == 0 && bucket.version.compare_exchange_strong(version, version + 1, std::memory_order_acquire,
                                                                    std::memory_order_relaxed);
}

bool DedupHashTable::lockIfFree(Line& bucket) const noexcept {
  return lockFrom(bucket, bucket.version.load(std::memory_order_relaxed));
}

DedupHashTable::Line& DedupHashTable::lock(std::uint32_t hash) const noexcept {
  for (detail::Backoff backoff;; backoff.pause()) {
    const std::uint32_t buckets = buckets_.load(std::memory_order_acquire);
    Line& bucket = lines_[bucketOf(hash, buckets)];
    detail::prefetchToWrite(&bucket);
    if (!lockIfFree(bucket)) continue;
    if (buckets_.load(std::memory_order_relaxed) == buckets || &lineOf(hash) == &bucket) return bucket;
    unlock(bucket);  // it was split meanwhile
  }
}

// Release: the entries, to readers and to the next holder.
[[gnu::always_inline]] inline void DedupHashTable::unlock(Line& bucket) const noexcept {
  bucket.version.store(bucket.version.load(std::memory_order_relaxed) + (multiThreaded_ ? 1 : 2),
                       std::memory_order_release);
}

template <typename Visit>
void DedupHashTable::forEachIn(Line& bucket, Visit&& visit) const {
  for (Line* line = &bucket;;) {
    for (unsigned place = 0; place < Line::entries; ++place) {
      if (const SlabRef ref = line->refs[place].load(std::memory_order_relaxed)) visit(Entry{line, place}, ref);
    }
    const std::uint32_t more = line->more.load(std::memory_order_relaxed);
    if (more == 0) return;
    line = &more_[more];
  }
}

// A free entry of the bucket, which gets one more line if need be; no line without memory.
[[gnu::always_inline]] inline DedupHashTable::Entry DedupHashTable::freeEntry(Line& bucket) noexcept {
  if (const unsigned free = bucket.matching(Line::freeTag)) [[likely]] {
    return {&bucket, static_cast<unsigned>(std::countr_zero(free))};
  }
  return freeEntryBehind(bucket);
}

DedupHashTable::Entry DedupHashTable::freeEntryBehind(Line& bucket) noexcept {
  for (Line* line = &bucket;;) {
    if (const unsigned free = line->matching(Line::freeTag))
      return {line, static_cast<unsigned>(std::countr_zero(free))};
    std::uint32_t more = line->more.load(std::memory_order_relaxed);
    if (more == 0) {
      more = newLine();
      if (more == 0) return {nullptr, 0};
      // Release: the piece that the line lies in.
      line->more.store(more, std::memory_order_release);
    }
    line = &more_[more];
  }
}

std::uint32_t DedupHashTable::newLine() noexcept {
  const detail::MaybeLock lock(linesMutex_);
  if (spareLine_ != 0) {
    Line& line = more_[spareLine_];
    return std::exchange(spareLine_, line.more.exchange(0, std::memory_order_relaxed));
  }
  return more_.reach(usedLines_) ? usedLines_++ : 0;
}

void DedupHashTable::freeLines(std::uint32_t first) noexcept {
  const detail::MaybeLock lock(linesMutex_);
  while (first != 0) {
    Line& line = more_[first];
    for (unsigned place = 0; place < Line::entries; ++place) line.entryIs(place, Line::freeTag, 0);
    const std::uint32_t next = line.more.load(std::memory_order_relaxed);
    line.more.store(std::exchange(spareLine_, first), std::memory_order_release);
    first = next;
  }
}

// ---- Inserting

DedupHandleBase* DedupHashTable::dedup(DedupHandleBase* fresh, std::uint32_t hash) {
  fresh->referenceAdd();
  const auto giveBack = [fresh] { fresh->count().fetch_sub(1, std::memory_order_release); };  // never the last
  try {
    DedupHandleBase* const present = dedupOwned(fresh, hash, {});
    if (present != fresh) giveBack();
    return present;
  } catch (...) {
    giveBack();
    throw;
  }
}

DedupHandleBase* DedupHashTable::dedupOwned(DedupHandleBase* fresh, std::uint32_t hash, Sought sought) {
  checkThread();
  TYR_ASSERT(fresh->dedupState() == dedupHandleStateNeverDeduped());
  while (sought.bucket == nullptr || !lockFrom(*sought.bucket, sought.version)) {
    sought.bucket = &lock(hash);
    DedupHandleBase* const present = equalIn(*sought.bucket, fresh, hash);
    if (present == nullptr) break;
    unlock(*sought.bucket);
    if (present->news() != DedupHandleBase::newsComing || isToldOf(present)) return present;
    sought.bucket = nullptr;
  }
  insert(*sought.bucket, fresh, hash);
  return fresh;
}

// Into a locked bucket, which it unlocks.
[[gnu::always_inline]] inline void DedupHashTable::insert(Line& bucket, DedupHandleBase* fresh, std::uint32_t hash) {
  const Entry entry = freeEntry(bucket);
  if (entry.line == nullptr) {
    unlock(bucket);
    throw std::bad_alloc();
  }
  const bool told = wanted(fresh);
  if (told) fresh->newsIs(DedupHandleBase::newsComing);
  put(entry, fresh, hash);
  if (told) enqueue(fresh);
  unlock(bucket);
  if (entry.line != &bucket) grow();
  KEEL_PAUSE_POINT(inserted);
  if (!told) return;
  fresh->referenceAdd();  // the maker's stays in any case
  if (!isToldOf(fresh)) throw std::bad_alloc();
  fresh->count().fetch_sub(1, std::memory_order_release);
}

// With a reference, taken after comparing: while the bucket is locked all its objects have holders, and nothing that has
// to be given back may be the last.
DedupHandleBase* DedupHashTable::equalIn(Line& bucket, DedupHandleBase* fresh, std::uint32_t hash) const {
  for (Line* line = &bucket;;) {
    for (unsigned found = line->matching(Line::tagOf(hash)); found != 0; found &= found - 1) {
      const SlabRef ref = line->refs[static_cast<unsigned>(std::countr_zero(found))].load(std::memory_order_relaxed);
      if (handleOf(ref)->hash_ != hash || !handleOf(ref)->compare(fresh)) continue;
      handleOf(ref)->referenceAdd();
      return handleOf(ref);
    }
    const std::uint32_t more = line->more.load(std::memory_order_relaxed);
    if (more == 0) return nullptr;
    line = &more_[more];
  }
}

[[gnu::always_inline]] inline void DedupHashTable::put(Entry entry, DedupHandleBase* fresh,
                                                       std::uint32_t hash) noexcept {
  fresh->hash_ = hash;
  // Release: the whole object.
  fresh->owner_.store(number_, std::memory_order_release);
  entry.line->entryIs(entry.place, Line::tagOf(hash), handleRef(fresh));
  count(&Stripe::entered);
}

[[gnu::always_inline]] inline void DedupHashTable::count(Counter counter) const noexcept {
  const unsigned stripe = multiThreaded_ ? detail::thisThread().stripe : 0;
  std::atomic<std::uint64_t>& counted = stripes_[stripe].*counter;
  if (multiThreaded_ && stripe + 1 == detail::stripes) {
    counted.fetch_add(1, std::memory_order_relaxed);  // several threads'
  } else {
    counted.store(counted.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
}

std::uint64_t DedupHashTable::counted(Counter counter) const noexcept {
  std::uint64_t all = 0;
  for (unsigned i = 0; i < (multiThreaded_ ? detail::stripes : 1); ++i) {
    all += (stripes_[i].*counter).load(std::memory_order_relaxed);
  }
  return all;
}

void DedupHashTable::hit() const noexcept {
  if (countsHits()) count(&Stripe::hits);
}

void DedupHashTable::countsHitsIs(bool counts) noexcept {
  counts ? watched_.fetch_or(watchedHits, std::memory_order_relaxed)
         : watched_.fetch_and(static_cast<std::uint8_t>(~watchedHits), std::memory_order_relaxed);
}

std::size_t DedupHashTable::size() const noexcept {
  const std::uint64_t left = counted(&Stripe::left);
  return std::max(counted(&Stripe::entered), left) - left;
}

// ---- Growing

void DedupHashTable::grow() noexcept {
  if (++detail::thisThread().crowded % crowdedPerGrowth != 0) return;
  if (growing_.exchange(true, std::memory_order_acquire)) return;
  const std::size_t wanted = size() / objectsPerBucket;
  for (unsigned i = 0; i < splitsPerGrowth && buckets_.load(std::memory_order_relaxed) < wanted && split(); ++i) {
  }
  growing_.store(false, std::memory_order_release);
}

// Splits the bucket whose turn it is; false without memory.
bool DedupHashTable::split() noexcept {
  const std::uint32_t to = buckets_.load(std::memory_order_relaxed);
  if (!lines_.reach(to)) return false;
  Line& bucket = lines_[to - std::bit_floor(to)];
  for (detail::Backoff backoff; !lockIfFree(bucket);) backoff.pause();
  const bool divided = divide(bucket, to);
  // Release: the new bucket.
  if (divided) buckets_.store(to + 1, std::memory_order_release);
  unlock(bucket);
  return divided;
}

// Moves what belongs into the new bucket there, and closes the gaps.
bool DedupHashTable::divide(Line& bucket, std::uint32_t to) noexcept {
  const auto moves = [to](SlabRef ref) { return bucketOf(handleOf(ref)->hash_, to + 1) == to; };
  unsigned moved = 0;
  forEachIn(bucket, [&](Entry, SlabRef ref) { moved += moves(ref); });
  Line* last = &lines_[to];
  for (unsigned i = Line::entries; i < moved; i += Line::entries) {
    const std::uint32_t more = newLine();
    last->more.store(more, std::memory_order_release);
    if (more == 0) {
      freeLines(lines_[to].more.exchange(0, std::memory_order_relaxed));
      return false;
    }
    last = &more_[more];
  }
  Entry stays{&bucket, 0};
  Entry goes{&lines_[to], 0};
  forEachIn(bucket, [&](Entry, SlabRef ref) {
    Entry& entry = moves(ref) ? goes : stays;
    if (entry.place == Line::entries) entry = {&more_[entry.line->more.load(std::memory_order_relaxed)], 0};
    entry.line->entryIs(entry.place++, Line::tagOf(handleOf(ref)->hash_), ref);
  });
  for (; stays.place < Line::entries; ++stays.place) stays.line->entryIs(stays.place, Line::freeTag, 0);
  freeLines(stays.line->more.exchange(0, std::memory_order_release));
  return true;
}

// ---- Leaving

void DedupHashTable::prefetchBucketOf(const DedupHandleBase& handle) noexcept {
  const detail::Pin pin(Tyr::agentMultiThreaded());  // the table stays meanwhile, as in letGo()
  const DedupHashTable* const table = tableDirectory.at(handle.owner_.load(std::memory_order_acquire));
  if (table != nullptr) table->prefetchBucket(handle.hash_);
}

bool DedupHashTable::letGo(DedupHandleBase* handle) noexcept {
  DedupHashTable* table = nullptr;
  for (detail::Backoff backoff;; backoff.pause()) {
    KEEL_PAUSE_POINT(lastRead);
    // Until the object is out of its table or has turned out to be in none, the table is not destroyed to its end.
    const detail::Pin pin(Tyr::agentMultiThreaded());
    const std::uint16_t owner = handle->owner_.load(std::memory_order_acquire);
    if (owner == DedupHandleBase::ownerNone || owner == DedupHandleBase::ownerBarred) return stepDown(handle);
    if (owner == DedupHandleBase::ownerGone) return stepDownGone(handle);
    table = tableDirectory.at(owner);
    if (table == nullptr) continue;  // destroyed: the object is gone by now
    const Left left = table->leave(handle);
    if (left == Left::notHere) continue;
    if (left == Left::toBeTold) break;
    return left == Left::last;
  }
  KEEL_PAUSE_POINT(unlinked);
  table->tell();
  // Release: the table's destructor may go on.
  table->letters_.fetch_sub(1, std::memory_order_release);
  return false;
}

// An object that is held though it is in no table any more relies on the agent's setting, as a table does.
void DedupHashTable::isGone(DedupHandleBase* handle) noexcept {
  Tyr::detail::agentThreadingUsers.fetch_add(1, std::memory_order_relaxed);
  handle->owner_.store(DedupHandleBase::ownerGone, std::memory_order_release);
}

bool DedupHashTable::stepDownGone(const DedupHandleBase* handle) noexcept {
  const bool last = stepDown(handle);
  if (last) Tyr::detail::agentThreadingUsers.fetch_sub(1, std::memory_order_relaxed);
  return last;
}

// Acquire: whoever deletes must see all that the other holders wrote.
bool DedupHashTable::stepDown(const DedupHandleBase* handle) noexcept {
  const std::atomic_ref<std::uint32_t> count = handle->count();
  if (Tyr::agentMultiThreaded()) return count.fetch_sub(1, std::memory_order_acq_rel) == 1;
  count.store(count.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
  return count.load(std::memory_order_relaxed) == 0;
}

[[gnu::always_inline]] inline DedupHashTable::Left DedupHashTable::leave(DedupHandleBase* handle) noexcept {
  checkThread();
  Line& bucket = multiThreaded_ ? lock(handle->hash_) : lineOf(handle->hash_);
  Left left = Left::notHere;
  if (handle->owner_.load(std::memory_order_relaxed) == number_) left = leaveLocked(bucket, handle);
  unlock(bucket);
  return left;
}

[[gnu::always_inline]] inline DedupHashTable::Left DedupHashTable::leaveLocked(Line& bucket,
                                                                               DedupHandleBase* handle) noexcept {
  if (!stepDownToZero(handle)) return Left::heldElsewhere;
  remove(bucket, handle);
  const bool told = handle->news() != DedupHandleBase::newsNone || wanted(handle);
  if (!told) {
    handle->owner_.store(DedupHandleBase::ownerBarred, std::memory_order_release);
    return Left::last;
  }
  isGone(handle);
  // The queue's. Release: a reader that counts itself on it sees the owner.
  handle->count().store(1, std::memory_order_release);
  enqueue(handle);
  letters_.fetch_add(1, std::memory_order_relaxed);
  return Left::toBeTold;
}

// One to zero; or, found meanwhile, from more to one less. Acquire: whoever deletes must see all that the other holders
// wrote. Release: what this one wrote, to them.
[[gnu::always_inline]] inline bool DedupHashTable::stepDownToZero(const DedupHandleBase* handle) noexcept {
  const std::atomic_ref<std::uint32_t> count = handle->count();
  std::uint32_t before = 1;
  if (!Tyr::agentMultiThreaded()) {
    count.store(0, std::memory_order_relaxed);
    return true;
  }
  while (!count.compare_exchange_weak(before, before - 1, std::memory_order_acq_rel, std::memory_order_relaxed)) {
  }
  return before == 1;
}

[[gnu::always_inline]] inline void DedupHashTable::remove(Line& bucket, const DedupHandleBase* handle) noexcept {
  const SlabRef self = handleRef(handle);
  const std::uint8_t tag = Line::tagOf(handle->hash_);
  for (Line* line = &bucket;; line = &more_[line->more.load(std::memory_order_relaxed)]) {
    for (unsigned found = line->matching(tag); found != 0; found &= found - 1) {
      const auto place = static_cast<unsigned>(std::countr_zero(found));
      if (line->refs[place].load(std::memory_order_relaxed) != self) continue;
      line->entryIs(place, Line::freeTag, 0);
      return count(&Stripe::left);
    }
  }
}

// ---- Announcing

[[gnu::always_inline]] inline bool DedupHashTable::wanted(DedupHandleBase* handle) noexcept {
  DedupLifeTimeNotifiee* const asked = asked_.load(std::memory_order_acquire);
  return asked != nullptr && asked->wantsToHearOf(*handle);
}

void DedupHashTable::enqueue(DedupHandleBase* handle) noexcept {
  const detail::MaybeLock lock(queueMutex_);
  if (handle->news() == DedupHandleBase::newsComing && !handle->isDeduped()) {
    return handle->newsIs(DedupHandleBase::newsCameAndWent);  // it is in the queue, or being told of
  }
  const SlabRef ref = handleRef(handle);
  handle->next_ = 0;
  (queueFirst_ == 0 ? queueFirst_ : handleOf(queueLast_)->next_) = ref;
  queueLast_ = ref;
}

DedupHandleBase* DedupHashTable::dequeue() noexcept {
  const detail::MaybeLock lock(queueMutex_);
  if (queueFirst_ == 0) return nullptr;
  DedupHandleBase* const handle = handleOf(queueFirst_);
  queueFirst_ = std::exchange(handle->next_, 0);
  return handle;
}

bool DedupHashTable::queued() noexcept {
  const detail::MaybeLock lock(queueMutex_);
  return queueFirst_ != 0;
}

// Waits, outside of announcements, until the coming of the object was told. False, and the reference given back: it could
// not be told, so the object never came.
bool DedupHashTable::isToldOf(DedupHandleBase* handle) const noexcept {
  auto* const self = const_cast<DedupHashTable*>(this);
  self->tell();
  if (detail::thisThread().telling != 0) return true;
  for (detail::Backoff backoff; handle->news() == DedupHandleBase::newsComing; self->tell()) backoff.pause();
  if (holds(*handle)) return true;
  handle->referenceRelease();
  return false;
}

// The thread tells while there is one, which has the lock.
class DedupHashTable::Teller {
 public:
  explicit Teller(DedupHashTable& table) noexcept : table_(table) {
    table_.teller_.store(&me_, std::memory_order_relaxed);
    ++me_.telling;
  }
  Teller(const Teller&) = delete;
  Teller& operator=(const Teller&) = delete;
  ~Teller() {
    --me_.telling;
    table_.teller_.store(nullptr, std::memory_order_relaxed);
  }

 private:
  DedupHashTable& table_;
  detail::ThreadRecord& me_ = detail::thisThread();
};

// Whether this thread is telling. It has its record before it looks: one that it takes afterwards could be that of the
// thread that was telling when it looked, and has ended since.
bool DedupHashTable::announcesNow() const noexcept {
  const detail::ThreadRecord& me = detail::thisThread();
  return teller_.load(std::memory_order_relaxed) == &me;
}

void DedupHashTable::tell() noexcept {
  if (announcesNow()) return;  // told when the present event is over
  detail::ThreadRecord& me = detail::thisThread();
  do {
    std::unique_lock<std::mutex> lock(tellMutex_, std::defer_lock);
    if (multiThreaded_ && me.telling == 0) lock.lock();
    // Waiting inside of an announcement, threads could wait for each other; the one that tells looks again.
    if (multiThreaded_ && me.telling != 0 && !lock.try_lock()) return;
    const Teller teller(*this);
    while (DedupHandleBase* const handle = dequeue()) {
      tellOf(handle);
      KEEL_PAUSE_POINT(told);
    }
  } while (queued());
}

void DedupHashTable::tellOf(DedupHandleBase* handle) noexcept {
  const std::uint16_t news = handle->news();
  if ((news == DedupHandleBase::newsComing || news == DedupHandleBase::newsCameAndWent) && !tellComing(handle)) return;
  if (lifeTimeNotifiee_ != nullptr) lifeTimeNotifiee_->handleRemove(handle);
  handle->referenceRelease();
}

// Whether the object went meanwhile.
bool DedupHashTable::tellComing(DedupHandleBase* handle) noexcept {
  bool came = true;
  try {
    if (lifeTimeNotifiee_ != nullptr) lifeTimeNotifiee_->handleInsert(handle);
  } catch (...) {
    neverCame(handle);
    came = false;
  }
  const detail::MaybeLock lock(queueMutex_);
  const bool went = handle->news() == DedupHandleBase::newsCameAndWent;
  handle->newsIs(came && lifeTimeNotifiee_ != nullptr ? DedupHandleBase::newsTold : DedupHandleBase::newsNone);
  if (went && !came) handle->referenceRelease();
  return went && came;
}

void DedupHashTable::neverCame(DedupHandleBase* handle) noexcept {
  Line& bucket = lock(handle->hash_);
  if (holds(*handle)) {
    remove(bucket, handle);
    handle->owner_.store(DedupHandleBase::ownerNone, std::memory_order_release);
  }
  unlock(bucket);
}

// ---- The whole

// No bucket is split meanwhile, so none is met twice.
template <typename Visit>
void DedupHashTable::forEachBucket(Visit&& visit) const {
  for (detail::Backoff backoff; growing_.exchange(true, std::memory_order_acquire);) backoff.pause();
  const std::unique_ptr<std::atomic<bool>, void (*)(std::atomic<bool>*)> walking(
      &growing_, [](std::atomic<bool>* growing) { growing->store(false, std::memory_order_release); });
  for (std::uint32_t i = 0; i < buckets_.load(std::memory_order_relaxed); ++i) {
    Line& bucket = lines_[i];
    for (detail::Backoff backoff; !lockIfFree(bucket);) backoff.pause();
    const auto free = [this](Line* line) { unlock(*line); };
    const std::unique_ptr<Line, decltype(free)> locked(&bucket, free);
    visit(bucket);
  }
}

void DedupHashTable::forEachHandle(void (*visit)(void*, DedupHandleBase*), void* call) const {
  for (SlabRef ref = stopped_; ref != 0; ref = handleOf(ref)->next_) visit(call, handleOf(ref));
  forEachBucket([&](Line& bucket) { forEachIn(bucket, [&](Entry, SlabRef ref) { visit(call, handleOf(ref)); }); });
}

// All objects leave, kept for the notifiee if there is one.
void DedupHashTable::bar() noexcept {
  forEachBucket([this](Line& bucket) {
    forEachIn(bucket, [this](Entry entry, SlabRef ref) {
      DedupHandleBase* const handle = handleOf(ref);
      if (lifeTimeNotifiee_ != nullptr) {
        handle->referenceAdd();
        handle->next_ = std::exchange(stopped_, ref);
      }
      entry.line->entryIs(entry.place, Line::freeTag, 0);
      isGone(handle);
    });
  });
}

// Calls visit(handle) for each object under its bucket's lock; gives the most objects in one bucket.
template <typename Visit>
std::size_t DedupHashTable::longestChain(Visit&& visit) const {
  std::size_t longest = 0;
  forEachBucket([&](Line& bucket) {
    std::size_t objects = 0;
    forEachIn(bucket, [&](Entry, SlabRef ref) {
      ++objects;
      visit(*handleOf(ref));
    });
    longest = std::max(longest, objects);
  });
  return longest;
}

void DedupHashTable::dump(DumpContext& context, std::uint32_t indent) const {
  const std::size_t longest = longestChain([](const DedupHandleBase&) {});
  context.line(indent, "DedupHashTable " + name_ + (multiThreaded_ ? " multi-threaded" : " single-threaded") +
                           " objects #" + std::to_string(size()) + " buckets #" +
                           std::to_string(buckets_.load(std::memory_order_relaxed)) + " longest chain " +
                           std::to_string(longest));
}

DedupMetrics DedupHashTable::metrics() const {
  DedupMetrics metrics{};
  metrics.longestChain = longestChain([&](const DedupHandleBase& handle) {
    ++metrics.objects;
    metrics.objectOctets += handle.memoryOctets();
  });
  metrics.misses = counted(&Stripe::entered);
  if (countsHits()) metrics.hits = counted(&Stripe::hits);
  const detail::MaybeLock lock(linesMutex_);
  const std::uint64_t lines = std::uint64_t{buckets_.load(std::memory_order_relaxed)} + usedLines_ - 1;
  metrics.tableOctets = lines * sizeof(Line);
  return metrics;
}

// ---- Walking
//
// A bucket takes the hashes that end in certain bits, more of them the later it was split. Read from the last bit to the
// first, the hashes of a bucket lie beside each other, and a split halves that range; so a walk in this order is neither
// misled by what was split before its place nor by what is split behind it.

namespace {

std::uint32_t reversed(std::uint32_t bits) noexcept {
  bits = (bits >> 1 & 0x55555555u) | (bits & 0x55555555u) << 1;
  bits = (bits >> 2 & 0x33333333u) | (bits & 0x33333333u) << 2;
  bits = (bits >> 4 & 0x0f0f0f0fu) | (bits & 0x0f0f0f0fu) << 4;
  return __builtin_bswap32(bits);
}

// How many reversed hashes a bucket takes; its first is its own number, reversed.
std::uint32_t rangeOf(std::uint32_t bucket, std::uint32_t buckets) noexcept {
  const std::uint32_t half = std::bit_floor(buckets);
  const bool split = (bucket & (half - 1)) < buckets - half;
  return 0x80000000u / half << 1 >> (split ? 1 : 0);
}

}  // namespace

// Takes a reference on each object with such news of the bucket that begins at this place, and gives where the next one
// begins.
template <typename Which, typename Held>
std::uint32_t DedupHashTable::holdBucket(std::uint32_t place, Which&& which, Held& held) const {
  Line& bucket = lock(reversed(place));
  const auto free = [this](Line* line) { unlock(*line); };
  const std::unique_ptr<Line, decltype(free)> locked(&bucket, free);
  forEachIn(bucket, [&](Entry, SlabRef ref) {
    if (which(handleOf(ref)->news())) held.emplace_back(handleOf(ref));
  });
  const std::uint32_t buckets = buckets_.load(std::memory_order_relaxed);  // this one is not split meanwhile
  return place + rangeOf(bucketOf(reversed(place), buckets), buckets);
}

template <typename Which, typename Visit>
void DedupHashTable::walkHeld(Which&& which, Visit&& visit) const {
  checkThread();
  boost::container::small_vector<Tyr::Ptr<DedupHandleBase>, 2 * Line::entries> held;
  std::uint32_t place = 0;
  do {
    place = holdBucket(place, which, held);
    KEEL_PAUSE_POINT(walking);
    for (Tyr::Ptr<DedupHandleBase>& handle : held) {
      visit(handle.get());
      handle.reset();
    }
    held.clear();
  } while (place != 0);
}

void DedupHashTable::forEachHeldHandle(void (*visit)(void*, DedupHandleBase*), void* call) const {
  walkHeld([](std::uint16_t news) { return news != DedupHandleBase::newsComing; },
           [&](DedupHandleBase* handle) { visit(call, handle); });
}

// ---- A notifiee comes or goes

void DedupHashTable::lifeTimeNotifieeIs(Tyr::Ptr<DedupLifeTimeNotifiee> notifiee) {
  checkThread();
  TYR_ASSERT(!announcesNow());
  const detail::MaybeLock lock(notifieeMutex_);
  notifieeGoes();
  if (notifiee != nullptr) notifieeComes(std::move(notifiee));
}

// Whoever locks a bucket after the walk did finds the notifiee; what was put there before is met by the walk, held, and
// stays as it is till it was told.
void DedupHashTable::notifieeComes(Tyr::Ptr<DedupLifeTimeNotifiee> notifiee) {
  {
    const detail::MaybeLock lock(tellMutex_);
    lifeTimeNotifiee_ = notifiee;
  }
  asked_.store(notifiee.get(), std::memory_order_release);
  try {
    walkHeld([](std::uint16_t news) { return news == DedupHandleBase::newsNone; },
             [&](DedupHandleBase* handle) {
               const detail::MaybeLock lock(tellMutex_);
               const Teller teller(*this);
               notifiee->handleInsert(handle);
               const detail::MaybeLock queueLock(queueMutex_);
               handle->newsIs(DedupHandleBase::newsTold);
             });
  } catch (...) {
    notifieeGoes();
    throw;
  }
  tell();  // what the notifiee caused
}

// Once the walk has passed, nobody asks the notifiee any more, and no object joins the queue. What did so before, or comes
// while it is still asked, is taken from the queue with nobody to tell.
void DedupHashTable::notifieeGoes() noexcept {
  tell();
  Tyr::Ptr<DedupLifeTimeNotifiee> notifiee;
  {
    const detail::MaybeLock lock(tellMutex_);
    asked_.store(nullptr, std::memory_order_relaxed);
    notifiee.swap(lifeTimeNotifiee_);
    if (notifiee == nullptr) return;
    const Teller teller(*this);
    notifiee->handleNotificationStop(this);
  }
  forEachBucket([this](Line& bucket) {
    forEachIn(bucket, [this](Entry, SlabRef ref) {
      const detail::MaybeLock lock(queueMutex_);
      if (handleOf(ref)->news() == DedupHandleBase::newsTold) handleOf(ref)->newsIs(DedupHandleBase::newsNone);
    });
  });
  tell();
}

}  // namespace Keel
