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
//   single-threaded  one bucket array, no lock. Every operation, and every copy and release of a pointer to an object
//                    of the table, is to come from the thread that made the table. Builds of the library without NDEBUG
//                    assert it of every lookup, insert and last release.
//   multi-threaded   64 shards by the top bits of the hash, each a bucket array under a mutex. Any thread.
//
// Cost: 4 octets per bucket (load at most 1) and nothing per object beyond DedupHandleBase. Growth is spread over the
// inserts that follow it, so no single insert pays for a rehash.
//
// ---- The counting protocol -----------------------------------------------------------------------------------------
//
// An object's word of state is its count; its owner (never deduped, a table's number, barred) changes twice at most.
//
//   made        count 0, owner none. Known to its maker alone: no lock, no ordering.
//   inserted    under the shard's lock: looked up once more, linked, owner set, one reference taken for the caller,
//               then announced. Nobody sees it before; of two threads that insert equal objects the second gets the first's,
//               and drops its own, which was never announced.
//   found       under the shard's lock the count goes from n to n + 1, n >= 1.
//   copied      n to n + 1 without a lock, relaxed: the copier's own reference keeps the object alive.
//   released    n to n - 1 without a lock while n > 1, by compare-and-swap with release order, so that the last holder
//               sees what the others did.
//   last one    who reads one takes the shard's lock and reads again. Still one (acquire): the reference is ours and no
//               lookup can add to it while we hold the lock. We unlink the object, bar it from tables and announce that
//               it left, all with the count at one; unlock; then step to zero and delete. More than one: it was found
//               meanwhile, and we step down as any other holder.
//
// So a lookup never meets an object without holders, nothing is revived, and the count of an object in a table is never
// zero. An observer that keeps a pointer to a leaving object (count two when we step down) keeps a whole object that is
// in no table; the last pointer deletes it.
//
// Announcements (DedupLifeTimeNotifiee) run on the interning or releasing thread under the shard's lock and, inside it,
// one lock of the table, because observers' collections have none. For one content the announcements of leaving and of
// coming back cannot cross. An observer must not intern into, look up in or let go the last reference of an object of
// the same table from within; other tables are free, as long as no two tables' observers call into each other. Members
// of an object are released by its destructor, after unlocking: locks of tables never nest by themselves.
//
// A notifiee that throws from handleInsert (no memory) makes dedup() throw, and the object was never in the table; from
// the others it must not throw.
//
// Objects that outlive their table: its destructor tells the notifiee to stop, unlinks and bars what is left. Those
// objects stay valid and are deleted by their last pointer. No thread may use the table or release its objects
// meanwhile.
//
// The single-threaded variant takes no lock and steps counts by load and store; everything else, the order of
// unlinking, announcing and deleting included, is the same.
// ---------------------------------------------------------------------------------------------------------------------
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "Keel/DedupHandleBase.h"
#include "Keel/DumpContext.h"
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
  // The table is being destroyed (or the notifiee replaced): forget everything of it.
  virtual void handleNotificationStop(DedupHashTable* table) = 0;

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

class VELBGP_EXPORT DedupHashTable : public Tyr::PtrInterface {
 public:
  // `name` shows in dumps. Throws std::length_error when 65,534 tables are alive.
  explicit DedupHashTable(std::string name);

  // The object with this hash for which matches(object) is true, with a reference taken for the caller, or null.
  // `matches` is called with objects of this table only, under the shard's lock, and must not call the table.
  template <typename Matches>
  DedupHandleBase* find(std::uint32_t hash, Matches&& matches) const {
    checkThread();
    Shard& shard = shardOf(hash);
    if (!multiThreaded_) return findIn(shard, hash, matches);
    const std::lock_guard lock(shard.mutex);
    return findIn(shard, hash, matches);
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
    if (DedupHandleBase* found = find(hash, matchesHandle)) {
      return Tyr::Ptr<const T>(static_cast<const T*>(found), false);  // with the reference that find() took
    }
    return dedupMade<T>(hash, make);
  }

  // Two steps of a lookup that is to come: start loading the bucket; then, once that has arrived, its first object.
  void prefetchBucket(std::uint32_t hash) const noexcept {
    const Shard& shard = shardOf(hash);
    if (!multiThreaded_ && shard.heads != nullptr) __builtin_prefetch(&shard.heads[hash & shard.mask]);
  }
  void prefetchEntry(std::uint32_t hash) const noexcept {
    const Shard& shard = shardOf(hash);
    if (!multiThreaded_ && shard.heads != nullptr) __builtin_prefetch(SlabHeap::at(shard.heads[hash & shard.mask]));
  }

  // Before the table is used: asserts that it is empty. The destructor tells the notifiee to stop.
  void lifeTimeNotifieeIs(Tyr::Ptr<DedupLifeTimeNotifiee> notifiee);

  // Whether the object is in this table, not in another or none. For a holder of the object.
  bool holds(const DedupHandleBase& handle) const noexcept {
    return handle.owner_.load(std::memory_order_relaxed) == number_;
  }

  // Objects in the table now.
  std::size_t size() const;
  bool multiThreaded() const noexcept { return multiThreaded_; }
  const std::string& name() const noexcept { return name_; }

  // One line: name, variant, objects, buckets, and the longest chain.
  void dump(DumpContext& context, std::uint32_t indent) const;

 protected:
  ~DedupHashTable() override;

 private:
  friend class DedupHandleBase;

  struct Heads {
    SlabRef* heads = nullptr;
    std::uint32_t mask = 0;
  };
  // While a shard grows, buckets of the old array below `moved` have been emptied into the new one.
  struct alignas(64) Shard {
    mutable std::mutex mutex;
    SlabRef* heads = nullptr;
    std::uint32_t mask = 0;
    std::uint32_t size = 0;
    Heads old;
    std::uint32_t moved = 0;
  };

  static constexpr unsigned shardBits = 6;

  // Called by the holder of what it read as the last reference. True: the object is the caller's alone, to delete.
  static bool letGo(DedupHandleBase* handle) noexcept;
  static bool stepDown(DedupHandleBase* handle) noexcept;

  Shard& shardOf(std::uint32_t hash) const noexcept { return shards_[multiThreaded_ ? hash >> (32 - shardBits) : 0]; }
  static SlabRef* bucketOf(Shard& shard, std::uint32_t hash) noexcept {
    if (shard.old.heads != nullptr && (hash & shard.old.mask) >= shard.moved) {
      return &shard.old.heads[hash & shard.old.mask];
    }
    return &shard.heads[hash & shard.mask];
  }
  template <typename Matches>
  static DedupHandleBase* findIn(Shard& shard, std::uint32_t hash, Matches&& matches) {
    if (shard.heads == nullptr) return nullptr;
    for (SlabRef ref = *bucketOf(shard, hash); ref != 0;) {
      auto* handle = static_cast<DedupHandleBase*>(SlabHeap::at(ref));
      if (handle->hash_ == hash && matches(static_cast<const DedupHandleBase&>(*handle))) {
        handle->referenceAdd();
        return handle;
      }
      ref = handle->next_;
    }
    return nullptr;
  }

  // Out of line, so that a hit of findOrDedup() pays nothing for the miss.
  template <typename T, typename Make>
  [[gnu::noinline]] Tyr::Ptr<const T> dedupMade(std::uint32_t hash, Make& make) {
    const Tyr::Ptr<T> fresh = make();
    DedupHandleBase* const dedupHandle = dedup(fresh.get(), hash);
    TYR_ASSERT(dedupHandle);
    return Tyr::Ptr<const T>(static_cast<const T*>(dedupHandle), false);
  }
  DedupHandleBase* dedupIn(Shard& shard, DedupHandleBase* fresh, std::uint32_t hash);
  bool leave(DedupHandleBase* handle) noexcept;
  static void unlink(Shard& shard, DedupHandleBase* handle) noexcept;
  static void makeRoom(Shard& shard);
  static void moveSome(Shard& shard) noexcept;
  static void moveBucket(Shard& shard, std::uint32_t bucket) noexcept;
  static std::uint32_t longestChain(const Shard& shard) noexcept;
  template <typename Visit>
  static void forEachIn(const Shard& shard, Visit&& visit);
  void bar(Shard& shard) noexcept;
  template <typename Announce>
  void announce(Announce&& call);
  void announceInsert(Shard& shard, DedupHandleBase* fresh);

  // The library decides, not the user's build.
  void checkThread() const {
    if (checksThread_) [[unlikely]] {
      TYR_ASSERT(ownerThread_ == std::this_thread::get_id());
    }
  }

  const std::string name_;
  const Tyr::AgentThreadingUse threadingUse_;
  const bool multiThreaded_;
  const bool checksThread_;
  const std::unique_ptr<Shard[]> shards_;
  const std::uint16_t number_;
  const std::thread::id ownerThread_;
  std::mutex notificationMutex_;
  Tyr::Ptr<DedupLifeTimeNotifiee> lifeTimeNotifiee_;
};

}  // namespace Keel
