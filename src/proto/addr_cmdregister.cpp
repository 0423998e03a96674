#include "proto/addr_cmdregister.h"

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/addr_hardwareprogrammablebrightnessadjust.h"
#include "proto/data_common.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"no data", "sets the device address for serial control to the first data byte, at once"},
    {"no data", "queues the saving of screen and feature state to the flash (key 2)"},
    {"no data",
     "sets the reset marks of the device, ends the video daemon, announces the reboot and queues a factory reset of "
     "the "
     "type in the first data byte, 0..2 (key 3)"},
    {"no data", "writes the fifth data byte to the FPGA address in the first four, highest first, at once"},
    {"no data", "queues a reload of the FPGA's parameters (key 4)"},
    {"no data", "nothing"},
    {"no data", "queues the mapping display of the receiving cards: 1 or 5 on, else off (key 29)"},
    {"no data", "nothing"},
    {"no data", "queues the saving of screen and feature state to the flash (key 2)"}};

constexpr uint8_t kHighestResetType = 2;
constexpr size_t kTestPointBytes = 5;

constexpr QueueTexts kSaveTexts{
    "============================ Begin add HwBasicinfoKey message to list===========================",
    "=== WriteSaveParasForSendCard ===invalid data",
    "============================ Finish add HwBasicinfoKey message to list==========================="};
constexpr QueueTexts kResetTexts{
    "============================ Begin add ReturnFactorySetKey message to list===========================",
    "=== WriteReturnFactorySet ===invalid data",
    "============================ Finish add ReturnFactorySetKey message to list==========================="};
constexpr QueueTexts kReloadTexts{
    "============================ Begin add ReloadSenderFPGAKey message to list===========================",
    "=== WriteReloadSendCardProgram ===invalid data",
    "============================ Finish add ReloadSenderFPGAKey message to list==========================="};
constexpr QueueTexts kReloadCardTexts{
    "============================ Begin add ReloadSenderFPGAKey message to list===========================",
    "=== WriteReloadRecvCardProgram ===invalid data",
    "============================ Finish add ReloadSenderFPGAKey message to list==========================="};
constexpr QueueTexts kMappingTexts{
    "============================ Begin add WriteMappingCommandAnly message to list===========================",
    "=== WriteMappingCommandAnly ===invalid data",
    "============================ Finish add WriteMappingCommandAnly message to list==========================="};

// Runs `write` for a write; a read does nothing.
template <class Write>
int command(IMD_proto3rd* request, Write write) {
  if (request == nullptr) return kRefused;
  return request->proto.m_ucCode == kCodeWrite ? write() : int{kDone};
}

int withoutData(const char* text) {
  TRACE_ERROR(text);
  return kAccessDenied;
}

// Queues the one-byte command record: the first data byte.
int queueCommand(const IMD_proto3rd& request, _ValueChanged_Table key, const QueueTexts& texts) {
  TRACE_INFO(texts.begin);
  if (request.data().empty()) return withoutData(texts.invalid);
  if (const int result = RegisterSpace::queuePayload(request, key, request.data().first(1)); result != kDone)
    return result;
  TRACE_INFO(texts.finish);
  return kDone;
}

int resetToFactory(const IMD_proto3rd& request) {
  if (request.data().empty()) return withoutData(kResetTexts.invalid);
  if (request.data()[0] > kHighestResetType) {
    TRACE_ERROR("=== WriteReturnFactorySet ===unknown reset type " << request.data()[0]);
    return kRefused;
  }
  for (const char* line : {"sysconfig set factory_enable 1", "sysconfig set returnfactory 1",
                           "sysconfig set firstboot 1", "killall frelld"})
    runShell(line);
  Data_Global::getInstance()->SendRebootMsgtoQXT(request.data().data(), 1);
  return queueCommand(request, ReturnFactorySetKey, kResetTexts);
}

int writeTestPoint(Bytes data) {
  if (data.size() < kTestPointBytes) {
    TRACE_ERROR("=== WriteTestPointCommand ===5 data bytes needed, length = " << data.size());
    return kBadLength;
  }
  const uint32_t address = DWT_MAKEDW(data[0], data[1], data[2], data[3]);
  const int ret = DriverUtil::getInstance()->FPGAC5_WriteOneWord(0, 0, address, data[4]);
  if (ret == 0) return kDone;
  TRACE_ERROR("=== WriteTestPointCommand ===write to page program failed. driverRet = " << ret);
  return kUnknown;
}

int sortController(Bytes data) {
  TRACE_INFO("============================= Begin Write SortCMD ===============================");
  if (data.empty()) return withoutData("=== WriteSortCMD ===invalid data");
  Data_Global::getInstance()->LocalAddr = data[0];
  Addr_HardWareBrightnessAdjust::LocalAddr = data[0];
  TRACE_INFO("============================= Finish Write SortCMD ==============================");
  return kDone;
}

constexpr Fcmd_len kLengths{1, 512};

}  // namespace

const SpaceTraits Addr_CMDRegister::kTraits{
    .className = "Addr_CMDRegister", .baseRegisterAddr = 0x01000000, .keyMask = 0x0000FFFF, .docs = kDocs};
Fshl_cmd Addr_CMDRegister::cmd_tblOffset[] = {
    registerEntry(0, "sort", "Controller sort", kLengths, DoSortCMD),
    registerEntry(1, "saveParasForSendCard", "save paras for sendcard", kLengths, DoSaveParasForSendCard),
    registerEntry(2, "ReturnFactorySet", "Return Factory Set", kLengths, DoReturnFactorySet),
    registerEntry(3, "TestPointCommand", "Test Point Command", kLengths, DoTestPointCommand),
    registerEntry(4, "ReloadSendCardProgram", "Reload Send Card Program", kLengths, DoReloadSendCardProgram),
    registerEntry(5, "ChipEraseCommand", "Chip Erase Command", kLengths, DoChipEraseCommand),
    registerEntry(24, "MappingCommand", "Mapping conmmand for sender", kLengths, DoMappingCommand),
    registerEntry(32, "DebugCommandForFPGA", "Debug command for FPGA", kLengths, DoDebugCommandForFPGA),
    registerEntry(255, "ReloadrecvCardProgram", "Reload recvCard Program", kLengths, DoReloadRecvCardProgram),
    {}};

int Addr_CMDRegister::DoSortCMD(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [=] { return sortController(request->data()); });
}

int Addr_CMDRegister::DoSaveParasForSendCard(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [=] { return queueCommand(*request, SaveSendCardParaKey, kSaveTexts); });
}

int Addr_CMDRegister::DoReturnFactorySet(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [=] { return resetToFactory(*request); });
}

int Addr_CMDRegister::DoTestPointCommand(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [=] { return writeTestPoint(request->data()); });
}

int Addr_CMDRegister::DoReloadSendCardProgram(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [=] { return queueCommand(*request, ReloadSenderFPGAKey, kReloadTexts); });
}

int Addr_CMDRegister::DoChipEraseCommand(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [] { return int{kDone}; });
}

int Addr_CMDRegister::DoMappingCommand(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [=] { return queueCommand(*request, SendCardMappingKey, kMappingTexts); });
}

int Addr_CMDRegister::DoDebugCommandForFPGA(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [] { return int{kDone}; });
}

// The receiving cards keep what they have: this command saves, as the other one does.
int Addr_CMDRegister::DoReloadRecvCardProgram(IMD_proto3rd* request, Fshl_cmd*, int) {
  return command(request, [=] { return queueCommand(*request, SaveSendCardParaKey, kReloadCardTexts); });
}

}  // namespace TIRK_MCUC
