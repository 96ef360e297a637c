#include "Keel/PtrInterfaceArray.h"

#include <cstring>

namespace Keel::detail {
namespace {

constexpr std::size_t octetsOf(std::uint32_t count) noexcept { return sizeof(std::uint32_t) + count * sizeof(SlabRef); }

}  // namespace

// All references null (0), so that a half-filled array can be destroyed.
RefBlock* newRefBlock(std::uint32_t count) {
  const std::size_t octets = octetsOf(count);
  void* memory = octets <= SlabHeap::maxOctets ? blockHeap().allocate(octets) : std::malloc(octets);
  if (memory == nullptr) throw std::bad_alloc();
  std::memset(memory, 0, octets);
  auto* block = static_cast<RefBlock*>(memory);
  block->count = count;
  return block;
}

void deleteRefBlock(RefBlock* block) noexcept {
  const std::size_t octets = octetsOf(block->count);
  if (octets <= SlabHeap::maxOctets) return blockHeap().release(block, octets);
  std::free(block);
}

}  // namespace Keel::detail
