// Applies a write to the configuration-file space: the flash copy, the file table, the files, notices and replays.
#include <cstdio>
#include <optional>

#include "driverutil.h"
#include "process/processframe.h"
#include "process/tprocess.h"
#include "proto/data_common.h"
#include "proto/rvfiletable.h"

namespace TIRK_MCUC {

namespace {

constexpr HandlerWords kWords{"Sprocess_RVConfigFileSpace", "RVConfigFileSpaceKey"};
constexpr int kFileNumbers = 32;

void traceTable(const RvFileHeadPara_t& table) {
  const unsigned count = table.WriteFileNum;
  for (unsigned k = 0; k < count; ++k) {
    TRACE_INFO("+++RVCfgFile" << k << "index:" << table.FileIndex[k] << " Offset:" << hex << table.FileDateOffest[k]);
  }
  TRACE_INFO("END---RVCfgFile" << count << " Offset" << hex << table.FileDateOffest[count]);
}

void rebuildTable(const RvFileHeader& header) {
  RvFileHeadPara_t& table = WriteRvFilePara;
  auto* const driver = DriverUtil::getInstance();
  if (header.enable != table.WriteFileEn || header.count != table.WriteFileNum) {
    driver->RemoveRvFile(kRvNameList, kRvFileByName);
    driver->RemoveOtherRvFile(header.count, kFileNumbers);
  }
  TRACE_INFO("RVCfg En:" << header.enable << " Num:" << header.count);
  for (unsigned i = 0; i < header.count; ++i) TRACE_INFO("+++RVCfgFile" << i << " Offset" << hex << header.start[i]);
  table.build(header);
  traceTable(table);
  TRACE_INFO("Delte File");
}

unsigned findFile(uint32_t address) {
  const RvFileHeadPara_t& table = WriteRvFilePara;
  const unsigned k = table.find(address);
  for (unsigned other = 0; other < k; ++other)
    TRACE_INFO("RVCfgFile" << other << " Offset" << hex << table.FileDateOffest[other]);
  TRACE_INFO("Get File Index:" << k << " addr:0x " << hex << static_cast<int>(address));
  return k;
}

void storeInFile(unsigned k, const WriteRecord& piece) {
  const RvFileHeadPara_t& table = WriteRvFilePara;
  const char* const name = table.StorageName[k].Name;
  const int number = table.FileIndex[k];
  const uint32_t start = table.FileDateOffest[k];
  if (uint64_t{piece.address} + piece.data.size() > table.FileDateOffest[k + 1]) {
    TRACE_ERROR("=== Sprocess_RVConfigFileSpace ===piece runs past the end of file " << number << ", address = " << hex
                                                                                     << piece.address);
    return;
  }
  auto* const driver = DriverUtil::getInstance();
  if (piece.address == start) {
    std::printf("##################File Name::%s\n", name);
    driver->RemoveRvFile(name, number);
    TRACE_INFO("Remove Rvfile " << k << " File"
                                << "Name:" << name);
  }
  const auto* const text = reinterpret_cast<const uint8_t*>(name);
  TRACE_INFO("Rv" << k << "File"
                  << "Name:" << HexText<256>({text, std::char_traits<char>::length(name)}));
  driver->WriteRvFileToFalsh(name, number, piece.address - start, piece.data.data(),
                             static_cast<uint32_t>(piece.data.size()));
}

void storeInNameList(const WriteRecord& piece) {
  if (uint64_t{piece.address} + piece.data.size() > uint64_t{rvspace::kLastName} + 1) {
    TRACE_ERROR("=== Sprocess_RVConfigFileSpace ===piece runs past the end of the name list, address = "
                << hex << piece.address);
    return;
  }
  DriverUtil::getInstance()->WriteRvFileToFalsh(kRvNameList, kRvFileByName, piece.address - rvspace::kNames,
                                                piece.data.data(), static_cast<uint32_t>(piece.data.size()));
}

void storePiece(const WriteRecord& piece) {
  if (piece.address < rvspace::kNames) return;
  if (piece.address < rvspace::kFirstFile) {
    storeInNameList(piece);
    return;
  }
  const unsigned k = findFile(piece.address);
  if (k < WriteRvFilePara.WriteFileNum) {
    storeInFile(k, piece);
  } else if (piece.address == rvspace::kLastName) {
    storeInNameList(piece);
  }
}

void copyToFlash(const WriteRecord& piece) {
  if ((piece.address & rvspace::kDeviceNames) == rvspace::kDeviceNames) {
    TRACE_INFO(">>>>>>>>>>>>>>>>>Device ReName Space<<<<<<<<<<<<<");
  } else {
    TRACE_INFO("Address " << hex << piece.address << " RVConfigFile Stroage");
  }
  DriverUtil::getInstance()->WriteDataToFlash(rvspace::flashAddress(piece.address),
                                              static_cast<uint32_t>(piece.data.size()), piece.data.data());
}

void replay(const WriteRecord& trigger) {
  const bool inRange = trigger.address >= rvspace::kReplay && trigger.address < rvspace::kControlEnd;
  if (!inRange || trigger.data.size() != 1) return;
  TRACE_INFO(">>>>>>>>>>>>>>>>Send RvCfg File:" << trigger.data[0] << "!<<<<<<<<<<<<<");
  if (trigger.data[0] == 1)
    DriverUtil::getInstance()->LoadRvCfgToRecvCard(static_cast<int>(trigger.address - rvspace::kReplay));
}

bool isNotice(const WriteRecord& piece) {
  return (piece.address == rvspace::kNotices || piece.address == rvspace::kNotices + 1) && piece.data.size() == 1;
}

void applyPiece(const WriteRecord& piece) {
  TRACE_INFO("PenetrateData->data:" << HexText<1536>(piece.data));
  if (piece.data.empty() || !rvspace::pieceFits(piece.address, piece.data.size())) {
    TRACE_ERROR("=== Sprocess_RVConfigFileSpace ===piece leaves its area, address = "
                << hex << piece.address << " len = " << piece.data.size());
    return;
  }
  std::optional<RvFileHeader> header;
  if (piece.address == rvspace::kHeader && !(header = parseRvFileHeader(piece.data))) {
    TRACE_ERROR("=== Sprocess_RVConfigFileSpace ===bad file-table header, len = " << piece.data.size());
    return;
  }
  if (isNotice(piece)) {
    const uint8_t one = 1;
    Data_Global::getInstance()->SendDatetoQXT(piece.address, &one, 1);
    return;
  }
  TRACE_INFO(">>>>>>>>>>>>>>>>>!<<<<<<<<<<<<<");
  if (rvspace::isControl(piece.address)) {
    TRACE_INFO(">>>>>>>>>>>>>>>>>Send RvCfg File Ctrl Space!<<<<<<<<<<<<<");
    replay(piece);
    return;
  }
  copyToFlash(piece);
  if (piece.address >= rvspace::kFilesEnd) return;
  TRACE_INFO(">>>>>>>>>>>>>>>>Storage RvCfg File:>>>>>>>>>>>>>>>>>>");
  if (header) {
    rebuildTable(*header);
  } else {
    storePiece(piece);
  }
}

}  // namespace

int Tprocess::Sprocess_RVConfigFileSpace(int length, uint8_t* data) {
  return applyRecord(kWords, length, data, applyPiece);
}

}  // namespace TIRK_MCUC
