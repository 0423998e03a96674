// The flag thread: waits until the FPGA is loaded, restores it, then runs the monitoring cycle.
#include <unistd.h>

#include "driverutil.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/proc_poll.h"
#include "process/tprocess.h"
#include "process/tprocess_ctl.h"
#include "proto/data_common.h"
#include "stub/mcuimdthread.h"

namespace TIRK_MCUC {

namespace {
constexpr const char* kFpgaLoadedFile = "/etc/init.d/flag_fpgaload";
constexpr unsigned long kCycleMs = 200;
constexpr unsigned long kFpgaPollMs = 1;
}  // namespace

void McuIMDThread::FlagMsg() {
  if (waitForFpga()) {
    TRACE_INFO("----------------- receive file /etc/init.d/flag_fpgaload.");
    auto* store = Data_Global::getInstance();
    store->FpgaOnlineFlag = 1;
    DriverUtil::getInstance()->clearFpgaDown();
    restoreUnlessReset();
    store->SendFlag_kadrendload();
    while (!m_bExitFlagThread) {
      monitorCycle();
      Sleep(kCycleMs);
    }
  }
  TRACE_INFO("FlagMsg process thread exit.");
}

// A factory reset that was accepted before the FPGA was loaded comes first: a restore would forget the request, and
// take the start for the one that follows the reset.
void McuIMDThread::restoreUnlessReset() {
  constexpr uint8_t kResetRequested = 3;
  const CMutexGuardT guard(Tprocess_ctl::getInstance()->m_mutex);
  auto* store = Data_Global::getInstance();
  if (store->RebootRF != kResetRequested) store->RestoreFPGA();
}

int McuIMDThread::CheckFPGAOnline() {
  const std::string path = boardPath(kFpgaLoadedFile);
  return !path.empty() && access(path.c_str(), F_OK) == 0 ? 0 : -1;
}

// True once the FPGA is loaded; false when asked to end.
bool McuIMDThread::waitForFpga() {
  while (!m_bExitFlagThread) {
    if (CheckFPGAOnline() == 0) return true;
    Sleep(kFpgaPollMs);
  }
  return false;
}

void McuIMDThread::monitorCycle() {
  auto* control = Tprocess_ctl::getInstance();
  auto* store = Data_Global::getInstance();
  control->RebootAfterRF();
  if (store->RebootRF != 0) return;
  QxtApipcConnHandler();
  store->SendRedundStatustoQXT();
  control->SendRedundtoQXT();
  control->SendNetLinktoQXT();
  CalculateSenderParaHandler();
  control->SendFiberLinktoQXT();
  control->SendFiberBelowLinkStatustoQXT();
  control->SendFiberRedundtoQXT();
  control->SendFiberToNetStatustoQXT();
  control->SendFiberCopyStatustoQXT();
  control->SendGenLockLinktoQXT();
  Proc_Poll::AutoBrightnessadjust();
  control->SendRecvCardParaToQxtByLinkChange();
}

void McuIMDThread::QxtApipcConnHandler() {
  auto* control = Tprocess_ctl::getInstance();
  if (control->apipc_connect_status && !control->OptToNetEnableOnce) return;
  if (apipc_connect_chk_task_by_taskid(taskIdentifier(kTaskQxt)) == -1) return;
  control->apipc_connect_status = true;
  control->OptToNetEnableOnce = false;
  TRACE_INFO("<<<<<<FlagMsg process thread apipc_connect_chktask_by_taskid success!>>>>>>");
  // What was reported before is forgotten, so that this cycle reports every status afresh.
  auto* store = Data_Global::getInstance();
  store->SendRedundtoQXT_buff.fill(0);
  store->SendNetLinktoQXT_buff.fill(0);
  store->fiberlink_buff.fill(0xFF);
  store->fiberRedund_buff.fill(0);
  store->fiberCopyStatus_buff.fill(0);
  store->FiberToNetStatus_buff.fill(0);
  store->Fiber1BelowLinkStatus_buff = 0;
  store->Fiber2BelowLinkStatus_buff = 0;
  store->SendOptRedundtoQXT_buff.fill(0);
}

void McuIMDThread::CalculateSenderParaHandler() {
  auto& counter = Data_Global::getInstance()->CalculateParaHandlerCnt;
  uint32_t count = counter;
  const bool settled = count != 0 && count == m_lastCalculateCnt;
  // A writer that raises the counter just now has not settled: its value is kept for the next cycle.
  if (!settled || !counter.compare_exchange_strong(count, 0)) {
    m_lastCalculateCnt = count;
    return;
  }
  m_lastCalculateCnt = 0;
  const CMutexGuardT guard(Tprocess_ctl::getInstance()->m_mutex);
  Tprocess::CalculateParaOfSenderHandler();
}

}  // namespace TIRK_MCUC
