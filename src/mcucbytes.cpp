#include "mcucbytes.h"

namespace TIRK_MCUC {

int Bytes2String(const uint8_t* source, int length, char* destination, int capacity) {
  if (destination == nullptr || capacity <= 0) return 0;
  destination[0] = '\0';
  if (source == nullptr || length <= 0 || int64_t{3} * length >= capacity) return 0;
  static constexpr char kDigits[] = "0123456789ABCDEF";
  char* out = destination;
  for (int i = 0; i < length; ++i) {
    *out++ = kDigits[source[i] >> 4];
    *out++ = kDigits[source[i] & 0x0F];
    *out++ = ' ';
  }
  *out = '\0';
  return 3 * length;
}

}  // namespace TIRK_MCUC
