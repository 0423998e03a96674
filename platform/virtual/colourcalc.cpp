#include "colourcalc.h"

#include <cstddef>

#include "virtual/colourmath.h"

namespace {

constexpr std::size_t kTableEntries = 4096;

void encodeWord(uint8_t* out, uint16_t value) {
  out[0] = static_cast<uint8_t>(value);
  out[1] = static_cast<uint8_t>(value >> 8);
}

// Each level fills its share of the table's entries.
void fillTable(const std::vector<uint16_t>& levels, uint8_t table[8192]) {
  for (std::size_t i = 0; i < kTableEntries; ++i) encodeWord(table + 2 * i, levels[i * levels.size() / kTableEntries]);
}

}  // namespace

extern "C" {

void HDR10GammaCalculation(uint16_t peak_luminance, uint16_t ambient_light, uint8_t brightness, uint8_t bit_width,
                           uint8_t low_grey_effect, uint8_t high_grey_effect, uint8_t table[8192]) {
  fillTable(
      vboard::hdr10Levels({peak_luminance, ambient_light, brightness, bit_width, low_grey_effect, high_grey_effect}),
      table);
}

void HLGGammaCalculation(uint8_t hlg_class, uint8_t table[8192]) {
  fillTable(vboard::hlgLevels(hlg_class), table);
}

void PictureQualityCalculation(COLORSPACECONVERT kind, uint16_t saturation, uint16_t contrast, uint16_t hue,
                               uint8_t argument, uint8_t block[32]) {
  const vboard::ColourConversion conversion = vboard::colourConversion(kind, saturation, contrast, hue);
  uint8_t* out = block;
  const auto put = [&out](const auto& words) {
    for (const int16_t word : words) {
      encodeWord(out, static_cast<uint16_t>(word));
      out += 2;
    }
  };
  put(conversion.coefficients);
  put(conversion.inputOffsets);
  put(conversion.outputOffsets);
  block[30] = static_cast<uint8_t>(kind);
  block[31] = argument;
}
}
