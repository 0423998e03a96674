// Extended Display Identification Data: verification, the detailed timing descriptor, and the block checksum. Pure.
//
// Source: VESA Enhanced EDID Standard, EDID structure 1.3 and 1.4. A block is 128 bytes whose sum is 0 modulo 256; the
// first detailed timing descriptor of block 0 is the 18 bytes from 54 on, byte 126 the number of extension blocks.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "mcucbytes.h"

namespace TIRK_MCUC {

constexpr size_t kEdidBlockLength = 128;
constexpr size_t kEdidLength = 256;
constexpr size_t kEdidFirstDescriptor = 54;
constexpr size_t kEdidDescriptorLength = 18;
constexpr size_t kEdidExtensionCount = 126;
constexpr size_t kEdidChecksum = 127;

using Edid = std::array<uint8_t, kEdidLength>;

struct edid_CEA861DetailedTimingDescriptor {
  uint32_t PixelClock = 0;  // Hz
  uint16_t HorizActivePixels = 0;
  uint16_t HorizBlankingPixels = 0;
  uint16_t VertActiveLines = 0;
  uint16_t VertBlankingLines = 0;
  uint16_t HorizSyncOffset = 0;
  uint16_t HorizSyncPulseWidth = 0;
  uint16_t VertSyncOffset = 0;
  uint16_t VertSyncPulseWidth = 0;
  uint16_t HorizImageSize_mm = 0;
  uint16_t VertImageSize_mm = 0;
  uint8_t HorizBorder = 0;
  uint8_t VertBorder = 0;
  bool Interlaced = false;
  uint8_t StereoModeDecode = 0;
  uint8_t SyncSignalDescription = 0;
  uint8_t SyncSignalInfo = 0;
  bool Native = false;
};

// A video mode: active pixels and lines, refresh rate x 100.
struct VideoMode {
  uint16_t h = 0;
  uint16_t v = 0;
  uint16_t r = 0;
  bool operator==(const VideoMode&) const = default;
};

// 1 valid, 0 not: header, and the checksum of block 0 and, when it says that there is one, of block 1. `length` 128 or
// 256: a 128-byte EDID is never read past its end, and is not valid when it announces an extension.
int ResT_verify_EDID(const uint8_t* edid, int length = kEdidLength);

// Encodes the 18 bytes; the pixel clock is moved in 10 kHz steps, at most 100, until the refresh computes to r. 1; 0,
// and `out` as it was, for a missing descriptor and for values that the fields cannot hold.
int edid_create_dtd(const edid_CEA861DetailedTimingDescriptor* dtd, uint8_t* out, uint16_t r);

edid_CEA861DetailedTimingDescriptor decodeDescriptor(const uint8_t* descriptor);

// Refresh rate x 100 of p (10 kHz units) over the totals, truncated; at most what 32 bits hold.
uint32_t refreshOf(uint32_t p, uint32_t horizontalTotal, uint32_t verticalTotal);

// The mode of the first descriptor of a valid EDID; a rate one below a fractional one is taken as that. Empty when its
// clock or a total is 0, or the rate does not fit.
std::optional<VideoMode> modeOfEdid(const uint8_t* edid);

// Sets byte 127 so that block 0 sums to 0.
void setBlockChecksum(Edid& edid);

// `base` with its first detailed timing replaced by one for the mode (a table timing, else reduced blanking), its range
// limits widened where that lies outside, its checksum right. 0; else not 0 and `out` as it was: invalid base, no
// timing, or a mode that the EDID cannot hold.
int ResT_calEDID_by_model_new(const uint8_t* base, uint8_t* out, uint16_t h, uint16_t v, uint16_t r);

}  // namespace TIRK_MCUC
