// The RGB gamma space (0x0E000000, its whole top byte): 10-bit and 12-bit tables of three colours, and two gamma
// values.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_RGBGammaRegister : public RegisterSpaceOf<Addr_RGBGammaRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoRGBGammatable(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadRGBGammatable(IMD_proto3rd* request);
  static int WriteRGBGammatable(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_RGBGammaRegister() = default;
};

}  // namespace TIRK_MCUC
