// The screen configuration: the basic and the advanced request that the shortcut-configuration space queued, and the
// deferred basic calculation.
#include "driverutil.h"
#include "mcuctrace.h"
#include "process/processframe.h"
#include "process/tprocess.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/shortcutrecord.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kRoleUnset = 0xFF;
constexpr uint32_t kFeatureRole = flash::kFeature.address + sendpara::kDeviceRole;

void storeConfigStatus(LedConfigStatus status) {
  Data_Global::getInstance()->LEDConfigStatus = status;
  const uint8_t value = status;
  const int ret = DriverUtil::getInstance()->WriteDataToFlash(flash::kShortcut.address, 1, &value);
  if (ret != 0) TRACE_ERROR("=== WriteToBackupInfo ===Write backup info to flash failed. ret = " << ret);
}

// A host that lays the screen out takes the role away from this card: spare ports may become backups again.
void forgetDeviceRole(Data_Global& global) {
  global.SendParameterReg.setByte(sendpara::kDeviceRole, kRoleUnset);
  const int ret = DriverUtil::getInstance()->WriteDataToFlash(kFeatureRole, 1, &kRoleUnset);
  if (ret != 0) TRACE_ERROR("=== CalculateParaOfSender ===write the device role to flash failed. ret = " << ret);
  global.NormalBackupStatus = 1;
}

// Lines 1 and 2 of the deferred calculation; empty when the record cannot be used.
bool readStoredRecord(shortcut::BasicRecord& record) {
  const int ret =
      DriverUtil::getInstance()->ReadBytesFromFlash(flash::kShortcut.address, shortcut::kStoredBasic, record.data());
  if (ret != 0) {
    TRACE_ERROR("=== CalculateParaOfSenderHandler ===read the record from flash failed. ret = " << ret);
    return false;
  }
  const auto request = Data_Global::getInstance()->TmpCalcScreenPara.image();
  TRACE_INFO("buff_new[0x16~0x19] = " << record[22] << " " << record[23] << " " << record[24] << " " << record[25]
                                      << " ,[0x11] " << record[17]);
  TRACE_INFO("TmpCalcScreenPara[0x16~0x19] = " << request[22] << " " << request[23] << " " << request[24] << " "
                                               << request[25] << " ,[0x11] " << request[17]);
  return true;
}

// The request as it stands, corrected by the record in flash where that is complete.
MosaicRequest settledRequest(Data_Global& global, bool readable, const shortcut::BasicRecord& record) {
  MosaicRequest request = global.mosaicRequest();
  const MosaicRequest stored = shortcut::basicRequest(record, request.masterSlave);
  if (!readable || stored.rows == 0 || stored.columns == 0 || stored.cards == 0 || stored == request) return request;
  TRACE_INFO(
      "============================ Read Flash Para is diff CalculateParaOfSenderHandler ===========================");
  global.setMosaicRequest(stored);
  return stored;
}

void logTwoHundredMs() {
  TRACE_INFO("============================ 200Ms CalculateParaOfSenderHandler ===========================");
}

void applyBasicRecord(const shortcut::BasicRecord& record) {
  Data_Global& global = *Data_Global::getInstance();
  const MosaicRequest request = shortcut::basicRequest(record, global.PbufMorSMode);
  global.setMosaicRequest(request);
  forgetDeviceRole(global);
  TRACE_INFO("MyTempParaTable[1] = " << request.rows << " MyTempParaTable[2] = " << request.columns
                                     << " MyTempParaTable[3] = " << request.cards << " MyTempParaCharTable[0] = "
                                     << request.connectMode << " MyTempParaCharTable[2]=" << request.masterSlave);
  global.CalculateParaGetSreenSize(request);
  storeConfigStatus(kLedConfigBasic);
  ++global.CalculateParaHandlerCnt;
}

void applyAdvancedRecords() {
  Data_Global& global = *Data_Global::getInstance();
  std::array<uint8_t, flash::kShortcut.length> buffer{};
  const int ret =
      DriverUtil::getInstance()->ReadBytesFromFlash(flash::kShortcut.address, flash::kShortcut.length, buffer.data());
  if (ret != 0) {
    TRACE_ERROR("=== AdvCalcParaOfSender ===read the records from flash failed. ret = " << ret);
    return;
  }
  TRACE_INFO("ShortcutConfigScreenRegister  buf:" << HexText<3 * flash::kShortcut.length + 1>(buffer));
  const AdvancedRequest request = shortcut::advancedRequest(buffer);
  for (unsigned p = 0; p < kDataPorts; ++p) {
    TRACE_INFO("port num = " << p << " row = " << request.rows[p] << " col = " << request.columns[p] << " x = "
                             << request.x[p] << " y = " << request.y[p] << " cm = " << request.connectMode[p]);
  }
  if (!Data_Global::advancedWithinLimits(request, global.cardSize())) return;
  global.AdvCalcParaGetSreenSize(request);
  if (global.AdvCalcParaOfSenderInMosaicMode(request) != 0) return;
  storeConfigStatus(kLedConfigAdvanced);
}

}  // namespace

int Tprocess::Sprocess_CalculateParaOfSender(int length, uint8_t* data) {
  static constexpr HandlerWords kWords{"Sprocess_CalculateParaOfSender"};
  if (!beginHandler(kWords, data)) return 0;
  shortcut::BasicRecord record{};
  if (length < static_cast<int>(record.size())) {
    dropTruncated(kWords, length);
  } else {
    std::copy_n(data, record.size(), record.begin());
    TRACE_INFO("Sprocess_CalculateParaOfSender enter:");
    TRACE_INFO("Process key: DoBackupInfoKey  data:" << HexText<1536>(record));
    applyBasicRecord(record);
  }
  finishHandler(kWords);
  return 0;
}

int Tprocess::Sprocess_AdvCalcParaOfSender(int length, uint8_t* data) {
  static constexpr HandlerWords kWords{"Sprocess_AdvCalcParaOfSender"};
  if (!beginHandler(kWords, data)) return 0;
  if (length < 1) {
    dropTruncated(kWords, length);
  } else {
    TRACE_INFO("Sprocess_AdvCalcParaOfSender enter:");
    TRACE_INFO("Process key: DoBackupInfoKey  data:" << HexText<1536>({data, static_cast<size_t>(length)}));
    applyAdvancedRecords();
  }
  finishHandler({"Sprocess_CalculateParaOfSender"});
  return 0;
}

void Tprocess::CalculateParaOfSenderHandler() {
  Data_Global& global = *Data_Global::getInstance();
  shortcut::BasicRecord record{};
  const bool readable = readStoredRecord(record);
  global.GetRecvCardSize_EnvNew();
  global.SendRVCardWHtoQXT();
  global.ShortCfgReadRvStatus = 0;
  const MosaicRequest request = settledRequest(global, readable, record);
  logTwoHundredMs();
  global.CalculateParaOfSenderInMosaicMode(request);
  storeConfigStatus(kLedConfigBasic);
  const auto screen = global.ScreenParaReg.copy<3>(0);
  TRACE_INFO("=== ScreenParaReg[0] " << screen[0] << " [1]:" << screen[1] << " [2]:" << screen[2]);
  logTwoHundredMs();
}

}  // namespace TIRK_MCUC
