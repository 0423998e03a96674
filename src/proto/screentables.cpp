#include "proto/screentables.h"

#include "mcucutil.h"
#include "proto/data_common.h"
#include "proto/fpgamap.h"

namespace TIRK_MCUC {

const NumberTableBlock kNumberTableBlocks[5] = {
    {0, fpga::kNumber0To3.address, fpga::kNumber0To3.length},
    {128, fpga::kNumber4To7.address, fpga::kNumber4To7.length},
    {256, fpga::kNumberCommon.address, fpga::kNumberCommon.length},
    {512, fpga::kNumber8To11.address, fpga::kNumber8To11.length},
    {640, fpga::kNumber12To15.address, fpga::kNumber12To15.length},
};

GuardedBytes<kPositionTableSize>& positionTable() {
  static NoDestroy<GuardedBytes<kPositionTableSize>> table(Data_Global::getInstance()->m_mutex);
  return table.get();
}

GuardedBytes<kNumberTableSize>& numberTable() {
  static NoDestroy<GuardedBytes<kNumberTableSize>> table(Data_Global::getInstance()->m_mutex);
  return table.get();
}

}  // namespace TIRK_MCUC
