// How a fuzzer says that a property does not hold, and how long an input may take.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

// Ends the process with the text when it does not hold.
void require(bool holds, const char* what);

// Does the work, and sees how much of the processor's time it takes: other processes of the machine do not count. Under
// libFuzzer more than 50 ms (or FUZZ_LONGEST_US microseconds) is a failure, when it takes as long three times in a row:
// a busy host charges a guest for time that it did not have. Elsewhere, where the build may be any, it is only noted.
// The slowest is told on standard error when the process ends.
template <class Work>
void withinTime(Work work);

// The clocks' microseconds: the thread's processor's, and the machine's, which is read without a system call.
struct Moment {
  int64_t processorUs;
  int64_t machineUs;
};
Moment now();
bool tookTooLong(const Moment& start);  // notes it

template <class Work>
void withinTime(Work work) {
  for (int attempt = 0; attempt < 3; ++attempt) {
    const Moment start = now();
    work();
    if (!tookTooLong(start)) return;
  }
  require(false, "an input takes no longer than it may");
}

}  // namespace fuzz
