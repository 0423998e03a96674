#include "mcucmutex.h"

#include <cassert>

namespace TIRK_MCUC {

CMutexThreadBase::CMutexThreadBase(int type, [[maybe_unused]] LockRank rank)
#ifndef NDEBUG
    : m_rank(rank)
#endif
{
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, type);
  pthread_mutex_init(&m_mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

CMutexThreadBase::~CMutexThreadBase() {
  pthread_mutex_destroy(&m_mutex);
}

void CMutexThreadBase::Lock() {
#ifndef NDEBUG
  lockorder::check(this, m_rank);
#endif
  [[maybe_unused]] const int result = pthread_mutex_lock(&m_mutex);
  assert(result == 0);
#ifndef NDEBUG
  lockorder::taken(this, m_rank);
#endif
}

void CMutexThreadBase::UnLock() {
#ifndef NDEBUG
  lockorder::released(this);
#endif
  [[maybe_unused]] const int result = pthread_mutex_unlock(&m_mutex);
  assert(result == 0);
}

bool CMutexThreadBase::TryLock() {
  if (pthread_mutex_trylock(&m_mutex) != 0) return false;
#ifndef NDEBUG
  lockorder::taken(this, m_rank);
#endif
  return true;
}

}  // namespace TIRK_MCUC
