// The modes that inputs offer from a table: VESA DMT 1.0 rev 13 (with its reduced-blanking variants) and CTA-861.
#pragma once

#include <array>
#include <cstdint>

namespace TIRK_MCUC {

struct Resolution {
  uint16_t width;
  uint16_t height;
};

struct mode_table_t {
  uint16_t en_res_idx;  // index of its resolution
  uint16_t h_freq;      // line rate, 100 Hz
  uint16_t v_freq;      // refresh, 0.1 Hz
  uint16_t h_total;     // pixels
  uint16_t v_total;     // lines
  uint16_t h_blanking;
  uint16_t h_sync;   // sync width
  uint16_t h_start;  // sync width + back porch
  uint16_t v_blanking;
  uint16_t v_sync;
  uint16_t v_start;
  uint8_t flag;
};

extern const std::array<Resolution, 22> g_resolution_input;
extern const std::array<mode_table_t, 54> g_timing_table_input;

// The first entry of that resolution whose refresh lies within 0.4 Hz of rate_x10 / 10: 1, copied to `mode`; 0 none.
int GetDmtTiming(uint16_t h, uint16_t v, uint16_t rate_x10, mode_table_t* mode);

}  // namespace TIRK_MCUC
