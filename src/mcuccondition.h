// Waiting for an event of another thread: one condition variable over the daemon's mutexes. Any thread.
#pragma once

#include <pthread.h>

#include "mcucmutex.h"

namespace TIRK_MCUC {

class CCondition {
 public:
  CCondition() { pthread_cond_init(&m_condition, nullptr); }
  ~CCondition() { pthread_cond_destroy(&m_condition); }
  CCondition(const CCondition&) = delete;
  CCondition& operator=(const CCondition&) = delete;

  // The caller holds `mutex`, a recursive one exactly once. May return without a notification: wait in a loop.
  void wait(CMutexThreadBase& mutex) { pthread_cond_wait(&m_condition, mutex.native()); }
  void notifyOne() { pthread_cond_signal(&m_condition); }

 private:
  pthread_cond_t m_condition;
};

}  // namespace TIRK_MCUC
