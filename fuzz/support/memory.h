// A memory of a board: bytes at addresses from 0 on, each page as new until it is written. Resetting costs what was
// written since.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace fuzz {

using Bytes = std::span<const uint8_t>;
using MutableBytes = std::span<uint8_t>;

class Memory {
 public:
  static constexpr uint32_t kPageSize = 4096;
  // Fills a new page, whose first address it is given.
  using NewPage = void (*)(uint32_t address, MutableBytes page);

  Memory(uint32_t size, NewPage newPage);  // a multiple of the page's size
  ~Memory();
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;

  // 0, or -1 when the range leaves the memory.
  int read(uint32_t address, MutableBytes out);
  int write(uint32_t address, Bytes data);
  void reset();
  // Becomes what the other one of the same kind holds.
  void take(Memory& other);

 private:
  bool inside(uint32_t address, size_t length) const { return address <= m_size && length <= m_size - address; }
  void prepare(uint32_t address, size_t length);  // every page of the range is there

  uint32_t m_size;
  NewPage m_newPage;
  uint8_t* m_bytes;
  std::vector<bool> m_present;
  std::vector<uint32_t> m_pages;  // those that are there
};

}  // namespace fuzz
