// The function-card port space (0x03100000): the 768-byte number table, five blocks of the FPGA.
#pragma once

#include "proto/registerspace.h"
#include "proto/screentables.h"

namespace TIRK_MCUC {

class Addr_NumberFunCardPortRegister : public RegisterSpaceOf<Addr_NumberFunCardPortRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoNumberFunCardPort(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromNumberFunCardPort(IMD_proto3rd* request);
  static int WriteToNumberFunCardPort(IMD_proto3rd* request);

  GuardedBytes<kNumberTableSize>& FunCardPortPara = numberTable();  // the mirror

 private:
  template <class T>
  friend class NoDestroy;
  Addr_NumberFunCardPortRegister() = default;
};

}  // namespace TIRK_MCUC
