#include "support/FailingNew.h"

#include <cstdlib>
#include <new>

namespace Routing::Bgp::test {

int allocationsLeft = -1;

}  // namespace Routing::Bgp::test

void* operator new(std::size_t octets) {
  int& left = Routing::Bgp::test::allocationsLeft;
  if (left == 0) throw std::bad_alloc();
  if (left > 0) --left;
  void* memory = std::malloc(octets);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
