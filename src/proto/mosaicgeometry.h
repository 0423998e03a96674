// The geometry of a mosaic screen: a grid of identical receiving cards, wired in daisy chains, one chain an output
// port. Pure: values in, values out. Any thread.
//
// A line is a row of cards (even connect modes) or a column (odd ones). The cards of a port are whole lines, wired in
// a serpentine: line 0 starts at the mode's corner, each following line runs the other way.
//   mode 0 rows,    from the top left, downwards       mode 1 columns, from the top left, rightwards
//   mode 2 rows,    from the top right, downwards      mode 3 columns, from the top right, leftwards
//   mode 4 rows,    from the bottom left, upwards      mode 5 columns, from the bottom left, rightwards
//   mode 6 rows,    from the bottom right, upwards     mode 7 columns, from the bottom right, leftwards
// Ports follow each other in the direction of the lines.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "mcucbytes.h"

namespace TIRK_MCUC {

constexpr unsigned kConnectModes = 8;
constexpr unsigned kDataPorts = 10;              // output ports that the position table has room for
constexpr unsigned kPortTableEntries = 1024;     // cards that one port's table holds
constexpr unsigned kLargestSide = 65535;         // pixels, of a screen or a region
constexpr unsigned kAdvancedCardsPerPort = 512;  // limits of the advanced configuration
constexpr unsigned kAdvancedCardsInAll = 2048;

struct CardSize {
  uint16_t width;  // pixels
  uint16_t height;
  bool operator==(const CardSize&) const = default;
};

constexpr CardSize kDefaultCardSize{128, 128};

// What the host asked for in the shortcut-configuration record; the log names the fields as on the right.
struct MosaicRequest {
  uint16_t rows = 0;        // MyTempParaTable[1]
  uint16_t columns = 0;     // MyTempParaTable[2]
  uint16_t cards = 0;       // MyTempParaTable[3]: cabinets, as cards per port
  uint8_t connectMode = 0;  // MyTempParaCharTable[0]
  uint8_t masterSlave = 0;  // MyTempParaCharTable[2]: PbufMorSMode
  bool operator==(const MosaicRequest&) const = default;
};

// What the host asked for port by port.
struct AdvancedRequest {
  std::array<uint16_t, kDataPorts> rows{};
  std::array<uint16_t, kDataPorts> columns{};
  std::array<uint16_t, kDataPorts> x{};  // pixels, as y
  std::array<uint16_t, kDataPorts> y{};
  std::array<uint8_t, kDataPorts> connectMode{};
};

struct CardPosition {
  uint16_t x;  // pixels, relative to the port's region
  uint16_t y;
  bool operator==(const CardPosition&) const = default;
};

struct PortRegion {
  uint16_t x;  // pixels, on the screen
  uint16_t y;
  uint16_t width;
  uint16_t height;
  bool operator==(const PortRegion&) const = default;
};

constexpr bool linesAreRows(uint8_t connectMode) {
  return connectMode % 2 == 0;
}

// The largest even-rounded width that a 16-bit register holds is 65 534.
constexpr uint16_t evenWidth(uint32_t width) {
  const uint32_t even = (width + 1) & ~1U;
  return static_cast<uint16_t>(even > kLargestSide ? kLargestSide - 1 : even);
}

// Whether the request can be laid out: nothing is 0, connect mode 0..7, M at most R x C, R x C at most 16 x M, at most
// 1024 cards on a full port, no side of the screen above 65 535 pixels.
bool mosaicRequestValid(const MosaicRequest& request, CardSize card);

// What follows from a valid request. Sizes and steps in pixels.
struct MosaicGeometry {
  MosaicGeometry(const MosaicRequest& request, CardSize card);  // requires mosaicRequestValid

  MosaicRequest request;
  CardSize card;
  uint32_t RowOrColInOnePort;  // lines on a full port
  uint32_t CardNumofOneCable;  // cards on a full port
  uint32_t UsedPortNum;        // N, 1..16
  uint32_t LastPortRowOrColInOnePort;
  uint32_t LastPortCardNumofOneCable;
  uint16_t PortWidth;
  uint16_t PortHeight;
  uint16_t PortOffsetX;  // step from port to port
  uint16_t PortOffsetY;
  uint16_t LastPortWidth;  // 0 where the ports are full width (even modes)
  uint16_t LastPortHeight;

  uint16_t screenWidth() const;  // exact
  uint16_t screenHeight() const;
  // Ports N.. repeat the used ports: port p carries the part of the screen of port p mod N.
  uint32_t group(unsigned port) const { return port % UsedPortNum; }
  bool isLast(unsigned port) const { return group(port) == UsedPortNum - 1; }
  uint16_t cardCount(unsigned port) const;
  uint32_t lineCount(unsigned port) const;
  // The port block as the FPGA gets it: every port has the size of a full one. All offsets are 0 when N is above 10.
  PortRegion portRegion(unsigned port) const;
};

// The cards of one port in wiring order: `rows` x `columns` cards, connect mode 0..7. Fills the first rows x columns
// entries of `out`, which must have room for them; the port's region must not exceed 65 535 pixels a side.
void wirePort(uint8_t connectMode, uint32_t rows, uint32_t columns, CardSize card, std::span<CardPosition> out);

// Encodes a port's table (4096 bytes): the list of cards as often as it fits, X and Y little-endian. What is left at
// the end keeps its contents. An empty list, or one of more than 1024 cards, changes nothing.
void encodePortTable(std::span<const CardPosition> cards, MutableBytes table);

// Whether the advanced request keeps its limits with this card size: 512 cards a port, 2048 in all, connect modes 0..7,
// right and bottom borders up to 65 535 pixels.
struct AdvancedVerdict {
  uint32_t totalCards;
  bool portsValid;  // every port by itself
  bool valid() const { return portsValid && totalCards <= kAdvancedCardsInAll; }
};
AdvancedVerdict judgeAdvanced(const AdvancedRequest& request, CardSize card);

}  // namespace TIRK_MCUC
