// SlabHeap: where interned objects and their arrays live, and the 32-bit references to them.
//
// Memory comes in chunks of 64 KiB, each cut into slots of one size (multiples of 8 octets, up to 2048). A slot is
// named by its address or by a SlabRef, half as wide: the chunk's number and the slot's place in it. So a list of n
// communities takes 4n octets, and a table's buckets and chains 4 each. References reach 32 GiB; beyond that allocation
// fails with std::bad_alloc. Chunks are never given back: a freed slot is used again for an object of its size class.
//
// Two heaps share the chunks' numbering and no slot. `handles` holds only objects that derive from DedupHandleBase, so
// a word that was once a reference count stays one; `blocks` holds everything else.
//
// Threads: allocation and release lock one size class while the agent is multi-threaded (Tyr/Threading.h) and nothing
// otherwise. at() and refOf() take no lock.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "Tyr/Assert.h"
#include "Tyr/Export.h"
#include "Tyr/Threading.h"

namespace Keel {

// 0 names nothing.
using SlabRef = std::uint32_t;

namespace detail {

class SlabPool;

inline constexpr std::size_t slabChunkOctets = 64 * 1024;
inline constexpr std::size_t slabUnit = 8;
inline constexpr unsigned slabSlotBits = 13;  // 64 KiB in units of 8
inline constexpr std::size_t slabMaxChunks = std::size_t{1} << (32 - slabSlotBits);

struct SlabChunk {
  SlabPool* pool;
  std::uint32_t number;
  bool partial;  // among the pool's partial chunks
  char* free;    // freed slots, linked
  char* fresh;   // the part that was never used
  char* end;
  SlabChunk* nextPartial;
};
inline constexpr std::size_t slabChunkHeader = 64;
static_assert(sizeof(SlabChunk) <= slabChunkHeader);

inline SlabChunk* slabChunkOf(const void* slot) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(slot);
  return reinterpret_cast<SlabChunk*>(address - address % slabChunkOctets);
}

// Chunk addresses by number; [0] stays empty, so that no reference is 0.
extern VELBGP_EXPORT std::array<std::atomic<char*>, slabMaxChunks> slabChunks;

// Slots of one size. The link of a free slot lies at linkOffset, past what must survive in it. Slots are taken from one
// chunk until that is full, whatever the order in which they were freed: objects made together lie together, also in a
// process that has run for months.
class VELBGP_EXPORT SlabPool {
 public:
  void* take();
  void give(void* slot) noexcept;
  std::size_t live() const noexcept { return live_; }

  std::uint32_t slotOctets = 0;
  std::uint32_t linkOffset = 0;

 private:
  void* takeUnlocked();
  void giveUnlocked(char* slot) noexcept;
  SlabChunk* nextChunk();

  SlabChunk* current_ = nullptr;
  SlabChunk* partial_ = nullptr;  // chunks that were full and have free slots again
  std::size_t live_ = 0;
  std::mutex mutex_;
};

}  // namespace detail

class VELBGP_EXPORT SlabHeap {
 public:
  static constexpr std::size_t maxOctets = 2048;

  // `linkOffset`: how many octets at the start of a freed slot keep their last content.
  explicit SlabHeap(std::uint32_t linkOffset) noexcept;
  SlabHeap(const SlabHeap&) = delete;
  SlabHeap& operator=(const SlabHeap&) = delete;

  // A slot of at least `octets` (1 to maxOctets), aligned to 8. Throws std::bad_alloc.
  void* allocate(std::size_t octets);
  // Back to where it was taken from, whatever its size.
  static void release(void* slot) noexcept { chunkOf(slot)->pool->give(slot); }
  // What a slot holds: at least what was asked for.
  static std::size_t octetsOf(const void* slot) noexcept { return chunkOf(slot)->pool->slotOctets; }

  // Slots in use now, and the octets that they take. Not while another thread allocates or releases.
  std::size_t liveSlots() const noexcept;
  std::size_t liveOctets() const noexcept;

  static void* at(SlabRef ref) noexcept {
    char* chunk = detail::slabChunks[ref >> detail::slabSlotBits].load(std::memory_order_relaxed);
    return chunk + (ref & ((1u << detail::slabSlotBits) - 1)) * detail::slabUnit;
  }
  // The reference of a slot of either heap; for any other address the answer is meaningless.
  static SlabRef refOf(const void* slot) noexcept {
    const auto place = reinterpret_cast<std::uintptr_t>(slot) % detail::slabChunkOctets;
    return (chunkOf(slot)->number << detail::slabSlotBits) | static_cast<SlabRef>(place / detail::slabUnit);
  }

 private:
  static detail::SlabChunk* chunkOf(const void* slot) noexcept { return detail::slabChunkOf(slot); }
  detail::SlabPool& poolOf(std::size_t octets) noexcept {
    return pools_[(octets + detail::slabUnit - 1) / detail::slabUnit];
  }

  std::array<detail::SlabPool, maxOctets / detail::slabUnit + 1> pools_;
};

// The two heaps of the process. They are never destroyed: objects may outlive every other static.
VELBGP_EXPORT SlabHeap& handleHeap() noexcept;
VELBGP_EXPORT SlabHeap& blockHeap() noexcept;

}  // namespace Keel
