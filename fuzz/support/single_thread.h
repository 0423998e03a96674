// The daemon's process without threads and without waiting: no thread that it starts runs, no sleep lasts, and a wait
// for another thread ends by an exception, for there is none. The linker puts these in the C library's place
// (--wrap=pthread_create, pthread_cond_wait, nanosleep and sched_yield).
#pragma once

#include <vector>

namespace fuzz {

// A wait that nothing will end. Thrown by pthread_cond_wait, the mutex held.
struct NothingToDo {};

// A thread that was to start.
struct StartedThread {
  void* (*body)(void*);
  void* argument;
};
std::vector<StartedThread>& startedThreads();

}  // namespace fuzz
