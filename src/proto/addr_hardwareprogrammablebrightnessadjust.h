// The brightness space (0x0A000000), its configuration table, and the controllers that it starts.
//
// One recursive mutex guards the class's state; it is released during pauses towards the cards. Host writes are applied
// on the worker, the controllers run on the flag thread's 200-ms cycle.
#pragma once

#include <atomic>
#include <cstdint>

#include "mcucmutex.h"
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
  // Applies a host's write (worker).
  static void SetBrightnessAdjustTable(uint32_t addr, int length, const uint8_t* data);
  // Writes the in-memory table back into its flash region (worker).
  static void SaveBrightnessPara();
  // SendCardPara to receiving cards; a write of the global brightness is reported to the display daemon too. Any
  // thread.
  static int NewSendReceiveCardPara(uint32_t RegStartAddr, uint8_t PortAddr, uint16_t BoardAddr, uint16_t Num,
                                    const uint8_t* ParaPtr);
  static std::atomic<uint8_t> LocalAddr;         // device address for serial control
  static std::atomic<uint8_t> UartDiscOvertime;  // serial-control link timeout, seconds; 40 at first
  static std::atomic<uint8_t> DevComLinkState;   // serial-control activity since the last second
  static std::atomic<uint8_t> LastGlobalBri;     // last global brightness sent, 0..255

 private:
  template <class T>
  friend class NoDestroy;
  Addr_HardWareBrightnessAdjust() = default;
};

}  // namespace TIRK_MCUC
