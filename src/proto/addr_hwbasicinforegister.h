// The hardware-information space (0x00000000): the 256-byte record of the device in the flash. It answers without a
// lookup and checks length and range itself: 2..512 bytes, within the record.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_HwBasicInfoRegister : public RegisterSpaceOf<Addr_HwBasicInfoRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int Ssh_cmd(IMD_proto3rd* msgIMD, Fshl_cmd* cmd, int argument);
  static int REG_HwBasicInfomation(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadHwBasicInfomation(IMD_proto3rd* request);
  static int WriteHwBasicInfomation(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_HwBasicInfoRegister() = default;
};

}  // namespace TIRK_MCUC
