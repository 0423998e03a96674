// Small utilities: time, sleep, shell commands, board paths, process start helpers. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace TIRK_MCUC {

// Milliseconds of the board's wall clock.
uint64_t GetTickCount();

// Milliseconds and microseconds of the monotonic clock: what intervals are measured with.
int64_t monotonicMs();
int64_t monotonicUs();

// Sleeps the whole time, a signal in between included.
void Sleep(unsigned long ms);
void sleepUs(unsigned long us);

// Runs a shell command through the platform: its exit status, or -1. A failure is not logged.
int runShell(const std::string& command);

// The machine's path of an absolute device path; empty when it has none.
std::string boardPath(const std::string& devicePath);

// Base name of the first string of the process's command line (its first 256 bytes count), or `fallback` when it cannot
// be read.
std::string commandName(const char* fallback);
// The executable's base name; "defproc" when it cannot be read.
std::string get_exec_name();
std::string get_process_name();

// Name of the home-directory environment variable, "HOME" at first, and that variable's value ("" when unset).
void set_home_env(const char* name);
const char* get_home_env();

// Holds a T that is made on first use and never destroyed, so that detached threads may use it until the process ends.
//   static NoDestroy<Thing> thing;   // function-local
//   return thing.get();
template <class T>
class NoDestroy {
 public:
  template <class... Args>
  explicit NoDestroy(Args&&... args) {
    ::new (static_cast<void*>(m_storage)) T(std::forward<Args>(args)...);
  }
  NoDestroy(const NoDestroy&) = delete;
  NoDestroy& operator=(const NoDestroy&) = delete;
  ~NoDestroy() = default;
  T& get() { return *std::launder(reinterpret_cast<T*>(m_storage)); }

 private:
  alignas(T) unsigned char m_storage[sizeof(T)];
};

// Starts `body(argument)` on a detached POSIX thread. 0 and the thread's id, or 0x80005001 after an Error line: one of
// the three texts followed by the error number.
struct ThreadStartTexts {
  const char* attrInitFailed;
  const char* setDetachStateFailed;
  const char* createFailed;
};
unsigned startDetachedThread(void* (*body)(void*), void* argument, unsigned long* threadId,
                             const ThreadStartTexts& texts);

}  // namespace TIRK_MCUC
