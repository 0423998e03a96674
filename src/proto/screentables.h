// The position table and the number table: computed by the screen calculations, written by the host through their
// register spaces, saved and restored by the parameter store. Guarded by Data_Global::m_mutex.
#pragma once

#include "guardedbytes.h"

namespace TIRK_MCUC {

constexpr size_t kPositionTablePorts = 10;
constexpr size_t kPositionTablePortSize = 4096;  // 1024 entries: X u16, Y u16, relative to the port's region
constexpr size_t kPositionTableEntries = 1024;
constexpr size_t kPositionTableSize = kPositionTablePorts * kPositionTablePortSize;  // 40 960
constexpr size_t kNumberTableSize = 768;

// The number table's five FPGA blocks.
struct NumberTableBlock {
  size_t offset;  // in the table
  uint32_t fpgaAddress;
  size_t length;
};
extern const NumberTableBlock kNumberTableBlocks[5];

GuardedBytes<kPositionTableSize>& positionTable();  // PortsTopoPara
GuardedBytes<kNumberTableSize>& numberTable();      // FunCardPortPara

}  // namespace TIRK_MCUC
