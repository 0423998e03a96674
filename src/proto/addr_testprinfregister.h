// The test space (0xF0000000 and 0xF1000000): FPGA registers as they are, at once. It answers without a lookup and
// checks length and range itself: 1..2048 bytes, below FPGA address 0x02000000.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_TestPrinfRegister : public RegisterSpaceOf<Addr_TestPrinfRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int Ssh_cmd(IMD_proto3rd* msgIMD, Fshl_cmd* cmd, int argument);
  static int REG_TestPrintfInfomation(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadTestPrintfInfomation(IMD_proto3rd* request);
  static int WriteTestPrintfInfomation(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_TestPrinfRegister() = default;
};

}  // namespace TIRK_MCUC
