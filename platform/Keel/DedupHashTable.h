// DedupHashTable: the interning table. It keeps one object for each distinct content and hands out counted pointers.
//
//   auto interned = table.findOrDedup<Thing>(hash, [&](const Thing& thing) { return ...equal content...; },
//                                            [&] { return Tyr::make<Thing>(content); });
//
// or, with the two steps apart,
//
//   auto* found = table.find(hash, [&](const DedupHandleBase& object) { return ...equal content...; });
//   if (found == nullptr) found = table.dedup(freshObject);      // fresh, or the equal one that is there by now
//
// One class, two variants, chosen from the agent-wide setting (Tyr/Threading.h) when the table is made:
//
//   single-threaded  no lock and no atomic read-modify-write. Every operation, and every copy and release of a pointer
//                    to an object of the table, is to come from the thread that made the table. A miss, an insert or a
//                    last release on another thread stops the process with a sentence, in every build; a hit does so in
//                    builds of the library without NDEBUG alone.
//   multi-threaded   any thread. A lookup that finds its object takes no lock and writes nothing but the object's count
//                    (and its thread's own pin); inserts and removals lock one bucket.
//
// Layout: a bucket is a line of 64 octets, with the tags and references of eleven objects beside each other, so that a
// miss, an insert and a removal look at no other object; a full bucket goes on in further lines. There are as many
// buckets as objects / 7 (about 10 octets an object). The table grows by splitting one bucket after the other, the n-th
// into itself and a new last one, sixteen at most in one insert; no insert ever moves the whole.
//
// ---- The counting protocol -----------------------------------------------------------------------------------------
//
// What the words are, and who writes them:
//
//   count     of an object: 0 while it is made and from the moment that it is on its way out, else its references. A
//             freed slot keeps a zero there. Nobody steps it up from zero but the maker.
//   owner     none, then the table's number, then barred, or gone if somebody still holds it. Written under the bucket's
//             lock.
//   version   of a bucket: odd while locked; two more after each change. entries: reference and tag (0: free), written
//             under the lock.
//   buckets   how many buckets there are; stepped up by whoever grows the table, under the lock of the bucket that is
//             split.
//
// The life of an object, in the multi-threaded variant:
//
//   made      count 0, owner none; then its maker's one reference. A thread that looked at the slot when it held another
//             object may take and give back a reference meanwhile; it never looks further than the owner.
//   lookup    takes no lock. Pins its thread (Keel/ThreadRecord.h), so that no chunk of slots changes its size meanwhile.
//             version: acquire. Each entry: acquire, so that the second look at the version is not done before it. If
//             the tag fits: count by compare-and-swap from n >= 1 to n + 1, acquire: the slot holds an object, whole at
//             least up to the owner (release in the constructor), and it will stay. Then the owner, acquire: ours, so
//             the object is whole and in the table, and it was there at the moment of the swap, since who takes it out
//             steps the count to zero first. Not ours: the slot is another's by now, and the reference goes back as any.
//             Nothing found: the answer counts if the version was even, is the same still, and the bucket is still the
//             hash's (a split moves entries and says so in `buckets` before it unlocks). Otherwise once more.
//   insert    locks the bucket (version by compare-and-swap to odd, acquire), writes hash, owner (release: the object is
//             whole), then the entry (release: before the version), unlocks (release). Where a lookup before it has left
//             the version under which it found nothing, and the swap is from that one, nothing came meanwhile and the
//             bucket is the hash's still; otherwise it looks once more. Of two threads that insert equal objects the
//             second gets the first's, and its own was never announced.
//   copied    n to n + 1, relaxed: the copier's own reference keeps the object alive.
//   released  n to n - 1 while n > 1, by compare-and-swap, release, so that the last holder sees what the others did.
//   last one  who reads one pins itself, reads the owner, locks the bucket, and looks at the owner again. Then one to
//             zero by compare-and-swap (acquire: the others' work; release). If that fails somebody found the object
//             meanwhile, and we step down as any holder. From zero nobody takes it: the entry is cleared, the owner
//             barred, the bucket unlocked, the object deleted. So under the lock every entry is an object with holders.
//
// The single-threaded variant does the same with plain loads and stores, and neither pins nor locks; it steps versions,
// for what a lookup left may be old there too: making an object may intern others.
//
// ---- Announcements (DedupLifeTimeNotifiee) -------------------------------------------------------------------------
//
// Entering and leaving are told one at a time, in the order in which they happened to a value, outside of all locks of
// buckets. Under the bucket's lock, where the order is decided, the table asks the notifiee whether it wants to hear of
// the object; if not, no lock is taken and nothing is told. If so the object joins the table's queue, and the thread
// tells what the queue holds, the news of other threads included, or waits for the thread that does. A lookup that finds
// an object whose coming is not told yet waits as well: whoever has an object from a table knows that it was announced.
//
// The state of an object's news is in two bits of its user data, written under the queue's lock:
//
//   none -> coming -> told            joined the queue (or is being told of) -> was told
//           coming -> came and went   left before it was told: both are told one after the other
//   An object that leaves while none or told joins the queue for its leaving. The queue holds a reference on what has
//   left, so that "leaves" is told before it is deleted, and an observer may keep it: a whole object that is in no table.
//
// An observer may intern, look up and let go in any table, the announcing one included. What it causes there is told
// after the event that it hears now, in the order in which it was caused, at the latest when the outermost operation of
// the thread that is telling returns. An observer never waits for another thread: it may see objects whose coming is not
// told yet. It must not destroy the table that announces; that stops the process.
//
// A notifiee that comes to a table in use is told of each object that is there, by its own thread, which holds the object
// meanwhile: the object stays none until it was told. What comes from then on joins the queue, and what leaves while none
// was never told of, so its leaving is not told either. Whoever inserts waits for one such object at most. A notifiee that
// goes is told to stop, then all objects become none, bucket by bucket; what is queued by then is told to nobody.
//
// A notifiee that throws from handleInsert (no memory) makes dedup() throw, and the object was never in the table but
// for observers that looked it up; from the others it must not throw. (dedup() called by an observer may return an object
// that leaves the table so a little later.)
//
// ---- The end of a table ---------------------------------------------------------------------------------------------
//
// No thread may look up or insert any more, but other threads may be letting go: the destructor makes all objects gone,
// bucket by bucket, so that who lets go one of them later finds it in no table; tells what is queued; tells the notifiee
// to stop; takes its number out of the directory; and waits until no thread that read the number from an object can still
// be using it. Objects that outlive their table stay valid and are deleted by their last pointer; while there are any, the
// agent's threading setting stays as it is (Tyr/Threading.h).
//
// A child of fork() may use tables and objects only if no other thread of its parent did (Keel/ThreadRecord.h).
// ---------------------------------------------------------------------------------------------------------------------
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Keel/DedupHandleBase.h"
#include "Keel/DumpContext.h"
#include "Keel/PausePoint.h"
#include "Keel/ThreadRecord.h"
#include "Tyr/Assert.h"
#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"
#include "Tyr/Threading.h"

namespace Keel {

class DedupHashTable;

// Hears of every object that enters and leaves a table, in the table's order. See "Announcements" above for what it may
// do.
class VELBGP_EXPORT DedupLifeTimeNotifiee : public Tyr::PtrInterface {
 public:
  // After the object is in the table.
  virtual void handleInsert(DedupHandleBase* handle) = 0;
  // After the object left the table, before it is deleted.
  virtual void handleRemove(DedupHandleBase* rawHandle) = 0;
  // The table is being destroyed (or the notifiee replaced): forget everything of it. Its objects are in no table any
  // more, and can be visited once more (forEach).
  virtual void handleNotificationStop(DedupHashTable* table) = 0;
  // Asked under the bucket's lock before the object comes, and before it leaves unless its coming was told; not of those
  // that are there when the notifiee comes. Must not call the table. By default true of what comes.
  virtual bool wantsToHearOf(DedupHandleBase& handle) noexcept;

 protected:
  ~DedupLifeTimeNotifiee() override;
};

// A counted object that stands for one interned object's stay in a table, without keeping it there. Lives in
// blockHeap(): there may be one for each interned object.
class VELBGP_EXPORT DedupHandleLifeTimeNotifier : public Tyr::PtrInterface {
 public:
  static void* operator new(std::size_t octets) { return blockHeap().allocate(octets); }
  static void operator delete(void* notifier) noexcept { SlabHeap::release(notifier); }

  explicit DedupHandleLifeTimeNotifier(DedupHandleBase* dedupedObject) noexcept : dedupedObject_(dedupedObject) {}
  // Valid from the object's insert notification to the end of its remove notification.
  DedupHandleBase* getDedupedObjectRawPtr() const noexcept { return dedupedObject_; }

 protected:
  ~DedupHandleLifeTimeNotifier() override;

 private:
  DedupHandleBase* dedupedObject_;
};

namespace detail {

// Starts loading a line that is about to be written: another thread's comes over once, not first to be read and then to
// be written.
inline void prefetchToWrite(const void* line) noexcept {
#ifdef __x86_64__
  asm volatile("prefetchw %0" : : "m"(*static_cast<const char*>(line)));  // a no-operation where it is not known
#else
  __builtin_prefetch(line, 1);
#endif
}

// A line of a bucket: entries of a reference and of the eight highest bits of a hash, its tag.
struct alignas(64) DedupLine {
  static constexpr unsigned entries = 11;
  static constexpr std::uint8_t freeTag = 0;
  // One in 255 other objects has the same.
  static std::uint8_t tagOf(std::uint32_t hash) noexcept {
    const auto tag = static_cast<std::uint8_t>(hash >> 24);
    return tag == freeTag ? std::uint8_t{1} : tag;
  }

  // Which entries have this tag, as bits. Acquire: see "lookup". Where the processor has SSE2 it is one load of 16 octets,
  // of which each is read whole: the version before the tags, and one behind them.
  unsigned matching(std::uint8_t tag) const noexcept {
#if defined(__SSE2__) && !defined(KEEL_THREAD_SANITIZER)
    using Octets [[gnu::vector_size(16), gnu::may_alias]] = char;  // <emmintrin.h> would cost every includer 15 ms
    const Octets all = *reinterpret_cast<const Octets*>(this);
    std::atomic_signal_fence(std::memory_order_acquire);
    const int found = __builtin_ia32_pmovmskb128(all == static_cast<char>(tag));
    return static_cast<unsigned>(found) >> sizeof version & ((1u << entries) - 1);
#else
    unsigned found = 0;
#pragma GCC unroll 11
    for (unsigned i = 0; i < entries; ++i) {
      found |= static_cast<unsigned>(tags[i].load(std::memory_order_acquire) == tag) << i;
    }
    return found;
#endif
  }
  // Release: the odd version before it, and the object before its reference.
  void entryIs(unsigned place, std::uint8_t tag, SlabRef ref) noexcept {
    refs[place].store(ref, std::memory_order_release);
    tags[place].store(tag, std::memory_order_release);
  }

  std::atomic<std::uint32_t> version;  // of the bucket, in its first line
  std::array<std::atomic<std::uint8_t>, entries> tags;
  std::array<std::atomic<SlabRef>, entries> refs;
  std::atomic<std::uint32_t> more;  // the number of the bucket's next line, 0: none
};
static_assert(sizeof(DedupLine) == 64);

// Lines by number, which never move: pieces of 16, 16, 32, 64, ... lines, zeroed by the system as they are touched.
class VELBGP_EXPORT DedupLines {
 public:
  DedupLines() noexcept = default;
  DedupLines(const DedupLines&) = delete;
  DedupLines& operator=(const DedupLines&) = delete;
  ~DedupLines();

  DedupLine& operator[](std::uint32_t number) const noexcept {
    return *reinterpret_cast<DedupLine*>(pieces_[pieceOf(number)] + std::uintptr_t{number} * sizeof(DedupLine));
  }
  // Makes sure that there is a line of this number, which is at most one past the last. False without memory.
  bool reach(std::uint32_t number) noexcept;

 private:
  static constexpr std::uint32_t first = 16;
  static std::size_t linesIn(unsigned piece) noexcept { return std::size_t{first} << (piece == 0 ? 0 : piece - 1); }
  static std::size_t firstOf(unsigned piece) noexcept { return piece == 0 ? 0 : linesIn(piece); }
  static unsigned pieceOf(std::uint32_t number) noexcept {
    return static_cast<unsigned>(std::bit_width(number | (first - 1))) - 4;
  }

  // Where line 0 of each would lie. Written before `buckets` or a line's `more` names a line of it.
  std::array<std::uintptr_t, 29> pieces_{};
};

}  // namespace detail

// What a caller was handed as its table's address. A null one stops the process.
template <typename Table>
const Table& tableAt(const Table* table) {
  TYR_ASSERT_ADVICE(table != nullptr,
                    "a table is null: make it before anything is interned in it, and pass its address");
  return *table;
}

// How a table is doing.
struct DedupMetrics {
  std::uint64_t objects;              // that are there now
  std::uint64_t misses;               // objects that were made and entered, since there is the table
  std::optional<std::uint64_t> hits;  // lookups that found their object, while they were counted (countsHitsIs)
  std::uint64_t objectOctets;         // of the objects that are there, with what they own (memoryOctets)
  std::uint64_t tableOctets;          // of the lines in use
  std::size_t longestChain;           // the most objects in one bucket
};

class VELBGP_EXPORT DedupHashTable : public Tyr::PtrInterface {
 public:
  // `name` shows in dumps. Throws std::length_error when 65,533 tables are alive.
  explicit DedupHashTable(std::string name);

  // The object with this hash for which matches(object) is true, with a reference taken for the caller, or null.
  // `matches` is called with objects of this table only, and must not call the table.
  template <typename Matches>
  DedupHandleBase* find(std::uint32_t hash, Matches&& matches) const {
    Sought sought;
    return find(hash, matches, sought);
  }

  // find() through the content's and the objects' virtual operations.
  DedupHandleBase* lookupByContent(const DedupContentHandle& content, std::uint32_t hash) const;

  // Inserts `fresh` (never deduped) unless an equal object is there, and returns the one that is in the table now, with
  // a reference taken for the caller. A fresh object that lost stays the caller's to drop. Throws std::bad_alloc.
  DedupHandleBase* dedup(DedupHandleBase* fresh) { return dedup(fresh, fresh->hash()); }
  // Under a hash of the caller's, mostly one that it knows fresh->hash() to give: equal objects must come with equal
  // ones.
  DedupHandleBase* dedup(DedupHandleBase* fresh, std::uint32_t hash);

  // The object of class T with this hash for which matches(const T&) is true. When there is none, the one that make()
  // gives as a Tyr::Ptr<T> is interned with this hash. Never null. All objects of the table are
  // Ts. Passes on what make() and dedup() throw.
  template <typename T, typename Matches, typename Make>
  Tyr::Ptr<const T> findOrDedup(std::uint32_t hash, Matches&& matches, Make&& make) {
    auto matchesHandle = [&matches](const DedupHandleBase& object) { return matches(static_cast<const T&>(object)); };
    Sought sought;
    if (DedupHandleBase* found = find(hash, matchesHandle, sought)) {
      return Tyr::Ptr<const T>(static_cast<const T*>(found), false);  // with the reference that find() took
    }
    return dedupMade<T>(hash, make, sought);
  }

  // Two steps of a lookup that is to come: start loading the bucket; then, once that has arrived, the object. False: the
  // lookup will probably find none.
  void prefetchBucket(std::uint32_t hash) const noexcept { __builtin_prefetch(&lineOf(hash)); }
  bool prefetchEntry(std::uint32_t hash) const noexcept {
    const detail::DedupLine& line = lineOf(hash);
    const unsigned found = line.matching(detail::DedupLine::tagOf(hash));
    if (found != 0) __builtin_prefetch(SlabHeap::at(line.refs[static_cast<unsigned>(std::countr_zero(found))]));
    return found != 0;
  }

  // For a holder of the object: starts loading the bucket that it leaves if this is the last reference.
  static void prefetchLeaving(const DedupHandleBase& handle) noexcept {
    if (handle.referenceCount() == 1) prefetchBucketOf(handle);
  }

  // In place of another one, which is told to stop, or of none; null for none. Tells it of all objects that are there and
  // returns once that is done. At any time, also beside threads that intern, but not from an observer; the destructor
  // tells the notifiee to stop. What handleInsert throws leaves the table without one.
  void lifeTimeNotifieeIs(Tyr::Ptr<DedupLifeTimeNotifiee> notifiee);

  // Whether the object is in this table, not in another or none. For a holder of the object.
  bool holds(const DedupHandleBase& handle) const noexcept {
    return handle.owner_.load(std::memory_order_relaxed) == number_;
  }

  // Calls visit(handle) for each object, once. Objects that come and go meanwhile may be visited or not. visit() runs
  // under the bucket's lock: it may take a pointer, but call no table; only from handleNotificationStop, when the objects
  // are in no table any more, it may do anything.
  template <typename Visit>
  void forEach(Visit&& visit) const {
    using Reference = std::remove_reference_t<Visit>;
    forEachHandle([](void* call, DedupHandleBase* handle) { (*static_cast<Reference*>(call))(handle); },
                  const_cast<void*>(static_cast<const void*>(&visit)));
  }
  // The same without a lock: the table holds a reference on the object during visit(), which may intern, look up and let
  // go in any table, be slow, or throw, which ends the walk. An object that is there during the whole walk is visited
  // once, whatever others intern and however the table grows meanwhile; one whose coming is not told yet is passed over.
  // The table is to outlive the walk.
  template <typename Visit>
  void forEachHeld(Visit&& visit) const {
    using Reference = std::remove_reference_t<Visit>;
    forEachHeldHandle([](void* call, DedupHandleBase* handle) { (*static_cast<Reference*>(call))(handle); },
                      const_cast<void*>(static_cast<const void*>(&visit)));
  }

  // Objects in the table now; while other threads intern, about now.
  std::size_t size() const noexcept;
  // Looks at all objects, bucket by bucket under the bucket's lock: some ten nanoseconds for each. While other threads
  // intern, the numbers are about now.
  DedupMetrics metrics() const;
  // Whether lookups that find their object are counted, in a line of memory of their thread's own. By default they are
  // not: a hit then writes no counter. May be switched at any time.
  void countsHitsIs(bool counts) noexcept;
  bool countsHits() const noexcept { return (watched_.load(std::memory_order_relaxed) & watchedHits) != 0; }
  bool multiThreaded() const noexcept { return multiThreaded_; }
  const std::string& name() const noexcept { return name_; }

  // The table's number among those that are alive; it is given out again when 65,533 further tables were made.
  std::uint16_t number() const noexcept { return number_; }
  // Whether there is a table of this number.
  static bool isAlive(std::uint16_t number) noexcept;

  // One line: name, variant, objects, buckets, and the most objects in one bucket.
  void dump(DumpContext& context, std::uint32_t indent) const;

 protected:
  ~DedupHashTable() override;

 private:
  friend class DedupHandleBase;
  using Line = detail::DedupLine;

  // Called by the holder of what it read as the last reference. True: the object is the caller's alone, to delete.
  static bool letGo(DedupHandleBase* handle) noexcept;
  static bool stepDown(const DedupHandleBase* handle) noexcept;
  static bool stepDownGone(const DedupHandleBase* handle) noexcept;
  static void isGone(DedupHandleBase* handle) noexcept;
  static void prefetchBucketOf(const DedupHandleBase& handle) noexcept;

  static std::uint32_t bucketOf(std::uint32_t hash, std::uint32_t buckets) noexcept {
    const std::uint32_t mask = ~std::uint32_t{0} >> std::countl_zero(buckets);
    const std::uint32_t bucket = hash & mask;
    return bucket < buckets ? bucket : bucket & mask >> 1;
  }
  // Acquire: the pieces that the buckets lie in, and what was moved into a new one.
  Line& lineOf(std::uint32_t hash) const noexcept {
    return lines_[bucketOf(hash, buckets_.load(std::memory_order_acquire))];
  }

  // Where a lookup found nothing, and the version of the bucket at that moment.
  struct Sought {
    Line* bucket = nullptr;
    std::uint32_t version = 0;
  };

  template <typename Matches>
  DedupHandleBase* find(std::uint32_t hash, Matches& matches, Sought& sought) const {
    if (watched_.load(std::memory_order_relaxed) != 0) [[unlikely]]
      return findWatched(hash, matches, sought);
    return findUnwatched(hash, matches, sought);
  }
  template <typename Matches>
  [[gnu::noinline]] DedupHandleBase* findWatched(std::uint32_t hash, Matches& matches, Sought& sought) const {
    checkThread();
    DedupHandleBase* const found = findUnwatched(hash, matches, sought);
    if (found != nullptr) hit();
    return found;
  }
  template <typename Matches>
  DedupHandleBase* findUnwatched(std::uint32_t hash, Matches& matches, Sought& sought) const {
    if (multiThreaded_) return findShared(hash, matches, sought);
    Line& bucket = lineOf(hash);
    sought = {&bucket, bucket.version.load(std::memory_order_relaxed)};
    return findIn<false>(bucket, hash, matches);
  }
  template <bool shared, typename Matches>
  DedupHandleBase* findIn(const Line& bucket, std::uint32_t hash, Matches& matches) const {
    const std::uint8_t tag = Line::tagOf(hash);
    for (const Line* line = &bucket;;) {
      for (unsigned found = line->matching(tag); found != 0; found &= found - 1) {
        const SlabRef ref = line->refs[static_cast<unsigned>(std::countr_zero(found))].load(std::memory_order_acquire);
        if (ref == 0) continue;
        auto* const handle = static_cast<DedupHandleBase*>(SlabHeap::at(ref));
        if (shared ? !isReferenced(handle, hash) : handle->hash_ != hash) continue;
        if (matches(static_cast<const DedupHandleBase&>(*handle))) {
          if (!shared) handle->referenceAdd();
          return handle;
        }
        if (shared) handle->referenceRelease();
      }
      const std::uint32_t more = line->more.load(std::memory_order_acquire);
      if (more == 0) [[likely]]
        return nullptr;
      line = &more_[more];
    }
  }
  template <typename Matches>
  DedupHandleBase* findShared(std::uint32_t hash, Matches& matches, Sought& sought) const {
    for (detail::Backoff backoff;; backoff.pause()) {
      DedupHandleBase* handle = nullptr;
      if (!isFound(hash, matches, handle, sought)) continue;
      if (handle == nullptr || handle->news() != DedupHandleBase::newsComing || isToldOf(handle)) return handle;
    }
  }
  // False: ask again.
  template <typename Matches>
  bool isFound(std::uint32_t hash, Matches& matches, DedupHandleBase*& handle, Sought& sought) const {
    const detail::Pin pin;
    const std::uint32_t buckets = buckets_.load(std::memory_order_acquire);
    Line& bucket = lines_[bucketOf(hash, buckets)];
    sought = {&bucket, bucket.version.load(std::memory_order_acquire)};
    handle = findIn<true>(bucket, hash, matches);
    if (handle != nullptr) return true;
    return sought.version % 2 == 0 && bucket.version.load(std::memory_order_relaxed) == sought.version &&
           (buckets_.load(std::memory_order_relaxed) == buckets || &lineOf(hash) == &bucket);
  }
  // Whether the object of an entry with this hash is still there; then with a reference taken.
  bool isReferenced(DedupHandleBase* handle, std::uint32_t hash) const noexcept {
    KEEL_PAUSE_POINT(found);
    const std::atomic_ref<std::uint32_t> count = DedupHandleBase::countIn(handle);
    std::uint32_t before = count.load(std::memory_order_relaxed);
    do {
      if (before == 0) return false;
    } while (!count.compare_exchange_weak(before, before + 1, std::memory_order_acquire, std::memory_order_relaxed));
    KEEL_PAUSE_POINT(counted);
    if (handle->owner_.load(std::memory_order_acquire) == number_ && handle->hash_ == hash) return true;
    handle->referenceRelease();
    return false;
  }
  bool isToldOf(DedupHandleBase* handle) const noexcept;

  // Out of line, so that a hit of findOrDedup() pays nothing for the miss.
  template <typename T, typename Make>
  [[gnu::noinline]] Tyr::Ptr<const T> dedupMade(std::uint32_t hash, Make& make, Sought sought) {
    // Before anything is made: the heap that it is made in would be another thread's too.
    multiThreaded_ ? detail::prefetchToWrite(sought.bucket) : checkThread();
    Tyr::Ptr<T> fresh = make();
    KEEL_PAUSE_POINT(missed);
    DedupHandleBase* const dedupHandle = dedupOwned(fresh.get(), hash, sought);
    TYR_ASSERT(dedupHandle);
    if (dedupHandle == fresh.get()) fresh.detach();
    return Tyr::Ptr<const T>(static_cast<const T*>(dedupHandle), false);
  }
  // dedup() that takes over the caller's reference to `fresh` if that is what it returns.
  DedupHandleBase* dedupOwned(DedupHandleBase* fresh, std::uint32_t hash, Sought sought);

  Line& lock(std::uint32_t hash) const noexcept;
  bool lockFrom(Line& bucket, std::uint32_t version) const noexcept;
  bool lockIfFree(Line& bucket) const noexcept;
  void unlock(Line& bucket) const noexcept;
  struct Entry {
    Line* line;
    unsigned place;
  };
  DedupHandleBase* equalIn(Line& bucket, DedupHandleBase* fresh, std::uint32_t hash) const;
  void insert(Line& bucket, DedupHandleBase* fresh, std::uint32_t hash);
  Entry freeEntry(Line& bucket) noexcept;
  Entry freeEntryBehind(Line& bucket) noexcept;
  std::uint32_t newLine() noexcept;
  void freeLines(std::uint32_t first) noexcept;
  void put(Entry entry, DedupHandleBase* fresh, std::uint32_t hash) noexcept;
  enum class Left : std::uint8_t { notHere, heldElsewhere, last, toBeTold };
  Left leave(DedupHandleBase* handle) noexcept;
  Left leaveLocked(Line& bucket, DedupHandleBase* handle) noexcept;
  static bool stepDownToZero(const DedupHandleBase* handle) noexcept;
  void remove(Line& bucket, const DedupHandleBase* handle) noexcept;
  // What one thread counts; the sum over all counts for the table.
  struct alignas(64) Stripe {
    std::atomic<std::uint64_t> entered{0};
    std::atomic<std::uint64_t> left{0};
    std::atomic<std::uint64_t> hits{0};
  };
  using Counter = std::atomic<std::uint64_t> Stripe::*;
  void count(Counter counter) const noexcept;
  std::uint64_t counted(Counter counter) const noexcept;
  void hit() const noexcept;
  void grow() noexcept;
  bool split() noexcept;
  bool divide(Line& bucket, std::uint32_t to) noexcept;
  template <typename Visit>
  void forEachIn(Line& bucket, Visit&& visit) const;
  template <typename Visit>
  void forEachBucket(Visit&& visit) const;
  template <typename Visit>
  std::size_t longestChain(Visit&& visit) const;
  void forEachHandle(void (*visit)(void*, DedupHandleBase*), void* call) const;
  void forEachHeldHandle(void (*visit)(void*, DedupHandleBase*), void* call) const;
  template <typename Which, typename Visit>
  void walkHeld(Which&& which, Visit&& visit) const;
  template <typename Which, typename Held>
  std::uint32_t holdBucket(std::uint32_t place, Which&& which, Held& held) const;
  void bar() noexcept;

  bool wanted(DedupHandleBase* handle) noexcept;
  void enqueue(DedupHandleBase* handle) noexcept;
  DedupHandleBase* dequeue() noexcept;
  bool queued() noexcept;
  bool announcesNow() const noexcept;
  void tell() noexcept;
  void tellOf(DedupHandleBase* handle) noexcept;
  bool tellComing(DedupHandleBase* handle) noexcept;
  void neverCame(DedupHandleBase* handle) noexcept;
  class Teller;
  void notifieeComes(Tyr::Ptr<DedupLifeTimeNotifiee> notifiee);
  void notifieeGoes() noexcept;

  void checkThread() const {
    if (!multiThreaded_ && detail::threadRecord != ownerRecord_) [[unlikely]]
      checkThreadItself();
  }
  void checkThreadItself() const;

  const std::string name_;
  const Tyr::AgentThreadingUse threadingUse_;
  const bool multiThreaded_;
  // What a lookup does besides; the library decides about the thread, not the user's build.
  static constexpr std::uint8_t watchedThread = 1;
  static constexpr std::uint8_t watchedHits = 2;
  std::atomic<std::uint8_t> watched_;
  std::uint16_t number_ = 0;
  const detail::ThreadRecord* const ownerRecord_;  // of a single-threaded table's thread
  const pthread_t ownerThread_;
  std::atomic<std::uint32_t> buckets_{0};
  detail::DedupLines lines_;  // the buckets' first lines
  detail::DedupLines more_;   // and what they go on in
  const std::unique_ptr<Stripe[]> stripes_;
  Tyr::Ptr<DedupLifeTimeNotifiee> lifeTimeNotifiee_;    // changed by who tells
  std::atomic<DedupLifeTimeNotifiee*> asked_{nullptr};  // the same, for those who hold a bucket
  std::mutex notifieeMutex_;                            // one comes or goes at a time

  mutable std::atomic<bool> growing_{false};  // or being walked through
  mutable std::mutex linesMutex_;
  std::uint32_t spareLine_ = 0;  // lines that no bucket uses, linked; under the mutex
  std::uint32_t usedLines_ = 1;  // line 0 is "none"

  std::mutex queueMutex_;
  SlabRef queueFirst_ = 0;
  SlabRef queueLast_ = 0;
  std::mutex tellMutex_;
  std::atomic<const detail::ThreadRecord*> teller_{nullptr};  // who is telling
  std::atomic<std::uint32_t> letters_{0};                     // threads that let an object go and are still to tell it
  SlabRef stopped_ = 0;                                       // what was left when the table was destroyed, linked
};

}  // namespace Keel
