// The shortcut-configuration-screen space, 0x02810000: how the host describes the wall, in a basic record and in one
// record an output port. It is kept in flash (see shortcutrecord.h); writes here queue the calculations.
#pragma once

#include "proto/registerspace.h"
#include "proto/shortcutrecord.h"

namespace TIRK_MCUC {

class Addr_ShortcutConfigScreenRegister : public RegisterSpaceOf<Addr_ShortcutConfigScreenRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoShortcutConfigScreen(IMD_proto3rd* request, Fshl_cmd*, int);
  // 0; 5 beyond the space; -1 when the flash cannot be read.
  static int ReadFromShortcutConfigScreen(IMD_proto3rd* request);
  // 0; 4 for a null request, a failing flash, an incomplete basic record or no worker; 5 beyond the space.
  static int WriteToShortcutConfigScreen(IMD_proto3rd* request);

  int print() const override;

 private:
  template <class T>
  friend class NoDestroy;
  Addr_ShortcutConfigScreenRegister() = default;
};

}  // namespace TIRK_MCUC
