#include "proto/addr_rvconfigfilespace.h"

#include "driverutil.h"
#include "mcuctrace.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {{"bytes of the flash copy of files (below 0x0F800000) or of the device names",
                                  "queues a file table, a piece of a file, of the name list or of the device names, a "
                                  "notice, or the replay of file N "
                                  "to all receiving cards (1 at 0x0FF00100 + N) (key 24)"}};

constexpr QueueTexts kQueueTexts{
    "============================ Begin add RVConfigFileSpaceKey message to list===========================",
    "=== WriteFeatureInfomation ===invalid data",
    "============================ Finish add RVConfigFileSpaceKey message to list==========================="};

int readCopy(uint32_t address, MutableBytes out) {
  if (DriverUtil::getInstance()->ReadBytesFromFlash(rvspace::flashAddress(address), static_cast<uint32_t>(out.size()),
                                                    out.data()) == 0)
    return kDone;
  if ((address & rvspace::kDeviceNames) == rvspace::kDeviceNames) {
    TRACE_ERROR("=== ReadRVConfigFileSpace ===Read from flash failed when reading DevNameFile ! ");
  } else {
    TRACE_ERROR("=== ReadRVConfigFileSpace ===Read from flash failed when reading RVConfigFile ! ");
  }
  return kRefused;
}

}  // namespace

const SpaceTraits Addr_RVConfigFileSpace::kTraits{
    .className = "Addr_RVConfigFileSpace", .baseRegisterAddr = rvspace::kBase, .keyMask = 0xFF000000, .docs = kDocs};
Fshl_cmd Addr_RVConfigFileSpace::cmd_tblOffset[] = {
    registerEntry(rvspace::kBase, "RVConfig File Space info", "RVConfig File Space info register", {0, 2048},
                  DoRVConfigFileSpace),
    {}};

int Addr_RVConfigFileSpace::DoRVConfigFileSpace(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromRVConfigFileSpace, WriteToRVConfigFileSpace);
}

int Addr_RVConfigFileSpace::ReadFromRVConfigFileSpace(IMD_proto3rd* request) {
  TRACE_INFO("============================ Begin Read RVConfigFileSpace Info ============================");
  request->proto.m_data.clear();
  const int result =
      readThrough(request, [=](MutableBytes out) { return readCopy(request->proto.m_uiRegisterUnitAddress, out); });
  if (result == kDone)
    TRACE_INFO("============================ Finish Read RVConfigFileSpace Info ===========================");
  return result;
}

int Addr_RVConfigFileSpace::WriteToRVConfigFileSpace(IMD_proto3rd* request) {
  const uint32_t address = request->proto.m_uiRegisterUnitAddress;
  const Bytes data = request->data();
  if (!data.empty() && !rvspace::pieceFits(address, data.size())) {
    TRACE_ERROR("=== WriteToRVConfigFileSpace ===piece leaves its area, address = " << hex << address
                                                                                    << " len = " << data.size());
    return kOutsideSpace;
  }
  if (!data.empty() && address == rvspace::kHeader && !parseRvFileHeader(data)) {
    TRACE_ERROR("=== WriteToRVConfigFileSpace ===bad file-table header, len = " << data.size());
    return kRefused;
  }
  return queueWriteRecord(request, RVConfigFileSpaceKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
