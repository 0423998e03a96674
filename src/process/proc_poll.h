// The brightness poll: one step every 200 ms on the flag thread.
#pragma once

#include <atomic>
#include <cstdint>

namespace TIRK_MCUC {

class Proc_Poll {
 public:
  static Proc_Poll* getInstance();
  static void AutoBrightnessadjust();

  std::atomic<uint8_t> ChangeParaForKeepWarmUpMode{0};
  std::atomic<uint8_t> ParaForKeepWarmUpModeTimeData{0};

 private:
  template <class T>
  friend class NoDestroy;
  Proc_Poll() = default;
};

}  // namespace TIRK_MCUC
