#include "support/bytes.h"

#include <numeric>

namespace testing_support {

using namespace TIRK_MCUC;

ByteVector counting(size_t count, uint8_t first) {
  ByteVector out(count);
  std::iota(out.begin(), out.end(), first);
  return out;
}

ByteVector operator+(const ByteVector& left, const ByteVector& right) {
  ByteVector sum = left;
  sum.insert(sum.end(), right.begin(), right.end());
  return sum;
}

ByteVector word(unsigned value) {
  return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
}

ByteVector dword(uint32_t value) {
  return word(value) + word(value >> 16);
}

ByteVector littleEndian(std::initializer_list<uint16_t> words) {
  ByteVector out;
  for (const uint16_t value : words) out = out + word(value);
  return out;
}

ByteVector littleEndian32(std::initializer_list<uint32_t> words) {
  ByteVector out;
  for (const uint32_t value : words) out = out + dword(value);
  return out;
}

ByteVector fromHex(const std::string& hex) {
  ByteVector out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    out.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  }
  return out;
}

std::string toHex(Bytes bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (const uint8_t b : bytes) {
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

}  // namespace testing_support
