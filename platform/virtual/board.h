// The virtual board: one directory that holds the board's state, and the parts that read and change it.
//
// Each part has two faces: the platform's C functions, which the daemon calls (faults, read-only registers, journal and
// activity apply), and a back door for the monitor console (none of them applies). Any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <span>
#include <string>
#include <vector>

#include "llinput.h"
#include "virtual/faults.h"
#include "virtual/journal.h"

namespace vboard {

using Bytes = std::span<const uint8_t>;
using MutableBytes = std::span<uint8_t>;

// board.conf
struct Config {
  uint8_t cardPosition = 1;
  int fpgaLoadMs = 100;  // -1: never by itself
  bool journal = false;
  struct Input {
    int slot;  // 0..6
    en_if_t type;
  };
  std::vector<Input> inputs{{0, EN_IF_T_DDVI}, {1, EN_IF_T_HDMI14}, {2, EN_IF_T_DDVI}};
};
// Empty and `error` ("line N: ...") for an unknown key or a bad value. A key given twice takes the last value.
std::optional<Config> parseConfig(const std::string& text, std::string& error);

// When the daemon last received or sent a message or wrote to FPGA, flash, cards or environment.
class Activity {
 public:
  Activity() { touch(); }
  void touch();
  int64_t quietMs() const;  // since the last touch

 private:
  std::atomic<int64_t> m_lastUs{0};
};

// FPGA registers and memory, the file "fpga": 256 MiB, sparse. One call is atomic for its bytes.
class Fpga {
 public:
  static constexpr uint32_t kSize = 256U << 20;
  void open();                                         // throws std::runtime_error with what is wrong
  int read(uint32_t address, MutableBytes out) const;  // 0, or -1 outside the memory
  int write(uint32_t address, Bytes data);             // back door: status registers too
  int writeFromDaemon(uint32_t address, Bytes data);   // status registers keep what they hold
  void clear();                                        // power-on

  int fd = -1;

 private:
  int writeUnlocked(uint32_t address, Bytes data);
  mutable std::shared_mutex m_mutex;
};

// The flash image and the factory images. One call is atomic for its bytes.
class Flash {
 public:
  static constexpr uint32_t kSize = 32U << 20;
  void open();  // makes the images that are missing; throws std::runtime_error with what is wrong
  // A temporary factory image, if there is one, becomes the flash. -1 and a message on standard error when it is not a
  // whole image or cannot be moved.
  int takeFactoryTmp();
  int read(uint32_t address, MutableBytes out) const;
  int write(uint32_t address, Bytes data);
  int writeFactoryTmp(uint32_t address, Bytes data);  // -1 when there is no temporary image

  // For tests, which set it before the daemon writes: told of each write of the daemon just before it is made.
  std::function<void(uint32_t address, Bytes data)> programming;
  std::function<void(uint32_t address, Bytes data)> patching;  // the same for the temporary factory image

  int fd = -1;

 private:
  mutable std::shared_mutex m_mutex;
};

// The environment store. The file is read at each call, so that it may be edited while the board runs.
class Env {
 public:
  void open();  // makes the store of a new board; throws std::runtime_error with what is wrong
  std::optional<std::string> get(const std::string& key);
  // 0; replaced atomically. -1: an empty key, one with '=', a line end in either, or the file cannot be replaced.
  int set(const std::string& key, const std::string& value);
  int unset(const std::string& key);  // -1 when absent

 private:
  std::mutex m_mutex;
};

// The board's clock: the machine's, with an offset kept in the file "clock".
class Clock {
 public:
  void open();                    // throws std::runtime_error with what is wrong
  int64_t nowUs() const;          // since the epoch
  int set(int64_t microseconds);  // 0, or -1 when it cannot be stored

  // Local time by strftime's format; empty when it cannot be told.
  static std::string text(int64_t microseconds, const char* format = "%Y-%m-%d %H:%M:%S");

  std::atomic<int64_t> offsetUs{0};

 private:
  std::mutex m_mutex;  // one setting at a time: the file and the offset agree
};

// The status store: register values that other daemons look up, the file "status".
class StatusStore {
 public:
  int set(uint32_t address, Bytes value);  // 0, or -1 when it cannot be stored

 private:
  std::mutex m_mutex;
};

class Cards;   // virtual/cards.h
class Inputs;  // virtual/inputs.h
class Lights;  // virtual/lights.h
class Bus;     // virtual/bus.h

struct Board {
  Board();
  ~Board();

  std::string directory;  // as given
  int directoryFd = -1;   // names below it are opened relative to it, so that its path may be of any length
  Config config;
  Faults faults;
  Journal journal;
  Activity activity;
  Fpga fpga;
  Flash flash;
  Env env;
  Clock clock;
  StatusStore status;
  std::unique_ptr<Cards> cards;
  std::unique_ptr<Inputs> inputs;
  std::unique_ptr<Lights> lights;
  std::unique_ptr<Bus> bus;
};

// The one board of the process. Requires a successful openBoard.
Board& board();

// Opens or makes the board in `directory`: locks it, reads board.conf, makes what is missing, starts the FPGA-load
// timer and the monitor console. 0, or -1 and what was wrong. board_open() calls it with $KADREND_BOARD or "./board";
// tests call it with a directory of their own.
int openBoard(const std::string& directory, std::string& error);

// What `reboot -f` and the monitor's reboot do: swaps the factory image in, clears the FPGA and the cards' registers,
// removes the flag file, and starts the process again in place. Does not return, unless a test has set a handler, which
// is then called in place of the restart.
void rebootBoard();
void setRestartHandler(void (*handler)());

// Relative to the board's directory: "/proc/self/fd/N/" + name, short enough for a socket address.
std::string boardFile(const std::string& name);

}  // namespace vboard
