// The configuration-file space (0x0F000000, its whole top byte): the host stores configuration files of receiving cards
// and has them replayed to the cards. Reads answer from the flash copy; writes are checked against the space's map and
// queued for Tprocess::Sprocess_RVConfigFileSpace.
#pragma once

#include "proto/registerspace.h"
#include "proto/rvfiletable.h"

namespace TIRK_MCUC {

class Addr_RVConfigFileSpace : public RegisterSpaceOf<Addr_RVConfigFileSpace> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoRVConfigFileSpace(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromRVConfigFileSpace(IMD_proto3rd* request);
  static int WriteToRVConfigFileSpace(IMD_proto3rd* request);

 private:
  template <class T>
  friend class NoDestroy;
  Addr_RVConfigFileSpace() = default;
};

}  // namespace TIRK_MCUC
