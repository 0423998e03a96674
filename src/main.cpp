// The daemon's entry point: option, banner, hardware, dispatchers, process wiring; then it sleeps and tends the heap.
#include <csignal>
#include <cstdio>
#include <cstring>

#include "boardhost.h"
#include "driverutil.h"
#include "heap.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/tprocess_ctl.h"
#include "proto/tshl_ctl.h"
#include "standardstreams.h"
#include "stub/stubutil.h"

namespace {

constexpr unsigned long kSleepMs = 5000;

void applyOption(const char* option) {
  if (option == nullptr) {
    g_logLevel = 0;
  } else if (std::strcmp(option, "-debug") == 0) {
    g_logLevel = 3;
    log_on = 1;
  } else if (std::strcmp(option, "-info") == 0) {
    g_logLevel = 2;
  } else if (std::strcmp(option, "-disable") == 0) {
    g_logLevel = 4;
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  using namespace TIRK_MCUC;
  holdStandardStreams();
  shareHeap();
  if (board_open() != 0) return 1;
  std::signal(SIGPIPE, SIG_IGN);
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // a file or pipe gets its lines at once, among those of the trace
  log_on = 1;
  applyOption(argc > 1 ? argv[1] : nullptr);
  CTrace::instance();  // the log file is there also when the first lines are filtered
  TRACE_INFO("================================== Kadrend Start ================================");
  TRACE_INFO("Version:" << 1 << "." << 1 << "." << 0 << "." << 0);
  runShell("mkdir -p /tmp/kadrend");
  DriverUtil::getInstance()->initialize();
  Tprocess_ctl::getInstance()->initialize();
  Tshl_ctl::getInstance()->initialize();
  StubUtil::getInstance()->initialize();
  for (;;) {
    Sleep(kSleepMs);
    returnFreeMemory();
  }
}
