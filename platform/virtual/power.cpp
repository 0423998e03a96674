#include "virtual/power.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "virtual/board.h"
#include "virtual/cards.h"
#include "virtual/files.h"

namespace vboard {

namespace {

constexpr const char* kLoadedFlag = "/etc/init.d/flag_fpgaload";
// There while a reboot is under way: what it does to the board is done by the next process, in which no thread of this
// one can write any more, and is done even if this one is killed.
constexpr const char* kRebooting = "rebooting";

std::atomic<void (*)()> g_restartHandler{nullptr};
sigset_t g_signalMask;

void makeLoadedFlag() {
  try {
    if (openFile(ownPath(kLoadedFlag), O_WRONLY | O_CREAT)) return;
    std::fprintf(stderr, "virtual board: cannot make \"root%s\": %s\n", kLoadedFlag, systemError().c_str());
  } catch (const std::runtime_error& problem) {
    std::fprintf(stderr, "virtual board: %s\n", problem.what());
  }
}

void powerOn() {
  board().flash.takeFactoryTmp();
  board().fpga.clear();
  board().cards->clearRegisters();
  if (::unlink(ownPath(kLoadedFlag).c_str()) != 0 && errno != ENOENT) {
    throw std::runtime_error(std::string("cannot remove \"root") + kLoadedFlag + "\": " + systemError());
  }
}

[[noreturn]] void restart() {
  auto text = readFile("/proc/self/cmdline");
  std::vector<char*> arguments;
  // Where the processor is emulated, what runs is the emulator, with the daemon as its first argument.
  char* const emulator = std::getenv("KADREND_EMULATOR");
  if (emulator != nullptr) arguments.push_back(emulator);
  for (size_t at = 0; text && at < text->size(); at = text->find('\0', at) + 1) arguments.push_back(text->data() + at);
  arguments.push_back(nullptr);
  ::pthread_sigmask(SIG_SETMASK, &g_signalMask, nullptr);
  if (text && !text->empty()) {
    // By its path, so that the process keeps its name; by the link when the program is no longer there.
    std::error_code problem;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", problem);
    ::execv(emulator != nullptr ? emulator : program.c_str(), arguments.data());
    if (emulator == nullptr) ::execv("/proc/self/exe", arguments.data());
  }
  std::fprintf(stderr, "virtual board: the daemon cannot be started again: %s\n", systemError().c_str());
  ::_exit(EXIT_FAILURE);
}

}  // namespace

void startFpgaLoad(int delayMs) {
  struct stat info = {};
  if (delayMs < 0 || ::lstat(ownPath(kLoadedFlag).c_str(), &info) == 0) return;
  try {
    std::thread([delayMs] {
      std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
      makeLoadedFlag();
    }).detach();
  } catch (const std::system_error& problem) {
    throw std::runtime_error(std::string("no thread for the FPGA's load time: ") + problem.what());
  }
}

void finishReboot() {
  const std::string marker = boardFile(kRebooting);
  if (!readFile(marker)) return;
  powerOn();
  if (::unlink(marker.c_str()) != 0) throw std::runtime_error("cannot end the reboot: " + systemError());
}

void rememberForRestart() {
  ::pthread_sigmask(SIG_SETMASK, nullptr, &g_signalMask);
}

void setRestartHandler(void (*handler)()) {
  g_restartHandler = handler;
}

void rebootBoard() {
  static std::mutex once;
  const std::lock_guard guard(once);
  if (void (*const handler)() = g_restartHandler.load(); handler != nullptr) {
    powerOn();
    handler();
    return;
  }
  if (replaceFile(boardFile(kRebooting), "") != 0) {
    std::fprintf(stderr, "virtual board: cannot reboot: %s\n", systemError().c_str());
    ::_exit(EXIT_FAILURE);
  }
  restart();
}

}  // namespace vboard
