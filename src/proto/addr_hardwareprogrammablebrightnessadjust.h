// The brightness space (0x0A000000): reads of the configuration table and its flash region; writes are queued and
// applied by the controllers of proto/brightnesscontrol.h, whose operations other rooms reach through here.
#pragma once

#include <atomic>
#include <cstdint>

#include "proto/brightnesscontrol.h"
#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_HardWareBrightnessAdjust : public RegisterSpaceOf<Addr_HardWareBrightnessAdjust> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int doAdjustBrightness(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromBrightnessInfo(IMD_proto3rd* request);
  static int WriteToBrightnessInfo(IMD_proto3rd* request);

  // --- what other rooms use
  static void SetBrightnessAdjustTable(uint32_t addr, int length, const uint8_t* data) {
    BrightnessControl::getInstance().SetBrightnessAdjustTable(addr, length, data);
  }
  static void SaveBrightnessPara() { BrightnessControl::getInstance().SaveBrightnessPara(); }
  static int NewSendReceiveCardPara(uint32_t RegStartAddr, uint8_t PortAddr, uint16_t BoardAddr, uint16_t Num,
                                    const uint8_t* ParaPtr) {
    return BrightnessControl::NewSendReceiveCardPara(RegStartAddr, PortAddr, BoardAddr, Num, ParaPtr);
  }
  static std::atomic<uint8_t>& LocalAddr;
  static std::atomic<uint8_t>& UartDiscOvertime;
  static std::atomic<uint8_t>& DevComLinkState;
  static std::atomic<uint8_t>& LastGlobalBri;

 private:
  template <class T>
  friend class NoDestroy;
  Addr_HardWareBrightnessAdjust() = default;
};

}  // namespace TIRK_MCUC
