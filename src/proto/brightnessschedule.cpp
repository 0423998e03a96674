// The day's nodes: which one is in force, the alarm for the next, and the serial-control watchdogs.
#include <algorithm>

#include "boardhost.h"
#include "driverutil.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/brightnesscontrol.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kSchedulePorts = 4;
constexpr int kSecondsAlarmMayFire = 4;   // of its minute; the check comes every 2 s
constexpr time_t kLongestQuietCheck = 3;  // seconds between checks beyond which the clock jumped or the thread was held
constexpr time_t kDay = 24 * 60 * 60;
constexpr uint16_t kBroadcastPeriod = 600;  // seconds

constexpr int fromBcd(uint8_t bcd) {
  return (bcd >> 4) * 10 + (bcd & 15);
}

bool sameMinute(const tm& a, const tm& b) {
  return a.tm_year == b.tm_year && a.tm_yday == b.tm_yday && a.tm_hour == b.tm_hour && a.tm_min == b.tm_min;
}

// 1 Monday .. 7 Sunday.
unsigned NowTimeGetWeek(const tm& local) {
  return local.tm_wday == 0 ? 7U : static_cast<unsigned>(local.tm_wday);
}

bool activeOn(const MixedNode& node, unsigned bit) {
  return node.enabled && (node.weekdays >> bit & 1) != 0;
}

}  // namespace

BrightnessControl& BrightnessControl::getInstance() {
  static NoDestroy<BrightnessControl> instance;
  return instance.get();
}

BrightnessControl::ClockSnapshot BrightnessControl::readClock() {
  ClockSnapshot out;
  timeval now{};
  if (board_clock_get(&now) != 0) return out;
  out.seconds = now.tv_sec;
  localtime_r(&out.seconds, &out.local);
  return out;
}

void BrightnessControl::BrightnessAdjustInit() {
  INT_Once = kIdle;
  RtcIntOccurArrived = DISABLE;
  ProgrammableAdjustArrived = DISABLE;
  BriBroadcastEnable = DISABLE;
  BriBroadcastArrived = DISABLE;
  SensorReadFaultCnt = 0;
  m_hasFired = false;
  m_catchUpFrom = 0;
  if (ProgrammableAdjustEnable == ENABLE) {
    startSchedule(readClock());
  } else if (AutoBrightnessAdjustEnable == ENABLE) {
    resetSamples();
  } else if (MixBrightnessAdjustEnable == ENABLE && MixBriAdjustControl == ENABLE) {
    startMixed(readClock());
  } else if (SerialCtrlScreenBlackEnable == ENABLE || HardwareCtrlAdjustEnable == ENABLE) {
    TIM2_PeriodCnt = 0;
  }
}

void BrightnessControl::startSchedule(const ClockSnapshot& now) {
  m_schedule = parseSchedule(ProgrammableTimeTableArray);
  const size_t node = CurrentTimeBelongToWhichNode(m_schedule, now.hourBcd(), now.minuteBcd());
  applyScheduleNode(m_schedule.nodes[node]);
  RtcIndex = static_cast<int>(node);
  InsertInterruptTimeToQueue(0);
}

void BrightnessControl::startMixed(const ClockSnapshot& now) {
  std::array<uint8_t, kBrightnessRegionSize> region;
  if (!readRegion(region)) return;
  m_mixed = parseMixedPlan(region);
  for (const char* problem : m_mixed.problems) TRACE_ERROR("=== Brightness ===" << problem);
  Index = MixAdjCurrentTimeNode(m_mixed, now.hourBcd(), now.minuteBcd());
  RtcIndex = Index;
  if (Index == kNoNode) return;
  const MixedNode& node = m_mixed.nodes[Index];
  if (!activeOn(node, static_cast<unsigned>(now.local.tm_wday))) {  // bit 0: Sunday
    MixBriAdjOccured = false;
  } else if (node.sensor) {
    MixAutoBriAdjustEnable = ENABLE;
    resetSamples();
    MixBriAdjOccured = false;
    SensorReadTimeCnt = 0;
  } else {
    MixAutoBriAdjustEnable = DISABLE;
    const uint8_t brightness = percentToBrightness(node.percent);
    sendGlobal(brightness);
    LastGlobalBri = brightness;
    MixBriAdjOccured = true;
    BriBroadcastCnt = 0;
    BriBroadcastEnable = ENABLE;
  }
  InsertInterruptTimeToQueue(1);
}

void BrightnessControl::applyScheduleNode(const ScheduleNode& node) {
  for (uint8_t port = 0; port < kSchedulePorts; ++port) {
    if ((node.ports >> port & 1) == 0) continue;
    NewSendReceiveCardPara(kCardGlobalBrightness, port, kAllCards, 1, &node.brightness);
    if (m_schedule.components) {
      AdjustCurrentComponentBrightness(port, node.red, node.green, node.blue, node.virtualRed);
    }
  }
  LastGlobalBri = node.brightness;
}

// Nodes that can never start (disabled, or no time of day) are passed over, so that the alarm never waits for one.
void BrightnessControl::InsertInterruptTimeToQueue(int AdjustType) {
  const size_t count = AdjustType == 0 ? m_schedule.nodes.size() : m_mixed.nodes.size();
  INT_Once = kIdle;
  for (size_t tried = 0; tried < count; ++tried) {
    RtcIndex = static_cast<size_t>(RtcIndex + 1) >= count ? 0 : RtcIndex + 1;
    const auto index = static_cast<size_t>(RtcIndex);
    if (AdjustType != 0 && !m_mixed.nodes[index].enabled) continue;
    TimeIntHour = AdjustType == 0 ? m_schedule.nodes[index].hourBcd : m_mixed.nodes[index].hourBcd;
    TimeIntMin = AdjustType == 0 ? m_schedule.nodes[index].minuteBcd : m_mixed.nodes[index].minuteBcd;
    if (!isBcdTime(TimeIntHour, TimeIntMin)) continue;
    INT_Once = kArmed;
    return;
  }
}

void BrightnessControl::TimeToOver_Handler() {
  const Guard guard(m_mutex);
  const ClockSnapshot now = readClock();
  const bool due = alarmIsDue(now);
  m_lastCheck = now.seconds;
  if (INT_Once != kArmed || !due) return;
  INT_Once = kIdle;
  m_firedMinute = now.local;
  m_hasFired = true;
  RtcIntOccurArrived = ENABLE;
}

// Within the first seconds of the armed minute, once in it; or, when the checks were interrupted, as soon as the armed
// minute lies behind: then also the nodes that followed it, one after the other, so that the one in force stands last.
bool BrightnessControl::alarmIsDue(const ClockSnapshot& now) {
  if (INT_Once != kArmed) return false;
  const bool interrupted = m_lastCheck != 0 && now.seconds - m_lastCheck > kLongestQuietCheck;
  if (interrupted) m_catchUpFrom = std::max(m_lastCheck, now.seconds - kDay);
  if (now.seconds < m_lastCheck) m_catchUpFrom = 0;
  if (m_catchUpFrom != 0 && isBcdTime(TimeIntHour, TimeIntMin)) {
    for (const time_t day : {now.seconds - kDay, now.seconds}) {
      const time_t start = alarmStart(day);
      if (start <= m_catchUpFrom || start > now.seconds) continue;
      m_catchUpFrom = start;
      return true;
    }
    m_catchUpFrom = 0;
  }
  const bool inItsMinute =
      now.hourBcd() == TimeIntHour && now.minuteBcd() == TimeIntMin && now.local.tm_sec < kSecondsAlarmMayFire;
  return inItsMinute && !(m_hasFired && sameMinute(m_firedMinute, now.local));
}

// When the alarm's minute begins on the local date of `day`.
time_t BrightnessControl::alarmStart(time_t day) const {
  tm local{};
  localtime_r(&day, &local);
  local.tm_hour = fromBcd(TimeIntHour);
  local.tm_min = fromBcd(TimeIntMin);
  local.tm_sec = 0;
  local.tm_isdst = -1;
  return mktime(&local);
}

void BrightnessControl::ProgrammableBrightnessAdjust() {
  const Guard guard(m_mutex);
  if (ProgrammableAdjustEnable == DISABLE) return;
  if (RtcIntOccurArrived == ENABLE) {
    RtcIntOccurArrived = DISABLE;
    ProgrammableAdjustArrived = ENABLE;
  }
  if (ProgrammableAdjustArrived == DISABLE) return;
  ProgrammableAdjustArrived = DISABLE;
  applyScheduleNode(m_schedule.nodes[static_cast<size_t>(RtcIndex)]);
  InsertInterruptTimeToQueue(0);
}

void BrightnessControl::MixBrightnessAdjust() {
  Guard guard(m_mutex);
  if (RtcIntOccurArrived == ENABLE && MixBrightnessAdjustEnable == ENABLE) {
    RtcIntOccurArrived = DISABLE;
    ProgrammableAdjustArrived = ENABLE;
  }
  if (ProgrammableAdjustArrived == ENABLE && MixBrightnessAdjustEnable == ENABLE && MixBriAdjustControl == ENABLE) {
    ProgrammableAdjustArrived = DISABLE;
    const uint32_t generation = m_generation;
    const MixedNode node = m_mixed.nodes[static_cast<size_t>(RtcIndex)];
    if (activeOn(node, NowTimeGetWeek(readClock().local) - 1)) applyMixedNode(node, guard);  // bit 0: Monday
    if (m_generation == generation) InsertInterruptTimeToQueue(1);
  }
  mixedSensorStep(guard);
  if (BriBroadcastArrived == ENABLE) {
    BriBroadcastArrived = DISABLE;
    sendGlobal(LastGlobalBri);
  }
}

void BrightnessControl::applyMixedNode(const MixedNode& node, Guard& guard) {
  BriBroadcastArrived = DISABLE;
  resetSamples();
  if (node.sensor) {
    BriBroadcastEnable = DISABLE;
    MixAutoBriAdjustEnable = ENABLE;
    SensorReadTimeCnt = 0;
    return;
  }
  MixAutoBriAdjustEnable = DISABLE;
  const uint32_t generation = m_generation;
  sendMixed(percentToBrightness(node.percent), guard);
  if (m_generation != generation) return;
  BriBroadcastCnt = 0;
  BriBroadcastEnable = ENABLE;
}

void BrightnessControl::pollSecond() {
  const Guard guard(m_mutex);
  SeiralComErrorProcess();
  if (MixBrightnessAdjustEnable == ENABLE && MixAutoBriAdjustEnable == ENABLE) {
    if (++SensorReadTimeCnt >= m_mixed.SensorReadInterval) {
      SensorReadTimeCnt = 0;
      AutoBrightnessAdjustArrived = ENABLE;
    }
  }
  if (BriBroadcastEnable == ENABLE && ++BriBroadcastCnt >= kBroadcastPeriod) {
    BriBroadcastCnt = 0;
    BriBroadcastArrived = ENABLE;
  }
}

void BrightnessControl::SeiralComErrorProcess() {
  const bool activity = DevComLinkState.exchange(0) != 0;
  if (SerialCtrlScreenBlackEnable == ENABLE) screenBlackWatchdog(activity);
  if (HardwareCtrlAdjustEnable == ENABLE) hardwareControlWatchdog(activity);
}

void BrightnessControl::screenBlackWatchdog(bool activity) {
  const bool lost = TIM2_PeriodCnt > UartDiscOvertime;
  if (lost) {
    const uint8_t black = activity ? 0x00 : 0xFF;
    NewSendReceiveCardPara(kCardScreenBlack, kAllPorts, kAllCards, 1, &black);
  } else if (!activity) {
    ++TIM2_PeriodCnt;
  }
  if (activity) TIM2_PeriodCnt = 0;
}

void BrightnessControl::hardwareControlWatchdog(bool activity) {
  const unsigned timeout = UartDiscOvertime;
  if (activity) {
    if (TIM2_PeriodCnt >= timeout) {
      MixBrightnessAdjustEnable = DISABLE;
      MixAutoBriAdjustEnable = DISABLE;
    }
    BriBroadcastEnable = DISABLE;
    BriBroadcastArrived = DISABLE;
    TIM2_PeriodCnt = 0;
    return;
  }
  if (TIM2_PeriodCnt == timeout || TIM2_PeriodCnt == timeout + 1) {
    TIM2_PeriodCnt = static_cast<uint8_t>(timeout + 2);  // where it rests while the link stays lost
    MixBrightnessAdjustEnable = ENABLE;
    BrightnessAdjustInit();
  } else if (TIM2_PeriodCnt < timeout + 2) {
    ++TIM2_PeriodCnt;
  }
}

}  // namespace TIRK_MCUC
