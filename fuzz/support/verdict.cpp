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

}  // namespace

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

int64_t processorUs() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

bool tookTooLong(int64_t us) {
  if (us > g_longestUs) return true;
  if (us > g_slowest.us) g_slowest.us = us;
  return false;
}

}  // namespace fuzz

// Short stacks and a small quarantine, and nothing filled: an input is a few microseconds' work.
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=8:malloc_context_size=4:max_malloc_fill_size=0:allocator_release_to_os_interval_ms=-1";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* const longest = std::getenv("FUZZ_LONGEST_US");
  fuzz::g_longestUs = longest != nullptr ? std::atoll(longest) : fuzz::kLongestUs;
  return 0;
}
