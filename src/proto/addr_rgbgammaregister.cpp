#include "proto/addr_rgbgammaregister.h"

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/fpgamap.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"bytes of the gamma table that the address names (colour in 0x00F00000, 12 bit below offset 0x2000, 10 bit from "
     "there), or a gamma value (0x0E300000, 0x0E302000); zeros elsewhere",
     "queues a piece of the same table or value for FPGA and flash (key 22)"}};

// Tables are told apart by the address where a read starts. Each range ends one byte before the next block.
struct GammaArea {
  uint32_t first;
  uint32_t last;
  uint32_t fpgaAddress;  // of offset 0 of the block
  bool single;           // one byte, at `first` only
  const char* failure;
};
constexpr GammaArea kAreas[] = {
    {0x0E000000, 0x0E001FFE, fpga::kGammaRed.address, false,
     "=== Read_12BIT_RedGammaInfo ===Read 12BIT_RedGamma Info failed! ret = "},
    {0x0E100000, 0x0E101FFE, fpga::kGammaGreen.address, false,
     "=== Read_12BIT_GreenGammaInfo ===Read 12BIT_GreenGamma Info failed! ret = "},
    {0x0E200000, 0x0E201FFE, fpga::kGammaBlue.address, false,
     "=== Read_12BIT_BlueGammaInfo ===Read 12BIT_BlueGamma Info failed! ret = "},
    {0x0E302000, 0x0E302000, fpga::kGammaValue12.address, true,
     "=== Read_12BIT_GammaValInfo ===Read 12BIT_GammaVal Info failed! ret = "},
    {0x0E002000, 0x0E003FFE, fpga::kGammaRed.address, false,
     "=== Read_10BIT_RedGammaInfo ===Read 10BIT_RedGamma Info failed! ret = "},
    {0x0E102000, 0x0E103FFE, fpga::kGammaGreen.address, false,
     "=== Read_10BIT_GreenGammaInfo ===Read 10BIT_GreenGamma Info failed! ret = "},
    {0x0E202000, 0x0E203FFE, fpga::kGammaBlue.address, false,
     "=== Read_10BIT_BlueGammaInfo ===Read 10BIT_BlueGamma Info failed! ret = "},
    {0x0E300000, 0x0E300000, fpga::kGammaValue10.address, true,
     "=== Read_10BIT_GammaValInfo ===Read 10BIT_GammaVal Info failed! ret = "},
};

constexpr QueueTexts kQueueTexts{
    "============================ Begin add SenderRGBGammaKey message to list===========================",
    "=== WriterRGBGammaInfomation ===invalid data",
    "============================ Finish add SenderRGBGammaKey message to list==========================="};

const GammaArea* findArea(uint32_t address, size_t length) {
  for (const GammaArea& area : kAreas)
    if (address >= area.first && address <= area.last && (!area.single || length == 1)) return &area;
  return nullptr;
}

}  // namespace

const SpaceTraits Addr_RGBGammaRegister::kTraits{
    .className = "Addr_RGBGammaRegister", .baseRegisterAddr = 0x0E000000, .keyMask = 0xFF000000, .docs = kDocs};
Fshl_cmd Addr_RGBGammaRegister::cmd_tblOffset[] = {
    registerEntry(0x0E000000, "RGBGamma info", "RGBGamma info register", {1, 1024}, DoRGBGammatable), {}};

int Addr_RGBGammaRegister::DoRGBGammatable(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadRGBGammatable, WriteRGBGammatable);
}

int Addr_RGBGammaRegister::ReadRGBGammatable(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read RGBGammatable ===========================");
  const uint32_t address = request->proto.m_uiRegisterUnitAddress & 0x0FFFFFFF;
  const int result = readThrough(request, [address](MutableBytes out) {
    const GammaArea* const area = findArea(address, out.size());
    if (area == nullptr) return int{kDone};
    const uint32_t offset = area->single ? 0 : address & 0xFFFF;
    const int ret = DriverUtil::getInstance()->FPGAC5_ReadDataBlock(0, 0, area->fpgaAddress + offset,
                                                                    static_cast<uint32_t>(out.size()), out.data());
    if (ret == 0) return int{kDone};
    TRACE_ERROR(area->failure << ret);
    return int{kRefused};
  });
  if (result == kDone) TRACE_INFO("========================== Finish Read AutomaticScreen ==========================");
  return result;
}

int Addr_RGBGammaRegister::WriteRGBGammatable(IMD_proto3rd* request) {
  return queueWriteRecord(request, SenderRGBGammaKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
