// What the board of this process holds - flash, FPGA and environment - to compare with what it held, and to put back.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace testing_support {

// A stretch of the flash or the FPGA that tests watch.
struct WatchedRange {
  uint32_t address;
  uint32_t length;
};

class BoardImage {
 public:
  static BoardImage take();
  void putBack() const;  // through the board's back door

  // Empty when both hold the same; else where they differ first.
  std::string difference(const BoardImage& other) const;
  // The bytes of the flash. Requires that they are watched.
  std::vector<uint8_t> flash(uint32_t address, size_t length) const;

  // The parts of the flash in which the daemon keeps anything, but for the files of receiving cards beyond their first
  // 64 KiB.
  static std::span<const WatchedRange> watchedFlash();

 private:
  std::map<uint32_t, std::vector<uint8_t>> m_flash;  // by the first address of its range
  std::map<uint32_t, std::vector<uint8_t>> m_fpga;
  std::string m_env;
};

// Bytes that this process has allocated and not freed; 0 where an instrumented allocator does not tell.
size_t allocatedBytes();
// Files and sockets that this process has open.
size_t openDescriptors();

}  // namespace testing_support
