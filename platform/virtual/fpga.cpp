#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "virtual/board.h"
#include "virtual/files.h"

namespace vboard {

namespace {

struct Range {
  uint32_t first;
  uint32_t end;
};
// The FPGA sets these itself; in ascending order.
constexpr Range kStatusRegisters[] = {
    {0x1E, 0x20},          // redundancy, copper link of ports 0..3
    {0x9E, 0xA0},          // the same of ports 4..7
    {0x120, 0x122},        // redundancy of ports 8..15
    {0x126, 0x128},        // copper link of ports 8..15
    {0x1D7, 0x1D8},        // optical link
    {0x1E0, 0x1E2},        // status words
    {0x1F2, 0x1FC},        // fibre links and status words
    {0xF04000, 0xF04004},  // fibre link words
    {0xF05100, 0xF05104},  // copper link words
};

bool inside(uint32_t address, size_t length) {
  return address <= Fpga::kSize && length <= Fpga::kSize - address;
}

}  // namespace

void Fpga::open() {
  fd = openFile(boardFile("fpga"), O_RDWR | O_CREAT).release();
  struct stat info = {};
  if (fd < 0 || ::fstat(fd, &info) != 0) throw std::runtime_error("cannot open \"fpga\": " + systemError());
  if (!S_ISREG(info.st_mode) || info.st_size > kSize) {
    throw std::runtime_error("\"fpga\" is no memory of " + std::to_string(kSize) + " bytes");
  }
  if (::ftruncate(fd, kSize) != 0) throw std::runtime_error("cannot make \"fpga\": " + systemError());
}

int Fpga::read(uint32_t address, MutableBytes out) const {
  if (!inside(address, out.size())) return -1;
  const std::shared_lock guard(m_mutex);
  return readAllAt(fd, out, address);
}

int Fpga::writeUnlocked(uint32_t address, Bytes data) {
  return writeAllAt(fd, data, address);
}

int Fpga::write(uint32_t address, Bytes data) {
  if (!inside(address, data.size())) return -1;
  const std::unique_lock guard(m_mutex);
  return writeUnlocked(address, data);
}

int Fpga::writeFromDaemon(uint32_t address, Bytes data) {
  if (!inside(address, data.size())) return -1;
  const std::unique_lock guard(m_mutex);
  // What lies between the status registers, piece by piece.
  const uint32_t end = address + static_cast<uint32_t>(data.size());
  uint32_t from = address;
  for (const Range& status : kStatusRegisters) {
    if (status.end <= from) continue;
    if (status.first >= end) break;
    if (status.first > from && writeUnlocked(from, data.subspan(from - address, status.first - from)) != 0) return -1;
    from = std::min(status.end, end);
  }
  return from < end ? writeUnlocked(from, data.subspan(from - address)) : 0;
}

void Fpga::clear() {
  const std::unique_lock guard(m_mutex);
  if (::ftruncate(fd, 0) != 0 || ::ftruncate(fd, kSize) != 0) {
    throw std::runtime_error("cannot clear \"fpga\": " + systemError());
  }
}

}  // namespace vboard
