#include "support/FailingMemory.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <new>

namespace Routing::Bgp::test {

thread_local constinit FailingMemory failingMemory{};

namespace {

bool fails() noexcept {
  FailingMemory& memory = failingMemory;
  if (memory.left == 0) return false;
  if (memory.left > 1) {
    --memory.left;
    return false;
  }
  memory.failed = true;
  if (!memory.forGood) memory.left = 0;
  errno = ENOMEM;
  return true;
}

[[maybe_unused]] void* counted(void* block) noexcept {
  if (block != nullptr) ++failingMemory.live;
  return block;
}

}  // namespace
}  // namespace Routing::Bgp::test

using namespace Routing::Bgp::test;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

void* operator new(std::size_t octets) {
  void* const block = fails() ? nullptr : std::malloc(octets);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new(std::size_t octets, const std::nothrow_t&) noexcept {
  return fails() ? nullptr : std::malloc(octets);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

#else

extern "C" {

void* __libc_malloc(std::size_t octets);
void* __libc_calloc(std::size_t count, std::size_t octets);
void* __libc_realloc(void* block, std::size_t octets);
void* __libc_memalign(std::size_t alignment, std::size_t octets);
void __libc_free(void* block);

void* malloc(std::size_t octets) noexcept { return fails() ? nullptr : counted(__libc_malloc(octets)); }
void* calloc(std::size_t count, std::size_t octets) noexcept {
  return fails() ? nullptr : counted(__libc_calloc(count, octets));
}
void* realloc(void* block, std::size_t octets) noexcept {
  if (fails()) return nullptr;
  return block == nullptr ? counted(__libc_realloc(block, octets)) : __libc_realloc(block, octets);
}
void* aligned_alloc(std::size_t alignment, std::size_t octets) noexcept {
  return fails() ? nullptr : counted(__libc_memalign(alignment, octets));
}
int posix_memalign(void** block, std::size_t alignment, std::size_t octets) noexcept {
  *block = aligned_alloc(alignment, octets);
  return *block == nullptr ? ENOMEM : 0;
}
void free(void* block) noexcept {
  if (block != nullptr) --failingMemory.live;
  __libc_free(block);
}

void* mmap(void* address, std::size_t octets, int protection, int flags, int file, off_t at) noexcept {
  if (fails()) return MAP_FAILED;
  return reinterpret_cast<void*>(::syscall(SYS_mmap, address, octets, protection, flags, file, at));
}

}  // extern "C"

#endif
