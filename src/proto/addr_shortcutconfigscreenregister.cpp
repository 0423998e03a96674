#include "proto/addr_shortcutconfigscreenregister.h"

#include <cstdio>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"the stored description of the wall, from the flash",
     "stores the description of the wall; a submit queues its calculation (keys 14 and 15)"}};

constexpr uint32_t kBase = 0x02810000;
constexpr uint8_t kSubmitMark = 0xB9;
constexpr uint8_t kAdvancedWork = 1;      // the payload of the advanced work item
constexpr size_t kRecordForWprRead = 38;  // a read of this length at offset 0 gets the record as WPR keeps it

uint8_t m_cfgScreenFlag = 0;  // what was last written to a page's start; the receive thread's own

size_t spaceOffset(const IMD_proto3rd& request) {
  return request.proto.m_uiRegisterUnitAddress & 0xFFFF;
}

uint32_t flashAddress(const IMD_proto3rd& request) {
  return request.proto.m_uiRegisterUnitAddress - flash::kFromShortcutSpace;
}

bool leavesSpace(size_t offset, size_t length) {
  return offset + length > flash::kShortcut.length;
}

// The bytes that the video-processing application's copy holds replace the record's own.
void overlayRecordForWpr(MutableBytes record) {
  std::array<uint8_t, flash::kShortcutForWpr.length> stored{};
  const int ret = DriverUtil::getInstance()->ReadBytesFromFlash(flash::kShortcutForWpr.address,
                                                                flash::kShortcutForWpr.length, stored.data());
  if (ret != 0) {
    TRACE_ERROR("=== ReadFromShortcutConfigScreen ===Read ShortCutStoreForWPR from  Flash failed !!! ");
    return;
  }
  for (unsigned i = 0; i < stored.size(); ++i) TRACE_INFO("SmartLEDParaForWPR[" << i << "] = " << stored[i]);
  record[shortcut::kDirection] = stored[0];
  record[shortcut::kRows] = stored[1];
  record[shortcut::kColumns] = stored[2];
  record[shortcut::kCabinets] = stored[3];
}

bool isSubmit(const IMD_proto3rd& request) {
  return (spaceOffset(request) & 0xFF) == 0 && request.data()[0] == kSubmitMark;
}

void logFirstByte(const IMD_proto3rd& request) {
  const uint8_t first = request.data()[0];
  if ((spaceOffset(request) & 0xFF) == 0 && !isSubmit(request)) {
    m_cfgScreenFlag = first;
    TRACE_INFO("   m_cfgScreenFlag =  " << m_cfgScreenFlag);
  }
  TRACE_INFO("\t buff[0] = " << first);
}

bool writeFlash(uint32_t address, Bytes data) {
  const int driverRet =
      DriverUtil::getInstance()->WriteDataToFlash(address, static_cast<uint32_t>(data.size()), data.data());
  if (driverRet == 0) return true;
  TRACE_ERROR("=== WriteToShortcutConfigScreen ===write to page program failed. driverRet = " << driverRet);
  return false;
}

bool store(const IMD_proto3rd& request) {
  const size_t offset = spaceOffset(request);
  const Bytes data = request.data();
  TRACE_INFO("ShortcutConfigScreenRegister Strage Lenth:" << static_cast<unsigned>(data.size()));
  if (offset + data.size() < shortcut::kBasicLength) {
    Data_Global::getInstance()->TmpCalcScreenPara.write(offset, data);
    TRACE_INFO("ShortcutConfig memcpy ");
  }
  return writeFlash(flashAddress(request), data);
}

bool readBasicRecord(shortcut::BasicRecord& record) {
  const int ret =
      DriverUtil::getInstance()->ReadBytesFromFlash(flash::kShortcut.address, shortcut::kStoredBasic, record.data());
  if (ret != 0) TRACE_ERROR("=== WriteToShortcutConfigScreen ===read the record from flash failed. ret = " << ret);
  return ret == 0;
}

bool complete(const shortcut::BasicRecord& record) {
  if (record[shortcut::kRows] != 0 && record[shortcut::kColumns] != 0 && readWord(&record[shortcut::kCabinets]) != 0) {
    return true;
  }
  TRACE_ERROR("=== WriteToShortcutConfigScreen ===Check Para stage: Para invalid! Row = "
              << record[shortcut::kRows] << " Colume = " << record[shortcut::kColumns]
              << " Box Number = " << record[shortcut::kCabinets]);
  return false;
}

// Once in a configuration cycle.
void fetchCardSize() {
  Data_Global* const global = Data_Global::getInstance();
  TRACE_INFO("=========================== Ready GetRecvCardSize_Env ======= ShortCfgReadRvStatus:"
             << global->ShortCfgReadRvStatus.load());
  if (global->ShortCfgReadRvStatus.exchange(1) != 0) return;
  global->GetRecvCardSize_EnvNew();
  global->SendRVCardWHtoQXT();
}

void logCabling(const shortcut::BasicRecord& record) {
  const MosaicRequest request = shortcut::basicRequest(record, 0);
  const bool vertical = (request.connectMode & 1) != 0;
  const unsigned cardsInLine = vertical ? request.rows : request.columns;
  const unsigned RowOrColInOnePort = (request.cards + cardsInLine - 1) / cardsInLine;
  TRACE_INFO((vertical ? "vertical" : "horizontal") << " line: RowOrColInOnePort = " << RowOrColInOnePort
                                                    << " CardNumofOneCable = " << RowOrColInOnePort * cardsInLine);
}

int queueBasic(const IMD_proto3rd& request, const shortcut::BasicRecord& record) {
  TRACE_INFO(
      "============================ Begin add CalculateParaOfSenderKey message to list===========================");
  const int result = RegisterSpace::queuePayload(request, CalculateParaOfSenderKey, record);
  TRACE_INFO(
      "============================ Finish add CalculateParaOfSenderKey message to list===========================");
  return result;
}

// Checks the record that the write completes, and asks for the basic calculation.
int handleBasicRecord(const IMD_proto3rd& request) {
  shortcut::BasicRecord record{};
  if (!writeFlash(flashAddress(request), request.data()) || !readBasicRecord(record) || !complete(record)) {
    return kRefused;
  }
  fetchCardSize();
  logCabling(record);
  if (!writeFlash(flash::kShortcut.address, record)) return kRefused;
  TRACE_INFO("Para is OK. Continue...");
  return queueBasic(request, record);
}

// Ports 10.. have records but no position tables.
void warnOfSparePorts() {
  constexpr size_t kSpare = shortcut::kPortRecordCount - kDataPorts;
  std::array<uint8_t, kSpare * shortcut::kPortRecordLength> records{};
  const auto address = static_cast<uint32_t>(flash::kShortcut.address + shortcut::kPortRecords +
                                             kDataPorts * shortcut::kPortRecordLength);
  const int ret =
      DriverUtil::getInstance()->ReadBytesFromFlash(address, static_cast<uint32_t>(records.size()), records.data());
  if (ret != 0) return;  // the calculation reads them again and says so
  for (size_t i = 0; i < kSpare; ++i) {
    const Bytes record = Bytes(records).subspan(i * shortcut::kPortRecordLength, shortcut::kPortRecordLength);
    const auto all = [&record](uint8_t value) {
      return std::all_of(record.begin(), record.end(), [value](uint8_t each) { return each == value; });
    };
    if (all(0x00) || all(0xFF)) continue;
    TRACE_WARNING("WriteToShortcutConfigScreen: the record of port " << static_cast<unsigned>(kDataPorts + i)
                                                                     << " is stored and not calculated");
  }
}

int queueAdvanced(const IMD_proto3rd& request) {
  warnOfSparePorts();
  TRACE_INFO(
      "============================ Begin add AdvCalcParaOfSenderKey message to list===========================");
  const int result = RegisterSpace::queuePayload(request, AdvCalcParaOfSenderKey, {&kAdvancedWork, 1});
  TRACE_INFO(
      "============================ Finish add AdvCalcParaOfSenderKey message to list===========================");
  return result;
}

int applyWrite(const IMD_proto3rd& request) {
  const size_t offset = spaceOffset(request);
  const bool submit = isSubmit(request);
  logFirstByte(request);
  if (!submit && !store(request)) return kRefused;
  if (offset >= shortcut::kBasicFirst && offset <= shortcut::kBasicLast) return handleBasicRecord(request);
  if (offset < shortcut::kPortRecords || offset > shortcut::kLastPortField) {
    TRACE_INFO("cfg screen flag = " << m_cfgScreenFlag);
  }
  return submit ? queueAdvanced(request) : static_cast<int>(kDone);
}

}  // namespace

const SpaceTraits Addr_ShortcutConfigScreenRegister::kTraits{
    "Addr_ShortcutConfigScreenRegister", kBase, 0xFFFF0000, nullptr, false, false, kDocs};

Fshl_cmd Addr_ShortcutConfigScreenRegister::cmd_tblOffset[] = {
    {kBase,
     "shortcut config screen info",
     "shortcut config screen info register",
     kReadWrite,
     {1, 1500},
     {},
     nullptr,
     &Addr_ShortcutConfigScreenRegister::DoShortcutConfigScreen,
     nullptr,
     &Ssh_checkFun},
    {}};

int Addr_ShortcutConfigScreenRegister::DoShortcutConfigScreen(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, &ReadFromShortcutConfigScreen, &WriteToShortcutConfigScreen);
}

int Addr_ShortcutConfigScreenRegister::ReadFromShortcutConfigScreen(IMD_proto3rd* request) {
  if (request == nullptr) return kRefused;
  const size_t offset = spaceOffset(*request);
  const size_t length = request->proto.m_usValidDataLength;
  if (leavesSpace(offset, length)) {
    TRACE_ERROR("=== ReadFromShortcutConfigScreen ===Invalid addr+len, return! address = "
                << hex << request->proto.m_uiRegisterUnitAddress << " len = " << static_cast<unsigned>(length));
    return refuse(request, kOutsideSpace);
  }
  return readThrough(request, [&](MutableBytes out) {
    const int driverRet = DriverUtil::getInstance()->ReadBytesFromFlash(flashAddress(*request),
                                                                        static_cast<uint32_t>(out.size()), out.data());
    if (driverRet != 0) {
      TRACE_ERROR("=== WriteToNumberFunCardPort ===read bytes from flash failed. driverRet = " << driverRet);
      return static_cast<int>(kUnknown);
    }
    if (offset != 0) return static_cast<int>(kDone);
    out[shortcut::kStatus] = Data_Global::getInstance()->LEDConfigStatus;
    if (length == kRecordForWprRead) overlayRecordForWpr(out);
    return static_cast<int>(kDone);
  });
}

int Addr_ShortcutConfigScreenRegister::WriteToShortcutConfigScreen(IMD_proto3rd* request) {
  TRACE_INFO("======================== Begin Write ShortCut Config Info =======================");
  if (request == nullptr) {
    TRACE_ERROR("=== IMD_proto3rd ===:, msgIMD is invalid, return.");
    return kRefused;
  }
  const size_t length = request->data().size();
  if (leavesSpace(spaceOffset(*request), length)) {
    TRACE_ERROR("=== WriteToShortcutConfigScreen ===Invalid addr+len, return! address = "
                << hex << request->proto.m_uiRegisterUnitAddress << " len = " << static_cast<unsigned>(length));
    return refuse(request, kOutsideSpace);
  }
  int result = length == 0 ? static_cast<int>(kDone) : applyWrite(*request);
  if (result != kDone) result = refuse(request, result);
  TRACE_INFO("======================== Finish Write ShortCut Config Info ======================");
  return result;
}

int Addr_ShortcutConfigScreenRegister::print() const {
  for (const Fshl_cmd* entry = table(); entry->cmd_str != nullptr; ++entry) {
    std::printf(" register base=base=0x%08X", base());
    std::printf(", offset=0x%08X", entry->RegisterAddr);
    std::printf(": ");
    std::printf("%s\n", entry->cmd_exp);
  }
  return 0;
}

}  // namespace TIRK_MCUC
