// The EDID space (0x08000000): the EDID of the selected input.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_EDIDSpaceRegister : public RegisterSpaceOf<Addr_EDIDSpaceRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoEDIDSpace(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromEDIDSpace(IMD_proto3rd* request);
  static int WriteToEDIDSpace(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_EDIDSpaceRegister() = default;
};

}  // namespace TIRK_MCUC
