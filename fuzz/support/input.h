// A fuzzer's input, taken from the front. What is not there is 0.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace fuzz {

class Input {
 public:
  Input(const uint8_t* data, size_t size) : m_left(data, size) {}

  bool empty() const { return m_left.empty(); }
  size_t size() const { return m_left.size(); }

  uint8_t byte() {
    if (m_left.empty()) return 0;
    const uint8_t value = m_left.front();
    m_left = m_left.subspan(1);
    return value;
  }
  uint16_t word() {
    const uint8_t low = byte();
    return static_cast<uint16_t>(low | byte() << 8);
  }
  uint32_t dword() {
    const uint32_t low = word();
    return low | uint32_t{word()} << 16;
  }
  // At most that many; fewer when fewer are left.
  std::span<const uint8_t> bytes(size_t count) {
    const auto taken = m_left.first(std::min(count, m_left.size()));
    m_left = m_left.subspan(taken.size());
    return taken;
  }
  std::span<const uint8_t> rest() { return bytes(m_left.size()); }

 private:
  std::span<const uint8_t> m_left;
};

}  // namespace fuzz
