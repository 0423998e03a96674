// The computed fields of the pattern generator. Pure.
#pragma once

#include "mcucbytes.h"

namespace TIRK_MCUC {

// Bytes of the register block, u16 little-endian.
namespace pattern {
constexpr size_t kBlockSize = 0x39;
constexpr size_t kScreenWidth = 0x02;
constexpr size_t kScreenHeight = 0x04;
constexpr size_t kFirstPixelX = 0x0E;  // s16
constexpr size_t kFirstPixelY = 0x10;  // s16
constexpr size_t kStrobe = 0x1B;
constexpr size_t kIntervalKind = 0x20;  // kPixelInterval or kBlockInterval
constexpr size_t kPixelIntervalX = 0x21;
constexpr size_t kPixelIntervalY = 0x23;
constexpr size_t kPixelPhaseX = 0x25;  // computed
constexpr size_t kPixelPhaseY = 0x27;
constexpr size_t kBlockCountX = 0x2D;  // computed
constexpr size_t kBlockCountY = 0x2F;
constexpr size_t kBlockWidth = 0x31;
constexpr size_t kBlockHeight = 0x33;
constexpr size_t kBlockPhaseX = 0x35;  // computed
constexpr size_t kBlockPhaseY = 0x37;
constexpr uint8_t kPixelInterval = 1;
constexpr uint8_t kBlockInterval = 2;
}  // namespace pattern

// (interval - first) mod interval for each direction. False, and both phases 0, when a first pixel is negative or not
// below its interval.
bool pixelPhases(int firstX, int firstY, unsigned intervalX, unsigned intervalY, uint16_t& phaseX, uint16_t& phaseY);

struct BlockStart {
  uint16_t count;  // whole blocks before the first pixel, rounded up
  uint16_t phase;  // pixels of the block that the first pixel lies in
};
// A negative first pixel starts inside block 0; a size of 0 gives 0 and 0.
BlockStart blockStart(int first, unsigned size);

}  // namespace TIRK_MCUC
