#include "support/allocations.h"

#include <cstdlib>
#include <new>

namespace {
thread_local size_t made = 0;
thread_local size_t leastRefused = SIZE_MAX;
thread_local size_t mostRefused = 0;
}  // namespace

// Not inlined, so that the compiler does not take its own new and delete for a mismatch.
[[gnu::noinline]] void* operator new(size_t size) {
  ++made;
  const bool refused = size >= leastRefused && size <= mostRefused;
  void* const memory = refused ? nullptr : std::malloc(size > 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void* operator new[](size_t size) {
  return operator new(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, size_t) noexcept {
  std::free(memory);
}

namespace testing_support {

size_t allocations() {
  return made;
}

RefusedAllocations::RefusedAllocations(size_t least, size_t most) {
  leastRefused = least;
  mostRefused = most;
}

RefusedAllocations::~RefusedAllocations() {
  leastRefused = SIZE_MAX;
}

}  // namespace testing_support
