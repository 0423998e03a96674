#include "heap.h"

#include <malloc.h>

#include <bit>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace TIRK_MCUC {

// What one thread frees serves the others: with a heap each, memory grows until each of them had its largest request.
// The largest buffers stay outside the heap, where what is above them keeps them from going back to the system.
void shareHeap() {
#ifdef M_ARENA_MAX
  constexpr int kLargeBuffer = 64 << 10;
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_MMAP_THRESHOLD, kLargeBuffer);
  mallopt(M_TRIM_THRESHOLD, kLargeBuffer);
#endif
}

void returnFreeMemory() {
#ifdef M_ARENA_MAX
  malloc_trim(0);
#endif
}

}  // namespace TIRK_MCUC

// The library keeps, for each thread and each small size, some freed blocks that serve no other thread and no other
// size. Requests are of any length, and a thread would come to hold blocks of each: with few sizes it holds few.
// A sanitizer is to see the size that was asked for.
#ifndef __SANITIZE_ADDRESS__
namespace {

// Those that are kept back are four small ones and powers of two.
constexpr size_t roundedSize(size_t size) {
  constexpr size_t kFinest = 64, kLargestKept = 1024;
  return size <= kFinest || size > kLargestKept ? size : std::bit_ceil(size);
}

}  // namespace

// NOLINTBEGIN(cppcoreguidelines-owning-memory,cppcoreguidelines-no-malloc): the allocator itself
void* operator new(size_t size) {
  for (;;) {
    if (void* const memory = std::malloc(size == 0 ? 1 : roundedSize(size))) return memory;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
// NOLINTEND(cppcoreguidelines-owning-memory,cppcoreguidelines-no-malloc)
#endif
