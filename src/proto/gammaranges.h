// The RGB gamma space: which registers belong to which table, and where the table is kept.
#pragma once

#include <cstdint>

#include "proto/flashmap.h"

namespace TIRK_MCUC {

// Start addresses first..last of one colour's table; `end` is one past its last byte. A start address of end - 1 lies
// outside every range.
struct GammaRange {
  uint32_t first;
  uint32_t last;
  uint32_t end;
  flash::Area table;
  flash::Area tag;
  uint8_t loads;       // set selector given to SendGammaToFpga once the table is complete; 0: none
  const char* failed;  // a flash failure, followed by the result
};

constexpr uint8_t kLoad12Bit = 120;
constexpr uint8_t kLoad10Bit = 88;

// In the order in which a write is tested.
constexpr GammaRange kGammaRanges[] = {
    {0x0E000000, 0x0E001FFE, 0x0E002000, flash::kGammaRed2, flash::kGammaTagRed2, 0,
     "=== Write_12BIT_RedGammaInfo ===12BIT_RedGamma info to flash failed. ret = "},
    {0x0E100000, 0x0E101FFE, 0x0E102000, flash::kGammaGreen2, flash::kGammaTagGreen2, 0,
     "=== Write_12BIT_GreenGammaInfo ===12BIT_GreenGamma info to flash failed. ret = "},
    {0x0E200000, 0x0E201FFE, 0x0E202000, flash::kGammaBlue2, flash::kGammaTagBlue2, kLoad12Bit,
     "=== Write_12BIT_BlueGammaInfo ===12BIT_BlueGamma info to flash failed. ret = "},
    {0x0E002000, 0x0E003FFE, 0x0E004000, flash::kGammaRed1, flash::kGammaTagRed1, 0,
     "=== Write_10BIT_RedGammaInfo ===10BIT_RedGamma info to flash failed. ret = "},
    {0x0E102000, 0x0E103FFE, 0x0E104000, flash::kGammaGreen1, flash::kGammaTagGreen1, 0,
     "=== Write_10BIT_GreenGammaInfo ===10BIT_GreenGamma info to flash failed. ret = "},
    {0x0E202000, 0x0E203FFE, 0x0E204000, flash::kGammaBlue1, flash::kGammaTagBlue1, kLoad10Bit,
     "=== Write_10BIT_BlueGammaInfo ===10BIT_BlueGamma info to flash failed. ret = "}};

// Written alone, one byte each.
constexpr uint32_t kGammaValueRegister12 = 0x0E302000;
constexpr uint32_t kGammaValueRegister10 = 0x0E300000;

}  // namespace TIRK_MCUC
