// The daemon's mutexes. Any thread.
//
// Each has its place in the lock order (lockorder.h), and builds with assertions end the process where it is broken.
#pragma once

#include <pthread.h>

#include "lockorder.h"

namespace TIRK_MCUC {

// One POSIX mutex. Lock and UnLock cannot fail on a mutex that is used as its class says.
class CMutexThreadBase {
 public:
  CMutexThreadBase(const CMutexThreadBase&) = delete;
  CMutexThreadBase& operator=(const CMutexThreadBase&) = delete;
  virtual ~CMutexThreadBase();

  void Lock();
  void UnLock();
  bool TryLock();  // true: locked; out of order too, since it does not wait

  pthread_mutex_t* native() { return &m_mutex; }  // for a condition variable

 protected:
  CMutexThreadBase(int type, LockRank rank);

 private:
  pthread_mutex_t m_mutex;
#ifndef NDEBUG
  const LockRank m_rank;
#endif
};

class CMutexThreadRecursive : public CMutexThreadBase {
 public:
  explicit CMutexThreadRecursive(LockRank rank = LockRank::leaf) : CMutexThreadBase(PTHREAD_MUTEX_RECURSIVE, rank) {}
};

class CMutexThread : public CMutexThreadBase {
 public:
  explicit CMutexThread(LockRank rank = LockRank::leaf) : CMutexThreadBase(PTHREAD_MUTEX_NORMAL, rank) {}
};

// Locks for a scope; UnLock and Lock release and take the mutex again before its end.
template <class Mutex>
class CMutexGuardT {
 public:
  explicit CMutexGuardT(Mutex& mutex) : m_mutex(mutex) { Lock(); }
  ~CMutexGuardT() { UnLock(); }
  CMutexGuardT(const CMutexGuardT&) = delete;
  CMutexGuardT& operator=(const CMutexGuardT&) = delete;

  void Lock() {
    if (!m_locked) m_mutex.Lock();
    m_locked = true;
  }
  void UnLock() {
    if (m_locked) m_mutex.UnLock();
    m_locked = false;
  }

 private:
  Mutex& m_mutex;
  bool m_locked = false;
};

}  // namespace TIRK_MCUC
