// The cabinet-rotation space (0x02700000): accepted, without content.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_CabinetRotationRegister : public RegisterSpaceOf<Addr_CabinetRotationRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoCabinetRotation(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromCabinetRotation(IMD_proto3rd* request);
  static int WriteToCabinetRotation(IMD_proto3rd* request);

 protected:
  void beforeLookup(uint32_t key) const override;
  void afterDo(int result) const override;

 private:
  template <class T>
  friend class NoDestroy;
  Addr_CabinetRotationRegister() = default;
};

}  // namespace TIRK_MCUC
