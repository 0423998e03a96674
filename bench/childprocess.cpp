#include "childprocess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace bench {

namespace fs = std::filesystem;

namespace {

long statusField(const fs::path& status, const std::string& field) {
  std::ifstream file(status);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(field + ":", 0) == 0) return std::strtol(line.c_str() + field.size() + 1, nullptr, 10);
  }
  return 0;
}

}  // namespace

ChildProcess::ChildProcess(const std::function<void()>& body) : m_pid(::fork()) {
  if (m_pid < 0) throw std::runtime_error("fork");
  if (m_pid == 0) {
    try {
      body();
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "%s\n", failure.what());
      ::_exit(1);
    }
    ::_exit(0);
  }
}

ChildProcess::~ChildProcess() {
  if (m_pid <= 0) return;
  ::kill(m_pid, SIGKILL);
  ::waitpid(m_pid, nullptr, 0);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : m_pid(std::exchange(other.m_pid, -1)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  std::swap(m_pid, other.m_pid);
  return *this;
}

ScratchDirectory::ScratchDirectory() {
  std::string pattern = (fs::temp_directory_path() / "kadrend-bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
  m_path = pattern;
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

ChildProcess startProgram(const std::string& program, const std::string& argument) {
  return ChildProcess([&] {
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDOUT_FILENO);
    ::execl(program.c_str(), program.c_str(), argument.empty() ? nullptr : argument.c_str(), nullptr);
    ::_exit(127);
  });
}

ChildProcess startDaemon(const std::string& board) {
  ::setenv("KADREND_BOARD", board.c_str(), 1);
  return startProgram(KADREND_DAEMON);
}

std::vector<double> inChild(const std::function<std::vector<double>()>& body) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("pipe");
  const ChildProcess child([&] {
    ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);  // the trace's echo is no part of the table
    const std::vector<double> values = body();
    const size_t bytes = values.size() * sizeof(double);
    if (::write(ends[1], values.data(), bytes) != static_cast<ssize_t>(bytes)) ::_exit(1);
  });
  ::close(ends[1]);
  std::vector<double> values(64);
  const ssize_t bytes = ::read(ends[0], values.data(), values.size() * sizeof(double));
  ::close(ends[0]);
  if (bytes <= 0) throw std::runtime_error("a measuring process failed");
  values.resize(static_cast<size_t>(bytes) / sizeof(double));
  return values;
}

long residentKb(pid_t pid) {
  return statusField("/proc/" + std::to_string(pid) + "/status", "VmRSS");
}

long voluntarySwitches(pid_t pid) {
  long sum = 0;
  for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
    sum += statusField(task.path() / "status", "voluntary_ctxt_switches");
  }
  return sum;
}

}  // namespace bench
