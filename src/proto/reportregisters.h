// The register addresses under which the daemon reports on its own initiative.
#pragma once

#include <cstddef>
#include <cstdint>

#include "proto/sendparameter.h"

namespace TIRK_MCUC::report {

// The register of a feature byte or of an FPGA status byte.
constexpr uint32_t feature(size_t offset) {
  return sendpara::kRegisterBase + static_cast<uint32_t>(offset);
}

constexpr uint32_t kReboot = 0x01000002;     // a factory reset was requested; its type
constexpr uint32_t kCardSize = 0x02100006;   // receiving-card width and height, u16 each
constexpr uint32_t kLedConfig = 0x02810000;  // screen configuration status: 0xC8 from a software table
constexpr uint32_t kBandwidth = 0x02810008;  // bandwidth word
constexpr uint32_t kTime = 0x13000300;       // date and time, 7 bytes
constexpr uint32_t kLoaded = 0x14000000;     // this daemon has loaded: 0x02

}  // namespace TIRK_MCUC::report
