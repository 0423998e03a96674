#include "proto/gammacurve.h"

#include <cmath>

#include "mcucbytes.h"

namespace TIRK_MCUC {

const GammaTable& GammaTable_x() {
  static const GammaTable table = [] {
    constexpr size_t kLevels = 1024;
    constexpr size_t kEntriesPerLevel = 4;
    GammaTable out;
    uint8_t* at = out.data();
    for (size_t k = 0; k < kLevels; ++k) {
      const double level = std::floor(65535 * std::pow(static_cast<double>(k + 1) / kLevels, 2.8));
      for (size_t i = 0; i < kEntriesPerLevel; ++i, at += 2) DWT_ENCWD(at, static_cast<uint16_t>(level));
    }
    return out;
  }();
  return table;
}

}  // namespace TIRK_MCUC
