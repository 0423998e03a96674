// The plug-in card space (0x00010000): accepted, without content.
#pragma once

#include "proto/registerspace.h"

namespace TIRK_MCUC {

class Addr_PluginCardInfoRegister : public RegisterSpaceOf<Addr_PluginCardInfoRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoPluginCardInfo(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromPluginCardInfo(IMD_proto3rd* request);
  static int WriteToPluginCardInfo(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_PluginCardInfoRegister() = default;
};

}  // namespace TIRK_MCUC
