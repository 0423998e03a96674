#include "proto/data_common.h"

#include <fcntl.h>

#include <algorithm>
#include <cstring>

#include "driverutil.h"
#include "fileio.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "pendingsave.h"
#include "proto/flashmap.h"
#include "uniquefd.h"

namespace TIRK_MCUC {

std::array<std::atomic<uint16_t>, 512> ParaTable{};
std::array<std::atomic<uint16_t>, 512> AdvCfgParaTable{};
std::array<std::atomic<uint8_t>, 32> ParaCharTable{};
std::array<std::atomic<uint32_t>, 2> RecvCardSize_befor{};
std::atomic<uint32_t> factory_flag{0};
std::atomic<uint32_t> read_CardSize_flag{0};

namespace {

constexpr uint16_t kLongestRestore = 5120;
constexpr uint32_t kFlashPage = 256;
constexpr uint16_t kLargestPlausible = 3840;  // of a size or an offset; beyond it a save says so
constexpr uint8_t kHardwareMarker = 0x55;

// Why the verification looks at it: a block that was never set up, or a value no panel has.
bool featureBlockPlausible(const std::array<uint8_t, sendpara::kSize>& block) {
  if (block[sendpara::kPowerOnTime] == 0xFF) return false;
  for (const size_t at : {sendpara::kScreenWidthEven, sendpara::kScreenHeightDvi, sendpara::kOffsetX,
                          sendpara::kOffsetY, sendpara::kScreenWidthExact}) {
    if (readWord(&block[at]) > kLargestPlausible) return false;
  }
  for (unsigned port = 0; port < sendpara::kOutputPorts; ++port) {
    for (size_t field = 0; field < 8; field += 2) {
      if (readWord(&block[sendpara::portBlock(port) + field]) > kLargestPlausible) return false;
    }
  }
  return true;
}

bool layoutTagDiffers() {
  std::array<uint8_t, 4> tag{};
  const int ret =
      DriverUtil::getInstance()->ReadBytesFromFlash(flash::kLayoutTag.address, flash::kLayoutTag.length, tag.data());
  if (ret != 0) TRACE_ERROR("=== SaveParaToFlash ===Can not read the layout tag, ret = " << ret);
  return ret != 0 || tag != Data_Global::IsNewFlashTag;
}

void saveArea(const flash::Area& area, Bytes data, const char* name) {
  TRACE_INFO("Save " << name << " para to flash :");
  const int ret = DriverUtil::getInstance()->WriteDataToFlash(area.address, area.length, data.data());
  if (ret != 0) TRACE_ERROR("=== Save " << name << " para to flash failed! ret = " << ret);
}

std::array<uint8_t, flash::kGlobal.length> globalParaImage() {
  std::array<uint8_t, flash::kGlobal.length> image{};
  for (size_t i = 0; i < image.size() / 2; ++i) DWT_ENCWD(&image[2 * i], ParaTable[i].load());
  return image;
}

void saveBasicHardware() {
  TRACE_INFO("Save basic hardware para to flash :");
  const auto block = Data_Preset::getInstance()->BasicHardWareReg.copy<flash::kBasicHardwareSave.length>(0);
  const int ret = DriverUtil::getInstance()->PageProgram(1, flash::kBasicHardwareSave.address,
                                                         static_cast<uint32_t>(block.size()), block.data());
  if (ret != 0) TRACE_ERROR("=== Save  basic hardware para to flash failed! ret = " << ret);
}

void saveScreenState(const std::array<uint8_t, sendpara::kSize>& block) {
  const bool tagDiffers = layoutTagDiffers();
  if (featureBlockPlausible(block)) {
    TRACE_INFO("Finish parameter verify. the parameter is OK.");
  } else {
    TRACE_ERROR("Finish parameter verify, the parameter is invalid!");
  }
  const auto globals = globalParaImage();
  const auto positions = positionTable().image();
  const auto numbers = numberTable().image();
  const PendingSave pending({{flash::kFeature.address, block},
                             {flash::kGlobal.address, globals},
                             {flash::kLayoutTag.address, Data_Global::IsNewFlashTag},
                             {flash::kPosition.address, positions},
                             {flash::kNumber.address, numbers}});
  saveArea(flash::kFeature, block, "feature");
  saveArea(flash::kGlobal, globals, "Global");
  if (tagDiffers) {
    const auto& tag = Data_Global::IsNewFlashTag;
    const int ret = DriverUtil::getInstance()->PageProgram(1, flash::kLayoutTag.address,
                                                           static_cast<uint32_t>(tag.size()), tag.data());
    if (ret != 0) TRACE_ERROR("=== Save layout tag to flash failed! ret = " << ret);
  }
  saveArea(flash::kPosition, positions, "position");
  saveArea(flash::kNumber, numbers, "number");
}

void flushFileSystems() {
  if (const int status = runShell("sync"); status != 0) {
    TRACE_ERROR("=== SaveParaToFlash ===sync failed! status = " << status);
  }
}

// A record of two u32, width and height. 0 and the values, also when one of them is 0; else the flash's code.
int readSizeRecord(const flash::Area& area, uint32_t size[2]) {
  std::array<uint8_t, 8> record{};
  const int ret = DriverUtil::getInstance()->ReadBytesFromFlash(area.address, area.length, record.data());
  if (ret != 0) return ret;
  size[0] = readDword(&record[0]);
  size[1] = readDword(&record[4]);
  return 0;
}

int writeSizeRecord(const flash::Area& area, uint32_t width, uint32_t height) {
  std::array<uint8_t, 8> record{};
  DWT_ENCDW(&record[0], width);
  DWT_ENCDW(&record[4], height);
  return DriverUtil::getInstance()->WriteDataToFlash(area.address, area.length, record.data());
}

}  // namespace

Data_Global* Data_Global::getInstance() {
  static NoDestroy<Data_Global> instance;
  return &instance.get();
}

Data_Preset* Data_Preset::getInstance() {
  static NoDestroy<Data_Preset> instance;
  return &instance.get();
}

CardSize Data_Global::cardSize() const {
  CMutexGuardT guard(m_mutex);
  return {ReceiveCardWidth, ReceiveCardHeight};
}

void Data_Global::setCardSize(CardSize size) {
  CMutexGuardT guard(m_mutex);
  ReceiveCardWidth = size.width;
  ReceiveCardHeight = size.height;
}

MosaicRequest Data_Global::mosaicRequest() const {
  CMutexGuardT guard(m_mutex);
  return m_mosaicRequest;
}

void Data_Global::setMosaicRequest(const MosaicRequest& request) {
  CMutexGuardT guard(m_mutex);
  m_mosaicRequest = request;
}

void Data_Global::SaveParaToFlash(uint8_t type) {
  const auto block = SendParameterReg.image();
  TRACE_INFO("SendParameterReg[0x1EC] = " << block[sendpara::kScreenWidth]
                                          << " SendParameterReg[0x1EE] = " << block[sendpara::kScreenHeight]);
  TRACE_INFO("======================Save para to flash, the type = " << type);
  if (type == 0) saveBasicHardware();
  if (type == 1) {
    saveScreenState(block);
    flushFileSystems();
  }
  TRACE_INFO("=========================== Finish save para to flash ===========================");
}

void Data_Global::SaveBasicParaToFlash() {
  constexpr uint32_t kSavedBytes = 16;
  TRACE_INFO("======================== Begin save basic para to flash =========================");
  DriverUtil* const driver = DriverUtil::getInstance();
  const auto head = Data_Preset::getInstance()->BasicHardWareReg.copy<kSavedBytes>(0);
  const PendingSave pending(
      {{flash::kBasicHardwareMarker.address, {&kHardwareMarker, 1}}, {flash::kBasicHardware.address, head}});
  int ret = driver->WriteDataToFlash(flash::kBasicHardwareMarker.address, flash::kBasicHardwareMarker.length,
                                     &kHardwareMarker);
  if (ret != 0) TRACE_ERROR("=== SaveBasicParaToFlash ===write the marker to flash failed! ret = " << ret);
  ret = driver->WriteDataToFlash(flash::kBasicHardware.address, kSavedBytes, head.data());
  if (ret != 0) TRACE_ERROR("=== SaveBasicParaToFlash ===write basic para to flash failed! ret = " << ret);
  TRACE_INFO("======================== Finish save basic para to flash ========================");
}

int Data_Global::RestoreDataFromFlash(uint8_t type, uint8_t* dest, uint16_t length) {
  TRACE_INFO("========================== Begin restore data from flash ========================");
  if (dest == nullptr || type > 1 || length > kLongestRestore) {
    TRACE_ERROR("=== RestoreDataFromFlash ===refused, type = " << type << " length = " << length);
    return -1;
  }
  const uint32_t address = type == 0 ? flash::kBasicHardware.address : flash::kFeature.address;
  if (type == 1) TRACE_INFO("=======Restore FPGA from flash RegesiterAddr = " << hex << address);
  std::array<uint8_t, kLongestRestore> staging;
  const int ret = DriverUtil::getInstance()->ReadBytesFromFlash(address, length, staging.data());
  if (ret == 0) {
    std::copy_n(staging.begin(), length, dest);
  } else {
    TRACE_ERROR("=== RestoreDataFromFlash ===read from flash failed! ret = " << ret);
  }
  TRACE_INFO("========================== Finish restore data from flash =======================");
  return ret;
}

int Data_Global::CopyConstDataToFlash(uint32_t addr, const uint8_t* data, uint32_t length) {
  if (length == 0) return 0;
  if (data == nullptr || uint64_t{addr} + length > UINT32_MAX) {
    TRACE_ERROR("=== CopyConstDataToFlash ===refused, spi address = " << hex << addr << " length = " << length);
    return -1;
  }
  TRACE_INFO("======================== Begin copy const data to flash =========================");
  const PendingSave pending({{addr, {data, length}}});
  DriverUtil* const driver = DriverUtil::getInstance();
  const uint32_t pages = length / kFlashPage;
  const uint32_t mod = length % kFlashPage;
  int ret = 0;
  for (uint32_t i = 0; i < pages; ++i) {
    const uint32_t address = addr + kFlashPage * i;
    ret = driver->PageProgram(1, address, kFlashPage, data + size_t{kFlashPage} * i);
    TRACE_INFO("Copy const data to flash : the real addr = " << static_cast<const void*>(data) << " result = " << ret
                                                             << " temp = " << pages << " i = " << i
                                                             << " spi address = " << hex << address);
  }
  if (mod != 0) {
    const uint32_t address = addr + kFlashPage * pages;
    ret = driver->PageProgram(1, address, mod, data + size_t{kFlashPage} * pages);
    TRACE_INFO("Copy const data to flash : the real addr = " << static_cast<const void*>(data) << " result = " << ret
                                                             << " temp = " << pages << " mod = " << mod
                                                             << " spi address = " << hex << address);
  }
  TRACE_INFO("======================== Finish copy const data to flash ========================");
  return ret;
}

int Data_Global::Read_ScreenSize_FromFlash(uint32_t size[2]) {
  if (readSizeRecord(flash::kScreenSize, size) != 0) {
    TRACE_ERROR("=== Read_ScreenSize_FromFlash ===Can not read flash screensize , faild !!! ");
    return -1;
  }
  if (size[0] == 0) TRACE_ERROR("=======Read FromFlash ScreenSizeW = " << size[0]);
  if (size[1] == 0) TRACE_ERROR("=======Read FromFlash ScreenSizeH = " << size[1]);
  if (size[0] == 0 || size[1] == 0) return -1;
  TRACE_INFO("=======Read FromFlash ScreenSize = " << size[0] << " x " << size[1]);
  return 0;
}

int Data_Global::Read_CardSize_FromFlash(uint32_t size[2]) {
  if (readSizeRecord(flash::kCardSize, size) != 0) {
    TRACE_ERROR("=== Read_CardSize_FromFlash ===Can not read flash CardSize , faild !!! ");
    return -1;
  }
  if (size[0] == 0) TRACE_ERROR("=======Read FromFlash CardSize_W = " << size[0]);
  if (size[1] == 0) TRACE_ERROR("=======Read FromFlash CardSize_H = " << size[1]);
  if (size[0] == 0 || size[1] == 0) return -1;
  TRACE_INFO("=======Read FromFlash CardSize = " << size[0] << " x " << size[1]);
  return 0;
}

int Data_Global::Write_CardSize_toFlash() {
  const CardSize size = cardSize();
  if (writeSizeRecord(flash::kCardSize, size.width, size.height) != 0) {
    TRACE_ERROR("=== Write_CardSize_toFlash ======= Write CardSize to flash failed !");
    return -1;
  }
  TRACE_INFO("=== Write_CardSize_toFlash ===(getscreensize+8) ok, RecvCard_W_H = " << size.width << " x "
                                                                                   << size.height);
  uint32_t stored[2] = {};
  Read_CardSize_FromFlash(stored);
  return 0;
}

void Data_Global::ReadHardwareInfo() {
  // From byte 2: the hardware version block.
  static constexpr std::array<uint8_t, 7> kVersion{20, 17, 2, 0, 168, 0, 4};
  auto& mirror = Data_Preset::getInstance()->BasicHardWareReg;
  auto block = mirror.copy<flash::kBasicHardware.length>(0);
  const bool readable = RestoreDataFromFlash(0, block.data(), static_cast<uint16_t>(block.size())) == 0;
  std::copy(kVersion.begin(), kVersion.end(), block.begin() + 2);
  block[30] = 0;
  block[31] = kHardwareMarker;
  mirror.write(0, block);
  if (!readable) {
    TRACE_ERROR("=== ReadHardwareInfo ===the block could not be read and is not written back");
    return;
  }
  SaveBasicParaToFlash();
}

void Data_Global::DebugForScreenZero(uint16_t point, uint32_t address, const char* description) {
  const auto size = SendParameterReg.copy<4>(sendpara::kScreenWidth);
  const unsigned width = readWord(&size[0]);
  const unsigned height = readWord(&size[2]);
  if (width != 0 && height != 0) return;
  char text[256];
  CTrace::CLogRecorder line(text, sizeof text);
  line << "Point:" << int{point} << " ,use adddr:" << hex << static_cast<unsigned long>(address) << ", wide:" << width
       << " high:" << height << ", description:" << description << "\n";
  const UniqueFd file(
      ::open(boardPath("/root/screen_zero.txt").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  if (!writeAll(file.get(), {reinterpret_cast<const uint8_t*>(text), std::strlen(text)})) {
    TRACE_ERROR("=== DebugForScreenZero ===Can not append to /root/screen_zero.txt");
  }
  TRACE_INFO("=============================Screen Para is Zero!!!  =============================");
}

void Data_Global::writeScreenCounter(uint8_t value) {
  const int ret =
      DriverUtil::getInstance()->WriteDataToFlash(flash::kScreenCounter.address, flash::kScreenCounter.length, &value);
  if (ret != 0) TRACE_ERROR("=== CfgScreenStatusPara ===write to flash failed! ret = " << ret);
  TRACE_INFO("============================= Wrtie CfgScreenStatusPara = " << value << " =============================");
}

void Data_Global::countScreenConfiguration() {
  uint8_t value = 0;
  const int ret = DriverUtil::getInstance()->ReadBytesFromFlash(flash::kScreenCounter.address,
                                                                flash::kScreenCounter.length, &value);
  if (ret != 0) {
    TRACE_ERROR("=== CfgScreenStatusPara ===read from flash failed, the counter stays! ret = " << ret);
    return;
  }
  writeScreenCounter(static_cast<uint8_t>(value + 1));
}

void Data_Global::writeScreenSizeToFlash(uint32_t width, uint32_t height) {
  if (const int ret = writeSizeRecord(flash::kScreenSize, width, height); ret != 0) {
    TRACE_ERROR("=== ScreenSize ===write to flash failed! ret = " << ret);
  }
}

void Data_Global::PortWidthUpdate(uint8_t port, uint16_t value) {
  if (port < sendpara::kOutputPorts) SendParameterReg.setWord(sendpara::portBlock(port) + sendpara::kBlockWidth, value);
}

void Data_Global::PortHeightUpdate(uint8_t port, uint16_t value) {
  if (port < sendpara::kOutputPorts)
    SendParameterReg.setWord(sendpara::portBlock(port) + sendpara::kBlockHeight, value);
}

void Data_Global::PortOffsetXUpdate(uint8_t port, uint16_t value) {
  if (port < sendpara::kOutputPorts) SendParameterReg.setWord(sendpara::PortParaXOffsetIndex[port], value);
}

void Data_Global::PortOffsetYUpdate(uint8_t port, uint16_t value) {
  if (port < sendpara::kOutputPorts) SendParameterReg.setWord(sendpara::PortParaYOffsetIndex[port], value);
}

void Data_Global::PortMorSUpdate(uint8_t port, uint8_t value) {
  if (port < sendpara::kOutputPorts) SendParameterReg.setByte(sendpara::portRole(port), value);
}

}  // namespace TIRK_MCUC
