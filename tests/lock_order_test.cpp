// The order of the daemon's mutexes, and that breaking it is noticed.
#include "lockorder.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "mcucmutex.h"

using namespace TIRK_MCUC;

namespace {

constexpr LockRank kOrder[] = {LockRank::request, LockRank::workQueue,  LockRank::process,
                               LockRank::store,   LockRank::brightness, LockRank::inputs,
                               LockRank::driver,  LockRank::leaf,       LockRank::trace};

// A mutex as the wrappers drive the check.
struct Lock {
  explicit Lock(LockRank r) : rank(r) {}
  void take() const {
    lockorder::check(this, rank);
    lockorder::taken(this, rank);
  }
  void release() const { lockorder::released(this); }
  LockRank rank;
};

}  // namespace

TEST(LockOrder, AllowsTheStatedOrderAndTakingAgainWhatIsHeld) {
  std::vector<Lock> locks(std::begin(kOrder), std::end(kOrder));
  std::erase_if(locks, [](const Lock& lock) { return lock.rank == LockRank::store; });
  for (const Lock& lock : locks) lock.take();
  for (const Lock& lock : locks) lock.take();  // recursive, though inner ones are held
  for (const Lock& lock : locks) lock.release();
  for (const Lock& lock : locks) lock.release();
  locks.front().take();  // nothing is left behind
  locks.front().release();
}

TEST(LockOrder, EndsTheProcessAtEveryPairInTheWrongOrder) {
  for (const LockRank outer : kOrder) {
    for (const LockRank inner : kOrder) {
      const bool nothingButALine = outer == LockRank::store && inner != LockRank::trace;
      if (inner > outer && !nothingButALine) continue;
      const Lock held(outer), wanted(inner);
      const std::string text = std::string(lockRankName(inner)) + " is taken while " + lockRankName(outer) + " is held";
      EXPECT_DEATH((held.take(), wanted.take()), text);
    }
  }
}

TEST(LockOrder, LooksAtWhatIsHeldNowAndByThisThread) {
  const Lock driver(LockRank::driver), store(LockRank::store), trace(LockRank::trace);
  driver.take();
  trace.take();
  driver.release();  // not in the order in which they were taken
  EXPECT_DEATH(store.take(), "the store is taken while the trace is held");
  std::thread([&] {
    store.take();
    store.release();
  }).join();
  trace.release();
  store.take();
  trace.take();
  trace.release();
  store.release();
  EXPECT_DEATH(store.release(), "does not hold");
}

TEST(LockOrder, IsCheckedByTheMutexesOfABuildWithAssertions) {
#ifdef NDEBUG
  GTEST_SKIP() << "this build does not check";
#else
  CMutexThreadRecursive store(LockRank::store);
  CMutexThread request(LockRank::request);
  const CMutexGuardT guard(store);
  const CMutexGuardT again(store);
  ASSERT_TRUE(request.TryLock());  // does not wait
  request.UnLock();
  EXPECT_DEATH(request.Lock(), "the request mutex is taken while the store is held");
#endif
}
