#include "process/proc_poll.h"

#include "mcucutil.h"
#include "proto/brightnesscontrol.h"
#include "proto/data_common.h"

namespace TIRK_MCUC {

Proc_Poll* Proc_Poll::getInstance() {
  static NoDestroy<Proc_Poll> instance;
  return &instance.get();
}

void Proc_Poll::AutoBrightnessadjust() {
  constexpr unsigned kSecond = 5;  // polls
  constexpr unsigned kAlarmCheck = 10;
  constexpr unsigned kSensorPeriod = 99;
  static unsigned TimesCnt = 0;
  static bool firstUp = true;
  BrightnessControl& control = BrightnessControl::getInstance();
  if (firstUp) {
    firstUp = false;
    control.UpdataBrightnessPara(Data_Global::getInstance()->SendParameterReg.byte(sendpara::kSerialTimeout));
  }
  ++TimesCnt;
  const bool second = TimesCnt % kSecond == 0;
  if (second) control.pollSecond();
  if (TimesCnt % kAlarmCheck == 0) control.TimeToOver_Handler();
  if (TimesCnt > kSensorPeriod) {
    TimesCnt = 1;
    control.armSensorReading();
  }
  if (TimesCnt % kSecond != 0) return;
  control.ProgrammableBrightnessAdjust();
  control.AutoBrightnessAdjust();
  control.MixBrightnessAdjust();
}

}  // namespace TIRK_MCUC
