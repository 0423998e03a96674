// The handlers of device information, commands, port tables, backup, software table, EDID and pattern generator.

#include "process/tprocess.h"

#include <algorithm>

#include "driverutil.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/basicpublicfunc.h"
#include "process/inputSource.h"
#include "process/processframe.h"
#include "proto/brightnesscontrol.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/screentables.h"

namespace TIRK_MCUC {

namespace {

constexpr uint32_t kPatternSpace = 0x12010000;
// Below the role record the software table holds a screen configuration.
constexpr uint32_t kRoleRecordRegister = flash::kRoleRecord.address + flash::kFromSoftwareSpace;
constexpr uint8_t kMappingOn = 5;
constexpr uint8_t kMappingOff = 0xFF;

// As applyRecord, for a command record: `effect(uint8_t command)`.
template <class Effect>
int applyCommand(const HandlerWords& words, int length, const uint8_t* data, Effect effect) {
  if (!beginHandler(words, data)) return 0;
  if (length >= 1) {
    logRecord(words, {data[0], 1, Bytes(data, 1)}, 1536);
    effect(data[0]);
  } else {
    dropTruncated(words, length);
  }
  finishHandler(words);
  return 0;
}

// Writes every block of the number table that holds one of its bytes offset..offset + length - 1.
void writeNumberBlocks(size_t offset, size_t length) {
  const auto table = numberTable().image();
  for (const NumberTableBlock& block : kNumberTableBlocks) {
    if (block.offset + block.length <= offset || block.offset >= offset + length) continue;
    const int ret = DriverUtil::getInstance()->FPGAC5_WriteDataBlock(
        0, 0, block.fpgaAddress, static_cast<uint32_t>(block.length), table.data() + block.offset);
    if (ret != 0) TRACE_ERROR("=== WriteToNumberFunCardPort ===Write FPGA number info failed! ret = " << ret);
  }
}

void writeFlash(const char* what, uint32_t address, Bytes data) {
  const int ret = DriverUtil::getInstance()->WriteDataToFlash(address, static_cast<uint32_t>(data.size()), data.data());
  if (ret != 0) TRACE_ERROR("=== Sprocess_SaveSendCardPara ===Save " << what << " to flash failed! ret = " << ret);
}

}  // namespace

Tprocess* Tprocess::getInstance() {
  static NoDestroy<Tprocess> instance;
  return &instance.get();
}

// --- Device information and commands.

int Tprocess::Sprocess_BasicData(int length, uint8_t* data) {
  int result = 0;
  applyRecord({"Sprocess_BasicData", "HwBasicinfoKey"}, length, data, [&](const WriteRecord& record) {
    BasicPublicFunc::getInstance()->SetHwBasicinfo(static_cast<int>(record.address), record.length, record.data.data());
    result = 1;
  });
  return result;
}

int Tprocess::Sprocess_SaveSendCardPara(int length, uint8_t* data) {
  return applyCommand({"Sprocess_SaveSendCardPara", "SaveSendCardParaKey"}, length, data, [](uint8_t) {
    Data_Global* store = Data_Global::getInstance();
    if (store->LEDConfigStatus == kLedConfigSoftware) {
      constexpr uint8_t kStatus[1] = {kLedConfigSoftware};
      writeFlash("LED configuration status", flash::kShortcut.address, kStatus);
    }
    writeFlash("screen record", flash::kScreenRecord.address, store->ScreenParaReg.copy<2>(0));
    store->SaveParaToFlash(1);
  });
}

int Tprocess::Sprocess_ReturnFactorySet(int length, uint8_t* data) {
  constexpr uint8_t kResetRequested = 3;
  return applyCommand({"Sprocess_ReturnFactorySet", "ReturnFactorySetKey"}, length, data, [](uint8_t type) {
    Data_Global* store = Data_Global::getInstance();
    store->ResetMode = type;  // the flag thread acts on RebootRF, so the type must be there before it
    store->RebootRF = kResetRequested;
  });
}

int Tprocess::Sprocess_ReloadSendCardProgram(int length, uint8_t* data) {
  return applyCommand({"Sprocess_ReloadSendCardProgram", "ReloadSenderFPGAKey"}, length, data, [](uint8_t) {
    Data_Global* store = Data_Global::getInstance();
    if (store->RebootRF != 0) {
      TRACE_WARNING("=== Sprocess_ReloadSendCardProgram ===a factory reset is under way, reload dropped.");
      return;
    }
    store->RestoreFPGA();
  });
}

int Tprocess::Sprocess_doMappingForSender(int length, uint8_t* data) {
  return applyCommand({"Sprocess_doMappingForSender", "doMappingForSender"}, length, data, [](uint8_t command) {
    const uint8_t value = command == 1 || command == 5 ? kMappingOn : kMappingOff;
    BrightnessControl::NewSendReceiveCardPara(kCardMappingRegister, kAllPorts, kAllCards, 1, &value);
  });
}

// --- Feature block and screen record.

int Tprocess::Sprocess_DoFeatureInfo(int length, uint8_t* data) {
  return applyRecord({"Sprocess_DoFeatureInfo", "DoFeatureInfoKey"}, length, data, [](const WriteRecord& record) {
    Data_Global::getInstance()->DoWriteFeatureInfo(record.address, record.length, record.data.data());
  });
}

int Tprocess::Sprocess_DoScreenInfoEcho(int length, uint8_t* data) {
  constexpr size_t kHostBytes = 32;  // the rest of the record is the calculations' own
  return applyRecord({"Sprocess_DoScreenInfoEcho", "DoScreenInfoEchoKey"}, length, data, [](const WriteRecord& record) {
    auto& screen = Data_Global::getInstance()->ScreenParaReg;
    const size_t offset = record.address & 0xFF;
    if (offset < kHostBytes) screen.write(offset, record.data.first(std::min(record.data.size(), kHostBytes - offset)));
    for (int i = 0; i < 2; ++i) {
      TRACE_INFO("====WriteToScreenInfoEcho=== 0210000" << i << " =0x" << hex
                                                        << static_cast<int>(screen.byte(static_cast<size_t>(i))));
    }
  });
}

// --- Port tables.

int Tprocess::Sprocess_PositionNetPort(int length, uint8_t* data) {
  constexpr int kDumpCapacity = 2304;
  const auto apply = [](const WriteRecord& record) {
    const uint32_t offset = record.address & 0xFFFF;
    if (offset >= kPositionTableSize) {
      TRACE_ERROR("$$$$ All para Pooling Sprocess_PositionNetPort $$$$ Reg more than max:" << offset);
      return;
    }
    const size_t room = kPositionTableSize - offset;
    if (record.data.size() > room) {
      TRACE_ERROR("$$$$ MoreThan Little Sprocess_PositionNetPort $$$$ Reg more than max:"
                  << offset << " Now:" << static_cast<unsigned long>(room));
      positionTable().write(offset, record.data.first(room));
      return;
    }
    positionTable().write(offset, record.data);
    TRACE_INFO("PortsTopoPara offset:" << offset << " data:" << HexText<kDumpCapacity>(record.data));
    const int ret = DriverUtil::getInstance()->FPGAC5_WriteDataBlock(0, 0, fpga::kPosition.address + offset,
                                                                     record.length, record.data.data());
    if (ret != 0) TRACE_ERROR("=== WriteToPosNetPort ===Write FPGA Position Info failed! ret = " << ret);
  };
  return applyRecord({"Sprocess_PositionNetPort", "PositionNetPortKey"}, length, data, apply, kDumpCapacity);
}

int Tprocess::Sprocess_DoNumberFunCardPort(int length, uint8_t* data) {
  constexpr size_t kSmallWrite = 2;  // bytes; a longer one rewrites the whole table
  const auto apply = [](const WriteRecord& record) {
    const size_t offset = record.address & 0xFFFF;
    if (offset + record.data.size() > kNumberTableSize) {
      TRACE_ERROR("=== WriteToNumberFunCardPort ===Invalid addr+len, dropped! address = " << record.address << " len = "
                                                                                          << record.length);
      return;
    }
    numberTable().write(offset, record.data);
    if (record.data.size() > kSmallWrite) {
      writeNumberBlocks(0, kNumberTableSize);
    } else {
      writeNumberBlocks(offset, record.data.size());
    }
  };
  return applyRecord({"Sprocess_DoNumberFunCardPort", "DoBackupInfoKey"}, length, data, apply);
}

// --- Flash areas.

int Tprocess::Sprocess_DoBackupInfo(int length, uint8_t* data) {
  return applyRecord({"Sprocess_DoBackupInfo", "DoBackupInfoKey"}, length, data, [](const WriteRecord& record) {
    const int ret = DriverUtil::getInstance()->PageProgram(1, record.address - flash::kFromBackupSpace, record.length,
                                                           record.data.data());
    runShell("sync");
    if (ret != 0) TRACE_ERROR("=== WriteToBackupInfo ===Write backup info to flash failed. ret = " << ret);
  });
}

int Tprocess::Sprocess_DoSoftwareTable(int length, uint8_t* data) {
  return applyRecord({"Sprocess_DoSoftwareTable", "DoSoftwareTableKey"}, length, data, [](const WriteRecord& record) {
    Data_Global* store = Data_Global::getInstance();
    if (record.address < kRoleRecordRegister) store->LEDConfigStatus = kLedConfigSoftware;
    const int ret =
        store->CopyConstDataToFlash(record.address - flash::kFromSoftwareSpace, record.data.data(), record.length);
    if (ret != 0) TRACE_ERROR("=== WriteToSoftwareTable ===Write to Page Program Failed. DriverRet = " << ret);
  });
}

// --- EDID, brightness, pattern generator.

int Tprocess::Sprocess_DoDoEDIDSpace(int length, uint8_t* data) {
  return applyRecord({"Sprocess_DoDoEDIDSpace", "DoSoftwareTableKey"}, length, data, [](const WriteRecord& record) {
    if (record.length > 256) {
      TRACE_ERROR("=== DoWriteEdidInfo ===data length > 100! length = " << record.length << " return. ");
      return;
    }
    if (record.length != 128 && record.length != 256) return;
    const uint8_t source = Data_Global::getInstance()->SendParameterReg.byte(sendpara::kInputSource);
    TRACE_INFO(" SendParameterReg[0x01A5] = 0x" << hex << static_cast<int>(source));
    InputSource::getInstance()->EDIDCommStorage(InputSource::selectedGroup(source), record.data.data(), record.length);
  });
}

int Tprocess::Sprocess_doAdjustBrightness(int length, uint8_t* data) {
  return applyRecord(
      {"Sprocess_doAdjustBrightness", "doAdjustBrightnessKey"}, length, data, [](const WriteRecord& record) {
        BrightnessControl::getInstance().SetBrightnessAdjustTable(record.address, record.length, record.data.data());
      });
}

int Tprocess::Sprocess_ScreenPatternGen(int length, uint8_t* data) {
  return applyRecord({"Sprocess_ScreenPatternGen", "ScreenPatternGenKey"}, length, data, [](const WriteRecord& record) {
    Data_Global* store = Data_Global::getInstance();
    const uint32_t offset = record.address - kPatternSpace;
    TRACE_INFO(" WriteOffset:" << offset << " &0xFFF:" << (record.address & 0xFFF));
    auto& registers = store->HardwareScreenGenReg;
    if (offset > registers.kSize || record.data.size() > registers.kSize - offset) {
      TRACE_ERROR("=== Sprocess_ScreenPatternGen ===Invalid addr+len, dropped! address = "
                  << record.address << " len = " << record.length);
      return;
    }
    registers.write(offset, record.data);
    store->ScreenPatternGenProcess();
  });
}

// --- Keys that no register space queues.

int Tprocess::Sprocess_Correction(int, uint8_t*) {
  TRACE_INFO("Sprocess_Correction enter:");
  return 0;
}

int Tprocess::Sprocess_SenderTestPatten(int, uint8_t*) {
  TRACE_INFO("Sprocess_SenderTestPatten enter:");
  return 0;
}

int Tprocess::Sprocess_ActiveReporting(int, uint8_t*) {
  TRACE_INFO("Sprocess_ActiveReporting enter:");
  return 0;
}

int Tprocess::Sprocess_SendtoScanCard(int, uint8_t*) {
  TRACE_INFO("Sprocess_SendtoScanCard enter:");
  return 0;
}

int Tprocess::Sprocess_SendtoMultiCard(int, uint8_t*) {
  TRACE_INFO("Sprocess_SendtoMultiCard enter:");
  return 0;
}

int Tprocess::Sprocess_SendtoDistribute(int, uint8_t*) {
  return 0;
}

}  // namespace TIRK_MCUC
