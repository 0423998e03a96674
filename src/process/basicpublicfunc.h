// The basic hardware block at flash 0x001000 and the device clock in BCD.
#pragma once

#include <cstdint>

namespace TIRK_MCUC {

class BasicPublicFunc {
 public:
  static BasicPublicFunc* getInstance();

  void SetHwBasicinfo(int offset, int length, const uint8_t* data);  // worker
  int GetHwBasicinfo(int offset, int length, uint8_t* out);          // the flash result
  // Six BCD bytes: year (2000-based), month, day, hour, minute, second. What cannot be read stays as it was. Any
  // thread.
  void GetHwTime(uint8_t out[6]);
  bool SetHwTime(const uint8_t bcd[6]);  // worker; false, nothing set, for bytes that are no date and time
  // Weekday 1 Monday .. 7 Sunday of a BCD date 2000..2099. Pure.
  static uint8_t CalcWeekday(uint8_t year, uint8_t month, uint8_t day);

 private:
  template <class T>
  friend class NoDestroy;
  BasicPublicFunc() = default;
};

}  // namespace TIRK_MCUC
