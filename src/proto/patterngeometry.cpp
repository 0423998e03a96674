#include "proto/patterngeometry.h"

namespace TIRK_MCUC {

bool pixelPhases(int firstX, int firstY, unsigned intervalX, unsigned intervalY, uint16_t& phaseX, uint16_t& phaseY) {
  phaseX = 0;
  phaseY = 0;
  const auto inside = [](int first, unsigned interval) {
    return first >= 0 && static_cast<unsigned>(first) < interval;
  };
  if (!inside(firstX, intervalX) || !inside(firstY, intervalY)) return false;
  phaseX = static_cast<uint16_t>((intervalX - static_cast<unsigned>(firstX)) % intervalX);
  phaseY = static_cast<uint16_t>((intervalY - static_cast<unsigned>(firstY)) % intervalY);
  return true;
}

BlockStart blockStart(int first, unsigned size) {
  if (first < 0) return {0, static_cast<uint16_t>(-first)};
  if (size == 0) return {0, 0};
  const auto pixel = static_cast<unsigned>(first);
  return {static_cast<uint16_t>((pixel + size - 1) / size), static_cast<uint16_t>((size - pixel % size) % size)};
}

}  // namespace TIRK_MCUC
