#include "driverutil.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>

#include "boardaccess.h"
#include "boardhost.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "pendingsave.h"

namespace TIRK_MCUC {

namespace {

constexpr int kMainBus = 1;
constexpr int kAttempts = 3;
constexpr unsigned long kRetryPauseUs = 100;
constexpr uint32_t kPieceLength = 1024;
constexpr uint32_t kLongestBlock = 65535;
constexpr size_t kCommandLineLength = 64;
constexpr uint64_t kAddressSpace = uint64_t{1} << 32;

// The last attempt's result.
template <class Access>
int tryThreeTimes(Access access) {
  int result = -1;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    result = access();
    if (result == 0) break;
    sleepUs(kRetryPauseUs);
  }
  return result;
}

bool isBlock(const char* operation, const uint8_t* data, uint32_t length) {
  if ((data != nullptr || length == 0) && length <= kLongestBlock) return true;
  TRACE_ERROR("=== " << operation << " ===" << (length > kLongestBlock ? "block too long" : "no data")
                     << "! length = " << length);
  return false;
}

// `piece(offset, length)` in pieces of at most 1024 bytes, until one fails.
template <class Piece>
int inPieces(uint32_t addr, uint32_t length, Piece piece) {
  if (addr + uint64_t{length} > kAddressSpace) {
    TRACE_ERROR("=== FPGA data block ===leaves the address space! addr = " << addr << " length = " << length);
    return -1;
  }
  int result = -1;
  for (uint32_t offset = 0; offset < length; offset += kPieceLength) {
    result = piece(offset, std::min(kPieceLength, length - offset));
    if (result < 0) break;
  }
  return result;
}

}  // namespace

const char* const FpgaStatusDir = "/bin/cat /sys/class/fpga/fpga_conf";

DriverUtil* DriverUtil::getInstance() {
  static NoDestroy<DriverUtil> instance;
  return &instance.get();
}

bool DriverUtil::initialize() {
  TRACE_INFO("============================= Begin pmxpara file init ===========================");
  if (Flash_Init() != 0) {
    TRACE_ERROR("pmxpara file fail");
    return false;
  }
  PendingSave::redo([](uint32_t address, uint32_t length, const uint8_t* data) {
    return getInstance()->WriteDataToFlash(address, length, data);
  });
  TRACE_INFO("============================= Finish pmxpara file init ===========================");
  return true;
}

// --- FPGA bus

void DriverUtil::judgeFpgaState(const char* failureLine) {
  TRACE_ERROR(failureLine);
  const int status = ReadFpgaStatus(FpgaStatusDir);
  if (status == -1) {
    TRACE_ERROR(">>>>>>>>>>>>>>>>>>>>>Read FPGA Status Err<<<<<<<<<<<<<<<<<<<");
  } else if (status != 0) {
    TRACE_ERROR(">>>>>>>>>>>>>>>>>>>>>Read FPGA Status Up<<<<<<<<<<<<<<<<<<<");
    FpgaDownFlg = false;
  } else {
    TRACE_ERROR(">>>>>>>>>>>>>>>>>>>>>Read FPGA Status Down<<<<<<<<<<<<<<<<<<<");
    FpgaDownFlg = true;
  }
}

int DriverUtil::WriteFPGABusBlock(uint32_t addr, const uint8_t* data, uint32_t length) {
  if (FpgaDownFlg || !isBlock("WriteFPGABusBlock", data, length)) return -1;
  const auto write = [&] { return WriteFPGABlock(kMainBus, addr, static_cast<uint16_t>(length), data); };
  if (tryThreeTimes(write) == 0) return 0;
  judgeFpgaState(">>>>>>>>>>>>>>>>>>>>> FPGA Write Fail<<<<<<<<<<<<<<<<<<<");
  return -1;
}

int DriverUtil::ReadFPGABusBlock(uint32_t addr, uint8_t* data, uint32_t length) {
  CMutexGuardT guard(m_mutex_read);
  if (FpgaDownFlg || !isBlock("ReadFPGABusBlock", data, length)) return -1;
  const auto read = [&] { return ReadFPGABlock(kMainBus, addr, static_cast<uint16_t>(length), data); };
  if (tryThreeTimes(read) == 0) return 0;
  judgeFpgaState(">>>>>>>>>>>>>>>>>>>>> FPGA Read Fail<<<<<<<<<<<<<<<<<<<");
  return -1;
}

int DriverUtil::WriteFPGABusOneWord(uint32_t addr, uint8_t data) {
  return WriteFPGABusBlock(addr, &data, 1);
}

int DriverUtil::ReadFPGABusOneWord(uint32_t addr, uint8_t* data) {
  return ReadFPGABusBlock(addr, data, 1);
}

int DriverUtil::FPGAC5_WriteOneWord(int, int, uint32_t addr, uint8_t data) {
  return WriteFPGABusOneWord(addr, data);
}

uint8_t DriverUtil::FPGAC5_ReadOneWord(int, int, uint32_t addr) {
  uint8_t data = 0;
  return ReadFPGABusOneWord(addr, &data) == 0 ? data : 0;
}

int DriverUtil::FPGAC5_WriteDataBlock(int, int, uint32_t addr, uint32_t length, const uint8_t* data) {
  return inPieces(addr, length, [&](uint32_t offset, uint32_t count) {
    return WriteFPGABusBlock(addr + offset, data + offset, count);
  });
}

int DriverUtil::FPGAC5_ReadDataBlock(int, int, uint32_t addr, uint32_t length, uint8_t* data) {
  return inPieces(addr, length, [&](uint32_t offset, uint32_t count) {
    return ReadFPGABusBlock(addr + offset, data + offset, count);
  });
}

// --- Flash

int DriverUtil::ReadBytesFromFlash(uint32_t addr, uint32_t length, uint8_t* data) {
  TRACE_INFO("ReadBytesFromFlash: start address = " << addr << " length = " << length);
  return tryThreeTimes([&] { return ReadDataFromFlashx(addr, length, data); });
}

int DriverUtil::ReadBytesFromFlash(int, uint32_t addr, uint32_t length, uint8_t* data) {
  return ReadBytesFromFlash(addr, length, data);
}

int DriverUtil::WriteDataToFlash(uint32_t addr, uint32_t length, const uint8_t* data) {
  TRACE_INFO("WriteDataToFlash: start address = " << addr << " length = " << length);
  const PendingSave pending({{addr, Bytes(data, data == nullptr ? 0 : length)}});
  return tryThreeTimes([&] { return WriteDataToFlashx(addr, length, data); });
}

int DriverUtil::WriteDataToFlash(int, uint32_t addr, uint32_t length, const uint8_t* data) {
  return WriteDataToFlash(addr, length, data);
}

int DriverUtil::PageProgram(int, uint32_t addr, uint32_t n, const uint8_t* data) {
  return WriteDataToFlash(addr, n, data);
}

int DriverUtil::WriteDataToFactoryTmpFlash(uint32_t addr, uint32_t length, const uint8_t* data) {
  TRACE_INFO("WriteDataToFactoryTmpFlash: start address = " << addr << " length = " << length);
  return tryThreeTimes([&] { return WriteDataToFactoryTmpFlashx(addr, length, data); });
}

// --- Shell

int DriverUtil::run_command_return_string(const char* cmd, char* result, int capacity) {
  if (cmd == nullptr) {
    TRACE_INFO("cmd is null, exit.");
    return -1;
  }
  if (result == nullptr || capacity <= 0) {
    TRACE_INFO("result is null, exit.");
    return -1;
  }
  char line[kCommandLineLength] = {};
  const int length = board_command_line(cmd, line, sizeof line);
  if (length < 0) {
    TRACE_INFO("popen error. cmd:" << cmd);
    return -1;
  }
  chomp(line);
  if (length == 0 || line[0] == '\0') return -1;
  const size_t count = std::min(strlen(line), static_cast<size_t>(capacity) - 1);
  memcpy(result, line, count);
  result[count] = '\0';
  return 0;
}

int DriverUtil::ReadFpgaStatus(const char* cmd) {
  char text[kCommandLineLength] = {};
  const int result = run_command_return_string(cmd, text, sizeof text);
  if (result != 0) return result;
  const char* begin = text;
  const char* end = text + strlen(text);
  const auto isBlank = [](char c) { return isspace(static_cast<unsigned char>(c)) != 0; };
  while (begin != end && isBlank(*begin)) ++begin;
  while (begin != end && isBlank(end[-1])) --end;
  int value = -1;
  const auto [last, error] = std::from_chars(begin, end, value);
  if (error != std::errc() || last != end) value = -1;
  TRACE_INFO("=== ====== Read Fpga Status para = " << value << "  =========");
  return value;
}

void DriverUtil::chomp(char* s) {
  if (s == nullptr) return;
  for (const char lineEnd : {'\n', '\r'}) {
    if (char* last = strrchr(s, lineEnd)) *last = '\0';
  }
}

}  // namespace TIRK_MCUC
