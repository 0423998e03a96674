// The boot restore: brings the persisted state back into the mirrors and, once it answers, into the FPGA.
#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>

#include "boardaccess.h"
#include "driverutil.h"
#include "envstore.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/screenwriters.h"
#include "proto/shortcutrecord.h"
#include "proto/storedwall.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kDefaultMode = 0x20;
constexpr uint8_t kOutputClosed = 0x00;
constexpr uint8_t kOutputRestored = 0x5A;
constexpr uint8_t kNoOffsets = 0;
constexpr uint8_t kDisplayDaemonOffsets = 2;

bool online() {
  return Data_Global::getInstance()->FpgaOnlineFlag == 1;
}

// Each FPGA write of the restore that fails is one line.
int writeFpga(uint32_t address, Bytes data, const char* what) {
  const int ret =
      DriverUtil::getInstance()->FPGAC5_WriteDataBlock(0, 0, address, static_cast<uint32_t>(data.size()), data.data());
  if (ret != 0) TRACE_ERROR("=== RestoreFPGA ===write " << what << " to FPGA failed! ret = " << ret);
  return ret;
}

void writeFpgaWord(uint32_t address, uint16_t value, const char* what) {
  uint8_t word[2];
  DWT_ENCWD(word, value);
  writeFpga(address, word, what);
}

void resetFirstBoot() {
  if (const int status = runShell("sysconfig set firstboot 0"); status != 0) {
    TRACE_ERROR("=== RestoreFPGA ===sysconfig set firstboot 0 failed! status = " << status);
  }
}

bool isFirstBootAfterFactoryReset() {
  std::optional<std::string> firstBoot;
  {
    const EnvStore env;
    if (!env) {
      TRACE_ERROR("=== RestoreFPGA ===the environment store can not be opened");
      return false;
    }
    firstBoot = env.get("firstboot");
  }
  if (!firstBoot) {
    TRACE_INFO("Read firstboot env is Null. ");
    return false;
  }
  if (std::strtol(firstBoot->c_str(), nullptr, 10) == 1) return true;
  TRACE_INFO("=======Reboot kadrend============");
  resetFirstBoot();
  return false;
}

void readConfigStatus() {
  uint8_t status = 0;
  const int ret = DriverUtil::getInstance()->ReadBytesFromFlash(flash::kShortcut.address, 1, &status);
  if (ret != 0) {
    TRACE_ERROR("=== RestoreFPGA ===Can not read the LEDConfigStatus, ret = " << ret);
  } else {
    Data_Global::getInstance()->LEDConfigStatus = status;
  }
  TRACE_INFO("=======Recover software LED configure when boot ! LEDConfigStatus = "
             << Data_Global::getInstance()->LEDConfigStatus.load());
}

bool readScreenRecord() {
  ScreenRecord record{};
  const int ret =
      DriverUtil::getInstance()->ReadBytesFromFlash(flash::kScreenRecord.address, kScreenRecordLength, record.data());
  if (ret != 0) return false;
  Data_Global::getInstance()->ScreenParaReg.write(0, record);
  return true;
}

// The stored screen becomes one card.
void takeScreenSizeAsCardSize(Data_Global& global) {
  uint32_t screen[2] = {};
  global.Read_ScreenSize_FromFlash(screen);
  for (size_t i = 0; i < 2; ++i) RecvCardSize_befor[i] = screen[i];
  uint32_t card[2] = {};
  read_CardSize_flag = global.Read_CardSize_FromFlash(card) == 0 ? 1 : 0;
  const auto fits = [](uint32_t side) { return side >= 1 && side <= kLargestSide; };
  if (fits(screen[0]) && fits(screen[1])) {
    global.setCardSize({static_cast<uint16_t>(screen[0]), static_cast<uint16_t>(screen[1])});
  } else {
    TRACE_ERROR("=== RestoreFPGA ===the stored screen size is no card size: " << screen[0] << " x " << screen[1]);
    global.setCardSize(kDefaultCardSize);
  }
  factory_flag = 1;
}

void restoreFirstBoot(Data_Global& global) {
  TRACE_INFO("=======Reboot after ReturnFactory === RestoreFPGA    ");
  takeScreenSizeAsCardSize(global);
  const CardSize card = global.cardSize();
  global.writeScreenSizeToFlash(card.width, card.height);
  global.writeScreenCounter(0);
  uint8_t size[4];
  DWT_ENCWD(&size[0], card.width);
  DWT_ENCWD(&size[2], card.height);
  global.SendParameterReg.write(sendpara::kScreenWidth, size);
  global.DebugForScreenZero(6, 0, "RestoreFPGA, use ReceiveCardWidth change screen!!");
  uint32_t stored[2] = {};
  global.Read_ScreenSize_FromFlash(stored);
  if (online()) {
    resetFirstBoot();
    TRACE_INFO("=======Recover smart LED configure when Reboot after ReturnFactory.");
    global.CalculateParaOfSenderInMosaicMode({.rows = 1, .columns = 1, .cards = 1});
    readConfigStatus();
    global.SendMStoQXT1_4();
    global.SendMStoQXT5_8();
    global.SendMStoQXT9_16();
    global.FpgaParaLoadFinish = true;
  }
  TRACE_INFO("=======Finish Restore FPGA When FirstBoot after ReturnFactory ============");
}

void normaliseFeatureBlock(Data_Global& global) {
  CMutexGuardT guard(global.m_mutex);
  auto& block = global.SendParameterReg;
  const uint8_t mode = block.byte(sendpara::kMode);
  if (mode != 0x20 && mode != 0x21 && mode != 0x10) block.setByte(sendpara::kMode, kDefaultMode);
  if (block.byte(sendpara::kOutputSwitch) == kOutputRestored) block.setByte(sendpara::kOutputSwitch, kOutputClosed);
}

void logOffset(const char* name, int64_t value) {
  TRACE_INFO("RestoreFPGA " << name << " = 0x" << hex << static_cast<long>(value & 0xFFFFFFFF) << " "
                            << static_cast<long>(value));
}

// The display daemon's offsets: magnitudes to 0x28 and 0x2A, a sign word for each.
void writeDisplayDaemonOffsets(const std::array<uint8_t, sendpara::kSize>& block) {
  const int64_t x = static_cast<int32_t>(readDword(&block[sendpara::kQxtOffsetX]));
  const int64_t y = static_cast<int32_t>(readDword(&block[sendpara::kQxtOffsetY]));
  logOffset("offset X", x);
  logOffset("offset Y", y);
  const int64_t magnitudeX = std::abs(x);
  const int64_t magnitudeY = std::abs(y);
  if (magnitudeX > kLargestSide || magnitudeY > kLargestSide) {
    TRACE_ERROR("=== RestoreFPGA ===the display offsets do not fit and are not written");
    return;
  }
  const auto sign = [](int64_t value) { return static_cast<uint16_t>(value > 0 ? 0xFFFF : 0); };
  writeFpgaWord(sendpara::kOffsetX, static_cast<uint16_t>(magnitudeX), "offset X");
  writeFpgaWord(sendpara::kSignX, sign(x), "sign of offset X");
  writeFpgaWord(sendpara::kOffsetY, static_cast<uint16_t>(magnitudeY), "offset Y");
  writeFpgaWord(sendpara::kSignY, sign(y), "sign of offset Y");
}

void restoreFeatureRegisters(Data_Global& global) {
  std::array<uint8_t, sendpara::kSize> block;
  {
    CMutexGuardT guard(global.m_mutex);
    for (const size_t status : {sendpara::kCopperLink0To3, sendpara::kCopperLink4To7, sendpara::kCopperLink8To15}) {
      global.SendParameterReg.setByte(status, 0);
    }
    block = global.SendParameterReg.image();
  }
  const auto part = Bytes(block).subspan(fpga::kRestoredFeature.address, fpga::kRestoredFeature.length);
  if (writeFpga(fpga::kRestoredFeature.address, part, "feature para") == 0) {
    TRACE_INFO("Restore Feature FPGA Space ok !");
  }
  switch (block[sendpara::kOffsetMode]) {
    case kNoOffsets:
      break;
    case kDisplayDaemonOffsets:
      writeDisplayDaemonOffsets(block);
      break;
    default:
      writeFpgaWord(sendpara::kSignX, 0, "sign of offset X");
      writeFpgaWord(sendpara::kSignY, 0, "sign of offset Y");
      writeFpga(sendpara::kOffsetX, Bytes(block).subspan(sendpara::kOffsetX, 4), "display offsets");
  }
}

void restorePositions() {
  TRACE_INFO("Restore position para to FPGA :");
  for (unsigned port = 0; port < kPositionTablePorts; ++port) {
    const size_t start = port * kPositionTablePortSize;
    auto table = positionTable().copy<kPositionTablePortSize>(start);
    auto stored = table;
    int ret = DriverUtil::getInstance()->ReadBytesFromFlash(flash::kPosition.address + static_cast<uint32_t>(start),
                                                            kPositionTablePortSize, stored.data());
    TRACE_INFO("Port number = " << port);
    if (ret == 0) {
      TRACE_INFO("Read from flash, the ret = " << ret);
      table = stored;
      positionTable().write(start, table);
    } else {
      TRACE_ERROR("Read from flash, the ret = " << ret);
    }
    if (!online()) continue;
    ret = writePortTable(port, table);
    if (ret == 0) {
      TRACE_INFO("Write to FPGA, the ret = " << ret);
    } else {
      TRACE_ERROR("Write to FPGA, the ret = " << ret);
    }
  }
}

std::array<uint8_t, kNumberTableSize> readNumbers() {
  auto stored = numberTable().image();
  const int ret =
      DriverUtil::getInstance()->ReadBytesFromFlash(flash::kNumber.address, kNumberTableSize, stored.data());
  if (ret != 0) {
    TRACE_ERROR("=== RestoreFPGA ===Can not read the number para, ret = " << ret);
    return numberTable().image();
  }
  numberTable().write(0, stored);
  constexpr size_t kBytesInLine = 256;
  for (size_t at = 0; at < stored.size(); at += kBytesInLine) {
    TRACE_INFO(HexText<3 * kBytesInLine + 1>(Bytes(stored).subspan(at, kBytesInLine)));
  }
  return stored;
}

void writeNumbersAndCloseOutput(Data_Global& global, Bytes table) {
  // The common part last; ports 12..15 have no table.
  for (const uint32_t address : {fpga::kNumber0To3.address, fpga::kNumber4To7.address, fpga::kNumber8To11.address,
                                 fpga::kNumberCommon.address}) {
    const auto* const block = std::find_if(std::begin(kNumberTableBlocks), std::end(kNumberTableBlocks),
                                           [address](const auto& each) { return each.fpgaAddress == address; });
    const int ret = writeFpga(address, table.subspan(block->offset, block->length), "number para");
    if (ret == 0) TRACE_INFO("Write to FPGA, the ret = " << ret);
  }
  global.SendParameterReg.setByte(sendpara::kOutputSwitch, kOutputClosed);
  writeFpga(sendpara::kOutputSwitch, {&kOutputClosed, 1}, "output switch");
  global.SendParameterReg.setByte(sendpara::kOutputSwitch, kOutputRestored);
  global.writeScreenCounter(0);
  global.FpgaParaLoadFinish = true;
}

void loadFeatureBlock(Data_Global& global) {
  std::array<uint8_t, sendpara::kSize> block;
  if (global.RestoreDataFromFlash(1, block.data(), static_cast<uint16_t>(block.size())) != 0) return;
  global.SendParameterReg.write(0, block);
  global._gCorroentHighSpeed = block[sendpara::kHighSpeed] == 1 ? 1 : 0;
}

// Saves that follow one another may have been cut short between two of them.
void reportMixture(const Data_Global& global, Bytes numbers) {
  std::array<uint8_t, shortcut::kPortRecords + kDataPorts * shortcut::kPortRecordLength> request;
  if (board_flash_peek(flash::kShortcut.address, request.size(), request.data()) != 0) return;
  const auto record = global.ScreenParaReg.copy<kScreenRecordLength>(0);
  if (const char* mixture = mixtureInStoredWall(request, record, numbers); mixture != nullptr) {
    TRACE_WARNING("=== RestoreFPGA ===" << mixture << ": the wall stays as it was saved");
  }
  const uint8_t role = global.SendParameterReg.byte(sendpara::kDeviceRole);
  const bool decided = role == kDeviceMaster || role == kDeviceSlave;
  if (decided && (role == kDeviceSlave) != (global.PbufMorSMode == 1)) {
    TRACE_WARNING("=== RestoreFPGA ===the device's role was saved in part: send it again");
  }
}

}  // namespace

void Data_Global::BootRecover() {
  DriverUtil* const driver = DriverUtil::getInstance();
  uint8_t value = 0;
  if (driver->ReadBytesFromFlash(flash::kMasterSlaveMode.address, 1, &value) == 0) {
    PbufMorSMode = value;
  } else {
    TRACE_ERROR("=== BootRecover ===Can not read flash when get the PbufMorSMode in poweron! ");
  }
  if (online()) {
    if (const int ret = driver->ReadFPGABusOneWord(sendpara::kDeviceRole, &value); ret == 0) {
      NormalBackupStatus = value == kDeviceMaster || value == kDeviceSlave ? 0 : 1;
    } else {
      TRACE_ERROR("=== BootRecover ===Can not read the device role from FPGA, ret = " << ret);
    }
  }
  if (!readScreenRecord()) {
    TRACE_ERROR("=== BootRecover ===Can not read flash when get the ScreenParaReg[0x01] in poweron! ");
    return;
  }
  const auto record = ScreenParaReg.copy<kScreenRecordLength>(0);
  for (unsigned i = 0; i < record.size(); ++i) {
    TRACE_INFO("====BootRecover=== after read flash 0210000" << i << " =0x" << hex << int{record[i]});
  }
}

void Data_Global::RestoreFPGA() {
  TRACE_INFO("============================== Begin Restore FPGA ===============================");
  loadFeatureBlock(*this);
  RebootRF = 0;
  TRACE_INFO("Restore Feature FPGA Space:");
  BootRecover();
  TRACE_INFO("Restore DVI size:");
  if (isFirstBootAfterFactoryReset()) {
    restoreFirstBoot(*this);
    return;
  }
  normaliseFeatureBlock(*this);
  if (online()) restoreFeatureRegisters(*this);
  factory_flag = 0;
  TRACE_INFO("Recover software LED configure when boot.");
  readConfigStatus();
  restorePositions();
  TRACE_INFO("Restore number para to FPGA");
  const auto numbers = readNumbers();
  if (online()) writeNumbersAndCloseOutput(*this, numbers);
  DebugForScreenZero(20, 0, "RestoreFPGA, Device Power on !!");
  if (!readScreenRecord()) TRACE_ERROR("=== RestoreFPGA ===Can not read the screen record");
  if (online()) reportMixture(*this, numbers);
  TRACE_INFO("============================== Finish Restore FPGA ==============================");
}

}  // namespace TIRK_MCUC
