// The driver's clock operations, in local time, on the board's clock.
#include "driverutil.h"
#include "support/board_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;

class ClockTest : public BoardTest {
 protected:
  static std::string now() { return vboard::Clock::text(vboard::board().clock.nowUs()); }
  // Year, month, day, hour, minute, second, weekday.
  static std::vector<int> read() {
    std::vector<int> fields;
    for (int i = 0; i < 7; ++i) fields.push_back(DriverUtil::getInstance()->ReadTime(i));
    return fields;
  }

  DriverUtil& driver = *DriverUtil::getInstance();
};

TEST_F(ClockTest, ReadsTheFieldsOfLocalTime) {
  setZone("CST-8");
  const std::pair<const char*, std::vector<int>> cases[] = {
      {"2000-01-01 00:00:00", {0, 1, 1, 0, 0, 0, 7}},
      {"2024-02-29 23:59:01", {24, 2, 29, 23, 59, 1, 5}},
      {"2038-01-19 03:14:08", {38, 1, 19, 3, 14, 8, 3}},
      {"2099-12-31 23:59:59", {99, 12, 31, 23, 59, 59, 5}},
  };
  for (const auto& [clock, fields] : cases) {
    setClock(clock);
    EXPECT_EQ(read(), fields) << clock;
  }
  EXPECT_EQ(driver.ReadTime(7), 0);
  EXPECT_EQ(driver.ReadTime(-1), 0);
}

TEST_F(ClockTest, SetsFieldsAndNormalisesWhatIsOutOfRange) {
  setZone("CST-8");
  const struct {
    uint8_t fields[3];
    bool date;
    const char* result;
  } cases[] = {
      {{1, 2, 3}, false, "2026-03-08 01:02:03"},       {{25, 0, 0}, false, "2026-03-09 01:00:00"},
      {{255, 255, 255}, false, "2026-03-18 19:19:15"}, {{24, 2, 29}, true, "2024-02-29 12:34:56"},
      {{23, 2, 29}, true, "2023-03-01 12:34:56"},      {{0, 1, 1}, true, "2000-01-01 12:34:56"},
      {{26, 0, 0}, true, "2025-11-30 12:34:56"},
  };
  for (const auto& row : cases) {
    setClock("2026-03-08 12:34:56");
    const auto& [a, b, c] = row.fields;
    row.date ? driver.WriteDate(a, b, c) : driver.WriteTime(a, b, c);
    EXPECT_EQ(now(), row.result);
  }
  const auto fraction = vboard::board().clock.nowUs() % 1000000;
  EXPECT_TRUE(fraction >= 100000 && fraction < 900000) << fraction;  // the microseconds were kept
}

TEST_F(ClockTest, DaylightSavingIsThatOfTheNewTime) {
  setZone("CET-1CEST,M3.5.0,M10.5.0/3");
  setClock("2026-01-15 12:00:00");  // winter
  driver.WriteDate(26, 7, 15);
  EXPECT_EQ(now(), "2026-07-15 12:00:00");
  driver.WriteTime(8, 30, 0);
  EXPECT_EQ(now(), "2026-07-15 08:30:00");
  driver.WriteDate(26, 12, 24);
  EXPECT_EQ(now(), "2026-12-24 08:30:00");
}

TEST_F(ClockTest, WeekdayRewritesTheCurrentTime) {
  setZone("UTC0");
  setClock("2026-03-08 12:34:56");
  clearJournal();
  driver.WriteWeekday(4);
  EXPECT_EQ(driver.ReadTime(6), 1);
  EXPECT_EQ(did("clock set"), std::vector<std::string>{"clock set 2026-03-08 12:34:56"});
}

}  // namespace
