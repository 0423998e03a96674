#include "stub/stubutil.h"

#include <new>
#include <utility>

#include "apipc.h"
#include "boardaccess.h"
#include "envstore.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/inputSource.h"
#include "proto/data_common.h"
#include "stub/fpgareportthread.h"
#include "stub/mcuimdthread.h"
#include "stub/mcuprocessthread.h"

namespace TIRK_MCUC {

namespace {

constexpr const char* kVersionWithoutRootfs = "V1.0.B1";
constexpr unsigned long kSettleMs = 2000;

// A shared object of a thread class; null when there is no memory for it.
template <class Thread, class... Args>
std::shared_ptr<Thread> makeThread(Args&&... args) {
  try {
    return std::make_shared<Thread>(std::forward<Args>(args)...);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

StubUtil* StubUtil::getInstance() {
  static NoDestroy<StubUtil> instance;
  return &instance.get();
}

bool StubUtil::initialize() {
  TRACE_INFO("================================= Begin main init ===============================");
  if (FPGA_UDP_Init() < 0) TRACE_ERROR("=== udp_port_init === fail!!!!");
  if (const int result = apipc_init(taskIdentifier(kTaskKadrend), 0); result != 0) {
    TRACE_ERROR("=== apipc_init ===apipc init failed! ret = " << result);
  }
  auto* store = Data_Global::getInstance();
  store->SNTransfer();
  store->ReadHardwareInfo();
  store->RestoreFPGA();
  InputSource::getInstance()->InputBoardInit();
  SetEnvKadrendVerToRootfs();
  if (!creatIMDComm()) {
    // Some of its threads may run: what they would queue never finds a worker.
    refuseWrites();
    return false;
  }
  if (!creatProcess() || !creatFpgaReport()) return false;
  TRACE_INFO("================================= Finish main init ==============================");
  Sleep(kSettleMs);
  return true;
}

bool StubUtil::creatIMDComm() {
  auto thread = makeThread<McuIMDThread>();
  if (thread == nullptr) return false;
  {
    const CMutexGuardT guard(m_wiringMutex);
    m_McuIMDThreadPtr = thread;
  }
  return thread->Init() == 0;
}

bool StubUtil::creatProcess() {
  // Under the mutex as a whole, so that what is queued meanwhile comes after what was held, or is refused.
  const CMutexGuardT guard(m_wiringMutex);
  m_McuProcessThreadPtr = makeThread<McuProcessThread>(std::move(m_held));
  m_held.clear();
  if (m_McuProcessThreadPtr != nullptr && m_McuProcessThreadPtr->Init() == 0) return true;
  m_workerFailed = true;
  return false;
}

bool StubUtil::creatFpgaReport() {
  auto thread = makeThread<FpgaReportThread>();
  if (thread == nullptr) return false;
  {
    const CMutexGuardT guard(m_wiringMutex);
    m_FpgaReportThreadPtr = thread;
  }
  return thread->Init() == 0;
}

void StubUtil::refuseWrites() {
  const CMutexGuardT guard(m_wiringMutex);
  m_workerFailed = true;
  m_held.clear();
}

int StubUtil::SetEnvKadrendVerToRootfs() {
  const EnvStore env;
  if (!env) {
    TRACE_INFO("openenv faild");
    return -1;
  }
  SetKadrendVersion(env.get("ver_rootfs").value_or(kVersionWithoutRootfs).c_str());
  return 0;
}

void StubUtil::SetKadrendVersion(const char* version) {
  EnvStore env;
  if (!env) TRACE_INFO("openenv faild");
  if (!env.set("ver_kadrend", version)) TRACE_INFO("setenv faild");
}

}  // namespace TIRK_MCUC
