#include "virtual/board.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

#include "virtual/bus.h"
#include "virtual/cards.h"
#include "virtual/files.h"
#include "virtual/inputs.h"
#include "virtual/lights.h"
#include "virtual/monitor.h"
#include "virtual/power.h"
namespace vboard {

namespace {

constexpr const char* kDirectories[] = {
    "/log",
    "/tmp",
    "/root/.config/Tirkon",
    "/etc/init.d",
    "/data/tirk/etc/sysconf",
    "/data/tirk/etc/qxt/cabCfg",
    "/sys/class/fpga",
    "/usr/pmx100/bin/wpr/bin/Configure",
};
constexpr const char* kFpgaState = "/sys/class/fpga/fpga_conf";
constexpr const char* kNewConfig =
    "# Settings of this virtual board. They are read when the daemon starts.\n"
    "card_position = 1\n"
    "fpga_load_ms = 100    # after power-on; -1: never by itself\n"
    "journal = off\n"
    "# The fitted input boards, slots 0 to 6: dvi, ddvi, hdmi14, sdi3g or vga. Without any such line:\n"
    "# input 0 = ddvi\n"
    "# input 1 = hdmi14\n"
    "# input 2 = ddvi\n";

// Made once and never destroyed: threads use it until the process ends.
Board* g_board = nullptr;

int64_t monotonicUs() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

void lock(const Board& board) {
  if (::flock(board.directoryFd, LOCK_EX | LOCK_NB) == 0) return;
  if (errno == EWOULDBLOCK) throw std::runtime_error("another daemon runs on it");
  throw std::runtime_error("cannot lock it: " + systemError());
}

void readConfig(Board& board) {
  auto text = readFile(boardFile("board.conf"));
  if (!text && errno == ENOENT) {
    text = kNewConfig;
    if (replaceFile(boardFile("board.conf"), *text) != 0) {
      throw std::runtime_error("cannot make \"board.conf\": " + systemError());
    }
  }
  if (!text) throw std::runtime_error("cannot read \"board.conf\": " + systemError());
  std::string problem;
  auto config = parseConfig(*text, problem);
  if (!config) throw std::runtime_error("board.conf, " + problem);
  board.config = std::move(*config);
}

[[noreturn]] void complain(const std::string& what, const std::string& name) {
  throw std::runtime_error(what + " \"" + name + "\": " + systemError());
}

void makeTree() {
  for (const char* name : {"root", "bus"}) {
    if (makeDirectory(boardFile(name)) != 0) complain("cannot make", name);
  }
  for (const char* path : kDirectories) {
    if (makeDeviceDirectory(path) != 0) complain("cannot make", std::string("root") + path);
  }
  const std::string state = ownPath(kFpgaState);
  struct stat info = {};
  if (::lstat(state.c_str(), &info) == 0) return;
  if (replaceFile(state, "1\n") != 0) complain("cannot make", std::string("root") + kFpgaState);
}

void openParts(Board& board) {
  lock(board);
  readConfig(board);
  makeTree();
  board.clock.open();
  board.env.open();
  board.flash.open();
  board.fpga.open();
  board.inputs = std::make_unique<Inputs>(board.config);
  board.lights = std::make_unique<Lights>();
  board.cards = std::make_unique<Cards>();
  board.bus = std::make_unique<Bus>();
  board.journal.open(board.config.journal);
  finishReboot();
}

}  // namespace

void Activity::touch() {
  m_lastUs.store(monotonicUs(), std::memory_order_relaxed);
}

int64_t Activity::quietMs() const {
  return (monotonicUs() - m_lastUs.load(std::memory_order_relaxed)) / 1000;
}

Board::Board() = default;

Board::~Board() {
  for (const int fd : {fpga.fd, flash.fd, directoryFd}) {
    if (fd >= 0) ::close(fd);
  }
}

Board& board() {
  return *g_board;
}

std::string boardFile(const std::string& name) {
  return "/proc/self/fd/" + std::to_string(board().directoryFd) + "/" + name;
}

int openBoard(const std::string& directory, std::string& error) {
  if (g_board != nullptr) {
    error = "this process has opened the board in \"" + board().directory + "\" already";
    return -1;
  }
  auto fresh = std::make_unique<Board>();
  try {
    // Whatever the daemon makes below its root is its owner's alone, too.
    ::umask(S_IRWXG | S_IRWXO);
    fresh->directory = directory;
    fresh->directoryFd = openDirectory(directory).release();
    if (fresh->directoryFd < 0) throw std::runtime_error("cannot open the directory: " + systemError());
    g_board = fresh.get();  // the parts reach their files through it
    openParts(*fresh);
    rememberForRestart();
    static_cast<void>(fresh.release());  // from here on, threads use it
    startFpgaLoad(board().config.fpgaLoadMs);
    startMonitor();
  } catch (const std::exception& problem) {
    if (fresh) g_board = nullptr;
    error = "the board in \"" + directory + "\": " + problem.what();
    return -1;
  }
  return 0;
}

}  // namespace vboard
