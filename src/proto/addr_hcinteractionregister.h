// The human-computer interaction space (0x02200000): HDR mode and parameters, picture quality, warm-up, communication
// mode. A write builds a payload of its own for its handler.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

// The HDR and picture parameters as last written; read and written by the IPC receive thread only.
struct InteractionParameters {
  uint8_t HDRType = 0;
  uint16_t fScreenPeakLight = 1000;  // cd/m2
  uint16_t fambientLight = 30;       // lux
  uint8_t pMinLum = 15;              // low-grey effect
  uint8_t pdelta = 140;              // high-grey effect
  uint8_t HLGCalss = 4;
  uint16_t Saturation = 50;
  uint16_t Contrast = 50;
  uint16_t Hue = 0;  // degrees
};

class Addr_HCInteractionRegister : public RegisterSpaceOf<Addr_HCInteractionRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoHCInteraction(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromHCInteraction(IMD_proto3rd* request);
  static int WriteToHCInteraction(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_HCInteractionRegister() = default;

  int writeHdr(IMD_proto3rd* request);
  int writePicture(IMD_proto3rd* request);

  InteractionParameters m_parameters;
};

}  // namespace TIRK_MCUC
