// The environment store and the date texts, as the daemon sees them.
#include "sysconfenv.h"

#include <cstring>
#include <set>

#include "virtual/board.h"

using namespace vboard;

namespace {

// What one thread has open. Its texts live until its outermost close; a text that is read again is the same text.
struct Session {
  int depth = 0;
  int failed = 0;  // opens that failed, and whose close may still come
  std::set<std::string> texts;
};
thread_local Session t_session;

int dateText(char* text, const char* format) {
  if (text == nullptr) return -1;
  const std::string date = Clock::text(board().clock.nowUs(), format);
  if (date.empty()) return -1;
  std::memcpy(text, date.c_str(), date.size() + 1);
  return 0;
}

}  // namespace

extern "C" {

int sysconf_openenv(void) {
  if (const int fault = board().faults.next(Op::EnvOpen); fault != 0) {
    ++t_session.failed;
    return fault;
  }
  t_session.failed = 0;
  ++t_session.depth;
  return 0;
}

void sysconf_closeenv(void) {
  if (t_session.failed > 0) {
    --t_session.failed;
  } else if (t_session.depth > 0 && --t_session.depth == 0) {
    t_session.texts.clear();
  }
}

const char* sysconf_getenv(const char* key) {
  if (board().faults.next(Op::EnvGet) != 0) return nullptr;
  if (t_session.depth == 0 || key == nullptr) return nullptr;
  auto value = board().env.get(key);
  if (!value) return nullptr;
  return t_session.texts.insert(std::move(*value)).first->c_str();
}

int sysconf_setenv(const char* key, const char* value) {
  if (key == nullptr || value == nullptr) return -1;
  const int code = board().journal.record([&] { return std::string("env set ") + key + " " + value; },
                                          [&] {
                                            const int fault = board().faults.next(Op::EnvSet);
                                            if (fault != 0) return fault;
                                            return t_session.depth > 0 ? board().env.set(key, value) : -1;
                                          });
  board().activity.touch();
  return code;
}

int sysconf_get_date_ymd(char* text) {
  return dateText(text, "%Y-%m-%d");
}

int sysconf_get_date_hms(char* text) {
  return dateText(text, "%H:%M:%S");
}

}  // extern "C"
