#include "support/board_image.h"

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>

#include "proto/fpgamap.h"
#include "virtual/board.h"
#include "virtual/files.h"

namespace testing_support {

namespace {

constexpr WatchedRange kFlash[] = {
    {0x000000, 0x10000}, {0x200000, 0x1000},  {0xA01000, 0x1000},  {0xA3B000, 0x27000},
    {0xB88000, 0x1000},  {0xB8B000, 0x2000},  {0xB98000, 0x2000},  {0xC20000, 0x2000},
    {0xC30000, 0x10000}, {0xC90000, 0x10000}, {0xD00000, 0x18000}, {0xE00000, 0x10000},
};
constexpr const char* kEnvironment = "/data/tirk/etc/sysconf/env";

std::string where(const char* device, uint32_t address, unsigned had, unsigned has) {
  char text[80];
  std::snprintf(text, sizeof text, "%s 0x%08x: %02x and %02x", device, address, had, has);
  return text;
}

std::string firstDifference(const char* device, const std::map<uint32_t, std::vector<uint8_t>>& one,
                            const std::map<uint32_t, std::vector<uint8_t>>& other) {
  for (const auto& [address, bytes] : one) {
    const auto& others = other.at(address);
    if (std::memcmp(bytes.data(), others.data(), bytes.size()) == 0) continue;
    const auto at = std::mismatch(bytes.begin(), bytes.end(), others.begin());
    return where(device, address + static_cast<uint32_t>(at.first - bytes.begin()), *at.first, *at.second);
  }
  return "";
}

template <class Device>
std::vector<uint8_t> readRange(const Device& device, uint32_t address, uint32_t length) {
  std::vector<uint8_t> bytes(length);
  if (device.read(address, bytes) != 0) throw std::runtime_error("the board cannot be read");
  return bytes;
}

// Only what differs, so that putting back costs little.
template <class Device>
void putBackRanges(Device& device, const std::map<uint32_t, std::vector<uint8_t>>& ranges) {
  constexpr size_t kPiece = 512;
  for (const auto& [address, bytes] : ranges) {
    const auto present = readRange(device, address, static_cast<uint32_t>(bytes.size()));
    if (std::memcmp(present.data(), bytes.data(), bytes.size()) == 0) continue;
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
      const size_t count = std::min(kPiece, bytes.size() - at);
      if (std::equal(&bytes[at], &bytes[at] + count, &present[at])) continue;
      if (device.write(address + static_cast<uint32_t>(at), {&bytes[at], count}) != 0) {
        throw std::runtime_error("the board cannot be written");
      }
    }
  }
}

// The store keeps no order.
std::set<std::string> lines(const std::string& text) {
  std::istringstream in(text);
  std::set<std::string> out;
  for (std::string line; std::getline(in, line);) out.insert(line);
  return out;
}

std::string environmentFile() {
  return vboard::ownPath(kEnvironment);
}

}  // namespace

BoardImage BoardImage::take() {
  BoardImage image;
  for (const auto& [address, length] : kFlash) {
    image.m_flash[address] = readRange(vboard::board().flash, address, length);
  }
  for (const auto& area : TIRK_MCUC::fpga::kAreas) {
    image.m_fpga[area.address] = readRange(vboard::board().fpga, area.address, area.length);
  }
  image.m_env = vboard::readFile(environmentFile()).value();
  return image;
}

void BoardImage::putBack() const {
  putBackRanges(vboard::board().flash, m_flash);
  putBackRanges(vboard::board().fpga, m_fpga);
  if (vboard::readFile(environmentFile()) != m_env && vboard::replaceFile(environmentFile(), m_env) != 0) {
    throw std::runtime_error("the environment store cannot be written");
  }
}

std::string BoardImage::difference(const BoardImage& other) const {
  if (std::string found = firstDifference("flash", m_flash, other.m_flash); !found.empty()) return found;
  if (std::string found = firstDifference("fpga", m_fpga, other.m_fpga); !found.empty()) return found;
  return lines(m_env) == lines(other.m_env) ? "" : "environment:\n" + m_env + "and\n" + other.m_env;
}

std::vector<uint8_t> BoardImage::flash(uint32_t address, size_t length) const {
  auto range = m_flash.upper_bound(address);
  if (range == m_flash.begin()) throw std::runtime_error("not watched");
  --range;
  const size_t at = address - range->first;
  if (at + length > range->second.size()) throw std::runtime_error("not watched");
  const auto first = range->second.begin() + static_cast<std::ptrdiff_t>(at);
  return {first, first + static_cast<std::ptrdiff_t>(length)};
}

std::span<const WatchedRange> BoardImage::watchedFlash() {
  return kFlash;
}

size_t allocatedBytes() {
  const auto info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

size_t openDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
}

}  // namespace testing_support
