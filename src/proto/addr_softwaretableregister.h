// The software-table space (0x05000000 and 0x05060000): tables of the host software in the flash. One read is a notice
// to the video-processing application.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_SoftwareTableRegister : public RegisterSpaceOf<Addr_SoftwareTableRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoSoftwareTable(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromSoftwareTable(IMD_proto3rd* request);
  static int WriteToSoftwareTable(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_SoftwareTableRegister() = default;
};

}  // namespace TIRK_MCUC
