// Sensor-driven brightness: the sensors' protocol, averages of averages, and their mapping.
#include <array>

#include "driverutil.h"
#include "llinput.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/brightnesscontrol.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kSensorPorts = 10;
constexpr uint8_t kSensorsPerCard = 6;
constexpr uint16_t kSensorValid = 0x8000;
constexpr unsigned long kSensorAnswerMs = 2;
constexpr uint8_t kSamplesPerResult = 6;
constexpr uint8_t kMostFaults = 2;

uint16_t luxOf(uint16_t raw) {
  return static_cast<uint16_t>((raw & ~kSensorValid) * 2);
}

// The query to a multi-function card and its answer: 01 02, the value with bit 15 set, a checksum byte.
int readCardSensor(uint8_t port, uint16_t board, uint8_t sensor, uint16_t* lux) {
  const std::array<uint8_t, 11> query{sensor, 0x00, 0x00, 0x00, 0x55, 0xAA, 0x01, 0x02, 0x80, 0xFF, 0x81};
  std::array<uint8_t, 5> answer{};
  DriverUtil& driver = *DriverUtil::getInstance();
  driver.SendCardPara(kCardSensorRegister, port, board, static_cast<uint16_t>(query.size()), query.data(), MultiCard);
  Sleep(kSensorAnswerMs);
  const int result = driver.ReadCardPara(kCardSensorRegister, port, board, static_cast<uint16_t>(answer.size()),
                                         answer.data(), MultiCard);
  if (result != 0) {
    TRACE_ERROR("=== Read Sensor card failed, return ====");
    return 0;
  }
  const uint16_t raw = DWT_MAKEWD(answer[2], answer[3]);
  if (answer[0] != 1 || answer[1] != 2 || (raw & kSensorValid) == 0) {
    TRACE_ERROR("=== Read Sensor card para error, return ====");
    return 0;
  }
  *lux = luxOf(raw);
  return 1;
}

int readBoardSensor(uint16_t* lux) {
  uint16_t raw = 0;
  if (ll_get_Illuminance_value(0, &raw) != 0) raw = 0;
  if ((raw & kSensorValid) == 0) return 0;
  *lux = luxOf(raw);
  return 1;
}

// One reading over a list of at most eight sensors.
bool averageOf(const std::vector<SensorRecord>& sensors, uint16_t* out) {
  std::array<uint16_t, kMostSensors> values;
  size_t count = 0;
  for (const SensorRecord& sensor : sensors) {
    uint16_t lux = 0;
    if (BrightnessControl::ReadEnvironmentLux(sensor.type, sensor.PortAddr, sensor.BoardAddr, sensor.SensorAddr,
                                              &lux) == 1) {
      values[count++] = lux;
    }
  }
  if (count > 0 && SortAndAverage(values.data(), count, out) == 0) return true;
  TRACE_ERROR("GetAverageLuxOneTime Fail");
  return false;
}

}  // namespace

int BrightnessControl::ReadEnvironmentLux(uint8_t Pos, uint8_t PortAddr, uint16_t BoardAddr, uint8_t SensorAddr,
                                          uint16_t* pVal) {
  if (PortAddr >= kSensorPorts || SensorAddr >= kSensorsPerCard) return 0;
  if (Pos == 0) return readCardSensor(PortAddr, BoardAddr, SensorAddr, pVal);
  if (Pos == 1) return readBoardSensor(pVal);
  return 0;
}

bool BrightnessControl::GetAverageLuxOneTime(uint16_t* out, Guard& guard) {
  const std::vector<SensorRecord> sensors = m_tableSensors;
  guard.UnLock();
  const bool read = averageOf(sensors, out);
  guard.Lock();
  return read;
}

bool BrightnessControl::GetMixAdjAverageLux(uint16_t* out, Guard& guard) {
  if (m_mixed.tooManySensors) {
    TRACE_ERROR("=== GetMixAdjAverageLux ===more than 8 sensors");
    return false;
  }
  const std::vector<SensorRecord> sensors = m_mixed.sensors;
  guard.UnLock();
  const bool read = averageOf(sensors, out);
  guard.Lock();
  return read;
}

void BrightnessControl::resetSamples() {
  AutoBrightnessAdjustCnt = 0;
  AutoBrightnessReadValTable.fill(kInvalidSample);
}

void BrightnessControl::armSensorReading() {
  const Guard guard(m_mutex);
  if (AutoBrightnessAdjustEnable == ENABLE) AutoBrightnessAdjustArrived = ENABLE;
}

void BrightnessControl::AutoBrightnessAdjust() {
  Guard guard(m_mutex);
  if (AutoBrightnessAdjustArrived == DISABLE || AutoBrightnessAdjustEnable == DISABLE) return;
  AutoBrightnessAdjustArrived = DISABLE;
  const uint32_t restarts = m_restarts;
  uint16_t lux = 0;
  const bool read = GetAverageLuxOneTime(&lux, guard);
  if (m_restarts != restarts) return;
  if (read) AutoBrightnessReadValTable[AutoBrightnessAdjustCnt++] = lux;
  if (AutoBrightnessAdjustCnt < kSamplesPerResult) return;
  uint16_t mean = 0;  // stays so when no sample is valid
  SortAndAverage(AutoBrightnessReadValTable.data(), kSamplesPerResult, &mean);
  uint8_t brightness = 0;
  if (LuxToBrightnessLookupTable(m_stepMap, mean, &brightness)) {
    sendGlobal(brightness);
    LastGlobalBri = brightness;
  } else {
    TRACE_ERROR("=== AutoBrightnessAdjust ===unusable number of steps: " << m_stepMap.steps);
  }
  resetSamples();
}

void BrightnessControl::mixedSensorStep(Guard& guard) {
  if (AutoBrightnessAdjustArrived == DISABLE || MixAutoBriAdjustEnable == DISABLE || MixBriAdjustControl == DISABLE) {
    return;
  }
  AutoBrightnessAdjustArrived = DISABLE;
  const uint32_t restarts = m_restarts;
  uint16_t lux = 0;
  const bool read = GetMixAdjAverageLux(&lux, guard);
  if (m_restarts != restarts) return;
  if (!read) {
    sensorFault(guard);
    return;
  }
  AutoBrightnessReadValTable[AutoBrightnessAdjustCnt++] = lux;
  SensorReadFaultCnt = 0;
  if (AutoBrightnessAdjustCnt < m_mixed.SensorReadTimes) return;
  uint16_t mean = 0;
  uint8_t percent = 0;
  const bool mapped = SortAndAverage(AutoBrightnessReadValTable.data(), m_mixed.SensorReadTimes, &mean) == 0 &&
                      MixAdjLuxToBriLookupTable(m_mixed.luxMap, mean, &percent);
  resetSamples();
  if (mapped) sendMixed(percentToBrightness(percent), guard);
}

void BrightnessControl::sensorFault(Guard& guard) {
  ++SensorReadFaultCnt;
  AutoBrightnessAdjustCnt = static_cast<uint8_t>((AutoBrightnessAdjustCnt + 1) % m_mixed.SensorReadTimes);
  AutoBrightnessReadValTable[AutoBrightnessAdjustCnt] = kInvalidSample;
  if (SensorReadFaultCnt <= kMostFaults) return;
  SensorReadFaultCnt = 0;
  resetSamples();
  if (m_mixed.fallbackEnabled) sendMixed(percentToBrightness(m_mixed.fallbackPercent), guard);
}

}  // namespace TIRK_MCUC
