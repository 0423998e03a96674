// The flash address map, in order. One flash address space of 32 MiB; multi-byte values are little-endian.
#pragma once

#include <cstdint>

#include "proto/addressarea.h"

namespace TIRK_MCUC::flash {

using Area = AddressArea;

constexpr Area kBasicHardware{0x001000, 256, "basic hardware block (BasicHardWareReg)"};
constexpr Area kSerialNumber{0x001016, 8, "device serial number"};
constexpr Area kBasicHardwareMarker{0x00101F, 1, "basic hardware marker 0x55"};
constexpr Area kDhcpSwitch{0x00201A, 1, "DHCP switch, kept by a factory reset"};
constexpr Area kGeneratorSwitch{0x00202A, 1, "generator flag, read by the low-delay guard"};
constexpr Area k3DSwitch{0x002400, 1, "3D byte, read by the low-delay guard"};
constexpr Area k3DEmitter1{0x002407, 512, "3D emitter parameters, register 0x02000001"};
constexpr Area k3DEmitter2{0x002408, 512, "3D emitter parameters, register 0x02000002"};
constexpr Area kVideoScene{0x003000, 46080, "video-scene block, kept by a factory reset of type 2"};
constexpr Area k3DEmitterCopy1{0x00F557, 512, "second copy of the 3D emitter parameters, register 0x02000001"};
constexpr Area k3DEmitterCopy2{0x00F558, 512, "second copy of the 3D emitter parameters, register 0x02000002"};
constexpr Area kEdidModes{0x200000, 72, "EDID mode of each input group"};
constexpr Area kBasicHardwareSave{0xA01000, 256, "basic hardware block, save type 0"};
constexpr Area kFeature{0xA3B100, 512, "feature parameters: image of SendParameterReg"};
constexpr Area kPosition{0xA3C000, 40960, "position parameters: 10 port tables of 4096 bytes"};
constexpr Area kNumber{0xA5C000, 768, "number parameters"};
constexpr Area kMasterSlaveMode{0xA60010, 1, "PbufMorSMode"};
constexpr Area kGlobal{0xA61000, 512, "global parameters: ParaTable entries 0..255"};
constexpr Area kLayoutTag{0xB88000, 4, "layout tag, equal to IsNewFlashTag"};
constexpr Area kBrightness{0xB8B000, 5120, "brightness parameters; hosts transfer the first 4096 bytes"};
constexpr Area kBackup{0xB98000, 4096, "backup space"};
constexpr Area kShortcut{0xB99000, 4096, "LEDConfigStatus, shortcut record, advanced port records"};
constexpr Area kBandwidth{0xB99008, 2, "bandwidth word"};
constexpr Area kShortcutRowsColumnsCards{0xB99016, 3, "shortcut record rows, columns, cabinets"};
constexpr Area kScreenSize{0xC20000, 8, "screen size: width u32, height u32"};
constexpr Area kCardSize{0xC20008, 8, "receiving card size: width u32, height u32"};
constexpr Area kShortcutForWpr{0xC20030, 4, "shortcut screen parameters for the video-processing application"};
constexpr Area kScreenRecord{0xC20040, 15, "ScreenParaReg bytes 0..14"};
constexpr Area kHdr{0xC21000, 32, "HDR parameters"};
constexpr Area kCommunicationMode{0xC210C0, 1, "communication mode, as the interaction space reads it"};
constexpr Area kHdrRecord25{0xC21117, 25, "HDR record of 25 bytes, as the interaction space reads it"};
constexpr Area kSoftwareTable1{0xC30000, 0x10000, "software table, register 0x05000000"};
constexpr Area kSoftwareTable2{0xC90000, 0x10000, "software table, register 0x05060000"};
constexpr Area kRoleRecord{0xC95000, 4, "role record in the software table, register 0x05065000"};
constexpr Area kGammaTagRed1{0xD00000, 4, "layout tag of the red gamma table, set 1"};
constexpr Area kGammaTagGreen1{0xD01000, 4, "layout tag of the green gamma table, set 1"};
constexpr Area kGammaTagBlue1{0xD02000, 4, "layout tag of the blue gamma table, set 1"};
constexpr Area kGammaRed1{0xD03000, 8192, "red gamma table, set 1 (10 bit)"};
constexpr Area kGammaGreen1{0xD05000, 8192, "green gamma table, set 1 (10 bit)"};
constexpr Area kGammaBlue1{0xD07000, 8192, "blue gamma table, set 1 (10 bit)"};
constexpr Area kGammaTagRed2{0xD09000, 4, "layout tag of the red gamma table, set 2"};
constexpr Area kGammaTagGreen2{0xD0A000, 4, "layout tag of the green gamma table, set 2"};
constexpr Area kGammaTagBlue2{0xD0B000, 4, "layout tag of the blue gamma table, set 2"};
constexpr Area kGammaRed2{0xD0C000, 8192, "red gamma table, set 2 (12 bit)"};
constexpr Area kGammaGreen2{0xD0E000, 8192, "green gamma table, set 2 (12 bit)"};
constexpr Area kGammaBlue2{0xD10000, 8192, "blue gamma table, set 2 (12 bit)"};
constexpr Area kGammaValue10{0xD12000, 1, "10-bit gamma value"};
constexpr Area kGammaValue12{0xD13000, 1, "12-bit gamma value"};
constexpr Area kWarmUp{0xD14000, 6, "warm-up record; the device-name space starts here"};
constexpr Area kDeviceNames{0xD14000, 0xEC000, "device-name space, up to the configuration files"};
constexpr Area kCardBrightness{0xD15000, 1, "brightness last sent to the receiving cards"};
constexpr Area kScreenCounter{0xD17000, 1, "screen-configuration counter"};
constexpr Area kRvFiles{0xE00000, 0x800000, "receiving-card configuration file header and files"};

constexpr Area kAreas[] = {kBasicHardware,
                           kSerialNumber,
                           kBasicHardwareMarker,
                           kDhcpSwitch,
                           kGeneratorSwitch,
                           k3DSwitch,
                           k3DEmitter1,
                           k3DEmitter2,
                           kVideoScene,
                           k3DEmitterCopy1,
                           k3DEmitterCopy2,
                           kEdidModes,
                           kBasicHardwareSave,
                           kFeature,
                           kPosition,
                           kNumber,
                           kMasterSlaveMode,
                           kGlobal,
                           kLayoutTag,
                           kBrightness,
                           kBackup,
                           kShortcut,
                           kBandwidth,
                           kShortcutRowsColumnsCards,
                           kScreenSize,
                           kCardSize,
                           kShortcutForWpr,
                           kScreenRecord,
                           kHdr,
                           kCommunicationMode,
                           kHdrRecord25,
                           kSoftwareTable1,
                           kSoftwareTable2,
                           kRoleRecord,
                           kGammaTagRed1,
                           kGammaTagGreen1,
                           kGammaTagBlue1,
                           kGammaRed1,
                           kGammaGreen1,
                           kGammaBlue1,
                           kGammaTagRed2,
                           kGammaTagGreen2,
                           kGammaTagBlue2,
                           kGammaRed2,
                           kGammaGreen2,
                           kGammaBlue2,
                           kGammaValue10,
                           kGammaValue12,
                           kWarmUp,
                           kDeviceNames,
                           kCardBrightness,
                           kScreenCounter,
                           kRvFiles};

// What each register space subtracts from a register address to get the flash address.
constexpr uint32_t kFromBackupSpace = 0x01768000;       // 0x02300000 -> kBackup
constexpr uint32_t kFromInteractionSpace = 0x015DF000;  // 0x02200000 -> kHdr
constexpr uint32_t kFromShortcutSpace = 0x01C77000;     // 0x02810000 -> kShortcut
constexpr uint32_t kFromSoftwareSpace = 0x043D0000;     // 0x05000000 -> kSoftwareTable1
constexpr uint32_t kFromRvFileSpace = 0x0E200000;       // 0x0F000000 -> kRvFiles
constexpr uint32_t kFromDeviceNameSpace = 0x0EAEC000;   // 0x0F800000 -> kDeviceNames

}  // namespace TIRK_MCUC::flash
