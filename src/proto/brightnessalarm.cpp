#include "proto/brightnessalarm.h"

#include <algorithm>

namespace TIRK_MCUC {

namespace {

constexpr CivilSeconds kMinute = 60;
constexpr CivilSeconds kHour = 60 * kMinute;
constexpr CivilSeconds kDay = 24 * kHour;
constexpr CivilSeconds kMayFire = 4;            // seconds of its minute; the check comes every 2 s
constexpr CivilSeconds kLongestQuietCheck = 3;  // between two checks

constexpr int fromBcd(uint8_t bcd) {
  return (bcd >> 4) * 10 + (bcd & 15);
}

constexpr CivilSeconds startOf(CivilSeconds time, CivilSeconds unit) {
  const CivilSeconds rest = time % unit;
  return time - rest - (rest < 0 ? unit : 0);
}

constexpr CivilSeconds secondOfDay(uint8_t hourBcd, uint8_t minuteBcd) {
  return fromBcd(hourBcd) * kHour + fromBcd(minuteBcd) * kMinute;
}

}  // namespace

CivilSeconds civilSeconds(const tm& local) {
  tm fields = local;
  return timegm(&fields);
}

void BrightnessAlarm::reset(CivilSeconds now) {
  INT_Once = kIdle;
  m_lastCheck = now;
  m_owedSince.reset();
  m_lastMinute.reset();
}

void BrightnessAlarm::arm(uint8_t hourBcd, uint8_t minuteBcd) {
  TimeIntHour = hourBcd;
  TimeIntMin = minuteBcd;
  INT_Once = kArmed;
}

BrightnessAlarm::Outcome BrightnessAlarm::check(CivilSeconds now) {
  const CivilSeconds before = m_lastCheck.value_or(now);
  m_lastCheck = now;
  if (now < before) {
    m_owedSince.reset();
    return kWentBack;
  }
  if (now - before > kLongestQuietCheck) m_owedSince = std::max(m_owedSince.value_or(before), now - kDay);
  if (now - before >= kDay) return kDaysPassed;
  if (INT_Once != kArmed || !isDue(now)) return kQuiet;
  INT_Once = kIdle;
  return kFired;
}

bool BrightnessAlarm::isDue(CivilSeconds now) {
  const CivilSeconds today = startOf(now, kDay) + secondOfDay(TimeIntHour, TimeIntMin);
  if (m_owedSince) {
    const CivilSeconds start = today <= now ? today : today - kDay;
    if (start > *m_owedSince) {
      m_owedSince = m_lastMinute = start;
      return true;
    }
    m_owedSince.reset();
  }
  if (now < today || now >= today + kMayFire || m_lastMinute == today) return false;
  m_lastMinute = today;
  return true;
}

bool BrightnessAlarm::alreadyFired(CivilSeconds now) const {
  if (INT_Once != kArmed || m_owedSince || !m_lastMinute) return false;
  const CivilSeconds today = startOf(now, kDay) + secondOfDay(TimeIntHour, TimeIntMin);
  return *m_lastMinute == (today >= startOf(now, kMinute) ? today : today + kDay);
}

}  // namespace TIRK_MCUC
