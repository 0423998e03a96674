// The utilities: pauses that signals do not shorten, threads that do not start, the home environment.
#include "mcucutil.h"

#include <pthread.h>
#include <sys/time.h>

#include <csignal>
#include <cstdlib>

#include "support/board_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;

class UtilTest : public BoardTest {};

TEST_F(UtilTest, SleepLastsTheWholeTimeThoughSignalsArrive) {
  static volatile sig_atomic_t signals = 0;
  struct sigaction action {};
  action.sa_handler = [](int) { signals = signals + 1; };
  sigaction(SIGALRM, &action, nullptr);
  const itimerval everyFiveMs{{0, 5000}, {0, 5000}};
  setitimer(ITIMER_REAL, &everyFiveMs, nullptr);
  const int64_t begin = monotonicUs();
  Sleep(60);
  sleepUs(20000);
  const int64_t elapsed = monotonicUs() - begin;
  const itimerval off{};
  setitimer(ITIMER_REAL, &off, nullptr);
  EXPECT_GE(elapsed, 80000);
  EXPECT_GT(signals, 1);
}

TEST_F(UtilTest, TicksAreTheBoardsWallClock) {
  vboard::board().clock.set(int64_t{1'700'000'000} * 1'000'000 + 123'000);
  const uint64_t set = 1'700'000'000'123;
  EXPECT_GE(GetTickCount(), set);
  EXPECT_LT(GetTickCount(), set + 20'000);
}

TEST_F(UtilTest, HomeIsTheVariableThatWasNamed) {
  setenv("HOME", "/home/one", 1);
  setenv("KADREND_TEST_HOME", "/home/two", 1);
  EXPECT_STREQ(get_home_env(), "/home/one");
  set_home_env("KADREND_TEST_HOME");
  EXPECT_STREQ(get_home_env(), "/home/two");
  unsetenv("KADREND_TEST_HOME");
  EXPECT_STREQ(get_home_env(), "");
  set_home_env(nullptr);
  EXPECT_STREQ(get_home_env(), "");
}

}  // namespace
