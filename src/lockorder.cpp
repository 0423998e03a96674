#include "lockorder.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace TIRK_MCUC {

namespace {

struct Held {
  const void* mutex;
  LockRank rank;
};

// Never destroyed: a thread may lock until its very end.
struct HeldLocks {
  std::array<Held, 32> entries;
  size_t count;
};
thread_local HeldLocks t_held{};

// The store's mutex is held for a copy alone: under it nothing but a line is written.
bool mayFollow(LockRank wanted, LockRank held) {
  return held < wanted && (held != LockRank::store || wanted == LockRank::trace);
}

}  // namespace

const char* lockRankName(LockRank rank) {
  static constexpr const char* kNames[] = {
      "the request mutex", "the work queue", "the process mutex", "the store", "the brightness",
      "the inputs",        "a save",         "the driver",        "a leaf",    "the trace"};
  return kNames[static_cast<size_t>(rank)];
}

namespace lockorder {

void check(const void* mutex, LockRank rank) {
  const Held* innermost = nullptr;
  for (size_t i = 0; i < t_held.count; ++i) {
    const Held& held = t_held.entries[i];
    if (held.mutex == mutex) return;
    if (innermost == nullptr || held.rank > innermost->rank) innermost = &held;
  }
  if (innermost == nullptr || mayFollow(rank, innermost->rank)) return;
  std::fprintf(stderr, "lock order: %s is taken while %s is held\n", lockRankName(rank), lockRankName(innermost->rank));
  std::abort();
}

void taken(const void* mutex, LockRank rank) {
  if (t_held.count == t_held.entries.size()) {
    std::fprintf(stderr, "lock order: a thread holds more than %zu locks\n", t_held.entries.size());
    std::abort();
  }
  t_held.entries[t_held.count++] = {mutex, rank};
}

void released(const void* mutex) {
  for (size_t i = t_held.count; i-- > 0;) {
    if (t_held.entries[i].mutex != mutex) continue;
    for (--t_held.count; i < t_held.count; ++i) t_held.entries[i] = t_held.entries[i + 1];
    return;
  }
  std::fprintf(stderr, "lock order: a thread releases a lock that it does not hold\n");
  std::abort();
}

}  // namespace lockorder

}  // namespace TIRK_MCUC
