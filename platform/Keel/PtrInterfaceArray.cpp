#include "Keel/PtrInterfaceArray.h"

#include <cstring>

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

}  // namespace Keel::detail
