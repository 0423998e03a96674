// The sending-card program space (0x18000000 and 0x18200000): reads answer zeros, writes are refused.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_CardProgmaSpaceRegister : public RegisterSpaceOf<Addr_CardProgmaSpaceRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoCardProgmaSpace(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromCardProgmaSpace(IMD_proto3rd* request);
  static int WriteToCardProgmaSpace(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_CardProgmaSpaceRegister() = default;
};

}  // namespace TIRK_MCUC
