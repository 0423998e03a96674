// The whole daemon on a board in memory, in the fuzzer's own thread: a message goes through queue, envelope, dispatch
// and reply, and what it queued is applied before the call returns.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "stub/mcucmessagestruct.h"
#include "support/memory_board.h"

namespace TIRK_MCUC {
class McuIMDThread;
class McuProcessThread;
}  // namespace TIRK_MCUC

namespace fuzz {

constexpr uint32_t kClientTask = 0x010C0001;

class Daemon {
 public:
  static Daemon& instance();  // starts it on first use, on a new board whose FPGA is loaded

  MemoryBoard& board() { return m_board; }

  void start();       // what main does once there are threads, and the restore when the FPGA has been loaded
  void startAgain();  // a power cycle: board().reboot() and start
  void deliver(std::vector<uint8_t> datagram);  // a datagram from the bus
  void apply();                                 // what is queued, until nothing is
  void cycle();                                 // one of the flag thread's
  bool idle() const;                            // nothing is queued or being applied
  // Takes what a client may leave behind that ends the service: a requested reset or reboot, a lost FPGA, the
  // self-test.
  void serveAgain();
  void forgetReset();  // a reset that was asked for and has not begun

  // Envelope and frame with lengths and checksum that fit.
  static std::vector<uint8_t> datagram(TIRK_MCUC::ThirdProtoMCUCMsg frame, uint32_t sender = kClientTask);
  static TIRK_MCUC::ThirdProtoMCUCMsg readRequest(uint32_t address, uint16_t length);
  static TIRK_MCUC::ThirdProtoMCUCMsg writeRequest(uint32_t address, Bytes data);

 private:
  Daemon();

  MemoryBoard& m_board;
  std::shared_ptr<TIRK_MCUC::McuIMDThread> m_link;
  std::shared_ptr<TIRK_MCUC::McuProcessThread> m_worker;
};

}  // namespace fuzz
