// The operating system under the daemon, as the daemon sees it.
#include "boardhost.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "virtual/board.h"
#include "virtual/files.h"
#include "virtual/shell.h"

using namespace vboard;

namespace {

constexpr int64_t kMicroseconds = 1'000'000;

// One command with its fault and its line; the status, or the fault's code.
int runRecorded(const char* command, std::string& output) {
  ShellResult result;
  const auto line = [&] { return std::string("sh ") + command; };
  const int code = board().journal.record(line, [&] {
    if (const int fault = board().faults.next(Op::Shell); fault != 0) return fault;
    result = runShellCommand(command);
    return result.status;
  });
  // After its line: the journal tells of the reboot before it happens.
  if (code == 0 && result.reboot) rebootBoard();
  output = std::move(result.output);
  return code;
}

}  // namespace

extern "C" {

int board_open(void) {
  const char* const named = std::getenv("KADREND_BOARD");
  std::string error;
  if (openBoard(named != nullptr && *named != '\0' ? named : "./board", error) == 0) return 0;
  std::fprintf(stderr, "virtual board: %s\n", error.c_str());
  return -1;
}

int board_path(const char* device_path, char* out, size_t capacity) {
  if (device_path == nullptr || out == nullptr) return -1;
  const auto path = devicePath(device_path);
  if (!path || path->size() >= capacity) return -1;
  std::memcpy(out, path->c_str(), path->size() + 1);
  return 0;
}

// What was written is with the kernel, which outlives the daemon: only the board's own power is ever lost here.
int board_sync_file(int) {
  return 0;
}

int board_system(const char* command) {
  if (command == nullptr) return -1;
  std::string output;
  const int code = runRecorded(command, output);
  if (writeAll(STDOUT_FILENO, output) != 0) return code != 0 ? code : 1;
  return code;
}

int board_command_line(const char* command, char* line, size_t capacity) {
  if (command == nullptr || line == nullptr || capacity == 0) return -1;
  std::string output;
  const int code = runRecorded(command, output);
  line[0] = '\0';
  if (code < 0) return code;
  const size_t end = output.find('\n');
  const size_t length = std::min(end == std::string::npos ? output.size() : end + 1, capacity - 1);
  std::memcpy(line, output.data(), length);
  line[length] = '\0';
  return static_cast<int>(length);
}

int board_clock_get(struct timeval* now) {
  if (now == nullptr) return -1;
  const int64_t microseconds = board().clock.nowUs();
  now->tv_sec = static_cast<time_t>(microseconds / kMicroseconds);
  now->tv_usec = static_cast<suseconds_t>(microseconds % kMicroseconds);
  return 0;
}

int board_clock_set(const struct timeval* now) {
  if (now == nullptr || now->tv_sec < 0 || now->tv_sec > INT64_MAX / kMicroseconds - 1 || now->tv_usec < 0 ||
      now->tv_usec >= kMicroseconds) {
    return -1;
  }
  const int64_t microseconds = static_cast<int64_t>(now->tv_sec) * kMicroseconds + now->tv_usec;
  return board().journal.record([&] { return "clock set " + Clock::text(microseconds); },
                                [&] { return board().clock.set(microseconds); });
}

}  // extern "C"
