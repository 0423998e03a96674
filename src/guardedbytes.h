// A register mirror: N bytes shared by threads, read and written as a unit under the store's mutex, which is held for
// the copy alone. For several steps that belong together take the mutex around them (it is recursive). Any thread.
#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "mcucbytes.h"
#include "mcucmutex.h"

namespace TIRK_MCUC {

template <size_t N>
class GuardedBytes {
 public:
  static constexpr size_t kSize = N;
  explicit GuardedBytes(CMutexThreadRecursive& mutex) : m_mutex(mutex) {}
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  // Requires offset + size <= N.
  void read(size_t offset, MutableBytes out) const {
    assert(offset <= N && out.size() <= N - offset);
    CMutexGuardT guard(m_mutex);
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
  }
  void write(size_t offset, Bytes in) {
    assert(offset <= N && in.size() <= N - offset);
    CMutexGuardT guard(m_mutex);
    std::copy_n(in.begin(), in.size(), m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  }
  void fill(size_t offset, size_t count, uint8_t value) {
    assert(offset <= N && count <= N - offset);
    CMutexGuardT guard(m_mutex);
    std::fill_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, value);
  }

  uint8_t byte(size_t offset) const {
    uint8_t value[1];
    read(offset, value);
    return value[0];
  }
  void setByte(size_t offset, uint8_t value) { write(offset, {&value, 1}); }
  uint16_t word(size_t offset) const {
    uint8_t value[2];
    read(offset, value);
    return readWord(value);
  }
  void setWord(size_t offset, uint16_t value) {
    uint8_t bytes[2];
    DWT_ENCWD(bytes, value);
    write(offset, bytes);
  }
  uint32_t dword(size_t offset) const {
    uint8_t value[4];
    read(offset, value);
    return readDword(value);
  }
  void setDword(size_t offset, uint32_t value) {
    uint8_t bytes[4];
    DWT_ENCDW(bytes, value);
    write(offset, bytes);
  }
  // A copy of `Count` bytes from `offset`, and of all.
  template <size_t Count>
  std::array<uint8_t, Count> copy(size_t offset) const {
    std::array<uint8_t, Count> out;
    read(offset, out);
    return out;
  }
  std::array<uint8_t, N> image() const { return copy<N>(0); }

 private:
  CMutexThreadRecursive& m_mutex;
  std::array<uint8_t, N> m_bytes{};
};

}  // namespace TIRK_MCUC
