// Configuration files of receiving cards: any file is replayed, or refused, without a byte beyond its end; any file
// table finds the file of an address; and any pieces that a host writes leave their files where they belong.
//
// Input: what (1), then a file, a file table with addresses after it, or pieces: address (4), length (1), bytes.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "driverutil.h"
#include "process/tprocess.h"
#include "proto/rvfiletable.h"
#include "proto/writerecord.h"
#include "support/daemon.h"
#include "support/input.h"
#include "support/verdict.h"

namespace {

using namespace fuzz;
using namespace TIRK_MCUC;
namespace fs = std::filesystem;

constexpr const char* kDirectory = "/data/tirk/etc/qxt/cabCfg";
constexpr size_t kMostPieces = 16;

fs::path directory(Daemon& daemon) {
  return daemon.board().path(kDirectory);
}

void replay(Daemon& daemon, Bytes file) {
  fs::create_directories(directory(daemon));
  const fs::path name = directory(daemon) / "RvCfgFile_0.rcfgx";
  std::ofstream(name, std::ios::binary)
      .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
  withinTime([] { require(DriverUtil::getInstance()->LoadRvCfgToRecvCard(0) == 0, "a replay comes to its end"); });
}

void checkTable(Input& input) {
  constexpr size_t kHeader = 32 + 32 * 16;
  const auto header = parseRvFileHeader(input.bytes(kHeader));
  if (!header) return;
  RvFileHeadPara_t table{};
  table.build(*header);
  require(table.WriteFileNum == header->count, "the table holds every file");
  require(std::is_sorted(table.FileDateOffest, table.FileDateOffest + header->count + 1), "its files are in order");
  while (!input.empty()) {
    const uint32_t address = rvspace::kBase + input.dword() % 0x01000000;
    // The file that covers an address is the one that starts last at or before it.
    const uint32_t* best = nullptr;
    for (const uint32_t* start = header->start; start != header->start + header->count; ++start) {
      if (*start <= address && (best == nullptr || *start > *best)) best = start;
    }
    if (address >= rvspace::kFilesEnd) best = nullptr;
    const unsigned found = table.find(address);
    require((found == header->count) == (best == nullptr), "an address has a file, or none");
    require(best == nullptr || table.FileIndex[found] == best - header->start, "it is the file that covers it");
  }
}

void writePiece(uint32_t address, Bytes bytes) {
  auto record = encodeWriteRecord(address, static_cast<uint16_t>(bytes.size()), bytes);
  Tprocess::Sprocess_RVConfigFileSpace(static_cast<int>(record.size()), record.data());
}

void checkFiles(Daemon& daemon) {
  if (!fs::exists(directory(daemon))) return;
  for (const auto& entry : fs::directory_iterator(directory(daemon))) {
    const std::string name = entry.path().filename();
    require(entry.is_regular_file(), "there are only files");
    require(name == "AllCabCfgFileName" || name.starts_with("RvCfgFile_"), "they have the names that they may have");
    require(entry.file_size() <= rvspace::kFilesEnd - rvspace::kFirstFile, "and no more than their space");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Daemon& daemon = Daemon::instance();
  Input input(data, size);
  switch (input.byte() % 3) {
    case 0:
      replay(daemon, input.rest());
      break;
    case 1:
      checkTable(input);
      break;
    default:
      daemon.board().makeNew();
      for (size_t i = 0; i < kMostPieces && !input.empty(); ++i) {
        const uint32_t address = input.dword();
        writePiece(address, input.bytes(input.byte()));
      }
  }
  checkFiles(daemon);
  return 0;
}
