// The intelligent brightness space (0x02400000): a screen-side controller sets the brightness of chosen output ports.
// A write acts at once, on the IPC receive thread: each port gets one packet and 5 ms.
//
// Write payload, little-endian: 0 brightness 0..255, 1 number of sender entries N (2), then N entries of 4 bytes:
// sender address, a spare byte, output port mask (2; bits 0..9). A read returns no data.
#pragma once

#include <cstdint>

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_IntelligentBrightnessRegister : public RegisterSpaceOf<Addr_IntelligentBrightnessRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoIntellBrightSentByScreen(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromIntellBrightSentByScreen(IMD_proto3rd* request);
  // The status of the last bus write, 0 when there was none. A write away from offset 0, or of at most 3 bytes, does
  // nothing; one with fewer than 3 + 4N bytes is refused (6).
  static int WriteToIntellBrightSentByScreen(IMD_proto3rd* request);
  // Sends one packet through the FPGA to the cards of output port 0..9: the status of the last bus write.
  static int AdjustCurrentGlobalBrightness(uint8_t port, uint8_t brightness);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_IntelligentBrightnessRegister() = default;
};

}  // namespace TIRK_MCUC
