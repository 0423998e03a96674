/* The closed colour calculations. Pure: no state, any thread. Tables are u16 little-endian, 4096 entries. */
#ifndef KADREND_PLATFORM_COLOURCALC_H
#define KADREND_PLATFORM_COLOURCALC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Colour-space conversion: F full range, L limited range; R RGB, Y YUV. */
typedef enum COLORSPACECONVERT {
  FRtoFR = 0,
  FRtoLY = 1,
  FRtoFY = 2,
  FYtoFR = 3,
  LYtoFR = 4,
  LYtoLY = 5,
  FYtoFY = 6,
  FYtoLY = 7,
  LYtoFY = 8
} COLORSPACECONVERT;

/* peak_luminance in cd/m2, ambient_light in lux, brightness in percent, bit_width: 2^bit_width levels (at most 12),
 * low_grey_effect and high_grey_effect as the host sets them. */
void HDR10GammaCalculation(uint16_t peak_luminance, uint16_t ambient_light, uint8_t brightness, uint8_t bit_width,
                           uint8_t low_grey_effect, uint8_t high_grey_effect, uint8_t table[8192]);

void HLGGammaCalculation(uint8_t hlg_class, uint8_t table[8192]);

/* saturation and contrast 0..100 (50 neutral), hue in degrees. Block: nine coefficients s16 little-endian row-major,
 * 4096 = 1.0; bytes 18..23 input offsets, 24..29 output offsets (s16), 30 the kind, 31 the argument. */
void PictureQualityCalculation(COLORSPACECONVERT kind, uint16_t saturation, uint16_t contrast, uint16_t hue,
                               uint8_t argument, uint8_t block[32]);

#ifdef __cplusplus
}
#endif
#endif
