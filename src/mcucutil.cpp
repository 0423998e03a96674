#include "mcucutil.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "boardhost.h"
#include "mcuctrace.h"
#include "uniquefd.h"

namespace TIRK_MCUC {

namespace {

static_assert(sizeof(off_t) == 8, "files are large on every processor");

constexpr unsigned kThreadCreationFailed = 0x80005001;

void sleepTime(timespec left) {
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

struct HomeEnvironment {
  std::mutex mutex;
  std::string name = "HOME";
};

HomeEnvironment& homeEnvironment() {
  static NoDestroy<HomeEnvironment> environment;
  return environment.get();
}

}  // namespace

uint64_t GetTickCount() {
  timeval now{};
  board_clock_get(&now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_usec) / 1000;
}

int64_t monotonicUs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

int64_t monotonicMs() {
  return monotonicUs() / 1000;
}

void Sleep(unsigned long ms) {
  sleepTime({static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000});
}

void sleepUs(unsigned long us) {
  sleepTime({static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000) * 1000});
}

int runShell(const std::string& command) {
  return board_system(command.c_str());
}

std::string boardPath(const std::string& devicePath) {
  char path[PATH_MAX];
  return board_path(devicePath.c_str(), path, sizeof path) == 0 ? path : "";
}

std::string commandName(const char* fallback) {
  char command[257] = {};
  const UniqueFd file(open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC));
  if (!file || read(file.get(), command, sizeof command - 1) <= 0) return fallback;
  const char* slash = strrchr(command, '/');
  const char* name = slash != nullptr ? slash + 1 : command;
  return *name != '\0' ? name : fallback;
}

std::string get_exec_name() {
  static NoDestroy<std::string> name(commandName("defproc"));
  return name.get();
}

std::string get_process_name() {
  return get_exec_name();
}

void set_home_env(const char* name) {
  if (name == nullptr) return;
  HomeEnvironment& environment = homeEnvironment();
  const std::lock_guard guard(environment.mutex);
  environment.name = name;
}

const char* get_home_env() {
  HomeEnvironment& environment = homeEnvironment();
  const std::lock_guard guard(environment.mutex);
  const char* value = getenv(environment.name.c_str());
  return value != nullptr ? value : "";
}

unsigned startDetachedThread(void* (*body)(void*), void* argument, unsigned long* threadId,
                             const ThreadStartTexts& texts) {
  pthread_attr_t attributes;
  int error = pthread_attr_init(&attributes);
  if (error != 0) {
    TRACE_ERROR(texts.attrInitFailed << error);
    return kThreadCreationFailed;
  }
  const char* failure = texts.setDetachStateFailed;
  error = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread{};
  if (error == 0) {
    failure = texts.createFailed;
    error = pthread_create(&thread, &attributes, body, argument);
  }
  pthread_attr_destroy(&attributes);
  if (error != 0) {
    TRACE_ERROR(failure << error);
    return kThreadCreationFailed;
  }
  if (threadId != nullptr) *threadId = thread;
  return 0;
}

}  // namespace TIRK_MCUC
