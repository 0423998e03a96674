#include "support/verdict.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

extern "C" int LLVMFuzzerInitialize(int*, char***);  // libFuzzer calls it; the driver of the corpus does not
extern "C" const char* __asan_default_options();     // the address sanitizer does, where there is one

namespace fuzz {

namespace {

constexpr int64_t kLongestUs = 50000;
constexpr int64_t kAnyTime = INT64_MAX;

int64_t g_longestUs = kAnyTime;

struct Slowest {
  int64_t us = 0;
  ~Slowest() {
    if (us != 0) std::fprintf(stderr, "slowest input: %lld us\n", static_cast<long long>(us));
  }
};
Slowest g_slowest;

int64_t readUs(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return int64_t{time.tv_sec} * 1000000 + time.tv_nsec / 1000;
}

}  // namespace

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

Moment now() {
  const int64_t processorUs = readUs(CLOCK_THREAD_CPUTIME_ID);
  return {processorUs, readUs(CLOCK_MONOTONIC)};
}

bool tookTooLong(const Moment& start) {
  // The processor's time is no longer than the machine's.
  if (readUs(CLOCK_MONOTONIC) - start.machineUs < g_slowest.us) return false;
  const int64_t us = readUs(CLOCK_THREAD_CPUTIME_ID) - start.processorUs;
  if (us > g_longestUs) return true;
  if (us > g_slowest.us) g_slowest.us = us;
  return false;
}

}  // namespace fuzz

// Short stacks and a small quarantine, and nothing filled: an input is a few microseconds' work.
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=8:malloc_context_size=2:max_malloc_fill_size=0:allocator_release_to_os_interval_ms=-1";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* const longest = std::getenv("FUZZ_LONGEST_US");
  fuzz::g_longestUs = longest != nullptr ? std::atoll(longest) : fuzz::kLongestUs;
  return 0;
}
