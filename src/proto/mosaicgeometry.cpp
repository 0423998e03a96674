#include "proto/mosaicgeometry.h"

#include <algorithm>
#include <cassert>

namespace TIRK_MCUC {

namespace {

constexpr uint32_t ceilDivide(uint32_t dividend, uint32_t divisor) {
  return (dividend + divisor - 1) / divisor;
}

uint32_t linesInOnePort(const MosaicRequest& request) {
  return ceilDivide(request.cards, linesAreRows(request.connectMode) ? request.columns : request.rows);
}

uint32_t cardsInOneLine(const MosaicRequest& request) {
  return linesAreRows(request.connectMode) ? request.columns : request.rows;
}

bool linesAdvanceBackwards(uint8_t connectMode) {  // upwards or leftwards
  return connectMode == 3 || connectMode == 4 || connectMode == 6 || connectMode == 7;
}

bool firstLineRunsBackwards(uint8_t connectMode) {  // leftwards or upwards
  return connectMode == 2 || connectMode == 5 || connectMode == 6 || connectMode == 7;
}

}  // namespace

bool mosaicRequestValid(const MosaicRequest& request, CardSize card) {
  if (request.rows == 0 || request.columns == 0 || request.cards == 0) return false;
  if (card.width == 0 || card.height == 0 || request.connectMode >= kConnectModes) return false;
  const uint64_t grid = uint64_t{request.rows} * request.columns;
  if (grid < request.cards || uint64_t{16} * request.cards < grid) return false;
  if (uint64_t{request.columns} * card.width > kLargestSide) return false;
  if (uint64_t{request.rows} * card.height > kLargestSide) return false;
  return uint64_t{linesInOnePort(request)} * cardsInOneLine(request) <= kPortTableEntries;
}

MosaicGeometry::MosaicGeometry(const MosaicRequest& mosaicRequest, CardSize cardSize)
    : request(mosaicRequest), card(cardSize) {
  assert(mosaicRequestValid(request, card));
  const bool rowLines = linesAreRows(request.connectMode);
  const uint32_t lines = rowLines ? request.rows : request.columns;
  const uint32_t grid = uint32_t{request.rows} * request.columns;
  RowOrColInOnePort = linesInOnePort(request);
  CardNumofOneCable = RowOrColInOnePort * cardsInOneLine(request);
  UsedPortNum = ceilDivide(grid, CardNumofOneCable);
  LastPortRowOrColInOnePort = lines - RowOrColInOnePort * (UsedPortNum - 1);
  LastPortCardNumofOneCable = grid - CardNumofOneCable * (UsedPortNum - 1);
  const auto fullWidth = static_cast<uint16_t>(RowOrColInOnePort * card.width);
  const auto fullHeight = static_cast<uint16_t>(RowOrColInOnePort * card.height);
  PortWidth = rowLines ? screenWidth() : fullWidth;
  PortHeight = rowLines ? fullHeight : screenHeight();
  PortOffsetX = rowLines ? uint16_t{0} : fullWidth;
  PortOffsetY = rowLines ? fullHeight : uint16_t{0};
  LastPortWidth = rowLines ? uint16_t{0} : static_cast<uint16_t>(screenWidth() - PortOffsetX * (UsedPortNum - 1));
  LastPortHeight = rowLines ? static_cast<uint16_t>(screenHeight() - PortOffsetY * (UsedPortNum - 1)) : uint16_t{0};
}

uint16_t MosaicGeometry::screenWidth() const {
  return static_cast<uint16_t>(uint32_t{request.columns} * card.width);
}

uint16_t MosaicGeometry::screenHeight() const {
  return static_cast<uint16_t>(uint32_t{request.rows} * card.height);
}

uint16_t MosaicGeometry::cardCount(unsigned port) const {
  return static_cast<uint16_t>(isLast(port) ? LastPortCardNumofOneCable : CardNumofOneCable);
}

uint32_t MosaicGeometry::lineCount(unsigned port) const {
  return isLast(port) ? LastPortRowOrColInOnePort : RowOrColInOnePort;
}

PortRegion MosaicGeometry::portRegion(unsigned port) const {
  PortRegion region{0, 0, PortWidth, PortHeight};
  if (UsedPortNum > kDataPorts) return region;
  const uint32_t g = group(port);
  const bool rowLines = linesAreRows(request.connectMode);
  const uint32_t step = rowLines ? PortOffsetY : PortOffsetX;
  uint32_t offset = g * step;
  if (linesAdvanceBackwards(request.connectMode)) {
    offset = isLast(port) ? 0 : (rowLines ? LastPortHeight : LastPortWidth) + (UsedPortNum - 2 - g) * step;
  }
  (rowLines ? region.y : region.x) = static_cast<uint16_t>(offset);
  return region;
}

void wirePort(uint8_t connectMode, uint32_t rows, uint32_t columns, CardSize card, std::span<CardPosition> out) {
  assert(uint64_t{rows} * columns <= out.size());
  const bool rowLines = linesAreRows(connectMode);
  const uint32_t lines = rowLines ? rows : columns;
  const uint32_t cardsPerLine = rowLines ? columns : rows;
  const bool linesBackwards = linesAdvanceBackwards(connectMode);
  const bool firstBackwards = firstLineRunsBackwards(connectMode);
  auto next = out.begin();
  for (uint32_t j = 0; j < lines; ++j) {
    const uint32_t line = linesBackwards ? lines - 1 - j : j;
    const bool backwards = (j % 2 == 1) != firstBackwards;
    for (uint32_t i = 0; i < cardsPerLine; ++i) {
      const uint32_t along = backwards ? cardsPerLine - 1 - i : i;
      const uint32_t x = (rowLines ? along : line) * card.width;
      const uint32_t y = (rowLines ? line : along) * card.height;
      *next++ = {static_cast<uint16_t>(x), static_cast<uint16_t>(y)};
    }
  }
}

void encodePortTable(std::span<const CardPosition> cards, MutableBytes table) {
  assert(table.size() == size_t{4} * kPortTableEntries);
  if (cards.empty() || cards.size() > kPortTableEntries) return;
  uint8_t* entry = table.data();
  for (const CardPosition& position : cards) {
    DWT_ENCWD(entry, position.x);
    DWT_ENCWD(entry + 2, position.y);
    entry += 4;
  }
  const size_t listLength = 4 * cards.size();
  const size_t RepTimes = kPortTableEntries / cards.size();
  for (size_t repeat = 1; repeat < RepTimes; ++repeat) {
    std::copy_n(table.data(), listLength, table.data() + repeat * listLength);
  }
}

AdvancedVerdict judgeAdvanced(const AdvancedRequest& request, CardSize card) {
  uint64_t total = 0;
  bool portsValid = true;
  for (size_t p = 0; p < kDataPorts; ++p) {
    const uint64_t cards = uint64_t{request.rows[p]} * request.columns[p];
    total += cards;
    if (cards > kAdvancedCardsPerPort || request.connectMode[p] >= kConnectModes ||
        request.x[p] + uint64_t{request.columns[p]} * card.width > kLargestSide ||
        request.y[p] + uint64_t{request.rows[p]} * card.height > kLargestSide) {
      portsValid = false;
    }
  }
  return {static_cast<uint32_t>(std::min<uint64_t>(total, UINT32_MAX)), portsValid};
}

}  // namespace TIRK_MCUC
