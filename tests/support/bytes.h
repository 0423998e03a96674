// Byte texts of the tests.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "mcucbytes.h"

namespace testing_support {

using ByteVector = std::vector<uint8_t>;

inline ByteVector bytes(std::initializer_list<int> values) {
  return {values.begin(), values.end()};
}
inline ByteVector repeated(size_t count, uint8_t value) {
  return ByteVector(count, value);
}
ByteVector counting(size_t count, uint8_t first = 1);  // first, first + 1, ...
ByteVector operator+(const ByteVector& left, const ByteVector& right);

// Little-endian.
ByteVector word(unsigned value);
ByteVector dword(uint32_t value);
ByteVector littleEndian(std::initializer_list<uint16_t> words);
ByteVector littleEndian32(std::initializer_list<uint32_t> words);

// "0a0b" -> {0x0A, 0x0B}, and back in lower case.
ByteVector fromHex(const std::string& hex);
std::string toHex(TIRK_MCUC::Bytes bytes);

}  // namespace testing_support
