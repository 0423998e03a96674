#include "process/cvt.h"

#include <algorithm>
#include <cmath>

#include "mcuctrace.h"

namespace TIRK_MCUC {

namespace {

constexpr int kRbHorizontalBlanking = 160;  // pixels
constexpr int kRbHorizontalSync = 32;
constexpr int kRbHorizontalFrontPorch = 48;
constexpr double kRbMinVerticalBlanking = 460;  // microseconds
constexpr int RB_V_FPORCH = 23;                 // lines
constexpr int kRbMinBackPorch = 6;              // lines after the sync

// The sync width in lines tells the aspect ratio.
int verticalSync(int h_pixels, int v_lines) {
  struct Aspect {
    int horizontal, vertical, sync;
  };
  static constexpr Aspect kAspects[] = {{4, 3, 4}, {16, 9, 5}, {16, 10, 6}, {5, 4, 7}, {15, 9, 7}};
  for (const Aspect& aspect : kAspects) {
    if (h_pixels == v_lines * aspect.horizontal / aspect.vertical) return aspect.sync;
  }
  return 10;
}

void reducedBlanking(int h_pixels, int v_lines, int64_t centiHertz, double linePeriod, cvt_mode& m) {
  const int sync = verticalSync(h_pixels, v_lines);
  const int blanking = std::max(static_cast<int>(std::floor(kRbMinVerticalBlanking / linePeriod)) + 1,
                                RB_V_FPORCH + sync + kRbMinBackPorch);
  m.hr = h_pixels;
  m.hss = m.hr + kRbHorizontalFrontPorch;
  m.hse = m.hss + kRbHorizontalSync;
  m.hfl = m.hr + kRbHorizontalBlanking;
  m.vr = v_lines;
  m.vss = m.vr + RB_V_FPORCH;
  m.vse = m.vss + sync;
  m.vfl = m.vr + blanking;
  m.pclkKhz = static_cast<uint32_t>(centiHertz * m.vfl * m.hfl / 100000);
  m.pclk = static_cast<float>(m.pclkKhz) / 1000;
  m.h_freq = static_cast<float>(m.pclkKhz) / static_cast<float>(m.hfl);
  m.v_freq = static_cast<float>(centiHertz) / 100;
  m.real_v_rate = m.h_freq * 1000 / static_cast<float>(m.vfl);
  m.rb = 1;
}

}  // namespace

void vert_refresh(int h_pixels, int v_lines, double freq, int interlaced, int reduced_blank, int margins,
                  int film_optimized, cvt_mode* m) {
  if (m == nullptr) return;
  *m = {};
  if (interlaced != 0 || margins != 0 || film_optimized != 0 || reduced_blank == 0) {
    TRACE_ERROR("=== vert_refresh ===only progressive timings with reduced blanking are supported");
    return;
  }
  const int64_t centiHertz = std::llround(freq * 100);
  const double linePeriod =
      v_lines > 0 && centiHertz > 0 ? (1e8 / static_cast<double>(centiHertz) - kRbMinVerticalBlanking) / v_lines : 0;
  if (h_pixels <= 0 || h_pixels > 0xFFFF || v_lines > 0xFFFF || linePeriod <= 0) {
    TRACE_ERROR("=== vert_refresh ===no timing for " << h_pixels << " x " << v_lines << " at " << freq);
    return;
  }
  reducedBlanking(h_pixels, v_lines, centiHertz, linePeriod, *m);
}

}  // namespace TIRK_MCUC
