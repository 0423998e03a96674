// The alarm over a day's nodes: once a minute, gaps, jumps both ways, and the changes to and from summer time.
#include <gmock/gmock.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "proto/brightnessalarm.h"

namespace {

using namespace TIRK_MCUC;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// "HH:MM:SS" of a day, 0 being a Sunday in March.
CivilSeconds at(const std::string& time, int day = 0) {
  tm fields{};
  fields.tm_year = 126;
  fields.tm_mon = 2;
  fields.tm_mday = 8 + day;
  fields.tm_hour = std::stoi(time.substr(0, 2));
  fields.tm_min = std::stoi(time.substr(3, 2));
  fields.tm_sec = std::stoi(time.substr(6, 2));
  return civilSeconds(fields);
}

struct AlarmTest : ::testing::Test {
  BrightnessAlarm alarm;
  // Checks every `period` seconds of [from, to): when it fired.
  std::vector<CivilSeconds> fired(CivilSeconds from, CivilSeconds to, CivilSeconds period = 2) {
    std::vector<CivilSeconds> out;
    for (CivilSeconds now = from; now < to; now += period) {
      if (alarm.check(now) == BrightnessAlarm::kFired) out.push_back(now);
    }
    return out;
  }
};

TEST_F(AlarmTest, FiresInTheFirstSecondsOfItsMinuteAndOnce) {
  for (const CivilSeconds phase : {0, 1}) {
    alarm.reset(at("07:58:00"));
    alarm.arm(0x08, 0x00);
    EXPECT_THAT(fired(at("07:58:00") + phase, at("08:00:59")), ElementsAre(at("08:00:00") + phase));
    EXPECT_FALSE(alarm.armed());
    alarm.arm(0x08, 0x00);  // the only node of the day
    EXPECT_THAT(fired(at("08:00:02") + phase, at("08:02:00")), IsEmpty());
    EXPECT_TRUE(alarm.armed());
    alarm.disarm();
    EXPECT_THAT(fired(at("08:02:00") + phase, at("07:59:00", 1)), IsEmpty());
    alarm.arm(0x08, 0x00);
    EXPECT_THAT(fired(at("07:59:00", 1) + phase, at("08:02:00", 1)), ElementsAre(at("08:00:00", 1) + phase));
  }
}

TEST_F(AlarmTest, ArmedWithinItsMinuteItFiresUntilTheFourthSecond) {
  for (const char* late : {"08:00:04", "08:00:30", "08:00:59"}) {
    alarm.reset(at(late));
    alarm.arm(0x08, 0x00);
    EXPECT_THAT(fired(at(late), at(late) + 120), IsEmpty()) << late;
  }
  alarm.reset(at("08:00:01"));
  alarm.arm(0x08, 0x00);
  EXPECT_THAT(fired(at("08:00:03"), at("08:02:00")), ElementsAre(at("08:00:03")));
}

TEST_F(AlarmTest, AGapBetweenChecksIsMadeUpForAtOnce) {
  struct {
    const char* before;
    const char* after;
    bool fires;
  } const cases[] = {
      {"07:59:59", "08:00:03", true},  {"07:59:59", "08:00:30", true},  {"07:00:00", "21:00:00", true},
      {"07:00:00", "07:59:59", false}, {"08:00:00", "20:00:00", false},  // its minute had begun before
      {"08:00:01", "23:59:59", false},
  };
  for (const auto& c : cases) {
    alarm.reset(at(c.before));
    alarm.arm(0x08, 0x00);
    EXPECT_EQ(alarm.check(at(c.after)) == BrightnessAlarm::kFired, c.fires) << c.before << " to " << c.after;
  }
}

TEST_F(AlarmTest, NodesOfAGapComeOneByOneAndOfLongOnesOnlyTheLastDay) {
  alarm.reset(at("05:00:00"));
  alarm.arm(0x06, 0x00);
  CivilSeconds now = at("21:30:00");
  std::vector<uint8_t> applied;
  uint8_t next = 0x06;
  for (int i = 0; i < 20; ++i, now += 2) {
    if (alarm.check(now) != BrightnessAlarm::kFired) continue;
    applied.push_back(next);
    next = next == 0x06 ? 0x12 : next == 0x12 ? 0x18 : 0x06;
    alarm.arm(next, 0x00);
  }
  EXPECT_THAT(applied, ElementsAre(0x06, 0x12, 0x18));

  applied.clear();
  now = at("13:00:00", 200);  // armed for 06:00
  for (int i = 0; i < 20; ++i, now += 2) {
    if (alarm.check(now) != BrightnessAlarm::kFired) continue;
    applied.push_back(next);
    next = next == 0x06 ? 0x12 : next == 0x12 ? 0x18 : 0x06;
    alarm.arm(next, 0x00);
  }
  EXPECT_THAT(applied, ElementsAre(0x06, 0x12));
}

TEST_F(AlarmTest, AnOldGapIsForgottenOnceNothingIsOwed) {
  alarm.reset(at("07:00:00"));
  alarm.arm(0x20, 0x00);
  EXPECT_EQ(alarm.check(at("12:00:00")), BrightnessAlarm::kQuiet);
  alarm.arm(0x11, 0x00);  // lies in the gap, but was not armed then
  EXPECT_THAT(fired(at("12:00:02"), at("12:10:00")), IsEmpty());
}

TEST_F(AlarmTest, AClockThatGoesBackFiresNothingAndOwesNothing) {
  alarm.reset(at("12:00:00"));
  alarm.arm(0x20, 0x00);
  EXPECT_EQ(alarm.check(at("11:59:59")), BrightnessAlarm::kWentBack);
  EXPECT_EQ(alarm.check(at("20:00:00", -1)), BrightnessAlarm::kWentBack);
  EXPECT_EQ(alarm.check(at("20:00:02", -1)), BrightnessAlarm::kFired);  // its minute is here all the same
  alarm.arm(0x08, 0x00);
  EXPECT_EQ(alarm.check(at("12:00:00")), BrightnessAlarm::kFired);
  EXPECT_EQ(alarm.check(at("09:00:00")), BrightnessAlarm::kWentBack);
  alarm.arm(0x08, 0x00);
  EXPECT_THAT(fired(at("09:00:02"), at("10:00:00")), IsEmpty());
}

TEST_F(AlarmTest, TellsWhetherItHasFiredForWhatIsArmed) {
  alarm.reset(at("07:59:00"));
  alarm.arm(0x08, 0x00);
  EXPECT_FALSE(alarm.alreadyFired(at("07:59:00")));
  EXPECT_THAT(fired(at("07:59:00"), at("08:00:02")), ElementsAre(at("08:00:00")));
  EXPECT_FALSE(alarm.alreadyFired(at("07:00:00")));  // nothing is armed
  alarm.arm(0x08, 0x00);
  EXPECT_TRUE(alarm.alreadyFired(at("07:00:00")));
  EXPECT_TRUE(alarm.alreadyFired(at("08:00:59")));
  EXPECT_FALSE(alarm.alreadyFired(at("08:01:00")));  // tomorrow's comes next
  EXPECT_TRUE(alarm.alreadyFired(at("21:00:00", -1)));
  EXPECT_FALSE(alarm.alreadyFired(at("07:59:00", -1)));
  alarm.arm(0x08, 0x01);
  EXPECT_FALSE(alarm.alreadyFired(at("07:00:00")));
  alarm.reset(at("08:00:30"));
  alarm.arm(0x08, 0x00);
  EXPECT_FALSE(alarm.alreadyFired(at("07:00:00")));
}

// The clock in Berlin, from a moment in UTC on.
struct SummerTimeTest : AlarmTest {
  SummerTimeTest() {
    ::setenv("TZ", "Europe/Berlin", 1);
    ::tzset();
  }
  static CivilSeconds civil(time_t seconds) {
    tm local{};
    ::localtime_r(&seconds, &local);
    return civilSeconds(local);
  }
  // Outcomes other than "quiet" of checks from one moment to the other, with the wall clock's time of day. When it has
  // fired it is armed for `next`.
  std::vector<std::string> outcomes(time_t from, time_t to, uint8_t nextHour, uint8_t nextMinute) {
    std::vector<std::string> out;
    for (time_t now = from; now < to; now += 2) {
      const auto outcome = alarm.check(civil(now));
      if (outcome == BrightnessAlarm::kQuiet) continue;
      if (outcome == BrightnessAlarm::kFired) alarm.arm(nextHour, nextMinute);
      char text[16];
      tm local{};
      ::localtime_r(&now, &local);
      ::strftime(text, sizeof text, "%H:%M:%S", &local);
      out.push_back(std::string(outcome == BrightnessAlarm::kFired ? "fired " : "back ") + text);
    }
    return out;
  }
};

TEST_F(SummerTimeTest, ANodeInTheSkippedHourComesWhenTheClockHasPassedIt) {
  constexpr time_t kSpring = 1774746000;  // 2026-03-29 01:00:00 UTC: 02:00 becomes 03:00
  alarm.reset(civil(kSpring - 600));
  alarm.arm(0x02, 0x30);
  EXPECT_THAT(outcomes(kSpring - 600, kSpring + 2 * 86400, 0x03, 0x00),
              ElementsAre("fired 03:00:00", "fired 03:00:02", "fired 03:00:00"));
}

TEST_F(SummerTimeTest, TheRepeatedHourIsATurnBack) {
  constexpr time_t kAutumn = 1792890000;  // 2026-10-25 01:00:00 UTC: 03:00 becomes 02:00
  alarm.reset(civil(kAutumn - 3600));
  alarm.arm(0x02, 0x30);
  EXPECT_THAT(outcomes(kAutumn - 3600, kAutumn + 2 * 86400, 0x02, 0x30),
              ElementsAre("fired 02:30:00", "back 02:00:00", "fired 02:30:00"));
}

}  // namespace
