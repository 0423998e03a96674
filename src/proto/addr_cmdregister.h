// The command space (0x01000000): one register a command. A write runs the command or queues it as a one-byte record; a
// read does nothing and returns 0.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_CMDRegister : public RegisterSpaceOf<Addr_CMDRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoSortCMD(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int DoSaveParasForSendCard(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int DoReturnFactorySet(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int DoTestPointCommand(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int DoReloadSendCardProgram(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int DoChipEraseCommand(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int DoMappingCommand(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int DoDebugCommandForFPGA(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int DoReloadRecvCardProgram(IMD_proto3rd* request, Fshl_cmd* entry, int argument);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_CMDRegister() = default;
};

}  // namespace TIRK_MCUC
