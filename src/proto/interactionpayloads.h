// The work-item payloads of the interaction space, little-endian. Built by the space, applied by the colour handlers.
#pragma once

#include <array>
#include <cstdint>

#include "mcucbytes.h"

namespace TIRK_MCUC {

constexpr uint8_t kHdrTypeHdr10 = 0x58;  // any other type is HLG

// 0 type, 1 HLG class, 2 brightness in percent, 3 reserved, 4 peak luminance u16, 6 ambient light u16,
// 8 low-grey effect, 9 high-grey effect. HLG uses type and class; HDR10 all but the class.
struct HDRParaData {
  static constexpr size_t kLength = 10;
  uint8_t HDRType = 0;
  uint8_t HLGCalss = 0;
  uint8_t brightness = 0;
  uint16_t fScreenPeakLight = 0;
  uint16_t fambientLight = 0;
  uint8_t pMinLum = 0;
  uint8_t pdelta = 0;

  std::array<uint8_t, kLength> encode() const {
    std::array<uint8_t, kLength> out{HDRType, HLGCalss, brightness};
    DWT_ENCWD(&out[4], fScreenPeakLight);
    DWT_ENCWD(&out[6], fambientLight);
    out[8] = pMinLum;
    out[9] = pdelta;
    return out;
  }
  static HDRParaData decode(const uint8_t* in) {
    return {in[0], in[1], in[2], readWord(in + 4), readWord(in + 6), in[8], in[9]};
  }
};

// 0 saturation u16, 2 contrast u16, 4 hue u16.
struct CSCParaData {
  static constexpr size_t kLength = 6;
  uint16_t Saturation = 0;
  uint16_t Contrast = 0;
  uint16_t Hue = 0;

  std::array<uint8_t, kLength> encode() const {
    std::array<uint8_t, kLength> out{};
    DWT_ENCWD(&out[0], Saturation);
    DWT_ENCWD(&out[2], Contrast);
    DWT_ENCWD(&out[4], Hue);
    return out;
  }
  static CSCParaData decode(const uint8_t* in) { return {readWord(in), readWord(in + 2), readWord(in + 4)}; }
};

// 0 warm-up mode, 1 warm-up time.
constexpr size_t kWarmUpPayloadLength = 2;

}  // namespace TIRK_MCUC
