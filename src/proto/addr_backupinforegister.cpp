#include "proto/addr_backupinforegister.h"

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"bytes of the backup area in flash", "queues a write of the same flash bytes, 4096 in all (key 13)"}};

constexpr QueueTexts kQueueTexts{
    "============================ Begin add DoBackupInfoKey message to list===========================",
    "=== WriteFeatureInfomation ===invalid data",
    "============================ Finish add DoBackupInfoKey message to list==========================="};

bool outside(const ThirdProtoMCUCMsg& proto) {
  if ((proto.m_uiRegisterUnitAddress & 0xFFFF) + proto.m_usValidDataLength <= flash::kBackup.length) return false;
  TRACE_ERROR("=== BackupInfo ===Invalid addr+len, return! address = " << hex << proto.m_uiRegisterUnitAddress
                                                                       << "len = " << proto.m_usValidDataLength);
  return true;
}

}  // namespace

const SpaceTraits Addr_BackupInfoRegister::kTraits{
    .className = "Addr_BackupInfoRegister", .baseRegisterAddr = 0x02300000, .keyMask = 0xFFFF0000, .docs = kDocs};
Fshl_cmd Addr_BackupInfoRegister::cmd_tblOffset[] = {
    registerEntry(0x02300000, "backup info", "backup info register", {1, 512}, DoBackupInfo), {}};

int Addr_BackupInfoRegister::DoBackupInfo(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromBackupInfo, WriteToBackupInfo);
}

int Addr_BackupInfoRegister::ReadFromBackupInfo(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read BackupInfo ===========================");
  if (outside(request->proto)) return kOutsideSpace;
  const int result = readThrough(request, [&](MutableBytes out) {
    const int ret =
        DriverUtil::getInstance()->ReadBytesFromFlash(request->proto.m_uiRegisterUnitAddress - flash::kFromBackupSpace,
                                                      static_cast<uint32_t>(out.size()), out.data());
    if (ret == 0) return int{kDone};
    TRACE_ERROR("=== ReadFromBackupInfo ===Read backup info flash failed. ret = " << ret);
    return int{kUnknown};
  });
  if (result == kDone) TRACE_INFO("========================== Finish Read BackupInfo ==========================");
  return result;
}

int Addr_BackupInfoRegister::WriteToBackupInfo(IMD_proto3rd* request) {
  if (outside(request->proto)) return kOutsideSpace;
  return queueWriteRecord(request, DoBackupInfoKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
