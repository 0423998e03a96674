// The position space (0x03000000): the position table of ten ports, FPGA 0x600000. Reads at offsets 0x1EF and 0x1EE
// first measure the transfer speed of the bus, which takes as long as it takes.
#pragma once

#include "proto/registerspace.h"
#include "proto/screentables.h"

namespace TIRK_MCUC {

class Addr_CoordinateScanBoardRegister : public RegisterSpaceOf<Addr_CoordinateScanBoardRegister> {
 public:
  static const SpaceTraits kTraits;
  static Fshl_cmd cmd_tblOffset[];

  static int DoPosNetPort(IMD_proto3rd* request, Fshl_cmd* entry, int argument);
  static int ReadFromPosNetPort(IMD_proto3rd* request);
  static int WriteToPosNetPort(IMD_proto3rd* request);

  GuardedBytes<kPositionTableSize>& PortsTopoPara = positionTable();  // the mirror

 private:
  template <class T>
  friend class NoDestroy;
  Addr_CoordinateScanBoardRegister() = default;
};

}  // namespace TIRK_MCUC
