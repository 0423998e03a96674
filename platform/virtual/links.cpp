#include "virtual/links.h"

#include "virtual/board.h"

namespace vboard {

namespace {

constexpr uint32_t kCopperNibbles[] = {kCopperPorts0To3, kCopperPorts4To7, kCopperPorts8To15, kCopperPorts8To15 + 1};

constexpr uint16_t word(const uint8_t* bytes) {
  return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

uint16_t readCopper(const Fpga& fpga) {
  uint8_t words[4] = {};
  fpga.read(kCopperWords, words);
  unsigned mask = 0;
  for (unsigned group = 0; group < 4; ++group) {
    uint8_t nibble[1] = {};
    fpga.read(kCopperNibbles[group], nibble);
    mask |= ((nibble[0] | words[group]) & 0x0FU) << (4 * group);
  }
  return static_cast<uint16_t>(mask);
}

void writeCopper(Fpga& fpga, uint16_t mask) {
  uint8_t words[4] = {};
  fpga.read(kCopperWords, words);
  for (unsigned group = 0; group < 4; ++group) {
    const unsigned ports = mask >> (4 * group) & 0x0FU;
    uint8_t nibble[1] = {};
    fpga.read(kCopperNibbles[group], nibble);
    nibble[0] = static_cast<uint8_t>((nibble[0] & 0xF0U) | ports);
    words[group] = static_cast<uint8_t>((words[group] & 0xF0U) | ports);
    fpga.write(kCopperNibbles[group], nibble);
  }
  fpga.write(kCopperWords, words);
}

void writeFiber(Fpga& fpga, uint32_t index, uint16_t mask) {
  const uint8_t bytes[2] = {static_cast<uint8_t>(mask), static_cast<uint8_t>(mask >> 8)};
  fpga.write(kFiberBelowLinks + 2 * index, bytes);
  fpga.write(kFiberLinkWords + 2 * index, bytes);
}

}  // namespace

LinkMasks readLinks(const Fpga& fpga) {
  uint8_t below[4] = {}, words[4] = {};
  fpga.read(kFiberBelowLinks, below);
  fpga.read(kFiberLinkWords, words);
  LinkMasks masks;
  masks[Link::Copper] = readCopper(fpga);
  masks[Link::Fiber1] = static_cast<uint16_t>(word(&below[0]) | word(&words[0]));
  masks[Link::Fiber2] = static_cast<uint16_t>(word(&below[2]) | word(&words[2]));
  return masks;
}

void writeLink(Fpga& fpga, Link link, uint16_t mask) {
  if (link == Link::Copper) {
    writeCopper(fpga, mask);
  } else {
    writeFiber(fpga, link == Link::Fiber1 ? 0 : 1, mask);
  }
}

void writeCopperPort(Fpga& fpga, unsigned port, bool linked) {
  const unsigned bit = 1U << port % 4;
  for (const uint32_t address : {kCopperNibbles[port / 4], kCopperWords + port / 4}) {
    uint8_t byte[1] = {};
    fpga.read(address, byte);
    byte[0] = static_cast<uint8_t>(linked ? byte[0] | bit : byte[0] & ~bit);
    fpga.write(address, byte);
  }
}

void writeLinks(Fpga& fpga, const LinkMasks& masks) {
  LinkMasks copy = masks;
  for (const Link link : {Link::Copper, Link::Fiber1, Link::Fiber2}) writeLink(fpga, link, copy[link]);
}

}  // namespace vboard
