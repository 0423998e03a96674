// The daemon's mutexes. Any thread.
//
// Lock order, outermost first: StubUtil::m_stubMenux, the work-queue list, Tprocess_ctl::m_mutex, Data_Global::m_mutex,
// the brightness class's mutex, the driver's read mutex, the trace mutex (a leaf).
#pragma once

#include <pthread.h>

namespace TIRK_MCUC {

// One POSIX mutex. Lock and UnLock cannot fail on a mutex that is used as its class says.
class CMutexThreadBase {
 public:
  CMutexThreadBase(const CMutexThreadBase&) = delete;
  CMutexThreadBase& operator=(const CMutexThreadBase&) = delete;
  virtual ~CMutexThreadBase();

  void Lock();
  void UnLock();
  bool TryLock();  // true: locked

  pthread_mutex_t* native() { return &m_mutex; }  // for a condition variable

 protected:
  explicit CMutexThreadBase(int type);

 private:
  pthread_mutex_t m_mutex;
};

class CMutexThreadRecursive : public CMutexThreadBase {
 public:
  CMutexThreadRecursive() : CMutexThreadBase(PTHREAD_MUTEX_RECURSIVE) {}
};

class CMutexThread : public CMutexThreadBase {
 public:
  CMutexThread() : CMutexThreadBase(PTHREAD_MUTEX_NORMAL) {}
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
