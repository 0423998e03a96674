#include "proto/addr_rgbgammaregister.h"

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/gammaranges.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"bytes of the gamma table that the address names (colour in 0x00F00000, 12 bit below offset 0x2000, 10 bit from "
     "there), or a gamma value (0x0E300000, 0x0E302000); zeros elsewhere",
     "queues a piece of the same table or value for FPGA and flash (key 22)"}};

constexpr QueueTexts kQueueTexts{
    "============================ Begin add SenderRGBGammaKey message to list===========================",
    "=== WriterRGBGammaInfomation ===invalid data",
    "============================ Finish add SenderRGBGammaKey message to list==========================="};

int readGamma(uint32_t address, MutableBytes out) {
  const GammaRange* const range = gammaRangeAt(address);
  const GammaValue* const value = gammaValueAt(address, out.size());
  if (range == nullptr && value == nullptr) return kDone;
  const uint32_t from = range != nullptr ? range->memory.address + (address & 0xFFFF) : value->memory.address;
  const int ret =
      DriverUtil::getInstance()->FPGAC5_ReadDataBlock(0, 0, from, static_cast<uint32_t>(out.size()), out.data());
  if (ret == 0) return kDone;
  TRACE_ERROR((range != nullptr ? range->readFailed : value->readFailed) << ret);
  return kRefused;
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
  const int result = readThrough(request, [address](MutableBytes out) { return readGamma(address, out); });
  if (result == kDone) TRACE_INFO("========================== Finish Read AutomaticScreen ==========================");
  return result;
}

int Addr_RGBGammaRegister::WriteRGBGammatable(IMD_proto3rd* request) {
  return queueWriteRecord(request, SenderRGBGammaKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
