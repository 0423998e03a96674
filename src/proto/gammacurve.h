// The built-in gamma table. Pure.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace TIRK_MCUC {

constexpr size_t kGammaTableSize = 8192;  // 4096 entries u16 little-endian
using GammaTable = std::array<uint8_t, kGammaTableSize>;

// 1024 levels of a power curve of exponent 2.8, each in four entries: level k is floor(65535 * ((k + 1) / 1024)^2.8).
const GammaTable& GammaTable_x();

}  // namespace TIRK_MCUC
