// The map of the configuration-file space and the table of files that its header describes. Pure.
//
// 0x0F000000 header (32 + 32 n bytes: 0 enable, 1 file count n, from 32 on 32 bytes a file, at + 4 its start offset
// u32) 0x0F000800..0x0F001000 list of cabinet configuration file names 0x0F001000..0x0F7FFFFF file data; a file that
// starts at 0x0F001000 has that byte instead of the list 0x0F800000.. device names, 0x0FF00000..0x0FF0011F notices,
// control and replay triggers
#pragma once

#include <cstdint>
#include <optional>

#include "mcucbytes.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace rvspace {
constexpr uint32_t kBase = 0x0F000000;
constexpr uint32_t kHeader = kBase;
constexpr uint32_t kNames = 0x0F000800;
constexpr uint32_t kLastName = 0x0F001000;
constexpr uint32_t kFirstFile = 0x0F001000;
constexpr uint32_t kFilesEnd = 0x0F800000;
constexpr uint32_t kDeviceNames = 0x0F800000;
constexpr uint32_t kDeviceNamesEnd = kDeviceNames + flash::kDeviceNames.length;  // what follows would be the files'
constexpr uint32_t kNotices = 0x0FF00000;                                        // and the address after it
constexpr uint32_t kControl = 0x0FF00000;
constexpr uint32_t kReplay = 0x0FF00100;  // + file number
constexpr uint32_t kControlEnd = 0x0FF00120;

constexpr bool isControl(uint32_t address) {
  return address >= kControl && address < kControlEnd;
}
// Where the space keeps its copy of an address.
constexpr uint32_t flashAddress(uint32_t address) {
  return address - ((address & 0x00800000) != 0 ? flash::kFromDeviceNameSpace : flash::kFromRvFileSpace);
}
// Whether a piece stays within the area in which it starts.
bool pieceFits(uint32_t address, size_t length);
}  // namespace rvspace

// The list of cabinet configuration file names, as the driver's file operations take it: by its name, not by a number.
constexpr const char* kRvNameList = "/data/tirk/etc/qxt/cabCfg/AllCabCfgFileName";
constexpr int kRvFileByName = 255;

constexpr size_t kRvFiles = 16;
constexpr uint8_t kRvNoFile = 0xFF;  // file number of the end mark

struct RvFileHeader {
  uint8_t enable = 0;
  uint8_t count = 0;
  uint32_t start[kRvFiles] = {};  // absolute
};
// Empty when the data is shorter than what the header says, when it has more than 16 files, or when start offsets are
// equal or outside 0x1000..0x7FFFFF.
std::optional<RvFileHeader> parseRvFileHeader(Bytes data);

struct RvFileName_t {
  uint8_t NameData[64];
};
struct RvStorageName_t {
  char Name[80];
};
struct RvFileHeadPara_t {
  uint8_t WriteFileEn;
  uint8_t WriteFileNum;                   // n
  uint8_t FileIndex[kRvFiles + 1];        // file number of the k-th file in address order
  uint32_t FileDateOffest[kRvFiles + 1];  // its start; entry n is the end mark
  RvFileName_t NamePara[kRvFiles];
  RvStorageName_t StorageName[kRvFiles];  // "RvCfgFile_%d.rcfgx"

  void build(const RvFileHeader& header);
  // Position of the file that covers the address; n when there is none.
  unsigned find(uint32_t address) const;
};

// The table of the last header; worker only. Empty until the host writes a header.
extern RvFileHeadPara_t WriteRvFilePara;

}  // namespace TIRK_MCUC
