// The RGB gamma space: which registers belong to which table, and where the table is kept and used.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "proto/flashmap.h"
#include "proto/fpgamap.h"

namespace TIRK_MCUC {

// Set selectors of SendGammaToFpga: 'x' names the 12-bit set, any other value the 10-bit one.
constexpr uint8_t kGammaSet12Bit = 120;
constexpr uint8_t kGammaSet10Bit = 88;

// One colour's table: the registers from `first` on. A piece starts at first..last, one byte before the table's last,
// and goes as far as `end`.
struct GammaRange {
  uint32_t first;
  uint32_t last;
  flash::Area table;
  flash::Area tag;
  fpga::Area memory;
  uint8_t set;
  bool completesSet;        // the last colour: once it is complete, the set is loaded
  const char* writeFailed;  // a flash failure, followed by the result
  const char* readFailed;   // a failure of the FPGA, likewise

  constexpr uint32_t end() const { return last + 2; }
};

// In the order in which an access is tested, and, within a set, in which the colours are loaded.
constexpr GammaRange kGammaRanges[] = {
    {0x0E000000, 0x0E001FFE, flash::kGammaRed2, flash::kGammaTagRed2, fpga::kGammaRed, kGammaSet12Bit, false,
     "=== Write_12BIT_RedGammaInfo ===12BIT_RedGamma info to flash failed. ret = ",
     "=== Read_12BIT_RedGammaInfo ===Read 12BIT_RedGamma Info failed! ret = "},
    {0x0E100000, 0x0E101FFE, flash::kGammaGreen2, flash::kGammaTagGreen2, fpga::kGammaGreen, kGammaSet12Bit, false,
     "=== Write_12BIT_GreenGammaInfo ===12BIT_GreenGamma info to flash failed. ret = ",
     "=== Read_12BIT_GreenGammaInfo ===Read 12BIT_GreenGamma Info failed! ret = "},
    {0x0E200000, 0x0E201FFE, flash::kGammaBlue2, flash::kGammaTagBlue2, fpga::kGammaBlue, kGammaSet12Bit, true,
     "=== Write_12BIT_BlueGammaInfo ===12BIT_BlueGamma info to flash failed. ret = ",
     "=== Read_12BIT_BlueGammaInfo ===Read 12BIT_BlueGamma Info failed! ret = "},
    {0x0E002000, 0x0E003FFE, flash::kGammaRed1, flash::kGammaTagRed1, fpga::kGammaRed, kGammaSet10Bit, false,
     "=== Write_10BIT_RedGammaInfo ===10BIT_RedGamma info to flash failed. ret = ",
     "=== Read_10BIT_RedGammaInfo ===Read 10BIT_RedGamma Info failed! ret = "},
    {0x0E102000, 0x0E103FFE, flash::kGammaGreen1, flash::kGammaTagGreen1, fpga::kGammaGreen, kGammaSet10Bit, false,
     "=== Write_10BIT_GreenGammaInfo ===10BIT_GreenGamma info to flash failed. ret = ",
     "=== Read_10BIT_GreenGammaInfo ===Read 10BIT_GreenGamma Info failed! ret = "},
    {0x0E202000, 0x0E203FFE, flash::kGammaBlue1, flash::kGammaTagBlue1, fpga::kGammaBlue, kGammaSet10Bit, true,
     "=== Write_10BIT_BlueGammaInfo ===10BIT_BlueGamma info to flash failed. ret = ",
     "=== Read_10BIT_BlueGammaInfo ===Read 10BIT_BlueGamma Info failed! ret = "}};

// A gamma value: one byte, read and written alone.
struct GammaValue {
  uint32_t address;
  flash::Area stored;
  fpga::Area memory;
  const char* readFailed;
};
constexpr GammaValue kGammaValues[] = {{0x0E302000, flash::kGammaValue12, fpga::kGammaValue12,
                                        "=== Read_12BIT_GammaValInfo ===Read 12BIT_GammaVal Info failed! ret = "},
                                       {0x0E300000, flash::kGammaValue10, fpga::kGammaValue10,
                                        "=== Read_10BIT_GammaValInfo ===Read 10BIT_GammaVal Info failed! ret = "}};

// The table, or the value, that an access of `length` bytes at `address` (without its top four bits) belongs to; null
// when none.
constexpr const GammaRange* gammaRangeAt(uint32_t address) {
  const auto* const found =
      std::find_if(std::begin(kGammaRanges), std::end(kGammaRanges),
                   [address](const GammaRange& range) { return address >= range.first && address <= range.last; });
  return found == std::end(kGammaRanges) ? nullptr : found;
}
constexpr const GammaValue* gammaValueAt(uint32_t address, size_t length) {
  const auto* const found = std::find_if(std::begin(kGammaValues), std::end(kGammaValues),
                                         [address](const GammaValue& value) { return address == value.address; });
  return found == std::end(kGammaValues) || length != 1 ? nullptr : found;
}

}  // namespace TIRK_MCUC
