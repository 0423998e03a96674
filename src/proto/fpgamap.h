// The FPGA's address map: bus registers and memories that the daemon uses, in order. Registers of the feature block
// (0x000..0x1EF) have the index of their byte in sendparameter.h.
#pragma once

#include <cstdint>

#include "proto/addressarea.h"

namespace TIRK_MCUC::fpga {

using Area = AddressArea;

constexpr Area kFeatureBlock{0x000, 0x1F0, "feature block, byte for byte the first 496 bytes of SendParameterReg"};
constexpr Area kPortsAndRoles{0x018, 430, "roles, sizes and port blocks, as a calculation writes them"};
constexpr Area kRestoredFeature{0x018, 472, "the part of the feature block that a restore writes"};
constexpr Area kScreenBrightnessPort{0x100, 1, "packet port of brightness sent by the screen: 2 x port, 0 to end"};
constexpr Area kFiberBelowLink{0x1F2, 4, "downstream link words of fibre 1 and fibre 2"};
constexpr Area kOpticalRedundancy{0x1F6, 6, "optical redundancy state"};
constexpr Area kScreenBrightnessPacket{0x400, 15, "packet of brightness sent by the screen"};
constexpr Area kPacketPort{0x100000, 1, "packet port of the component brightness: 2 x port, + 1 to send"};
constexpr Area kTestPattern{0x100051, 1, "test pattern switch"};
constexpr Area kReportEnable{0x100070, 1, "active reports on or off"};
constexpr Area kReportParameters{0x100071, 4, "active report parameters"};
constexpr Area kPacketData{0x300000, 18, "packet of the component brightness"};
constexpr Area kNumber0To3{0x500000, 128, "number table, ports 0..3: 32 bytes each, card count u16 first"};
constexpr Area kNumberCommon{0x500100, 256, "number table, common part"};
constexpr Area kHdrBitDepth{0x500109, 1, "number table, common part byte 9: gamma set in use"};
constexpr Area kNumber4To7{0x501000, 128, "number table, ports 4..7"};
constexpr Area kNumber8To11{0x502000, 128, "number table, ports 8..11"};
constexpr Area kNumber12To15{0x503000, 128, "number table, ports 12..15"};
constexpr Area kPosition{0x600000, 40960, "position tables of ports 0..9, 4096 bytes each"};
constexpr Area kGammaRed{0x700000, 8192, "red gamma table"};
constexpr Area kGammaGreen{0x710000, 8192, "green gamma table"};
constexpr Area kGammaBlue{0x720000, 8192, "blue gamma table"};
constexpr Area kPatternGenerator{0xA00000, 57, "pattern generator registers"};
constexpr Area kColourFullRgb{0xD00000, 32, "colour conversion full RGB to full RGB"};
constexpr Area kColourLimitedYuv{0xD00040, 32, "colour conversion limited YUV to full RGB"};
constexpr Area kGammaValue10{0xD12000, 1, "10-bit gamma value"};
constexpr Area kGammaValue12{0xD13000, 1, "12-bit gamma value"};
constexpr Area kFiberLinkWords{0xF04000, 4, "optical port link bits, two copies of two bytes"};
constexpr Area kCopperLinkWords{0xF05100, 4, "copper port link bits, four ports a byte"};
constexpr Area kTestPatternData{0x1200000, 25, "test pattern parameters"};

constexpr Area kAreas[] = {kFeatureBlock,
                           kPortsAndRoles,
                           kRestoredFeature,
                           kScreenBrightnessPort,
                           kFiberBelowLink,
                           kOpticalRedundancy,
                           kScreenBrightnessPacket,
                           kPacketPort,
                           kTestPattern,
                           kReportEnable,
                           kReportParameters,
                           kPacketData,
                           kNumber0To3,
                           kNumberCommon,
                           kHdrBitDepth,
                           kNumber4To7,
                           kNumber8To11,
                           kNumber12To15,
                           kPosition,
                           kGammaRed,
                           kGammaGreen,
                           kGammaBlue,
                           kPatternGenerator,
                           kColourFullRgb,
                           kColourLimitedYuv,
                           kGammaValue10,
                           kGammaValue12,
                           kFiberLinkWords,
                           kCopperLinkWords,
                           kTestPatternData};

}  // namespace TIRK_MCUC::fpga
