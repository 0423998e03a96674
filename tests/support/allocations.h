// The calling thread's allocations: how many it made, and some of them failing. A program that uses this has its
// operator new and delete.
#pragma once

#include <cstddef>
#include <cstdint>

namespace testing_support {

size_t allocations();  // made so far

// While it lives, allocations of least..most bytes fail.
class RefusedAllocations {
 public:
  explicit RefusedAllocations(size_t least, size_t most = SIZE_MAX);
  ~RefusedAllocations();
  RefusedAllocations(const RefusedAllocations&) = delete;
  RefusedAllocations& operator=(const RefusedAllocations&) = delete;
};

}  // namespace testing_support
