// The pattern-generator space (0x12010000): reads below 64 bytes from the FPGA, writes within the 512-byte mirror
// Data_Global::HardwareScreenGenReg.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_ScreenPatternGenregister : public RegisterSpaceOf<Addr_ScreenPatternGenregister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoScreenPatternGen(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadScreenPatternGenInfo(IMD_proto3rd* request);
  static int WriteScreenPatternGenInfo(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_ScreenPatternGenregister() = default;
};

}  // namespace TIRK_MCUC
