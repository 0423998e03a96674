// The board access library, but for the cards behind the output ports.
#include "boardaccess.h"

#include <atomic>

#include "virtual/board.h"

using namespace vboard;

namespace {

constexpr int kMainBus = 1;
std::atomic<bool> g_flashReady{false};

std::string writeLine(const char* what, uint32_t address, Bytes data) {
  return std::string(what) + " w " + journalAddress(address) + " " + std::to_string(data.size()) + journalHex(data);
}

// One write of the daemon: with its fault, its line and its sign of life.
template <class Write>
int recordedWrite(const char* what, Op op, uint32_t address, Bytes data, const Write& write) {
  const int code = board().journal.record([&] { return writeLine(what, address, data); },
                                          [&] {
                                            const int fault = board().faults.next(op);
                                            return fault != 0 ? fault : write();
                                          });
  board().activity.touch();
  return code;
}

}  // namespace

extern "C" {

// The virtual FPGA has nothing to report that the monitor does not set.
int FPGA_UDP_Init(void) {
  return 0;
}

int Flash_Init(void) {
  const int fault = board().faults.next(Op::FlashInit);
  if (fault == 0) g_flashReady = true;
  return fault;
}

int WriteFPGABlock(int bus, uint32_t addr, uint16_t length, const uint8_t* data) {
  if (data == nullptr) return -1;
  return recordedWrite("fpga", Op::FpgaWrite, addr, {data, length}, [&] {
    return bus == kMainBus ? board().fpga.writeFromDaemon(addr, {data, length}) : -1;
  });
}

int ReadFPGABlock(int bus, uint32_t addr, uint16_t length, uint8_t* data) {
  if (const int fault = board().faults.next(Op::FpgaRead); fault != 0) return fault;
  if (bus != kMainBus || data == nullptr) return -1;
  return board().fpga.read(addr, {data, length});
}

int ReadDataFromFlashx(uint32_t addr, uint32_t length, uint8_t* data) {
  if (const int fault = board().faults.next(Op::FlashRead); fault != 0) return fault;
  if (!g_flashReady || data == nullptr) return -1;
  return board().flash.read(addr, {data, length});
}

int WriteDataToFlashx(uint32_t addr, uint32_t length, const uint8_t* data) {
  if (data == nullptr) return -1;
  return recordedWrite("flash", Op::FlashWrite, addr, {data, length}, [&] {
    if (!g_flashReady) return -1;
    if (board().flash.programming) board().flash.programming(addr, {data, length});
    return board().flash.write(addr, {data, length});
  });
}

int board_flash_peek(uint32_t addr, uint32_t length, uint8_t* data) {
  return g_flashReady && data != nullptr ? board().flash.read(addr, {data, length}) : -1;
}

int WriteDataToFactoryTmpFlashx(uint32_t addr, uint32_t length, const uint8_t* data) {
  if (data == nullptr) return -1;
  return recordedWrite("factory", Op::FlashWrite, addr, {data, length}, [&] {
    if (!g_flashReady) return -1;
    if (board().flash.patching) board().flash.patching(addr, {data, length});
    return board().flash.writeFactoryTmp(addr, {data, length});
  });
}

}  // extern "C"
