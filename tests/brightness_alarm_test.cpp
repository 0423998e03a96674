// The alarm over a day's nodes, to the second: when it fires, how often, and whether it has.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "proto/brightnessalarm.h"

namespace {

using namespace TIRK_MCUC;
using namespace ::testing;

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
  alarm.reset(at("08:00:04"));
  alarm.arm(0x08, 0x00);
  EXPECT_THAT(fired(at("08:00:04"), at("08:02:04")), IsEmpty());
  alarm.reset(at("08:00:01"));
  alarm.arm(0x08, 0x00);
  EXPECT_THAT(fired(at("08:00:03"), at("08:02:00")), ElementsAre(at("08:00:03")));
}

TEST_F(AlarmTest, AGapWhileNodesAreOwedForgetsNone) {
  alarm.reset(at("07:00:00"));
  alarm.arm(0x08, 0x00);
  EXPECT_EQ(alarm.check(at("10:00:00")), BrightnessAlarm::kFired);
  alarm.arm(0x09, 0x00);
  EXPECT_EQ(alarm.check(at("10:00:09")), BrightnessAlarm::kFired);  // the first one's gradual change took so long
  alarm.arm(0x08, 0x00);
  EXPECT_EQ(alarm.check(at("10:00:18")), BrightnessAlarm::kQuiet);
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

}  // namespace
