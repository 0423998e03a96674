// A board in memory for fuzzers: the platform's operations without files, sockets or waiting. What a message of the
// daemon carries is checked as it is sent. One thread.
//
// Files of receiving cards alone are real: they lie in a temporary directory that is removed at the end.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "stub/mcucmessagestruct.h"
#include "support/memory.h"
#include "virtual/faults.h"

namespace fuzz {

class MemoryBoard {
 public:
  static constexpr uint32_t kFpgaSize = 256U << 20;
  static constexpr uint32_t kFlashSize = 32U << 20;
  static constexpr size_t kInputs = 3;
  using Edid = std::array<uint8_t, 256>;

  static MemoryBoard& instance();

  void makeNew();  // a new board, as it leaves the factory
  void reboot();   // the FPGA and the cards forget, an image of a factory reset becomes the flash

  // The FPGA's own bytes, which the daemon cannot write.
  void setStatus(uint32_t address, Bytes data) { fpga.write(address, data); }
  int writeFpga(uint32_t address, Bytes data);  // the daemon's: status registers keep what they hold
  static bool isStatus(uint32_t address);

  // What the daemon sent since the last call of expectReply: replies, whose envelope is the request's but for result
  // and length, and reports on its own initiative.
  void expectReply(const TIRK_MCUC::ipcHeaderInfo& request);
  int take(Bytes message);  // apipc_send
  size_t replies = 0;
  size_t reports = 0;
  std::vector<uint8_t> lastReply;  // the frame

  uint8_t* card(uint8_t kind, uint8_t port, uint16_t board);  // its registers, kCardSize; null when it is not there
  static constexpr size_t kCardSize = 4096;

  std::string path(const char* devicePath) const;  // in the temporary directory
  int shell(const char* command, std::string* output);

  vboard::Faults faults;
  Memory fpga;
  Memory flash;
  Memory factoryTmp;
  bool factoryTmpMade = false;
  std::map<std::string, std::string, std::less<>> env;
  std::array<std::optional<Edid>, kInputs> edids;
  std::optional<uint16_t> light;
  std::deque<std::vector<uint8_t>> queue;  // of the IPC library
  int64_t clockUs = 0;                     // since the epoch; what sleeps moves it on
  bool peersReachable = true;
  bool rebootAsked = false;

 private:
  MemoryBoard();
  ~MemoryBoard();
  TIRK_MCUC::ipcHeaderInfo m_request;
  std::string m_directory;
  std::vector<uint8_t> m_cards;
};

}  // namespace fuzz
