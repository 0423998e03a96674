// Link state of the output ports, as the FPGA's status registers hold it: copper, and behind optical ports 1 and 2.
// Bit p of a mask: output port p. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vboard {

class Fpga;

// The status registers. Ports four a byte in the low nibble: ports 0..3, 4..7, then two bytes for 8..15.
constexpr uint32_t kCopperPorts0To3 = 0x1F;
constexpr uint32_t kCopperPorts4To7 = 0x9F;
constexpr uint32_t kCopperPorts8To15 = 0x126;
constexpr uint32_t kCopperWords = 0xF05100;     // four bytes, four ports a byte
constexpr uint32_t kFiberBelowLinks = 0x1F2;    // two words, low byte first: optical port 1, 2
constexpr uint32_t kFiberLinkWords = 0xF04000;  // the same two words

enum class Link { Copper, Fiber1, Fiber2 };

struct LinkMasks {
  std::array<uint16_t, 3> ports{};  // by Link

  uint16_t& operator[](Link link) { return ports[static_cast<size_t>(link)]; }
  void set(Link link, unsigned port, bool linked) {
    const unsigned others = (*this)[link] & ~(1U << port);
    (*this)[link] = static_cast<uint16_t>(others | (linked ? 1U << port : 0U));
  }
  uint16_t all() const { return static_cast<uint16_t>(ports[0] | ports[1] | ports[2]); }
  bool operator==(const LinkMasks&) const = default;
};

// A port is linked when any of its registers says so.
LinkMasks readLinks(const Fpga& fpga);
// Sets every register of the link; the high nibbles of the copper registers keep what they hold.
void writeLink(Fpga& fpga, Link link, uint16_t mask);
// Sets or clears the port's copper bits, and no other's. port < 16.
void writeCopperPort(Fpga& fpga, unsigned port, bool linked);
void writeLinks(Fpga& fpga, const LinkMasks& masks);

}  // namespace vboard
