#include "proto/rvfiletable.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace TIRK_MCUC {

namespace {

constexpr size_t kHeaderLength = 32;
constexpr size_t kEntryLength = 32;
constexpr size_t kStartInEntry = 4;

// The first address after the area in which `address` lies; 0 when a piece may not start there.
uint32_t areaEnd(uint32_t address) {
  using namespace rvspace;
  if (address < kBase) return 0;
  if (address < kNames) return kNames;
  if (address < kFirstFile) return kLastName + 1;
  if (address < kFilesEnd) return kFilesEnd;
  if (isControl(address)) return kControlEnd;
  return address < kDeviceNamesEnd ? kDeviceNamesEnd : 0;
}

}  // namespace

RvFileHeadPara_t WriteRvFilePara;

bool rvspace::pieceFits(uint32_t address, size_t length) {
  return uint64_t{address} + length <= areaEnd(address);
}

std::optional<RvFileHeader> parseRvFileHeader(Bytes data) {
  if (data.size() < kHeaderLength) return std::nullopt;
  RvFileHeader header;
  header.enable = data[0];
  header.count = data[1];
  if (header.count > kRvFiles || data.size() < kHeaderLength + kEntryLength * header.count) return std::nullopt;
  for (size_t i = 0; i < header.count; ++i) {
    const uint32_t offset = readDword(&data[kHeaderLength + kEntryLength * i + kStartInEntry]);
    if (offset < rvspace::kFirstFile - rvspace::kBase || offset >= rvspace::kFilesEnd - rvspace::kBase)
      return std::nullopt;
    const uint32_t start = rvspace::kBase + offset;
    if (std::find(header.start, header.start + i, start) != header.start + i) return std::nullopt;
    header.start[i] = start;
  }
  return header;
}

void RvFileHeadPara_t::build(const RvFileHeader& header) {
  WriteFileEn = header.enable;
  WriteFileNum = header.count;
  const size_t count = header.count;
  std::iota(FileIndex, FileIndex + count, uint8_t{0});
  std::sort(FileIndex, FileIndex + count, [&](uint8_t a, uint8_t b) { return header.start[a] < header.start[b]; });
  FileIndex[count] = kRvNoFile;
  for (size_t k = 0; k < count; ++k) {
    FileDateOffest[k] = header.start[FileIndex[k]];
    std::snprintf(StorageName[k].Name, sizeof StorageName[k].Name, "RvCfgFile_%d.rcfgx", FileIndex[k]);
  }
  FileDateOffest[count] = rvspace::kFilesEnd;
}

unsigned RvFileHeadPara_t::find(uint32_t address) const {
  unsigned k = 0;
  while (k < WriteFileNum && (address < FileDateOffest[k] || address >= FileDateOffest[k + 1])) ++k;
  return k;
}

}  // namespace TIRK_MCUC
