// Writes into the feature block: the steps that apply one, in their order, and what they share with the calculations.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "driverutil.h"
#include "mcucbytes.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/basicpublicfunc.h"
#include "process/tprocess_ctl.h"
#include "proto/brightnesscontrol.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/sendparameter.h"
#include "stinfo.h"

namespace TIRK_MCUC {

namespace {

enum OffsetMode : uint8_t { kOffsetsNone = 0, kOffsetsFromHost = 1, kOffsetsFromQxt = 2 };
constexpr uint8_t kEnterBypass = 0xA5;  // written to the offset mode

constexpr uint8_t kPowerOnBase = 0x23;   // power-on time that means "at once"
constexpr uint8_t k3DOff = 0x28;         // 3D byte that permits the low delay
constexpr uint8_t kShortestTimeout = 2;  // seconds, of the serial link
constexpr uint8_t kLongestTimeout = 119;

constexpr std::array<uint8_t, 2> kSignNone{0x00, 0x00};
constexpr std::array<uint8_t, 2> kSignPositive{0xFF, 0xFF};

// One direction of the display offset and what depends on it.
struct Axis {
  size_t offset;     // u16
  uint32_t sign;     // word in the FPGA
  size_t qxtOffset;  // s32
  size_t base;       // u16 size without offset
  size_t size;       // u16 screen size
  size_t record;     // u16 in the screen record
  uint16_t debugPoint;
  const char* debugText;
};
constexpr Axis kAxes[] = {{sendpara::kOffsetX, sendpara::kSignX, sendpara::kQxtOffsetX, sendpara::kScreenWidthEven,
                           sendpara::kScreenWidth, screenpara::kOffsetX, 1, "Bypass mode tmp_x changed!!"},
                          {sendpara::kOffsetY, sendpara::kSignY, sendpara::kQxtOffsetY, sendpara::kScreenHeightDvi,
                           sendpara::kScreenHeight, screenpara::kOffsetY, 2, "Bypass mode tmp_y changed!!"}};

void writeFpga(size_t address, Bytes data) {
  const auto start = static_cast<uint32_t>(address);
  const int result =
      DriverUtil::getInstance()->WriteFPGABusBlock(start, data.data(), static_cast<uint32_t>(data.size()));
  if (result != 0)
    TRACE_ERROR("=== DoWriteFeatureInfo ===Write FPGA failed, addr = " << hex << start << " ret = " << result);
}

int writeFlash(uint32_t address, Bytes data) {
  return DriverUtil::getInstance()->WriteDataToFlash(address, static_cast<uint32_t>(data.size()), data.data());
}

// A byte of the saved feature block.
int saveByte(size_t offset, uint8_t value) {
  return writeFlash(flash::kFeature.address + static_cast<uint32_t>(offset), {&value, 1});
}

bool readFlashByte(const flash::Area& area, uint8_t& value) {
  const int result = DriverUtil::getInstance()->ReadBytesFromFlash(area.address, 1, &value);
  if (result == 0) return true;
  TRACE_ERROR("=== DoWriteFeatureInfo ===Read flash failed, addr = " << hex << area.address << " ret = " << result);
  return false;
}

int run(const std::string& command) {
  const int status = runShell(command);
  if (status != 0) TRACE_ERROR("=== DoWriteFeatureInfo ===shell command failed: " << command << " status = " << status);
  return status;
}

// One write into the block.
class FeatureWrite {
 public:
  FeatureWrite(Data_Global& store, uint32_t address, Bytes data)
      : m_store(store), m_mirror(store.SendParameterReg), m_address(address), m_index(address & 0xFFFF), m_data(data) {}

  void apply();

 private:
  // --- what the write is
  bool startsAt(size_t offset) const { return m_index == offset; }
  bool isByte(size_t offset) const { return m_index == offset && m_data.size() == 1; }
  bool touches(size_t offset, size_t length) const {
    return m_index < offset + length && m_index + m_data.size() > offset;
  }
  bool setsClock() const {
    return m_index >= sendpara::kDateTime && m_index < sendpara::kDateTime + sendpara::kDateTimeLength;
  }
  bool setsQxtOffsets() const;
  uint8_t value() const { return m_data[0]; }
  uint8_t offsetMode() const { return m_mirror.byte(sendpara::kOffsetMode); }

  // --- refusals
  bool refused() const;
  bool qxtOffsetFits(const Axis& axis) const;

  // --- the steps
  void switchSelfTest();
  void storeInMirror();
  bool refuseLowDelay();
  void reportSwitches();
  void sendToFpga();
  void setPowerOnTime();
  void reportCorrection();
  void applyOffsets();
  void takeHostOffsets();
  void takeQxtOffset(const Axis& axis);
  bool switchOffsetMode();
  void followSerialControl();
  void setClock();
  void setDeviceRole();
  void clearRoleRecord();
  void clearScreenSize();
  void persistScreenSize();
  void switchHighSpeed();
  void saveOpticalMode();
  void saveInput4K();
  void saveBlock();
  void publishSize();
  void flushFileSystems();

  void updateRecordKind();

  Data_Global& m_store;
  GuardedBytes<sendpara::kSize>& m_mirror;
  const uint32_t m_address;
  const size_t m_index;
  const Bytes m_data;
};

void FeatureWrite::apply() {
  if (refused()) return;
  if (isByte(sendpara::kSelfTest)) return switchSelfTest();
  storeInMirror();
  if (refuseLowDelay()) return;
  reportSwitches();
  sendToFpga();
  setPowerOnTime();
  reportCorrection();
  applyOffsets();
  const bool sizeChanged = switchOffsetMode();
  followSerialControl();
  if (setsClock()) setClock();
  if (isByte(sendpara::kDeviceRole)) setDeviceRole();
  clearScreenSize();
  persistScreenSize();
  switchHighSpeed();
  saveOpticalMode();
  saveInput4K();
  saveBlock();
  if (sizeChanged) publishSize();
  flushFileSystems();
  TRACE_INFO("============================ Finish write feature info ==========================");
}

bool FeatureWrite::setsQxtOffsets() const {
  return startsAt(sendpara::kQxtOffsetX) && m_data.size() == 8 && offsetMode() != kOffsetsNone;
}

bool FeatureWrite::refused() const {
  if (m_data.data() == nullptr || m_data.empty() || m_index + m_data.size() > sendpara::kSize) {
    TRACE_ERROR("=== DoWriteFeatureInfo ===the write leaves the block, addr = " << hex << m_address
                                                                                << " length = " << m_data.size());
    return true;
  }
  return setsQxtOffsets() &&
         !std::all_of(std::begin(kAxes), std::end(kAxes), [this](const Axis& axis) { return qxtOffsetFits(axis); });
}

bool FeatureWrite::qxtOffsetFits(const Axis& axis) const {
  const auto offset = int64_t{static_cast<int32_t>(readDword(&m_data[axis.qxtOffset - sendpara::kQxtOffsetX]))};
  const int64_t base = offset > 0 ? 0 : m_mirror.word(axis.base);
  if (std::abs(offset) + base <= UINT16_MAX) return true;
  TRACE_ERROR("=== DoWriteFeatureInfo ===display offset out of range, offset = " << static_cast<long>(offset));
  return false;
}

// The byte is also the high byte of the screen height, which a switch must not change.
void FeatureWrite::switchSelfTest() {
  m_store.setRWFPGATestflag(value());
  TRACE_INFO("Read_Write FPGA 00: End  01: Start   Now:" << value());
  TRACE_INFO("============================ Finish write feature info ==========================");
}

void FeatureWrite::storeInMirror() {
  m_mirror.write(m_index, m_data);
  m_store.DebugForScreenZero(0, m_address, "Read software para!!");
}

// With display offsets the low delay needs generator and 3D switched off.
bool FeatureWrite::refuseLowDelay() {
  if (!startsAt(sendpara::kLowDelay) || offsetMode() == kOffsetsNone) return false;
  uint8_t generator = 0;
  uint8_t threeD = 0;
  const bool generatorKnown = readFlashByte(flash::kGeneratorSwitch, generator);
  const bool threeDKnown = readFlashByte(flash::k3DSwitch, threeD);
  TRACE_INFO("============= Gen:" << generator << " #3D:" << threeD << "============");
  if (generatorKnown && threeDKnown && generator == 0 && threeD == k3DOff) return false;
  TRACE_ERROR("======= bypass Mode and want open  LowdelayDisable, fail! close!! ====== Gen:" << generator
                                                                                              << " #3D:" << threeD);
  m_mirror.setByte(sendpara::kLowDelay, 0);
  return true;
}

void FeatureWrite::reportSwitches() {
  if (startsAt(sendpara::kReported4A) || startsAt(sendpara::kLowDelay)) m_store.SendDatetoQXT(m_address, &m_data[0], 1);
}

// The bus ends where the mirror's own bytes begin.
void FeatureWrite::sendToFpga() {
  if (startsAt(sendpara::kSerialTimeout) || m_index >= sendpara::kBusEnd) return;
  writeFpga(m_index, m_data.first(std::min(m_data.size(), sendpara::kBusEnd - m_index)));
}

void FeatureWrite::setPowerOnTime() {
  if (!isByte(sendpara::kPowerOnTime)) return;
  TRACE_INFO("======= Set RvCard PowerOn Time : sysconfig set boot_screen " << value() << "================");
  run("sysconfig set boot_screen " + std::to_string(value() > kPowerOnBase ? value() - kPowerOnBase : 0));
}

void FeatureWrite::reportCorrection() {
  if (!startsAt(sendpara::kCorrection)) return;
  TRACE_INFO("============ correction =" << value() << " Leng=" << m_data.size());
  m_store.SendDatetoQXT(m_address, m_data.data(), static_cast<uint16_t>(m_data.size()));
}

void FeatureWrite::applyOffsets() {
  if ((startsAt(sendpara::kOffsetX) || startsAt(sendpara::kOffsetY)) && offsetMode() != kOffsetsNone) {
    takeHostOffsets();
  } else if (setsQxtOffsets()) {
    m_mirror.setByte(sendpara::kOffsetMode, kOffsetsFromQxt);
    for (const Axis& axis : kAxes) takeQxtOffset(axis);
  }
}

void FeatureWrite::takeHostOffsets() {
  {
    CMutexGuardT guard(m_store.m_mutex);
    m_mirror.setByte(sendpara::kOffsetMode, kOffsetsFromHost);
    for (const Axis& axis : kAxes) m_mirror.setDword(axis.qxtOffset, -uint32_t{m_mirror.word(axis.offset)});
  }
  for (const Axis& axis : kAxes) writeFpga(axis.sign, kSignNone);
}

// The display daemon's offsets count the other way: 0 and below is an offset into the picture, which needs the room.
void FeatureWrite::takeQxtOffset(const Axis& axis) {
  const auto offset = int64_t{static_cast<int32_t>(readDword(&m_data[axis.qxtOffset - sendpara::kQxtOffsetX]))};
  const auto magnitude = static_cast<uint16_t>(std::abs(offset));
  std::array<uint8_t, 2> word{};
  DWT_ENCWD(word.data(), magnitude);
  writeFpga(axis.offset, word);
  if (offset <= 0) {
    {
      CMutexGuardT guard(m_store.m_mutex);
      m_mirror.write(axis.offset, word);
      m_mirror.setWord(axis.size, static_cast<uint16_t>(m_mirror.word(axis.base) + magnitude));
      updateRecordKind();
      m_store.ScreenParaReg.write(axis.record, word);
    }
    m_store.DebugForScreenZero(axis.debugPoint, m_address, axis.debugText);
  }
  writeFpga(axis.sign, offset > 0 ? kSignPositive : kSignNone);
}

// Enters the bypass mode or goes back to normal; whether it did. Either way the offsets leave the screen size.
bool FeatureWrite::switchOffsetMode() {
  const bool enters = isByte(sendpara::kOffsetMode) && value() == kEnterBypass;
  const bool leaves = isByte(sendpara::kOffsetMode) && value() == kOffsetsNone;
  if (!enters && !leaves) return false;

  std::array<uint8_t, 4> busOffsets{};
  {
    CMutexGuardT guard(m_store.m_mutex);
    m_mirror.setByte(sendpara::kOffsetMode, enters ? kOffsetsFromHost : kOffsetsNone);
    if (enters) m_mirror.read(sendpara::kOffsetX, busOffsets);
    for (const Axis& axis : kAxes) {
      const uint16_t offset = m_mirror.word(axis.offset);
      const uint16_t size = m_mirror.word(axis.size);
      if (offset < size) m_mirror.setWord(axis.size, static_cast<uint16_t>(size - offset));
      m_mirror.setWord(axis.offset, 0);
      m_mirror.setDword(axis.qxtOffset, 0);
      m_store.ScreenParaReg.setWord(axis.record, 0);
    }
    updateRecordKind();
  }
  for (const Axis& axis : kAxes) writeFpga(axis.sign, kSignNone);
  writeFpga(sendpara::kOffsetX, busOffsets);
  m_store.DebugForScreenZero(enters ? 3 : 4, m_address,
                             enters ? "Bypass mode change to mode bypass!!" : "Bypass mode change to mode Normal!!");
  return true;
}

// Requires m_mutex.
void FeatureWrite::updateRecordKind() {
  auto& record = m_store.ScreenParaReg;
  const bool valid = record.byte(screenpara::kValid) == screenpara::kValidMark;
  record.setByte(screenpara::kKind, valid ? screenpara::kCalculated : screenpara::kNotCalculated);
}

void FeatureWrite::followSerialControl() {
  auto& brightness = BrightnessControl::getInstance();
  if (startsAt(sendpara::kOptToNet)) Tprocess_ctl::getInstance()->OptToNetEnableOnce = true;
  const uint8_t timeout = m_mirror.byte(sendpara::kSerialTimeout);
  if (timeout >= kShortestTimeout && timeout <= kLongestTimeout && timeout != brightness.UartDiscOvertime) {
    brightness.UartDiscOvertime = timeout;
    brightness.SaveBrightnessPara();
  }
  if (isByte(sendpara::kSerialTimeout)) brightness.DevComLinkState = 1;
}

// A field that the write does not carry stays as the clock has it.
void FeatureWrite::setClock() {
  auto* clock = BasicPublicFunc::getInstance();
  std::array<uint8_t, sendpara::kDateTimeLength> fields{};
  const size_t first = m_index - sendpara::kDateTime;
  const size_t count = std::min(m_data.size(), fields.size() - first);
  if (count < fields.size()) clock->GetHwTime(fields.data());
  std::copy_n(m_data.begin(), count, &fields[first]);
  clock->SetHwTime(fields.data());
}

void FeatureWrite::setDeviceRole() {
  const uint8_t slave = value() == kDeviceSlave ? 1 : 0;
  m_store.PbufMorSMode = slave;
  TRACE_INFO((slave ? "=== PbufMorSMode Set Sender Mode salve!    -----  01"
                    : "=== PbufMorSMode Set Sender Mode maste!   ------- 00"));
  if (writeFlash(flash::kMasterSlaveMode.address, {&slave, 1}) != 0) {
    TRACE_ERROR("=== DoWriteFeatureInfo ===Set 0x0200_009d to ：" << value()
                                                                  << ", save PbufMorSMode to flash failed !");
  }
  m_store.SendMasterOrBackup(slave);
  if (const int result = saveByte(sendpara::kDeviceRole, value()); result != 0)
    TRACE_ERROR("=== DoWriteFeatureInfo ===save 0x0200_009d to flash failed ! ret = " << result);
  if (value() == kDeviceMaster || value() == kDeviceSlave) clearRoleRecord();
}

void FeatureWrite::clearRoleRecord() {
  static constexpr std::array<uint8_t, flash::kRoleRecord.length> kCleared{};
  m_store.NormalBackupStatus = 0;
  if (m_store.CopyConstDataToFlash(flash::kRoleRecord.address, kCleared.data(), flash::kRoleRecord.length) == 0) {
    TRACE_INFO("======Set  Device <Slave> 0x0200_009d to:" << value() << " 0xA5, clear 0x05065000 flash  ok !!! !");
  } else {
    TRACE_ERROR(
        "=== DoWriteFeatureInfo =========Set  Device <Slave> 0x0200_009d to 0xA5, clear 0x05065000 flash failed !");
  }
}

// A new input size outdates the screen size.
void FeatureWrite::clearScreenSize() {
  static constexpr std::array<uint8_t, 4> kCleared{};
  if (!startsAt(sendpara::kScreenWidthEven)) return;
  TRACE_INFO("CCCCCCCCCCCCCCCCCCCCCCCC Clear SendParameterReg[0x1EC]  CCCCCCCCCCCCCCCCCCC");
  m_mirror.write(sendpara::kScreenWidth, kCleared);
  writeFpga(sendpara::kScreenWidth, kCleared);
}

void FeatureWrite::persistScreenSize() {
  if (!touches(sendpara::kScreenWidth, 4) && !touches(sendpara::kScreenWidthEven, 4) &&
      !touches(sendpara::kScreenWidthExact, 2)) {
    TRACE_INFO(
        "========addr > 0x1EF || (addr + len ) <0x1EC ....OR.... addr > 0x24 || (addr + len ) <0x27  not set "
        "ScreenSize !!!!");
    return;
  }
  CMutexGuardT guard(m_store.m_mutex);
  uint16_t width = m_mirror.word(sendpara::kScreenWidth);
  uint16_t height = m_mirror.word(sendpara::kScreenHeight);
  const bool known = width != 0 && height != 0;
  if (!known) {
    width = m_mirror.word(sendpara::kScreenWidthExact);
    height = m_mirror.word(sendpara::kScreenHeightDvi);
    if (startsAt(sendpara::kScreenWidthExact)) m_mirror.setWord(sendpara::kScreenWidth, width);
    if (startsAt(sendpara::kScreenHeightDvi)) m_mirror.setWord(sendpara::kScreenHeight, height);
  } else if (offsetMode() != kOffsetsNone) {
    const uint16_t x = m_mirror.word(sendpara::kOffsetX);
    const uint16_t y = m_mirror.word(sendpara::kOffsetY);
    if (x < width && y < height) {
      width = static_cast<uint16_t>(width - x);
      height = static_cast<uint16_t>(height - y);
    }
  }
  guard.UnLock();

  TRACE_INFO((known ? "========Set ScreenSize(0x1EC~0x1EF) if OK ,use OutCut DVI wide&high is "
                    : "========Set ScreenSize(0x1EC~0x1EF) if fail ,use Real DVI wide&high is ")
             << width << " x " << height);
  if (!m_store.ChangeOutScreenPara(width, height)) return;
  TRACE_INFO("========Set ScreenSize(DVI Wide&high) to flash ok !!");
  TRACE_INFO("========Set ScreenSize = " << width << " x " << height);
}

void FeatureWrite::switchHighSpeed() {
  if (isByte(sendpara::kHighSpeed)) m_store._gCorroentHighSpeed = value() == 1 ? 1 : 0;
}

void FeatureWrite::saveOpticalMode() {
  if (!startsAt(sendpara::kOpticalMode)) return;
  if (saveByte(sendpara::kOpticalMode, value()) == 0) {
    TRACE_INFO("======OptPort mode WriteDataToFlash ok !!! !");
  } else {
    TRACE_ERROR("=== DoWriteFeatureInfo =========OptPort mode WriteDataToFlash failed !");
  }
}

void FeatureWrite::saveInput4K() {
  if (!startsAt(sendpara::kInput4K)) return;
  if (const int result = st_info_op(1, m_address, 1, m_data.data()); result != 0)
    TRACE_ERROR("=== DoWriteFeatureInfo ===st_info_op failed, ret = " << result);
  if (saveByte(sendpara::kInput4K, value()) == 0) {
    TRACE_INFO("=======vio4K WriteDataToFlash ,registerAddr = " << hex << m_address << "data =" << value());
  } else {
    TRACE_ERROR("=== DoWriteFeatureInfo =========vio4K WriteDataToFlash failed !");
  }
}

void FeatureWrite::saveBlock() {
  if (writeFlash(flash::kFeature.address, m_mirror.image()) != 0)
    TRACE_ERROR("=== DoWriteFeatureInfo ========= WriteDataToFlash failed !");
}

void FeatureWrite::publishSize() {
  std::array<uint8_t, 4> offsets{};
  std::array<uint8_t, 4> size{};
  {
    CMutexGuardT guard(m_store.m_mutex);
    m_mirror.read(sendpara::kOffsetX, offsets);
    m_mirror.read(sendpara::kScreenWidth, size);
  }
  writeFpga(sendpara::kOffsetX, offsets);
  writeFpga(sendpara::kScreenWidth, size);
  m_store.ChangeOutScreenPara(readWord(&size[0]), readWord(&size[2]));
}

void FeatureWrite::flushFileSystems() {
  if (!startsAt(sendpara::kFlushFileSystems)) return;
  run("sync");
  TRACE_INFO("============================ system SYNC ==============================");
}

}  // namespace

void Data_Global::DoWriteFeatureInfo(uint32_t address, uint16_t length, const uint8_t* data) {
  FeatureWrite(*this, address, {data, data == nullptr ? size_t{0} : length}).apply();
}

void Data_Global::SendMasterOrBackup(uint8_t role) {
  struct Group {
    size_t offset;
    size_t length;
    const char* name;
  };
  static constexpr Group kWritten[] = {{sendpara::kRoles0To3, 4, "0x18+"},
                                       {sendpara::kRoles4To7, 4, "0x98+"},
                                       {sendpara::kRoles8To15, 4, "0x100+"},
                                       {sendpara::kRoles8To15 + 4, 4, "0x104+"}};
  static constexpr Group kSaved[] = {
      {sendpara::kRoles0To3, 4, nullptr}, {sendpara::kRoles4To7, 4, nullptr}, {sendpara::kRoles8To15, 8, nullptr}};
  const uint8_t value = role != 0 ? kRoleBackup : 0;
  TRACE_INFO("============================ Begin set master/slave =============================");
  TRACE_INFO("Master or Slave = " << value);
  {
    CMutexGuardT guard(m_mutex);
    for (const Group& group : kSaved) SendParameterReg.fill(group.offset, group.length, value);
  }
  auto* driver = DriverUtil::getInstance();
  for (size_t k = 0; k < 4; ++k) {
    for (const Group& group : kWritten) {
      const int ret = driver->FPGAC5_WriteOneWord(0, 0, static_cast<uint32_t>(group.offset + k), value);
      KAD_TRACE(ret == 0 ? kTraceInfo : kTraceError,
                "Write to FPGA " << group.name << k << " the ret = " << ret << " data = " << value);
    }
  }
  const std::array<uint8_t, 8> roles{value, value, value, value, value, value, value, value};
  for (const Group& group : kSaved) {
    const int ret =
        writeFlash(flash::kFeature.address + static_cast<uint32_t>(group.offset), Bytes(roles).first(group.length));
    if (ret != 0) TRACE_ERROR("=== SendMasterOrBackup ===Write roles to flash failed, ret = " << ret);
  }
  TRACE_INFO("============================ Finish set master/slave ============================");
}

bool Data_Global::ChangeOutScreenPara(uint32_t width, uint32_t height) {
  if (width == 0 || height == 0) {
    TRACE_ERROR("=== ChangeOutScreenPara ===a screen size of 0 is not stored, DviWidth = " << width << " DviHeight = "
                                                                                           << height);
    return false;
  }
  TRACE_INFO("===============================Storage Dvi Wide ADVcalc===================================");
  TRACE_INFO("DviWidth = " << width << " DviHeight = " << height);
  writeScreenSizeToFlash(width, height);
  countScreenConfiguration();
  return true;
}

}  // namespace TIRK_MCUC
