#include "proto/addr_softwaretableregister.h"

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"bytes of the software table in the flash; one byte of 0x0500FFFF sends the notice 0xC8 to the video-processing "
     "application instead",
     "queues a write of the same flash bytes (key 18)"}};
constexpr Fcmd_len kLengths{1, 32768};
constexpr uint32_t kNoticeRegister = 0x0500FFFF;
constexpr int kFlashNumber = 2;

constexpr QueueTexts kQueueTexts{
    "============================ Begin add DoSoftwareTableKey message to list===========================",
    "=== WriteToNumberFunCardPort ===invalid data",
    "============================ Finish add DoSoftwareTableKey message to list==========================="};

}  // namespace

const SpaceTraits Addr_SoftwareTableRegister::kTraits{.className = "Addr_SoftwareTableRegister",
                                                      .baseRegisterAddr = 0x05000000,
                                                      .keyMask = 0xFFFF0000,
                                                      .listsMap = true,
                                                      .docs = kDocs};
Fshl_cmd Addr_SoftwareTableRegister::cmd_tblOffset[] = {
    registerEntry(0x05000000, "software table info", "software table info register", kLengths, DoSoftwareTable),
    registerEntry(0x05060000, "software table info", "software table info register", kLengths, DoSoftwareTable),
    {}};

int Addr_SoftwareTableRegister::DoSoftwareTable(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromSoftwareTable, WriteToSoftwareTable);
}

int Addr_SoftwareTableRegister::ReadFromSoftwareTable(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read SoftwareTable ===========================");
  const uint32_t address = request->proto.m_uiRegisterUnitAddress;
  if (address == kNoticeRegister && request->proto.m_usValidDataLength == 1) {
    Data_Global::getInstance()->SendC8toWpr();
    TRACE_INFO("Finish Sending 0xC8 to WPR. ");
    request->proto.m_data.push_back(0);
    return kDone;
  }
  const int result = readThrough(request, [address](MutableBytes out) {
    const int ret = DriverUtil::getInstance()->ReadBytesFromFlash(kFlashNumber, address - flash::kFromSoftwareSpace,
                                                                  static_cast<uint32_t>(out.size()), out.data());
    if (ret == 0) return int{kDone};
    TRACE_ERROR("=== ReadFromSoftwareTable ===Read Bytes From Flash Failed. DriverRet = " << ret);
    return int{kRefused};
  });
  if (result == kDone) TRACE_INFO("========================== Finish Read SoftwareTable ==========================");
  return result;
}

int Addr_SoftwareTableRegister::WriteToSoftwareTable(IMD_proto3rd* request) {
  return queueWriteRecord(request, DoSoftwareTableKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
