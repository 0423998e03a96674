// The backup space (0x02300000): 4096 bytes of flash that hosts use as they like.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_BackupInfoRegister : public RegisterSpaceOf<Addr_BackupInfoRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoBackupInfo(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromBackupInfo(IMD_proto3rd* request);
  static int WriteToBackupInfo(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_BackupInfoRegister() = default;
};

}  // namespace TIRK_MCUC
