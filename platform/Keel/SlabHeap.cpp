#include "Keel/SlabHeap.h"

#include <sys/mman.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "Keel/PausePoint.h"
#include "Tyr/Assert.h"
#include "Tyr/Threading.h"

#if defined(__SANITIZE_ADDRESS__)
#define KEEL_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KEEL_ADDRESS_SANITIZER 1
#endif
#endif
#ifdef KEEL_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#define KEEL_LOOKS_AT_FREED __attribute__((no_sanitize("address")))
#else
#define KEEL_LOOKS_AT_FREED
#endif

namespace Keel {
namespace detail {

constinit std::atomic<char*> slabBase{nullptr};

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

// Free slots, linked by their places.
KEEL_LOOKS_AT_FREED std::uint16_t linkOf(const char* slot, std::uint32_t linkOffset) noexcept {
  return *reinterpret_cast<const std::uint16_t*>(slot + linkOffset);
}
KEEL_LOOKS_AT_FREED void linkIs(char* slot, std::uint32_t linkOffset, std::uint16_t next) noexcept {
  *reinterpret_cast<std::uint16_t*>(slot + linkOffset) = next;
}
char* slotAt(SlabChunk* chunk, std::uint64_t place) noexcept {
  return place == 0 ? nullptr : reinterpret_cast<char*>(chunk) + place * slabUnit;
}
std::uint16_t placeOf(const char* slot) noexcept {
  if (slot == nullptr) return 0;
  return static_cast<std::uint16_t>(reinterpret_cast<std::uintptr_t>(slot) % slabChunkOctets / slabUnit);
}

constexpr std::uint64_t oneFree = 1u << 16;
constexpr std::uint64_t held = std::uint64_t{1} << 32;
constexpr std::uint64_t onItsWay = std::uint64_t{1} << 33;
constexpr std::uint64_t firstOf(std::uint64_t state) noexcept { return state & 0xffff; }
constexpr std::uint64_t freeOf(std::uint64_t state) noexcept { return state >> 16 & 0xffff; }

// Replaces `before`, or reads it anew and fails.
bool change(std::atomic<std::uint64_t>& state, std::uint64_t& before, std::uint64_t after) noexcept {
  if (Tyr::agentMultiThreaded()) {
    return state.compare_exchange_weak(before, after, std::memory_order_acq_rel, std::memory_order_acquire);
  }
  state.store(after, std::memory_order_relaxed);
  return true;
}

// All chunks that are no pool's: kept ones, ones whose memory went back, and ones that readers may still look at.
class ChunkStore {
 public:
  // Octets of the chunk are what the last user left.
  char* take() {
    const MaybeLock lock(mutex_);
    collect();
    if (kept_.count == 0 && away_.count == 0 && next_ == end_) grow();
    std::uint32_t number = 0;
    if (kept_.count != 0) {
      number = pop(kept_);
    } else if (away_.count != 0) {
      number = pop(away_);
    } else {
      number = next_++;
    }
    link_[number] = inUse;
    ++used_;
    return at(number);
  }
  void give(char* chunk, bool readersMayLook) noexcept {
    permit(chunk, slabChunkOctets);
    const MaybeLock lock(mutex_);
    --used_;
    const auto number = static_cast<std::uint32_t>((chunk - slabBase.load(std::memory_order_relaxed)) /
                                                   static_cast<std::ptrdiff_t>(slabChunkOctets));
    if (!readersMayLook || !Tyr::agentMultiThreaded()) return keep(number);
    push(leaving_, number);
    collect();
  }

  std::size_t memory() noexcept {
    const MaybeLock lock(mutex_);
    return (used_ + kept_.count + leaving_.count + waiting_.count) * slabChunkOctets;
  }
  template <typename Visit>
  void forEachInUse(Visit&& visit) noexcept {
    const MaybeLock lock(mutex_);
    for (std::uint32_t number = 1; number < next_; ++number) {
      if (link_[number] == inUse) visit(*reinterpret_cast<SlabChunk*>(at(number)));
    }
  }

 private:
  struct Stack {
    std::uint32_t first = 0;
    std::size_t count = 0;
  };
  static constexpr std::uint32_t inUse = ~0u;
  static constexpr std::size_t mostKept = (std::size_t{64} << 20) / slabChunkOctets;
  static constexpr std::size_t leavingTogether = 32;
  static constexpr std::uint32_t growth = 16;  // chunks that become memory together

  static char* at(std::uint32_t number) noexcept {
    return slabBase.load(std::memory_order_relaxed) + number * slabChunkOctets;
  }
  void push(Stack& stack, std::uint32_t number) noexcept {
    link_[number] = stack.first;
    stack.first = number;
    ++stack.count;
  }
  std::uint32_t pop(Stack& stack) noexcept {
    const std::uint32_t number = stack.first;
    stack.first = link_[number];
    --stack.count;
    return number;
  }
  void keep(std::uint32_t number) noexcept {
    if (kept_.count < mostKept) return push(kept_, number);
    madvise(at(number), slabChunkOctets, MADV_DONTNEED);
    push(away_, number);
  }
  // Chunks leave in groups, each behind one grace period.
  void collect() noexcept {
    if (waiting_.count != 0 && gracePassed(period_)) {
      while (waiting_.count != 0) keep(pop(waiting_));
    }
    if (waiting_.count != 0 || leaving_.count < leavingTogether) return;
    std::swap(waiting_, leaving_);
    period_ = graceStart();
  }
  void grow() {
    if (slabBase.load(std::memory_order_relaxed) == nullptr) reserve();
    const std::uint32_t more = std::min(growth, last_ - end_);
    if (more == 0) throw std::bad_alloc();
    if (mprotect(at(end_), more * slabChunkOctets, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    end_ += more;
  }
  // The largest range that the process may have. One chunk more, for the alignment, and chunk 0 is never used.
  void reserve() {
    for (std::size_t chunks = slabMaxChunks; chunks > growth; chunks /= 2) {
      void* const range =
          mmap(nullptr, (chunks + 1) * slabChunkOctets, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
      if (range == MAP_FAILED) continue;
      last_ = static_cast<std::uint32_t>(chunks);
      const auto address = reinterpret_cast<std::uintptr_t>(range) + slabChunkOctets - 1;
      slabBase.store(reinterpret_cast<char*>(address - address % slabChunkOctets), std::memory_order_relaxed);
      return;
    }
    throw std::bad_alloc();
  }

  std::mutex mutex_;
  std::array<std::uint32_t, slabMaxChunks> link_{};  // the next one of its stack, or inUse
  Stack kept_;
  Stack away_;
  Stack leaving_;
  Stack waiting_;
  std::uint64_t period_ = 0;
  std::size_t used_ = 0;
  std::uint32_t next_ = 1;  // the first that was never used
  std::uint32_t end_ = 1;   // the first that is not memory yet
  std::uint32_t last_ = 0;
};

constinit ChunkStore chunkStore;

}  // namespace

std::size_t SlabPool::capacityOf(const SlabChunk& chunk) const noexcept {
  return static_cast<std::size_t>(chunk.end - reinterpret_cast<const char*>(&chunk) -
                                  static_cast<std::ptrdiff_t>(slabChunkHeader)) /
         slotOctets_;
}

std::uint64_t SlabPool::freshOf(const SlabChunk& chunk) const noexcept {
  return static_cast<std::uint64_t>(chunk.end - chunk.fresh) / slotOctets_;
}

void* SlabPool::take() {
  SlabHold& hold = thisThread().holds[number_];
  if (hold.free == nullptr && (hold.chunk == nullptr || hold.chunk->fresh == hold.chunk->end)) refill(hold);
  char* const slot = hold.free;
  if (slot == nullptr) {
    char* const fresh = hold.chunk->fresh;
    hold.chunk->fresh += slotOctets_;
    // A chunk that held something else before: the octets that survive in a freed slot start as zeroes.
    std::fill_n(fresh, linkOffset_, '\0');
    return fresh;
  }
  hold.free = slotAt(hold.chunk, linkOf(slot, linkOffset_));
  permit(slot, slotOctets_);
  return slot;
}

// The thread's chunk is used up: go on with what was freed in it meanwhile, with one that has free slots, or a new one.
void SlabPool::refill(SlabHold& hold) {
  if (hold.chunk != nullptr && takeFreed(hold)) return;
  if (takeListed(hold)) return;
  char* const memory = chunkStore.take();
  auto* const chunk = new (memory) SlabChunk{this, held, memory + slabChunkHeader, nullptr, nullptr, nullptr, false};
  chunk->end = chunk->fresh + (slabChunkOctets - slabChunkHeader) / slotOctets_ * slotOctets_;
  hold.chunk = chunk;
}

bool SlabPool::takeFreed(SlabHold& hold) noexcept {
  std::atomic<std::uint64_t>& state = hold.chunk->state;
  std::uint64_t before = state.load(std::memory_order_acquire);
  while (true) {
    const bool some = freeOf(before) != 0;
    if (!change(state, before, some ? before & (held | onItsWay) : before & ~held)) continue;
    if (some) {
      hold.free = slotAt(hold.chunk, firstOf(before));
    } else {
      hold.chunk = nullptr;  // full: the next slot that is given back brings it to the list
    }
    return some;
  }
}

bool SlabPool::takeListed(SlabHold& hold) noexcept {
  const MaybeLock lock(mutex_);
  SlabChunk* const chunk = listed_;
  if (chunk == nullptr) return false;
  unlist(chunk);
  std::uint64_t before = chunk->state.load(std::memory_order_acquire);
  while (!change(chunk->state, before, held | (before & onItsWay))) {
  }
  hold.chunk = chunk;
  hold.free = slotAt(chunk, firstOf(before));
  return true;
}

void SlabPool::give(char* slot) noexcept {
  SlabChunk* const chunk = slabChunkOf(slot);
  SlabHold& hold = thisThread().holds[number_];
  if (hold.chunk != chunk) return giveAll(chunk, slot, slot, 1, false);
  linkIs(slot, linkOffset_, placeOf(hold.free));
  hold.free = slot;
  forbid(slot + linkOffset_, slotOctets_ - linkOffset_);
}

// Puts `count` slots, of which first to last are linked, among the free ones.
void SlabPool::giveAll(SlabChunk* chunk, char* first, char* last, std::uint64_t count, bool lettingGo) noexcept {
  if (first == last && first != nullptr) forbid(first + linkOffset_, slotOctets_ - linkOffset_);
  const std::size_t capacity = capacityOf(*chunk);
  std::uint64_t before = chunk->state.load(std::memory_order_relaxed);
  std::uint64_t after = 0;
  do {
    if (last != nullptr) linkIs(last, linkOffset_, static_cast<std::uint16_t>(firstOf(before)));
    after = (before & ~std::uint64_t{0xffff}) + count * oneFree + (last == nullptr ? firstOf(before) : placeOf(first));
    if (lettingGo) after &= ~held;
    const bool settles = freeOf(after) == capacity || freeOf(before) == 0 || lettingGo;
    if ((after & (held | onItsWay)) == 0 && freeOf(after) != 0 && settles) after |= onItsWay;
  } while (!change(chunk->state, before, after));
  KEEL_PAUSE_POINT(slotGiven);
  if ((before & onItsWay) == 0 && (after & onItsWay) != 0) settle(chunk);
}

void SlabPool::settle(SlabChunk* chunk) noexcept {
  MaybeLock lock(mutex_);
  std::uint64_t state = chunk->state.load(std::memory_order_acquire);
  do {
    if ((state & held) != 0) continue;
    if (freeOf(state) == capacityOf(*chunk)) {
      if (chunk->listed) unlist(chunk);
      return chunkStore.give(reinterpret_cast<char*>(chunk), linkOffset_ != 0);
    }
    if (!chunk->listed) list(chunk);
  } while (!change(chunk->state, state, state & ~onItsWay));
}

void SlabPool::list(SlabChunk* chunk) noexcept {
  chunk->listed = true;
  chunk->previous = nullptr;
  chunk->next = listed_;
  if (listed_ != nullptr) listed_->previous = chunk;
  listed_ = chunk;
}

void SlabPool::unlist(SlabChunk* chunk) noexcept {
  chunk->listed = false;
  if (chunk->next != nullptr) chunk->next->previous = chunk->previous;
  (chunk->previous == nullptr ? listed_ : chunk->previous->next) = chunk->next;
}

void SlabPool::release(SlabHold& hold) noexcept {
  if (hold.chunk == nullptr) return;
  std::uint64_t count = freshOf(*hold.chunk);
  char* last = nullptr;
  for (char* slot = hold.free; slot != nullptr; slot = slotAt(hold.chunk, linkOf(slot, linkOffset_))) {
    last = slot;
    ++count;
  }
  giveAll(hold.chunk, hold.free, last, count, true);
  hold = {};
}

std::size_t SlabPool::liveIn(const SlabChunk& chunk) const noexcept {
  std::size_t free = freeOf(chunk.state.load(std::memory_order_acquire));
  for (const ThreadRecord* record = threadRecords(); record != nullptr; record = record->next) {
    const SlabHold& hold = record->holds[number_];
    if (hold.chunk != &chunk) continue;
    free += freshOf(chunk);
    for (const char* slot = hold.free; slot != nullptr; slot = slotAt(hold.chunk, linkOf(slot, linkOffset_))) ++free;
  }
  return capacityOf(chunk) - free;
}

}  // namespace detail

void* SlabHeap::allocate(std::size_t octets) {
  TYR_ASSERT(octets <= maxOctets);
  detail::SlabPool& pool = pools_[(octets + detail::slabUnit - 1) / detail::slabUnit];
  TYR_ASSERT(pool.slotOctets() >= pool.linkOffset() + sizeof(void*));
  return pool.take();
}

void SlabHeap::release(void* slot) noexcept { detail::slabChunkOf(slot)->pool->give(static_cast<char*>(slot)); }

template <typename Count>
std::size_t SlabHeap::sum(Count&& count) const noexcept {
  std::size_t all = 0;
  detail::chunkStore.forEachInUse([&](const detail::SlabChunk& chunk) {
    if (has(chunk.pool)) all += count(chunk);
  });
  return all;
}

std::size_t SlabHeap::liveSlots() const noexcept {
  return sum([](const detail::SlabChunk& chunk) { return chunk.pool->liveIn(chunk); });
}

std::size_t SlabHeap::liveOctets() const noexcept {
  return sum([](const detail::SlabChunk& chunk) { return chunk.pool->liveIn(chunk) * chunk.pool->slotOctets(); });
}

std::size_t SlabHeap::heldOctets() noexcept { return detail::chunkStore.memory(); }

namespace {

// In a handle the virtual table's word, the count and the hash survive.
constinit SlabHeap handles(0, 16);
constinit SlabHeap blocks(1, 0);

}  // namespace

SlabHeap& handleHeap() noexcept { return handles; }
SlabHeap& blockHeap() noexcept { return blocks; }

namespace detail {

void releaseHolds(ThreadRecord& record) noexcept {
  for (SlabHold& hold : record.holds) {
    if (hold.chunk != nullptr) hold.chunk->pool->release(hold);
  }
}

}  // namespace detail

}  // namespace Keel
