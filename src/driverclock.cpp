// DriverUtil: the board's clock, in local time.

#include <cstring>
#include <ctime>
#include <string>

#include "boardhost.h"
#include "driverutil.h"
#include "mcuctrace.h"

namespace TIRK_MCUC {

namespace {

// Without the line feed that asctime_r ends in.
std::string dateText(const tm& local) {
  char text[64] = {};
  if (asctime_r(&local, text) == nullptr) return "";
  text[strcspn(text, "\n")] = '\0';
  return text;
}

// Sets the clock to the current local time with the fields that `change` replaces; out-of-range values normalise. A
// clock that cannot be set stays as it was.
template <class Change>
void changeClock(const char* operation, Change change) {
  TRACE_INFO(operation << " Start...");
  timeval now{};
  tm local{};
  if (board_clock_get(&now) == 0 && localtime_r(&now.tv_sec, &local) != nullptr) {
    TRACE_INFO(operation << ": time = " << dateText(local));
    change(local);
    local.tm_isdst = -1;
    const time_t seconds = mktime(&local);
    const timeval changed{seconds, now.tv_usec};
    if (seconds != -1) board_clock_set(&changed);
  }
  TRACE_INFO(operation << " End.");
}

}  // namespace

uint8_t DriverUtil::ReadTime(int index) {
  timeval now{};
  tm local{};
  if (board_clock_get(&now) != 0 || localtime_r(&now.tv_sec, &local) == nullptr) return 0;
  switch (index) {
    case 0:
      return static_cast<uint8_t>(local.tm_year - 100);
    case 1:
      return static_cast<uint8_t>(local.tm_mon + 1);
    case 2:
      return static_cast<uint8_t>(local.tm_mday);
    case 3:
      return static_cast<uint8_t>(local.tm_hour);
    case 4:
      return static_cast<uint8_t>(local.tm_min);
    case 5:
      return static_cast<uint8_t>(local.tm_sec);
    case 6:
      return static_cast<uint8_t>(local.tm_wday + 1);
    default:
      return 0;
  }
}

void DriverUtil::WriteTime(uint8_t hours, uint8_t minutes, uint8_t seconds) {
  changeClock("WriteTime", [&](tm& local) {
    local.tm_hour = hours;
    local.tm_min = minutes;
    local.tm_sec = seconds;
  });
}

void DriverUtil::WriteDate(uint8_t year, uint8_t month, uint8_t date) {
  changeClock("WriteDate", [&](tm& local) {
    local.tm_mday = date;
    local.tm_mon = month - 1;
    local.tm_year = year + 100;
  });
}

void DriverUtil::WriteWeekday(uint8_t day) {
  changeClock("WriteWeekday", [&](tm& local) { local.tm_wday = day; });
}

}  // namespace TIRK_MCUC
