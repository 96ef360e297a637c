// SlabHeap: where interned objects and their arrays live, and the 32-bit references to them.
//
// Memory comes in chunks of 64 KiB, each cut into slots of one size (multiples of 8 octets, up to 2048). A slot is
// named by its address or by a SlabRef, half as wide: its distance from the start of the one range of addresses that all
// chunks lie in, in units of 8. So a list of n communities takes 4n octets. The range is of 32 GiB, or as much as the
// process may reserve (RLIMIT_AS); beyond it allocation fails with std::bad_alloc.
//
// Two heaps share the chunks. `handles` holds only objects that derive from DedupHandleBase: the word that is the count
// of an object is that of the next one in the slot, and zero in between, so that a lock-free reader may look at it
// (Keel/DedupHashTable.h). `blocks` holds everything else.
//
// A chunk whose slots are all free goes to a pool common to all sizes and both heaps. There it is kept for the next
// taker, 64 MiB of such chunks in all; the memory of further ones goes back to the system, their addresses are used
// again. While the agent is multi-threaded a chunk of `handles` first waits until no reader can look at it any more
// (Keel/ThreadRecord.h).
//
// Threads, while the agent is multi-threaded (Tyr/Threading.h): any. A thread takes slots of a size from a chunk that it
// holds, without a lock and without an atomic operation; giving back to another chunk is one compare-and-swap in that
// chunk. A lock for each size is taken when a thread's chunk is used up, and when a chunk becomes free or gets its first
// free slot. at() and refOf() take no lock.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "Keel/ThreadRecord.h"
#include "Tyr/Export.h"

namespace Keel {

// 0 names nothing.
using SlabRef = std::uint32_t;

namespace detail {

class SlabPool;

inline constexpr std::size_t slabChunkOctets = 64 * 1024;
inline constexpr std::size_t slabUnit = 8;
inline constexpr std::size_t slabMaxChunks = (std::size_t{1} << 32) * slabUnit / slabChunkOctets;

// The head of a chunk. A chunk is held by a thread, or listed with its pool because it has free slots, or full, or
// (when all slots are free) no longer the pool's. Who gives a slot back:
//   state     free slots, and who has a duty; changed by compare-and-swap. Release in giving, acquire in taking: what the
//             last user of a slot did comes before what the next one does.
//   the rest  `fresh` is the holder's; `listed` and the links are under the pool's lock.
struct SlabChunk {
  SlabPool* pool;
  // bits 0-15: the first free slot, in units from the chunk; each free slot names the next. 16-31: how many are free, the
  // never used ones included unless a thread holds the chunk. 32: a thread holds it. 33: a thread that made the chunk
  // free, or gave back its first slot, is on its way to the pool's lock; there is at most one.
  std::atomic<std::uint64_t> state;
  char* fresh;  // the part that was never used
  char* end;
  SlabChunk* next;
  SlabChunk* previous;
  bool listed;
};
inline constexpr std::size_t slabChunkHeader = 64;
static_assert(sizeof(SlabChunk) <= slabChunkHeader);

inline SlabChunk* slabChunkOf(const void* slot) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(slot);
  return reinterpret_cast<SlabChunk*>(address - address % slabChunkOctets);
}

// The start of the range; chunk 0 of it stays unused, so that no reference is 0. Written once, before the first slot.
extern VELBGP_EXPORT std::atomic<char*> slabBase;

// Slots of one size. The link of a free slot lies at linkOffset, past what must survive in it. Slots are taken from one
// chunk until that is full, whatever the order in which they were freed: objects made together lie together, also in a
// process that has run for months.
class SlabPool {
 public:
  // `number` is the pool's place among the holds of each thread.
  constexpr void init(std::uint32_t number, std::uint32_t slotOctets, std::uint32_t linkOffset) noexcept {
    number_ = number;
    slotOctets_ = slotOctets;
    linkOffset_ = linkOffset;
  }
  void* take();
  void give(char* slot) noexcept;
  std::uint32_t slotOctets() const noexcept { return slotOctets_; }
  std::uint32_t linkOffset() const noexcept { return linkOffset_; }
  std::uint32_t number() const noexcept { return number_; }
  // A thread that ends lets its chunk go.
  void release(SlabHold& hold) noexcept;
  // Slots of a chunk that are in use.
  std::size_t liveIn(const SlabChunk& chunk) const noexcept;

 private:
  std::size_t capacityOf(const SlabChunk& chunk) const noexcept;
  std::uint64_t freshOf(const SlabChunk& chunk) const noexcept;
  void refill(SlabHold& hold);
  bool takeFreed(SlabHold& hold) noexcept;
  bool takeListed(SlabHold& hold) noexcept;
  void giveAll(SlabChunk* chunk, char* first, char* last, std::uint64_t count, bool lettingGo) noexcept;
  void settle(SlabChunk* chunk) noexcept;
  void list(SlabChunk* chunk) noexcept;
  void unlist(SlabChunk* chunk) noexcept;

  std::uint32_t number_ = 0;
  std::uint32_t slotOctets_ = 0;
  std::uint32_t linkOffset_ = 0;
  SlabChunk* listed_ = nullptr;
  std::mutex mutex_;
};

// Of a thread that ends.
void releaseHolds(ThreadRecord& record) noexcept;

}  // namespace detail

class VELBGP_EXPORT SlabHeap {
 public:
  // The largest slot; what is larger comes from elsewhere.
  static constexpr std::size_t maxOctets = 2048;

  // One of the two heaps. `linkOffset`: how many octets at the start of a freed slot keep their last content.
  constexpr SlabHeap(std::uint32_t heap, std::uint32_t linkOffset) noexcept {
    for (std::uint32_t i = 0; i < detail::slabClasses; ++i) {
      pools_[i].init(heap * detail::slabClasses + i, i * detail::slabUnit, linkOffset);
    }
  }
  SlabHeap(const SlabHeap&) = delete;
  SlabHeap& operator=(const SlabHeap&) = delete;

  // A slot of at least `octets` (1 to maxOctets), aligned to 8. Throws std::bad_alloc.
  void* allocate(std::size_t octets);
  // Back to where it was taken from, whatever its size.
  static void release(void* slot) noexcept;
  // What a slot holds: at least what was asked for.
  static std::size_t octetsOf(const void* slot) noexcept { return detail::slabChunkOf(slot)->pool->slotOctets(); }

  // Slots in use now, and the octets that they take: walks all chunks. Not while another thread allocates or releases.
  std::size_t liveSlots() const noexcept;
  std::size_t liveOctets() const noexcept;
  // Of both heaps: the octets of all chunks that have memory, the free ones that are kept included.
  static std::size_t heldOctets() noexcept;

  static void* at(SlabRef ref) noexcept {
    // Relaxed: whoever knows a reference has seen the slot it names.
    return detail::slabBase.load(std::memory_order_relaxed) + std::size_t{ref} * detail::slabUnit;
  }
  // The reference of a slot of either heap; for any other address the answer is meaningless.
  static SlabRef refOf(const void* slot) noexcept {
    const char* const base = detail::slabBase.load(std::memory_order_relaxed);
    return static_cast<SlabRef>(static_cast<std::size_t>(static_cast<const char*>(slot) - base) / detail::slabUnit);
  }

 private:
  template <typename Count>
  std::size_t sum(Count&& count) const noexcept;
  bool has(const detail::SlabPool* pool) const noexcept { return pool >= pools_.begin() && pool < pools_.end(); }

  std::array<detail::SlabPool, detail::slabClasses> pools_;
};

// The two heaps of the process. They are never destroyed: objects may outlive every other static.
VELBGP_EXPORT SlabHeap& handleHeap() noexcept;
VELBGP_EXPORT SlabHeap& blockHeap() noexcept;

}  // namespace Keel
