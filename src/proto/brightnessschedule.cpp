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
constexpr uint16_t kBroadcastPeriod = 600;  // seconds

// 1 Monday .. 7 Sunday.
unsigned NowTimeGetWeek(const tm& local) {
  return local.tm_wday == 0 ? 7U : static_cast<unsigned>(local.tm_wday);
}

bool activeOn(const MixedNode& node, unsigned bit) {
  return node.enabled && (node.weekdays >> bit & 1) != 0;
}

template <class Node>
unsigned startKey(const Node& node) {
  return timeKey(node.hourBcd, node.minuteBcd);
}

}  // namespace

BrightnessControl& BrightnessControl::getInstance() {
  static NoDestroy<BrightnessControl> instance;
  return instance.get();
}

BrightnessControl::ClockSnapshot BrightnessControl::readClock() {
  ClockSnapshot out;
  timeval now{};
  out.valid = board_clock_get(&now) == 0 && localtime_r(&now.tv_sec, &out.local) != nullptr;
  if (!out.valid) TRACE_ERROR("=== Brightness ===the clock cannot be read");
  return out;
}

void BrightnessControl::BrightnessAdjustInit() {
  const ClockSnapshot now = readClock();
  ++m_restarts;
  m_alarm.reset(civilSeconds(now.local));
  RtcIntOccurArrived = DISABLE;
  ProgrammableAdjustArrived = DISABLE;
  BriBroadcastEnable = DISABLE;
  BriBroadcastArrived = DISABLE;
  SensorReadFaultCnt = 0;
  if (ProgrammableAdjustEnable == ENABLE) {
    startSchedule(now);
  } else if (AutoBrightnessAdjustEnable == ENABLE) {
    resetSamples();
  } else if (MixBrightnessAdjustEnable == ENABLE && MixBriAdjustControl == ENABLE) {
    startMixed(now);
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
  MixAutoBriAdjustEnable = DISABLE;  // until a node says otherwise
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
    LastGlobalBri = node.brightness;
    if (m_schedule.components) {
      AdjustCurrentComponentBrightness(port, node.red, node.green, node.blue, node.virtualRed);
    }
  }
}

// Nodes that can never start (disabled, or no time of day) are passed over, so that the alarm never waits for one.
void BrightnessControl::InsertInterruptTimeToQueue(int AdjustType) {
  const size_t count = AdjustType == 0 ? m_schedule.nodes.size() : m_mixed.nodes.size();
  m_alarm.disarm();
  for (size_t tried = 0; tried < count; ++tried) {
    ++RtcIndex;
    if (static_cast<size_t>(RtcIndex) >= count) RtcIndex = 0;
    const auto index = static_cast<size_t>(RtcIndex);
    if (AdjustType != 0 && !m_mixed.nodes[index].enabled) continue;
    const uint8_t hour = AdjustType == 0 ? m_schedule.nodes[index].hourBcd : m_mixed.nodes[index].hourBcd;
    const uint8_t minute = AdjustType == 0 ? m_schedule.nodes[index].minuteBcd : m_mixed.nodes[index].minuteBcd;
    if (!isBcdTime(hour, minute)) continue;
    m_alarm.arm(hour, minute);
    return;
  }
}

// For the node that comes next by the clock as it is now. What was applied stays.
void BrightnessControl::armAnew(const ClockSnapshot& now) {
  const bool schedule = ProgrammableAdjustEnable == ENABLE;
  const size_t count = schedule ? m_schedule.nodes.size() : m_mixed.nodes.size();
  const size_t inForce = schedule ? CurrentTimeBelongToWhichNode(m_schedule, now.hourBcd(), now.minuteBcd())
                                  : MixAdjCurrentTimeNode(m_mixed, now.hourBcd(), now.minuteBcd());
  RtcIndex = static_cast<int>(inForce);
  for (size_t tried = 0; tried < count; ++tried) {
    InsertInterruptTimeToQueue(schedule ? 0 : 1);
    if (!m_alarm.alreadyFired(civilSeconds(now.local))) return;
  }
}

void BrightnessControl::TimeToOver_Handler() {
  const Guard guard(m_mutex);
  const ClockSnapshot now = readClock();
  if (!now.valid) return;
  const CivilSeconds time = civilSeconds(now.local);
  BrightnessAlarm::Outcome outcome = m_alarm.check(time);
  const bool daysPassed = outcome == BrightnessAlarm::kDaysPassed;
  if ((daysPassed || outcome == BrightnessAlarm::kWentBack) && m_alarm.armed()) armAnew(now);
  if (daysPassed) outcome = m_alarm.check(time);
  if (outcome == BrightnessAlarm::kFired) RtcIntOccurArrived = ENABLE;
}

// Every node of the minute that has come, in order: they may be for different ports. The last of them may have armed
// the first, for the next day.
void BrightnessControl::ProgrammableBrightnessAdjust() {
  const Guard guard(m_mutex);
  if (ProgrammableAdjustEnable == DISABLE) return;
  if (RtcIntOccurArrived == ENABLE) {
    RtcIntOccurArrived = DISABLE;
    ProgrammableAdjustArrived = ENABLE;
  }
  if (ProgrammableAdjustArrived == DISABLE) return;
  ProgrammableAdjustArrived = DISABLE;
  const int first = RtcIndex;
  const unsigned start = startKey(m_schedule.nodes[static_cast<size_t>(first)]);
  do {
    applyScheduleNode(m_schedule.nodes[static_cast<size_t>(RtcIndex)]);
    InsertInterruptTimeToQueue(0);
  } while (RtcIndex != first && startKey(m_schedule.nodes[static_cast<size_t>(RtcIndex)]) == start);
}

void BrightnessControl::MixBrightnessAdjust() {
  Guard guard(m_mutex);
  if (RtcIntOccurArrived == ENABLE && MixBrightnessAdjustEnable == ENABLE) {
    RtcIntOccurArrived = DISABLE;
    ProgrammableAdjustArrived = ENABLE;
  }
  if (ProgrammableAdjustArrived == ENABLE && MixBrightnessAdjustEnable == ENABLE && MixBriAdjustControl == ENABLE) {
    ProgrammableAdjustArrived = DISABLE;
    applyDueMixedNodes(guard);
  }
  mixedSensorStep(guard);
  if (BriBroadcastArrived == ENABLE) {
    BriBroadcastArrived = DISABLE;
    sendGlobal(LastGlobalBri);
  }
}

// Every node of the minute that has come, in order: they may be for different weekdays. The weekday is that of the
// node's start, which lies on the day before when the alarm came late.
void BrightnessControl::applyDueMixedNodes(Guard& guard) {
  constexpr unsigned kWeek = 7;
  const ClockSnapshot now = readClock();
  const unsigned today = NowTimeGetWeek(now.local) - 1;  // bit 0: Monday
  const unsigned key = timeKey(now.hourBcd(), now.minuteBcd());
  const uint32_t restarts = m_restarts;
  const int first = RtcIndex;
  const unsigned start = startKey(m_mixed.nodes[static_cast<size_t>(first)]);
  const unsigned weekday = start <= key ? today : (today + kWeek - 1) % kWeek;
  do {
    const MixedNode node = m_mixed.nodes[static_cast<size_t>(RtcIndex)];
    if (activeOn(node, weekday)) applyMixedNode(node, guard);
    if (m_restarts != restarts) return;  // another plan is in force
    InsertInterruptTimeToQueue(1);
  } while (RtcIndex != first && startKey(m_mixed.nodes[static_cast<size_t>(RtcIndex)]) == start);
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
  const uint32_t restarts = m_restarts;
  sendMixed(percentToBrightness(node.percent), guard);
  if (m_restarts != restarts) return;
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
