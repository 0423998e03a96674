#include "mcucmutex.h"

#include <cassert>

namespace TIRK_MCUC {

CMutexThreadBase::CMutexThreadBase(int type) {
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
  [[maybe_unused]] const int result = pthread_mutex_lock(&m_mutex);
  assert(result == 0);
}

void CMutexThreadBase::UnLock() {
  [[maybe_unused]] const int result = pthread_mutex_unlock(&m_mutex);
  assert(result == 0);
}

bool CMutexThreadBase::TryLock() {
  return pthread_mutex_trylock(&m_mutex) == 0;
}

}  // namespace TIRK_MCUC
