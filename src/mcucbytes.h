// Byte helpers: little-endian words in byte buffers, and hex dumps. Pure; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace TIRK_MCUC {

using Bytes = std::span<const uint8_t>;
using MutableBytes = std::span<uint8_t>;

constexpr uint16_t DWT_MAKEWD(uint8_t hi, uint8_t lo) {
  return static_cast<uint16_t>(hi << 8 | lo);
}
constexpr uint32_t DWT_MAKEDW(uint8_t b3, uint8_t b2, uint8_t b1, uint8_t b0) {
  return static_cast<uint32_t>(b3) << 24 | static_cast<uint32_t>(b2) << 16 | static_cast<uint32_t>(b1) << 8 | b0;
}
// dst[0] low byte, dst[1] high byte.
constexpr void DWT_ENCWD(uint8_t* dst, uint16_t w) {
  dst[0] = static_cast<uint8_t>(w);
  dst[1] = static_cast<uint8_t>(w >> 8);
}
// dst[0] high byte, dst[1] low byte.
constexpr void DWT_RENCWD(uint8_t* dst, uint16_t w) {
  dst[0] = static_cast<uint8_t>(w >> 8);
  dst[1] = static_cast<uint8_t>(w);
}
constexpr void DWT_ENCDW(uint8_t* dst, uint32_t d) {
  DWT_ENCWD(dst, static_cast<uint16_t>(d));
  DWT_ENCWD(dst + 2, static_cast<uint16_t>(d >> 16));
}
constexpr uint16_t readWord(const uint8_t* src) {
  return DWT_MAKEWD(src[1], src[0]);
}
constexpr uint32_t readDword(const uint8_t* src) {
  return DWT_MAKEDW(src[3], src[2], src[1], src[0]);
}

// Writes each byte as two upper-case hexadecimal digits and a blank, NUL-terminated ("55 AA 00 "). The number of
// characters, or 0 with an empty text when an argument is missing, length <= 0 or 3 * length >= capacity.
int Bytes2String(const uint8_t* source, int length, char* destination, int capacity);

// The same as a trace operand: TRACE_INFO(" data:" << HexText<1536>(bytes)). Empty when 3 * size >= Capacity.
template <int Capacity>
class HexText {
 public:
  explicit HexText(Bytes bytes) {
    Bytes2String(bytes.data(), static_cast<int>(bytes.size() < Capacity ? bytes.size() : Capacity), m_text, Capacity);
  }
  operator const char*() const { return m_text; }

 private:
  char m_text[Capacity];  // Bytes2String ends what it writes
};

}  // namespace TIRK_MCUC
