#include "Keel/PtrInterfaceArray.h"

#include <algorithm>
#include <cstring>

#include "Keel/DedupHashTable.h"

namespace Keel::detail {

RefBlock* newRefBlock(std::uint32_t count) {
  const std::size_t octets = refBlockOctets(count);
  void* memory = octets <= SlabHeap::maxOctets ? blockHeap().allocate(octets) : std::malloc(octets);
  if (memory == nullptr) throw std::bad_alloc();
  return static_cast<RefBlock*>(memory);
}

void clearRefBlock(RefBlock* block, std::uint32_t count) noexcept {
  block->count = count;
  std::memset(block->refs, 0, count * sizeof(SlabRef));
}

void deleteRefBlock(RefBlock* block) noexcept {
  if (refBlockOctets(block->count) <= SlabHeap::maxOctets) return SlabHeap::release(block);
  std::free(block);
}

std::size_t memoryOctetsOf(const RefBlock& block) noexcept {
  const std::size_t octets = refBlockOctets(block.count);
  return octets <= SlabHeap::maxOctets ? SlabHeap::octetsOf(&block) : octets;
}

// An object that goes takes its own memory and its place in its table: both are on their way here some objects before.
void releaseRefs(const SlabRef* refs, std::uint32_t count) noexcept {
  constexpr std::uint32_t ahead = 4;
  for (std::uint32_t i = 0; i < std::min(count, 2 * ahead); ++i) __builtin_prefetch(SlabHeap::at(refs[i]));
  for (std::uint32_t i = 0; i < count; ++i) {
    if (i + 2 * ahead < count) __builtin_prefetch(SlabHeap::at(refs[i + 2 * ahead]));
    if (i + ahead < count && refs[i + ahead] != 0) {
      DedupHashTable::prefetchLeaving(*handleAt<DedupHandleBase>(refs[i + ahead]));
    }
    if (refs[i] != 0) handleAt<DedupHandleBase>(refs[i])->referenceRelease();
  }
}

}  // namespace Keel::detail
