// The bytes of the feature block SendParameterReg, in order. Index = FPGA bus register address = register address minus
// 0x02000000. Multi-byte values are little-endian. A comment begins with the form of what is more than one byte.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace TIRK_MCUC::sendpara {

constexpr size_t kSize = 512;
constexpr uint32_t kRegisterBase = 0x02000000;

constexpr size_t kHidden1 = 0x01, kHidden1Length = 10;   // answered as 0xFF
constexpr size_t kHidden2 = 0x0D, kHidden2Length = 2;    // answered as 0xFF
constexpr size_t kLightSensor = 0x0F;                    // u16 raw light-sensor value
constexpr size_t kDateTime = 0x11, kDateTimeLength = 6;  // BCD year, month, day, hour, minute, second
constexpr size_t kRoles0To3 = 0x18;                      // 4 x u8 master/slave byte: 0x00 master, 0x80 backup
constexpr size_t kRedundancy0To3 = 0x1E;                 // redundancy state of ports 0..3
constexpr size_t kCopperLink0To3 = 0x1F;    // copper link of ports 0..3, low nibble; cleared before a restore
constexpr size_t kPowerOnTime = 0x21;       // receiving-card power-on time; 0xFF marks the block invalid
constexpr size_t kMode = 0x23;              // 0x20, 0x21 or 0x10
constexpr size_t kScreenWidthEven = 0x24;   // u16 screen width, rounded up to even
constexpr size_t kScreenHeightDvi = 0x26;   // u16 screen height
constexpr size_t kOffsetX = 0x28;           // u16 display offset X
constexpr size_t kOffsetY = 0x2A;           // u16 display offset Y
constexpr size_t kScreenWidthExact = 0x2C;  // u16 screen width before rounding
constexpr size_t kSerialTimeout = 0x3F;     // serial-link timeout, seconds
constexpr size_t kReported4A = 0x4A;        // reported to the display daemon; cleared by the calculation
constexpr size_t kSpecialRead4B = 0x4B;     // a one-byte read of it is a notice
constexpr size_t kPortBlocks0To3 = 0x51;    // 4 x 9 bytes: width, height, offset X, offset Y (u16 each), one spare
constexpr size_t kLowDelay = 0x74;          // low-delay switch
constexpr size_t kSignX = 0x91;             // u16, FPGA only: sign word of the display offset X
constexpr size_t kRoles4To7 = 0x98;         // 4 x u8, master/slave bytes of ports 4..7
constexpr size_t kCorrection = 0x9C;        // correction switch
constexpr size_t kDeviceRole = 0x9D;        // 0xA5 slave, 0x5A master
constexpr size_t kRedundancy4To7 = 0x9E;    // redundancy state of ports 4..7
constexpr size_t kCopperLink4To7 = 0x9F;    // copper link of ports 4..7, low nibble
constexpr size_t kSignY = 0xAC;             // u16, FPGA only: sign word of the display offset Y
constexpr size_t kPortBlocks4To7 = 0xB1;    // 4 x 9 bytes, as those of ports 0..3
constexpr size_t kFlushFileSystems = 0xD4;  // a write of it flushes the file systems
constexpr size_t kRoles8To15 = 0x100;       // 8 x u8, master/slave bytes of ports 8..15
constexpr size_t kRedundancy8To15 = 0x120;  // 2 bytes, redundancy state of ports 8..15
constexpr size_t kCopperLink8To15 = 0x126;  // 2 bytes, copper link of ports 8..15, low nibbles
constexpr size_t kPortBlocks8To15 = 0x131;  // 8 x 9 bytes, as those of ports 0..3
constexpr size_t kInputSource = 0x1A5;      // 97 input 0, 98 input 1, 80 input 2
constexpr size_t kFiberLink = 0x1D7;        // optical link state
constexpr size_t kInput4K = 0x1D8;          // 4K input switch
constexpr size_t kOpticalMode = 0x1DA;      // optical port mode; fibre redundancy and copy state
constexpr size_t kOutputSwitch = 0x1DE;     // 0x00 output closed, 0x5A after the boot restore
constexpr size_t kOptToNet = 0x1DF;         // arms the one-shot optical-to-network enable
constexpr size_t kFiberToNet = 0x1E0;       // 2 bytes, fibre-to-net state
constexpr size_t kHighSpeed = 0x1E9;        // high-speed correction switch
constexpr size_t kHdrMark = 0x1EA;          // 0x58 while an HDR table is loaded
constexpr size_t kScreenWidth = 0x1EC;      // u16 screen width
constexpr size_t kScreenHeight = 0x1EE;     // u16 screen height
constexpr size_t kSelfTest = 0x1EF;         // written alone: FPGA read/write test switch
constexpr size_t kBusEnd = 0x1F0;           // from here on mirror and bus mean different things
constexpr size_t kQxtOffsetX = 0x1F0;       // s32 display-daemon offset X
constexpr size_t kQxtOffsetY = 0x1F4;       // s32 display-daemon offset Y
constexpr size_t kOffsetMode = 0x1F8;       // 0 none, 1 host offsets, 2 display-daemon offsets

constexpr size_t kPortBlockLength = 9;
constexpr unsigned kOutputPorts = 16;

// Start of the port block and of the role byte of port 0..15.
constexpr size_t portBlock(unsigned port) {
  return port < 4   ? kPortBlocks0To3 + kPortBlockLength * port
         : port < 8 ? kPortBlocks4To7 + kPortBlockLength * (port - 4)
                    : kPortBlocks8To15 + kPortBlockLength * (port - 8);
}
constexpr size_t portRole(unsigned port) {
  return port < 4 ? kRoles0To3 + port : port < 8 ? kRoles4To7 + port - 4 : kRoles8To15 + port - 8;
}
static_assert(portBlock(3) + 6 == 0x72 && portBlock(7) + 6 == 0xD2 && portBlock(15) + 6 == 0x176);

// Fields of a port block.
constexpr size_t kBlockWidth = 0;  // u16 each
constexpr size_t kBlockHeight = 2;
constexpr size_t kBlockOffsetX = 4;
constexpr size_t kBlockOffsetY = 6;

// Where each port's offset X and offset Y stand.
constexpr std::array<size_t, kOutputPorts> portFieldIndexes(size_t field) {
  std::array<size_t, kOutputPorts> indexes{};
  for (unsigned port = 0; port < kOutputPorts; ++port) indexes[port] = portBlock(port) + field;
  return indexes;
}
constexpr auto PortParaXOffsetIndex = portFieldIndexes(kBlockOffsetX);
constexpr auto PortParaYOffsetIndex = portFieldIndexes(kBlockOffsetY);

}  // namespace TIRK_MCUC::sendpara

// The bytes of the screen record ScreenParaReg. Index = register address minus 0x02100000.
namespace TIRK_MCUC::screenpara {

constexpr size_t kKind = 0;           // 1 calculated, 3 otherwise
constexpr size_t kValid = 1;          // 0x55 when the record is valid
constexpr size_t kOffsetX = 2;        // u16 display offset X of the bypass mode
constexpr size_t kOffsetY = 4;        // u16 display offset Y of the bypass mode
constexpr size_t kCardWidth = 6;      // u16 card width
constexpr size_t kCardHeight = 8;     // u16 card height
constexpr size_t kRows = 10;          // rows of cards, low byte
constexpr size_t kColumns = 11;       // columns of cards, low byte
constexpr size_t kConnectMode = 12;   // 0..7
constexpr size_t kCardsPerPort = 13;  // u16 cards a port

constexpr uint8_t kCalculated = 1;
constexpr uint8_t kNotCalculated = 3;
constexpr uint8_t kValidMark = 0x55;

}  // namespace TIRK_MCUC::screenpara
