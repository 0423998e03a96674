// The alarm over a day's nodes, by polling: it is armed for a minute of the day and fires once in it. Pure: the time
// comes in with each call.
//
// Times are civil seconds: what the wall clock shows, counted as if every day had 24 hours. A change to or from summer
// time is thus a jump like one that somebody makes by hand.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

namespace TIRK_MCUC {

using CivilSeconds = int64_t;
CivilSeconds civilSeconds(const tm& local);

class BrightnessAlarm {
 public:
  enum Outcome : uint8_t {
    kQuiet,
    kFired,  // the armed minute is here, or lay in a gap between two checks; the alarm is idle now
    // Nothing fired, but what is armed may no longer be what comes next: arm anew for the node that the time of day
    // asks for.
    kWentBack,   // the clock did
    kDaysPassed  // a whole day or more since the last check: check again, so that the last day's nodes come in order
  };

  // A mode (re)starts at `now`: nothing is armed, nothing has fired, nothing is owed.
  void reset(CivilSeconds now);
  void disarm() { INT_Once = kIdle; }
  void arm(uint8_t hourBcd, uint8_t minuteBcd);  // a time of day
  bool armed() const { return INT_Once == kArmed; }

  // Every 2 s. Fires within the first seconds of the armed minute, at most once in one minute of the clock. After a gap
  // between checks (a jump of the clock, a thread that was held) it fires as soon as the armed minute lies behind, and
  // so do the nodes armed next, one a check, until none is owed; of a gap of days the last 24 hours are made up for.
  Outcome check(CivilSeconds now);

  // Whether what is armed comes next in the very minute for which the alarm fired last, where it would not fire again.
  bool alreadyFired(CivilSeconds now) const;

 private:
  bool isDue(CivilSeconds now);  // takes note of what is due

  enum State : uint8_t { kArmed = 1, kIdle = 2 };
  State INT_Once = kIdle;
  uint8_t TimeIntHour = 0;  // BCD
  uint8_t TimeIntMin = 0;
  std::optional<CivilSeconds> m_lastCheck;
  std::optional<CivilSeconds> m_owedSince;   // nodes that start after it have not been seen to yet
  std::optional<CivilSeconds> m_lastMinute;  // start of the minute for which it fired last
};

}  // namespace TIRK_MCUC
