#include "proto/addr_hardwareprogrammablebrightnessadjust.h"

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace {

constexpr uint32_t kBase = 0x0A000000;

constexpr RegisterDoc kDocs[] = {{"The brightness configuration table (first 512 bytes) or its flash region.",
                                  "Stores a piece of the configuration and (re)starts the mode that its first byte "
                                  "selects."}};

constexpr QueueTexts kQueueTexts{
    "============================ Begin add doAdjustBrightnessKey message to list===========================",
    "=== WriteToBrightnessInfo ===invalid data",
    "============================ Finish add doAdjustBrightnessKey message to list==========================="};

size_t offsetOf(const IMD_proto3rd& request) {
  return request.proto.m_uiRegisterUnitAddress & 0xFFFF;
}

}  // namespace

const SpaceTraits Addr_HardWareBrightnessAdjust::kTraits{
    "Addr_HardWareBrightnessAdjust", kBase, 0xFFFF0000, nullptr, false, false, kDocs};

Fshl_cmd Addr_HardWareBrightnessAdjust::cmd_tblOffset[] = {
    registerEntry(kBase, "brightness", "brightness space register", {1, kBrightnessRegionSize}, doAdjustBrightness),
    {}};

std::atomic<uint8_t>& Addr_HardWareBrightnessAdjust::LocalAddr = BrightnessControl::getInstance().LocalAddr;
std::atomic<uint8_t>& Addr_HardWareBrightnessAdjust::UartDiscOvertime =
    BrightnessControl::getInstance().UartDiscOvertime;
std::atomic<uint8_t>& Addr_HardWareBrightnessAdjust::DevComLinkState = BrightnessControl::getInstance().DevComLinkState;
std::atomic<uint8_t>& Addr_HardWareBrightnessAdjust::LastGlobalBri = BrightnessControl::getInstance().LastGlobalBri;

int Addr_HardWareBrightnessAdjust::doAdjustBrightness(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromBrightnessInfo, WriteToBrightnessInfo);
}

int Addr_HardWareBrightnessAdjust::ReadFromBrightnessInfo(IMD_proto3rd* request) {
  const size_t offset = offsetOf(*request);
  const size_t length = request->proto.m_usValidDataLength;
  if (length > kBrightnessTableSize) {
    TRACE_ERROR("=== ReadFromBrightnessInfo ===Invalid len, return! len = " << length);
    return refuse(request, kUnknown);
  }
  return readThrough(request, [&](MutableBytes out) {
    if (offset + length <= kBrightnessTableSize) {
      const bool loaded = BrightnessControl::getInstance().copyTable(offset, out);
      return static_cast<int>(loaded ? kDone : kRefused);
    }
    const int result = DriverUtil::getInstance()->ReadBytesFromFlash(
        flash::kBrightness.address + static_cast<uint32_t>(offset), static_cast<uint32_t>(length), out.data());
    if (result != 0) TRACE_ERROR("=== ReadFromBrightnessInfo ===read from flash failed. ret = " << result);
    return static_cast<int>(result == 0 ? kDone : kRefused);
  });
}

int Addr_HardWareBrightnessAdjust::WriteToBrightnessInfo(IMD_proto3rd* request) {
  if (offsetOf(*request) + request->data().size() > kBrightnessRegionSize) {
    TRACE_ERROR("=== WriteToBrightnessInfo ===Invalid addr+len, return! address = "
                << hex << request->proto.m_uiRegisterUnitAddress << " len = " << request->proto.m_usValidDataLength);
    return refuse(request, kOutsideSpace);
  }
  return queueWriteRecord(request, doAdjustBrightnessKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
