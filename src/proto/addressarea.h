// A stretch of the flash or of the FPGA, as the address maps name it.
#pragma once

#include <cstdint>

namespace TIRK_MCUC {

struct AddressArea {
  uint32_t address;
  uint32_t length;
  const char* contents;  // for people
};

}  // namespace TIRK_MCUC
