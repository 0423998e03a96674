// The colour formulas behind platform/include/colourcalc.h. Pure: values in, values out.
//
// Sources: SMPTE ST 2084 (perceptual quantizer), Report ITU-R BT.2390 (knee and black lift), Recommendation ITU-R
// BT.2100 (hybrid log-gamma), Recommendation ITU-R BT.709 (luma and colour difference).
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "colourcalc.h"

namespace vboard {

// Perceptual quantizer: signal 0..1 to luminance in cd/m2 (0..10 000), and back.
double pqToLuminance(double signal);
double luminanceToPq(double luminance);

struct Hdr10Parameters {
  unsigned peakLuminance;  // cd/m2
  unsigned ambientLight;   // lux
  unsigned brightness;     // percent
  unsigned bitWidth;       // 2^bitWidth levels, 1..12
  unsigned lowGreyEffect;
  unsigned highGreyEffect;  // 140: the whole knee
};
// One output level 0..65535 for each input level; rises monotonically, the first is 0.
std::vector<uint16_t> hdr10Levels(const Hdr10Parameters& parameters);

// 1024 levels; the system gamma rises by 0.05 with each class up to 20.
std::vector<uint16_t> hlgLevels(unsigned hlgClass);

struct ColourConversion {
  std::array<int16_t, 9> coefficients;   // row-major, 4096 = 1.0
  std::array<int16_t, 3> inputOffsets;   // 12-bit codes, added before
  std::array<int16_t, 3> outputOffsets;  // added after
};
ColourConversion colourConversion(COLORSPACECONVERT kind, unsigned saturation, unsigned contrast, unsigned hue);

}  // namespace vboard
