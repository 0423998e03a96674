// Coordinated Video Timings with reduced blanking, after VESA CVT 1.2 with the device's own constants: whole-pixel
// cells, a 1 kHz clock step and a 23-line vertical front porch. Pure but for the Error line of an unsupported request.
#pragma once

#include <cstdint>

namespace TIRK_MCUC {

struct cvt_mode {
  int hr = 0;   // horizontal active, pixels
  int hss = 0;  // horizontal sync start
  int hse = 0;  // horizontal sync end
  int hfl = 0;  // horizontal total
  int vr = 0;   // the same vertically, lines
  int vss = 0;
  int vse = 0;
  int vfl = 0;
  float pclk = 0;         // pixel clock, MHz
  uint32_t pclkKhz = 0;   // the same, exact
  float h_freq = 0;       // line rate, kHz
  float v_freq = 0;       // requested refresh rate, Hz
  float real_v_rate = 0;  // the refresh that the timing gives, Hz
  int rb = 0;             // reduced blanking used
  int in = 0;             // interlaced
};

// freq: refresh rate in Hz, taken to 0.01 Hz. A zero size or rate, a rate that leaves no time for the lines, and the
// interlaced, margin, film and standard-blanking variants give a zeroed result and an Error line.
void vert_refresh(int h_pixels, int v_lines, double freq, int interlaced, int reduced_blank, int margins,
                  int film_optimized, cvt_mode* m);

}  // namespace TIRK_MCUC
