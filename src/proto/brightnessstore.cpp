// The brightness table: a host's writes, its flash region, and the mode that its first byte selects.
#include <algorithm>

#include "driverutil.h"
#include "mcuctrace.h"
#include "pendingsave.h"
#include "proto/brightnesscontrol.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace {

using namespace brightnesstable;

constexpr uint32_t kPage = 256;
constexpr uint32_t kOffsetMask = 0xFFFFFF;
constexpr size_t kTransferHeader = 3;  // mode byte and block length
constexpr uint8_t kShortestTimeout = 2;
constexpr uint8_t kLongestTimeout = 119;

bool isMixedKind(uint8_t mode) {
  return mode == kModeMixed || mode == kModeScreenBlack || mode == kModeHardwareControl;
}

enum_Active active(bool on) {
  return on ? ENABLE : DISABLE;
}

}  // namespace

bool BrightnessControl::readRegion(MutableBytes out) {
  const int result = DriverUtil::getInstance()->ReadBytesFromFlash(flash::kBrightness.address,
                                                                   static_cast<uint32_t>(out.size()), out.data());
  if (result != 0) TRACE_ERROR("=== Brightness ===Read the brightness region failed! ret = " << result);
  return result == 0;
}

bool BrightnessControl::ensureTable() {
  if (m_tableLoaded) return true;
  m_tableLoaded = readRegion(ProgrammableTimeTableArray);
  if (!m_tableLoaded) {
    ProgrammableTimeTableArray.fill(0);
    return false;
  }
  // Unless a block has begun to come while the flash could not be read.
  if (m_block == Block::whole) ConfigFileLength = readWord(&ProgrammableTimeTableArray[kBlockLength]);
  return true;
}

bool BrightnessControl::copyTable(size_t offset, MutableBytes out) {
  const Guard guard(m_mutex);
  if (!ensureTable()) return false;
  std::copy_n(ProgrammableTimeTableArray.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
  return true;
}

void BrightnessControl::UpdataBrightnessPara(uint8_t storedTimeout) {
  const Guard guard(m_mutex);
  const bool timeoutStored = storedTimeout >= kShortestTimeout && storedTimeout <= kLongestTimeout;
  if (timeoutStored) UartDiscOvertime = storedTimeout;
  if (!ensureTable() || m_modeSelected) return;
  // A block of which a part has come selects the mode when it is whole.
  if (isMixedKind(ProgrammableTimeTableArray[kMode]) && m_block != Block::whole) return;
  m_modeSelected = true;
  // Without one the link counts as lost until the serial controller shows up.
  if (!timeoutStored) TIM2_PeriodCnt = static_cast<uint8_t>(UartDiscOvertime + 1);
  const auto& table = ProgrammableTimeTableArray;
  MixBriAdjustGlobalControl = active(table[kMixedAllowed] != 0);
  MixBriAdjustControl = active(table[kMixedOn] != 0 && MixBriAdjustGlobalControl == ENABLE);
  LastMixBriAdjustControl = MixBriAdjustControl;
  GradualAdjustControl = active(table[kGradual] != 0);
  const bool mixedPossible = LocalAddr == 0 && MixBriAdjustGlobalControl == ENABLE;
  allModesOff();
  ProgrammableAdjustEnable = active(table[kMode] == kModeSchedule);
  MixBrightnessAdjustEnable = active(mixedPossible && table[kMode] == kModeMixed);
  SerialCtrlScreenBlackEnable = active(mixedPossible && table[kMode] == kModeScreenBlack);
  HardwareCtrlAdjustEnable = active(mixedPossible && table[kMode] == kModeHardwareControl);
  if (table[kMode] == kModeSensor) applySensor();
  if (ProgrammableAdjustEnable == ENABLE || MixBrightnessAdjustEnable == ENABLE) BrightnessAdjustInit();
}

void BrightnessControl::SaveBrightnessPara() {
  const Guard guard(m_mutex);
  std::array<uint8_t, kBrightnessSavedSize> region;
  if (!ensureTable() || !readRegion(region)) return;
  std::copy(ProgrammableTimeTableArray.begin(), ProgrammableTimeTableArray.end(), region.begin());
  DriverUtil& driver = *DriverUtil::getInstance();
  constexpr uint32_t kStart = flash::kBrightness.address;
  constexpr uint32_t kRest = kBrightnessTableSize;
  static_assert(kRest == kPage + kPage);
  const PendingSave pending({{kStart, region}});
  driver.WriteDataToFlash(kStart, kPage, region.data());
  driver.WriteDataToFlash(kStart + kPage, kPage, region.data() + kPage);
  driver.WriteDataToFlash(kStart + kRest, kBrightnessSavedSize - kRest, region.data() + kRest);
}

void BrightnessControl::SetBrightnessAdjustTable(uint32_t addr, int length, const uint8_t* data) {
  const Guard guard(m_mutex);
  const uint32_t k = addr & kOffsetMask;
  if (length <= 0 || data == nullptr) return;
  const Bytes piece(data, static_cast<size_t>(length));
  if (k + piece.size() > kBrightnessRegionSize) {
    TRACE_ERROR("=== SetBrightnessAdjustTable ===beyond the region, address = " << hex << addr << " len = " << length);
    return;
  }
  const bool modeByteAlone = k == 0 && piece.size() == 1;
  if (k == 0 && !modeByteAlone && piece.size() < kTransferHeader) {
    TRACE_ERROR("=== SetBrightnessAdjustTable ===a block needs its length, len = " << length);
    return;
  }
  if (k == 0 && !modeByteAlone && isMixedKind(piece[kMode]) && readWord(&piece[kBlockLength]) > kBrightnessRegionSize) {
    TRACE_ERROR("=== SetBrightnessAdjustTable ===block length beyond the region: " << readWord(&piece[kBlockLength]));
    return;
  }
  ensureTable();
  if (k < kBrightnessTableSize) {
    const size_t part = std::min(piece.size(), kBrightnessTableSize - k);
    std::copy_n(piece.begin(), part, ProgrammableTimeTableArray.begin() + k);
  }
  if (modeByteAlone) {
    storeModeByte(piece[0]);
  } else {
    noteTransfer(k, piece, storePiece(k, piece));
  }
  switch (ProgrammableTimeTableArray[kMode]) {
    case kModeSchedule:
      m_modeSelected = true;
      allModesOff();
      ProgrammableAdjustEnable = ENABLE;
      BrightnessAdjustInit();
      break;
    case kModeSensor:
      m_modeSelected = true;
      applySensor();
      BrightnessAdjustInit();
      break;
    case kModeMixed:
    case kModeScreenBlack:
    case kModeHardwareControl:
      applyMixedWrite(k, piece);
      break;
    default:
      switchEverythingOff();
  }
}

void BrightnessControl::storeModeByte(uint8_t mode) {
  std::array<uint8_t, kBrightnessRegionSize> region;
  if (!readRegion(region)) return;
  region[0] = mode;
  for (uint32_t at = 0; at < kBrightnessRegionSize; at += kPage) {
    DriverUtil::getInstance()->WriteDataToFlash(flash::kBrightness.address + at, kPage, region.data() + at);
  }
}

bool BrightnessControl::storePiece(uint32_t k, Bytes piece) {
  const int result = DriverUtil::getInstance()->WriteDataToFlash(flash::kBrightness.address + k,
                                                                 static_cast<uint32_t>(piece.size()), piece.data());
  if (result != 0) TRACE_ERROR("=== SetBrightnessAdjustTable ===write to flash failed! ret = " << result);
  return result == 0;
}

// Keeps account of a block that comes in pieces. A host may leave out what no list needs: the piece that reaches the
// block's length is the last one, whatever came before it.
void BrightnessControl::noteTransfer(uint32_t k, Bytes piece, bool stored) {
  if (k == 0) {
    ConfigFileLength = readWord(&piece[kBlockLength]);
    m_block = Block::coming;
  }
  if (m_block != Block::coming) return;
  if (!stored) {
    m_block = Block::pieceLost;
  } else if (k + piece.size() == ConfigFileLength) {
    m_block = Block::whole;
  }
}

bool BrightnessControl::transferEndsWith(uint32_t k, size_t length) const {
  if (k + length != ConfigFileLength) return false;
  if (m_block == Block::whole) return true;
  TRACE_ERROR("=== SetBrightnessAdjustTable ===a piece of the block could not be stored, not applied");
  return false;
}

void BrightnessControl::applySensor() {
  allModesOff();
  AutoBrightnessAdjustEnable = ENABLE;
  m_stepMap = parseStepMap(ProgrammableTimeTableArray);
  auto sensors = parseTableSensors(ProgrammableTimeTableArray);
  if (!sensors) TRACE_ERROR("=== Brightness ===more than 8 sensors, none is read");
  m_tableSensors = sensors.value_or(std::vector<SensorRecord>{});
  resetSamples();
}

void BrightnessControl::applyMixedWrite(uint32_t k, Bytes data) {
  if (k == kMixedOn && data.size() == 1) {
    switchMixedControl(data[0] != 0);
  } else if ((k == 0 && data.size() == 1) || transferEndsWith(k, data.size())) {
    BriAdjustModeProcess();
    BrightnessAdjustInit();
  }
}

void BrightnessControl::switchMixedControl(bool on) {
  MixBriAdjustControl = active(on);
  if (!on) {
    BriBroadcastEnable = DISABLE;
    BriBroadcastArrived = DISABLE;
  }
  if (MixBriAdjustControl == LastMixBriAdjustControl) return;
  LastMixBriAdjustControl = MixBriAdjustControl;
  BrightnessAdjustInit();
}

void BrightnessControl::allModesOff() {
  ProgrammableAdjustEnable = DISABLE;
  AutoBrightnessAdjustEnable = DISABLE;
  MixBrightnessAdjustEnable = DISABLE;
  SerialCtrlScreenBlackEnable = DISABLE;
  HardwareCtrlAdjustEnable = DISABLE;
  MixAutoBriAdjustEnable = DISABLE;
  BriBroadcastEnable = DISABLE;
  BriBroadcastArrived = DISABLE;
}

void BrightnessControl::switchEverythingOff() {
  m_modeSelected = true;
  ++m_restarts;
  allModesOff();
  ProgrammableAdjustArrived = DISABLE;
  AutoBrightnessAdjustArrived = DISABLE;
  MixBriAdjustGlobalControl = DISABLE;
  MixBriAdjustControl = DISABLE;
  LastMixBriAdjustControl = DISABLE;
  m_alarm.disarm();
}

void BrightnessControl::BriAdjustModeProcess() {
  const auto& table = ProgrammableTimeTableArray;
  m_modeSelected = true;
  MixBriAdjustGlobalControl = active(table[kMixedAllowed] != 0);
  MixBriAdjustControl = active(table[kMixedOn] != 0 && MixBriAdjustGlobalControl == ENABLE);
  GradualAdjustControl = active(table[kGradual] != 0);
  LastMixBriAdjustControl = MixBriAdjustControl;
  ProgrammableAdjustEnable = DISABLE;
  AutoBrightnessAdjustEnable = DISABLE;
  MixBrightnessAdjustEnable = DISABLE;
  MixAutoBriAdjustEnable = DISABLE;
  const bool possible = LocalAddr == 0 && MixBriAdjustGlobalControl == ENABLE;
  const uint8_t mode = table[kMode];
  HardwareCtrlAdjustEnable = active(possible && mode == kModeHardwareControl);
  SerialCtrlScreenBlackEnable = active(possible && mode == kModeScreenBlack);
  MixBrightnessAdjustEnable =
      active(possible && HardwareCtrlAdjustEnable == DISABLE && SerialCtrlScreenBlackEnable == DISABLE);
}

}  // namespace TIRK_MCUC
