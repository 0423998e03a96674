#include "support/memory.h"

#include <sys/mman.h>

#include <cstring>

#include "support/verdict.h"

namespace fuzz {

Memory::Memory(uint32_t size, NewPage newPage) : m_size(size), m_newPage(newPage), m_present(size / kPageSize) {
  void* const mapped =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  require(mapped != MAP_FAILED, "there is memory for the board");
  m_bytes = static_cast<uint8_t*>(mapped);
}

Memory::~Memory() {
  ::munmap(m_bytes, m_size);
}

void Memory::prepare(uint32_t address, size_t length) {
  if (length == 0) return;
  const auto last = static_cast<uint32_t>((address + length - 1) / kPageSize);
  for (uint32_t page = address / kPageSize; page <= last; ++page) {
    if (m_present[page]) continue;
    m_present[page] = true;
    m_pages.push_back(page);
    m_newPage(page * kPageSize, {m_bytes + size_t{page} * kPageSize, kPageSize});
  }
}

int Memory::read(uint32_t address, MutableBytes out) {
  if (!inside(address, out.size())) return -1;
  prepare(address, out.size());
  if (!out.empty()) std::memcpy(out.data(), m_bytes + address, out.size());
  return 0;
}

int Memory::write(uint32_t address, Bytes data) {
  if (!inside(address, data.size())) return -1;
  prepare(address, data.size());
  if (!data.empty()) std::memcpy(m_bytes + address, data.data(), data.size());
  return 0;
}

void Memory::reset() {
  for (const uint32_t page : m_pages) m_present[page] = false;
  m_pages.clear();
}

void Memory::take(Memory& other) {
  reset();
  for (const uint32_t page : other.m_pages) {
    write(page * kPageSize, {other.m_bytes + size_t{page} * kPageSize, kPageSize});
  }
}

}  // namespace fuzz
