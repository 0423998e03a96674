#include "support/single_thread.h"

#include <pthread.h>

#include <ctime>

#include "support/memory_board.h"

namespace fuzz {

std::vector<StartedThread>& startedThreads() {
  static auto& threads = *new std::vector<StartedThread>();  // as what the threads would hold
  return threads;
}

}  // namespace fuzz

extern "C" {

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t*, void* (*body)(void*), void* argument);
int __wrap_pthread_cond_wait(pthread_cond_t*, pthread_mutex_t*);
int __wrap_nanosleep(const timespec* duration, timespec*);
int __wrap_sched_yield();

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t*, void* (*body)(void*), void* argument) {
  fuzz::startedThreads().push_back({body, argument});
  *thread = pthread_self();
  return 0;
}

int __wrap_pthread_cond_wait(pthread_cond_t*, pthread_mutex_t*) {
  throw fuzz::NothingToDo();
}

int __wrap_nanosleep(const timespec* duration, timespec*) {
  fuzz::MemoryBoard::instance().clockUs += int64_t{duration->tv_sec} * 1000000 + duration->tv_nsec / 1000;
  return 0;
}

int __wrap_sched_yield() {
  return 0;
}

}  // extern "C"
