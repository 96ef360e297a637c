#include "Keel/SlabHeap.h"

#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define KEEL_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KEEL_ADDRESS_SANITIZER 1
#endif
#endif
#ifdef KEEL_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace Keel {

namespace detail {

std::array<std::atomic<char*>, slabMaxChunks> slabChunks{};

namespace {

// Use of a freed slot is an error that the address sanitizer shall see, though the memory stays ours. What the
// lock-free side may still look at, the octets before the link, is left readable.
void forbid([[maybe_unused]] void* octets, [[maybe_unused]] std::size_t count) noexcept {
#ifdef KEEL_ADDRESS_SANITIZER
  __asan_poison_memory_region(octets, count);
#endif
}
void permit([[maybe_unused]] void* octets, [[maybe_unused]] std::size_t count) noexcept {
#ifdef KEEL_ADDRESS_SANITIZER
  __asan_unpoison_memory_region(octets, count);
#endif
}

// Chunks are cut from regions of 1 MiB: one request to the system for sixteen chunks.
class ChunkSource {
 public:
  SlabChunk* take(SlabPool* pool) {
    const std::lock_guard lock(mutex_);
    if (next_ == slabMaxChunks) throw std::bad_alloc();
    if (regionLeft_ == 0) {
      region_ = static_cast<char*>(std::aligned_alloc(slabChunkOctets, slabChunkOctets * regionChunks));
      if (region_ == nullptr) throw std::bad_alloc();
      regionLeft_ = regionChunks;
    }
    auto* chunk = new (region_) SlabChunk{pool, next_, false, nullptr, nullptr, nullptr, nullptr};
    slabChunks[next_].store(region_, std::memory_order_release);
    ++next_;
    region_ += slabChunkOctets;
    --regionLeft_;
    return chunk;
  }

 private:
  static constexpr std::size_t regionChunks = 16;
  std::mutex mutex_;
  char* region_ = nullptr;
  std::size_t regionLeft_ = 0;
  std::uint32_t next_ = 1;
};

constinit ChunkSource chunkSource;

}  // namespace

// The current chunk is full: go on with one that has free slots, or with a new one.
SlabChunk* SlabPool::nextChunk() {
  if (partial_ != nullptr) {
    SlabChunk* chunk = partial_;
    partial_ = chunk->nextPartial;
    chunk->partial = false;
    return chunk;
  }
  SlabChunk* chunk = chunkSource.take(this);
  chunk->fresh = reinterpret_cast<char*>(chunk) + slabChunkHeader;
  chunk->end = chunk->fresh + (slabChunkOctets - slabChunkHeader) / slotOctets * slotOctets;
  return chunk;
}

void* SlabPool::takeUnlocked() {
  if (current_ == nullptr || (current_->free == nullptr && current_->fresh == current_->end)) current_ = nextChunk();
  ++live_;
  char* slot = current_->free;
  if (slot == nullptr) {
    slot = current_->fresh;
    current_->fresh += slotOctets;
    return slot;
  }
  permit(slot, slotOctets);
  current_->free = *reinterpret_cast<char**>(slot + linkOffset);
  return slot;
}

void SlabPool::giveUnlocked(char* slot) noexcept {
  SlabChunk* chunk = slabChunkOf(slot);
  *reinterpret_cast<char**>(slot + linkOffset) = chunk->free;
  chunk->free = slot;
  --live_;
  forbid(slot + linkOffset, slotOctets - linkOffset);
  if (chunk == current_ || chunk->partial) return;
  chunk->partial = true;
  chunk->nextPartial = partial_;
  partial_ = chunk;
}

void* SlabPool::take() {
  if (!Tyr::agentMultiThreaded()) return takeUnlocked();
  const std::lock_guard lock(mutex_);
  return takeUnlocked();
}

void SlabPool::give(void* slot) noexcept {
  if (!Tyr::agentMultiThreaded()) return giveUnlocked(static_cast<char*>(slot));
  const std::lock_guard lock(mutex_);
  giveUnlocked(static_cast<char*>(slot));
}

}  // namespace detail

SlabHeap::SlabHeap(std::uint32_t linkOffset) noexcept {
  std::uint32_t octets = 0;
  for (detail::SlabPool& pool : pools_) {
    pool.slotOctets = octets;
    pool.linkOffset = linkOffset;
    octets += detail::slabUnit;
  }
}

void* SlabHeap::allocate(std::size_t octets) {
  TYR_ASSERT(octets <= maxOctets);
  detail::SlabPool& pool = poolOf(octets);
  TYR_ASSERT(pool.slotOctets >= pool.linkOffset + sizeof(void*));
  return pool.take();
}

std::size_t SlabHeap::liveSlots() const noexcept {
  std::size_t slots = 0;
  for (const detail::SlabPool& pool : pools_) slots += pool.live();
  return slots;
}

std::size_t SlabHeap::liveOctets() const noexcept {
  std::size_t octets = 0;
  for (const detail::SlabPool& pool : pools_) octets += pool.live() * pool.slotOctets;
  return octets;
}

namespace {

// A heap that is never destroyed, and is there even when memory is not.
template <std::uint32_t linkOffset>
SlabHeap& everlasting() noexcept {
  alignas(SlabHeap) static std::byte room[sizeof(SlabHeap)];
  static SlabHeap& heap = *new (room) SlabHeap(linkOffset);
  return heap;
}

}  // namespace

SlabHeap& handleHeap() noexcept {
  return everlasting<16>();
}  // the virtual table's word, the count and the hash survive
SlabHeap& blockHeap() noexcept { return everlasting<0>(); }

}  // namespace Keel
