// The feature space (0x02000000): the host's view of the feature block SendParameterReg. A register's offset is its
// byte's index. Receive thread.
//
// A read answers the block after a refresh of what lives elsewhere: FPGA status, light sensor, fibre links, clock. A
// write is queued; a display offset of the bypass mode is reported to the screen-management daemon at once. What would
// leave the block's 512 bytes is refused (4, 5).
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_FeatureRegister : public RegisterSpaceOf<Addr_FeatureRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoFeatureInfo(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  // 0 and the bytes; 4 when the FPGA could not be read; 5 beyond the block. A one-byte read of 0x0200004B is a notice:
  // -1 and one byte 0.
  static int ReadFromFeatureInfo(IMD_proto3rd* request);
  static int WriteToFeatureInfo(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_FeatureRegister() = default;
};

}  // namespace TIRK_MCUC
