#include "support/daemon_fixture.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

extern char** environ;

namespace testing_support {

using namespace TIRK_MCUC;

namespace {

// Whether every thread of the process sleeps.
bool asleep(pid_t pid) {
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
    std::ifstream file(task.path() / "stat");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    if (const size_t name = text.rfind(')'); name != std::string::npos && text.at(name + 2) != 'S') return false;
  }
  return true;
}

}  // namespace

std::vector<std::string> command(const std::string& program) {
  const char* const emulator = std::getenv("KADREND_EMULATOR");
  if (emulator == nullptr) return {program};
  return {emulator, program};
}

std::string shellCommand(const std::string& program) {
  std::string line;
  for (const std::string& each : command(program)) line += "'" + each + "' ";
  return line;
}

DaemonTest::DaemonTest(std::string config, std::string option) : m_option(std::move(option)) {
  m_directory.put("board.conf", config);
}

DaemonTest::~DaemonTest() {
  kill9();
}

void DaemonTest::spawn() {
  ::setenv("KADREND_BOARD", board().c_str(), 1);
  const char* other = std::getenv("KADREND_DAEMON");
  std::vector<std::string> words = command(other != nullptr ? other : KADREND_DAEMON);
  if (!m_option.empty()) words.push_back(m_option);
  std::vector<char*> arguments;
  for (std::string& entry : words) arguments.push_back(entry.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (!m_output.empty()) {
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  } else {
    for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) posix_spawn_file_actions_addclose(&actions, fd);
  }
  const int result = posix_spawn(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (result != 0) throw std::runtime_error("the daemon cannot be started");
}

void DaemonTest::start() {
  spawn();
  connect();
}

void DaemonTest::connect() {
  const bool up = waitUntil([this] {
    try {
      m_monitor = std::make_unique<kadctl::MonitorClient>(board());
      m_client = std::make_unique<kadctl::BusClient>(board());
      // The first reply: a register outside every space is answered at once and changes nothing.
      return m_client->ask(kadctl::BusClient::request(kCodeRead, 0x02500000, 1, {}, {}), 500).has_value();
    } catch (const kadctl::ClientError&) {
      return false;
    }
  });
  if (!up) throw std::runtime_error("the daemon does not answer");
}

void DaemonTest::kill9() {
  m_client.reset();
  m_monitor.reset();
  if (m_pid <= 0) return;
  ::kill(m_pid, SIGKILL);
  ::waitpid(m_pid, nullptr, 0);
  m_pid = -1;
}

void DaemonTest::restart() {
  kill9();
  start();
}

ByteVector DaemonTest::read(uint32_t address, uint16_t length, const kadctl::Target& target) {
  return m_client->read(address, length, target);
}

void DaemonTest::write(uint32_t address, const ByteVector& data, const kadctl::Target& target) {
  m_client->write(address, data, target);
}

uint8_t DaemonTest::ack(const ThirdProtoMCUCMsg& request) {
  const auto reply = m_client->ask(request);
  if (!reply) throw std::runtime_error("no reply");
  return reply->frame.m_ucAck;
}

std::vector<std::string> DaemonTest::monitor(const std::string& line) {
  auto answer = m_monitor->command(line);
  m_lastCommand = std::chrono::steady_clock::now();
  return answer;
}

void DaemonTest::settle(int ms) {
  const auto quiet = std::chrono::milliseconds(ms);
  waitUntil([&] { return std::chrono::steady_clock::now() - m_lastCommand >= quiet; });
  const std::string idle = "idle " + std::to_string(ms);
  // A thread that is kept from the processor looks idle to the board.
  do {
    monitor(idle);
  } while (!waitUntil([this] { return asleep(m_pid); }, 1000));
  monitor(idle);
}

std::string DaemonTest::monitorLine(const std::string& line) {
  const auto lines = monitor(line);
  if (lines.size() != 1) throw std::runtime_error(line + ": " + std::to_string(lines.size()) + " lines");
  return lines[0];
}

ByteVector DaemonTest::fpga(uint32_t address, size_t length) {
  return fromHex(monitorLine("fpga read " + std::to_string(address) + " " + std::to_string(length)));
}

ByteVector DaemonTest::flash(uint32_t address, size_t length) {
  return fromHex(monitorLine("flash read " + std::to_string(address) + " " + std::to_string(length)));
}

void DaemonTest::setFpga(uint32_t address, const ByteVector& bytes) {
  monitor("fpga write " + std::to_string(address) + " " + toHex(bytes));
}

void DaemonTest::setFlash(uint32_t address, const ByteVector& bytes) {
  monitor("flash write " + std::to_string(address) + " " + toHex(bytes));
}

}  // namespace testing_support
