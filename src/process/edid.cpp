#include "process/edid.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "process/cvt.h"
#include "process/videotimings.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kHeader[8] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
// Rates of 1000/1001 times a whole one, x 100.
constexpr uint16_t kFractionalRates[] = {2398, 2997, 4795, 5994, 7193, 11988};
constexpr uint8_t kDigitalSeparateSync = 3;
constexpr uint8_t kRangeLimitsTag = 0xFD;

bool sumsToZero(const uint8_t* block) {
  return (std::accumulate(block, block + kEdidBlockLength, 0U) & 0xFF) == 0;
}

bool isFractional(uint16_t r) {
  return std::find(std::begin(kFractionalRates), std::end(kFractionalRates), r) != std::end(kFractionalRates);
}

// What 12, 10 and 6 bits of the descriptor hold.
bool fits(const edid_CEA861DetailedTimingDescriptor& d) {
  const auto below = [](uint16_t limit, std::initializer_list<uint16_t> values) {
    return std::all_of(values.begin(), values.end(), [limit](uint16_t value) { return value < limit; });
  };
  return below(1U << 12, {d.HorizActivePixels, d.HorizBlankingPixels, d.VertActiveLines, d.VertBlankingLines,
                          d.HorizImageSize_mm, d.VertImageSize_mm}) &&
         below(1U << 10, {d.HorizSyncOffset, d.HorizSyncPulseWidth}) &&
         below(1U << 6, {d.VertSyncOffset, d.VertSyncPulseWidth});
}

// The pixel clock in 10 kHz units that gives the refresh r, or the last one tried.
uint32_t matchRefresh(uint32_t p, uint32_t horizontalTotal, uint32_t verticalTotal, uint16_t r) {
  for (int step = 0; step < 100; ++step) {
    const uint32_t rate = refreshOf(p, horizontalTotal, verticalTotal);
    if (rate == r) break;
    if (rate > r && p > 0) --p;
    if (rate < r) ++p;
  }
  return p;
}

uint8_t low(unsigned value) {
  return static_cast<uint8_t>(value);
}

// Bits 11..8 of two values in one byte.
uint8_t highNibbles(unsigned first, unsigned second) {
  return low((first >> 8 & 0x0F) << 4 | (second >> 8 & 0x0F));
}

void encodeDescriptor(const edid_CEA861DetailedTimingDescriptor& d, uint32_t p, uint8_t* out) {
  DWT_ENCWD(out, static_cast<uint16_t>(p));
  out[2] = low(d.HorizActivePixels);
  out[3] = low(d.HorizBlankingPixels);
  out[4] = highNibbles(d.HorizActivePixels, d.HorizBlankingPixels);
  out[5] = low(d.VertActiveLines);
  out[6] = low(d.VertBlankingLines);
  out[7] = highNibbles(d.VertActiveLines, d.VertBlankingLines);
  out[8] = low(d.HorizSyncOffset);
  out[9] = low(d.HorizSyncPulseWidth);
  out[10] = low((d.VertSyncOffset & 0x0FU) << 4 | (d.VertSyncPulseWidth & 0x0FU));
  out[11] = low((d.HorizSyncOffset >> 8 & 3U) << 6 | (d.HorizSyncPulseWidth >> 8 & 3U) << 4 |
                (d.VertSyncOffset >> 4 & 3U) << 2 | (d.VertSyncPulseWidth >> 4 & 3U));
  out[12] = low(d.HorizImageSize_mm);
  out[13] = low(d.VertImageSize_mm);
  out[14] = highNibbles(d.HorizImageSize_mm, d.VertImageSize_mm);
  out[15] = d.HorizBorder;
  out[16] = d.VertBorder;
  out[17] = low((d.Interlaced ? 0x80U : 0U) | (d.StereoModeDecode >> 1 & 3U) << 5 |
                (d.SyncSignalDescription & 3U) << 3 | (d.SyncSignalInfo & 3U) << 1 | (d.StereoModeDecode & 1U));
}

edid_CEA861DetailedTimingDescriptor fromTable(const mode_table_t& mode, uint16_t r) {
  edid_CEA861DetailedTimingDescriptor d;
  uint64_t clock = uint64_t{(r + 50U) / 100U} * mode.h_total * mode.v_total;
  if (isFractional(r)) clock = clock * 1000 / 1001;
  d.PixelClock = static_cast<uint32_t>(clock);
  d.HorizActivePixels = static_cast<uint16_t>(mode.h_total - mode.h_blanking);
  d.HorizBlankingPixels = mode.h_blanking;
  d.HorizSyncOffset = static_cast<uint16_t>(mode.h_blanking - mode.h_start);
  d.HorizSyncPulseWidth = mode.h_sync;
  d.VertActiveLines = static_cast<uint16_t>(mode.v_total - mode.v_blanking);
  d.VertBlankingLines = mode.v_blanking;
  d.VertSyncOffset = static_cast<uint16_t>(mode.v_blanking - mode.v_start);
  d.VertSyncPulseWidth = mode.v_sync;
  return d;
}

edid_CEA861DetailedTimingDescriptor fromReducedBlanking(uint16_t h, uint16_t v, uint16_t r) {
  cvt_mode m;
  vert_refresh(h, v, r / 100.0, 0, 1, 0, 0, &m);
  edid_CEA861DetailedTimingDescriptor d;
  if (uint64_t{m.pclkKhz} * 1000 > 0xFFFFFFFF) return d;
  d.PixelClock = m.pclkKhz * 1000;
  d.HorizActivePixels = static_cast<uint16_t>(m.hr);
  d.HorizBlankingPixels = static_cast<uint16_t>(m.hfl - m.hr);
  d.HorizSyncOffset = static_cast<uint16_t>(m.hss - m.hr);
  d.HorizSyncPulseWidth = static_cast<uint16_t>(m.hse - m.hss);
  d.VertActiveLines = static_cast<uint16_t>(m.vr);
  d.VertBlankingLines = static_cast<uint16_t>(m.vfl - m.vr);
  d.VertSyncOffset = static_cast<uint16_t>(m.vss - m.vr);
  d.VertSyncPulseWidth = static_cast<uint16_t>(m.vse - m.vss);
  return d;
}

// The display range limits descriptor among those that follow the first; null when there is none.
uint8_t* rangeLimits(Edid& edid) {
  for (size_t at = kEdidFirstDescriptor + kEdidDescriptorLength; at < kEdidExtensionCount;
       at += kEdidDescriptorLength) {
    uint8_t* descriptor = edid.data() + at;
    if (readWord(descriptor) == 0 && descriptor[3] == kRangeLimitsTag) return descriptor;
  }
  return nullptr;
}

bool widen(uint8_t& lowest, uint8_t& highest, double value) {
  if (value < 1 || value > 255) return false;
  lowest = std::min(lowest, static_cast<uint8_t>(std::floor(value)));
  highest = std::max(highest, static_cast<uint8_t>(std::ceil(value)));
  return true;
}

// The range limits must cover the preferred timing: they are widened where it lies outside. False when they cannot
// express it (bytes of Hz and kHz).
bool coverTiming(Edid& edid) {
  uint8_t* limits = rangeLimits(edid);
  if (limits == nullptr) return true;
  const auto d = decodeDescriptor(edid.data() + kEdidFirstDescriptor);
  const double lineRate = static_cast<double>(d.PixelClock) / (d.HorizActivePixels + d.HorizBlankingPixels);
  return widen(limits[5], limits[6], lineRate / (d.VertActiveLines + d.VertBlankingLines)) &&
         widen(limits[7], limits[8], lineRate / 1000);
}

}  // namespace

int ResT_verify_EDID(const uint8_t* edid, int length) {
  if (edid == nullptr || length < static_cast<int>(kEdidBlockLength)) return 0;
  if (!std::equal(std::begin(kHeader), std::end(kHeader), edid) || !sumsToZero(edid)) return 0;
  if (edid[kEdidExtensionCount] == 0) return 1;
  if (length < static_cast<int>(kEdidLength)) return 0;
  return sumsToZero(edid + kEdidBlockLength) ? 1 : 0;
}

uint32_t refreshOf(uint32_t p, uint32_t horizontalTotal, uint32_t verticalTotal) {
  const double total = static_cast<double>(verticalTotal) * horizontalTotal;
  const double rate = p * 10000.0 / total * 100;
  return rate < UINT32_MAX ? static_cast<uint32_t>(rate) : UINT32_MAX;
}

int edid_create_dtd(const edid_CEA861DetailedTimingDescriptor* dtd, uint8_t* out, uint16_t r) {
  if (dtd == nullptr || out == nullptr || !fits(*dtd)) return 0;
  const uint32_t horizontalTotal = uint32_t{dtd->HorizActivePixels} + dtd->HorizBlankingPixels;
  const uint32_t verticalTotal = uint32_t{dtd->VertActiveLines} + dtd->VertBlankingLines;
  if (horizontalTotal == 0 || verticalTotal == 0) return 0;
  const auto units = static_cast<uint32_t>((uint64_t{dtd->PixelClock} + 5000) / 10000);
  const uint32_t p = matchRefresh(units, horizontalTotal, verticalTotal, r);
  if (p == 0 || p > 0xFFFF) return 0;
  encodeDescriptor(*dtd, p, out);
  return 1;
}

edid_CEA861DetailedTimingDescriptor decodeDescriptor(const uint8_t* in) {
  const auto word = [](unsigned lowByte, unsigned highBits) { return static_cast<uint16_t>(lowByte | highBits << 8); };
  edid_CEA861DetailedTimingDescriptor d;
  d.PixelClock = uint32_t{readWord(in)} * 10000;
  d.HorizActivePixels = word(in[2], in[4] >> 4);
  d.HorizBlankingPixels = word(in[3], in[4] & 15U);
  d.VertActiveLines = word(in[5], in[7] >> 4);
  d.VertBlankingLines = word(in[6], in[7] & 15U);
  d.HorizSyncOffset = word(in[8], in[11] >> 6);
  d.HorizSyncPulseWidth = word(in[9], in[11] >> 4 & 3U);
  d.VertSyncOffset = static_cast<uint16_t>(in[10] >> 4 | (in[11] >> 2 & 3U) << 4);
  d.VertSyncPulseWidth = static_cast<uint16_t>((in[10] & 15U) | (in[11] & 3U) << 4);
  d.HorizImageSize_mm = word(in[12], in[14] >> 4);
  d.VertImageSize_mm = word(in[13], in[14] & 15U);
  d.HorizBorder = in[15];
  d.VertBorder = in[16];
  d.Interlaced = (in[17] & 0x80) != 0;
  d.StereoModeDecode = low((in[17] >> 5 & 3U) << 1 | (in[17] & 1U));
  d.SyncSignalDescription = in[17] >> 3 & 3U;
  d.SyncSignalInfo = in[17] >> 1 & 3U;
  return d;
}

std::optional<VideoMode> modeOfEdid(const uint8_t* edid) {
  const uint8_t* descriptor = edid + kEdidFirstDescriptor;
  const auto d = decodeDescriptor(descriptor);
  const uint32_t horizontalTotal = uint32_t{d.HorizActivePixels} + d.HorizBlankingPixels;
  const uint32_t verticalTotal = uint32_t{d.VertActiveLines} + d.VertBlankingLines;
  if (d.PixelClock == 0 || horizontalTotal == 0 || verticalTotal == 0) return std::nullopt;
  uint32_t r = refreshOf(readWord(descriptor), horizontalTotal, verticalTotal);
  if (r == 0 || r > 0xFFFE) return std::nullopt;
  if (isFractional(static_cast<uint16_t>(r + 1))) ++r;
  return VideoMode{d.HorizActivePixels, d.VertActiveLines, static_cast<uint16_t>(r)};
}

void setBlockChecksum(Edid& edid) {
  const unsigned sum = std::accumulate(edid.begin(), edid.begin() + kEdidChecksum, 0U);
  edid[kEdidChecksum] = static_cast<uint8_t>(0U - sum);
}

int ResT_calEDID_by_model_new(const uint8_t* base, uint8_t* out, uint16_t h, uint16_t v, uint16_t r) {
  if (out == nullptr || ResT_verify_EDID(base) == 0) return -1;
  Edid edid;
  std::copy_n(base, kEdidLength, edid.begin());
  mode_table_t mode{};
  const bool listed = GetDmtTiming(h, v, r / 10, &mode) == 1;
  edid_CEA861DetailedTimingDescriptor d = listed ? fromTable(mode, r) : fromReducedBlanking(h, v, r);
  d.SyncSignalDescription = kDigitalSeparateSync;
  if (d.PixelClock == 0 || edid_create_dtd(&d, edid.data() + kEdidFirstDescriptor, r) == 0) return -1;
  if (!coverTiming(edid)) return -1;
  setBlockChecksum(edid);
  std::copy(edid.begin(), edid.end(), out);
  return 0;
}

}  // namespace TIRK_MCUC
