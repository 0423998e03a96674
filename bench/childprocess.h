// A child process that is ended with its object: the daemon on a board, or a yardstick's server.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

class ChildProcess {
 public:
  ChildProcess() = default;
  explicit ChildProcess(const std::function<void()>& body);  // forked; the body runs in the child
  ~ChildProcess();
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&& other) noexcept;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  pid_t pid() const { return m_pid; }

 private:
  pid_t m_pid = -1;
};

// A temporary directory that is removed with its object.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
};

// Starts a program that writes its standard output nowhere. Returns at once.
ChildProcess startProgram(const std::string& program, const std::string& argument = "");
// The daemon on `board`.
ChildProcess startDaemon(const std::string& board);

// Runs `body` in a child process whose standard output goes nowhere, and returns what it returns there. Throws when the
// child fails.
std::vector<double> inChild(const std::function<std::vector<double>()>& body);

long residentKb(pid_t pid);         // kB
long voluntarySwitches(pid_t pid);  // of all threads: how often they went to sleep

}  // namespace bench
