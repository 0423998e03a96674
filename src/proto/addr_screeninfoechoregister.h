// The screen-information echo space (0x02100000): the 392 bytes of Data_Global::ScreenParaReg.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_ScreenInfoEchoRegister : public RegisterSpaceOf<Addr_ScreenInfoEchoRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoScreenInfoEcho(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromScreenInfoEcho(IMD_proto3rd* request);
  static int WriteToScreenInfoEcho(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_ScreenInfoEchoRegister() = default;
};

}  // namespace TIRK_MCUC
