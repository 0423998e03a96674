#include "stub/mcuimdthread.h"

#include "mcuctrace.h"
#include "proto/data_common.h"
#include "stub/sharedthread.h"

namespace TIRK_MCUC {

namespace {
constexpr ThreadStartTexts kTexts = {"===  ===McuIMDThread: CreateThread() pthread_attr_init() failed! errno=",
                                     "===  ===McuIMDThread: CreateThread() pthread_attr_setdetachstate() failed! err=",
                                     "===  ===McuIMDThread: CreateThread() pthread_create() failed! err="};
}  // namespace

McuIMDThread::~McuIMDThread() {
  UnInit();
}

unsigned McuIMDThread::Init() {
  TRACE_INFO("McuIMDThread: Init apipc, result = " << 0 << " type = "
                                                   << "kadrend");
  return CreateThread();
}

unsigned McuIMDThread::CreateThread() {
  const auto self = shared_from_this();
  if (const unsigned result = startSharedThread(self, ApipcThreadProc, &m_dwApipcThreadID, kTexts)) return result;
  m_hApipcThread = m_dwApipcThreadID;
  if (const unsigned result = startSharedThread(self, RecvThreadProc, &m_dwRecvThreadID, kTexts)) return result;
  m_hRecvThread = m_dwRecvThreadID;
  if (const unsigned result = startSharedThread(self, FlagThreadProc, &m_dwFlagThreadID, kTexts)) return result;
  m_hFlagThread = m_dwFlagThreadID;
  return 0;
}

int McuIMDThread::Release() {
  m_bExitApipcThread = true;
  m_bExitFlagThread = true;
  m_bWaitFPGAThread = true;
  {
    const CMutexGuardT guard(m_arrivalMutex);
    m_bExitRecvThread = true;
  }
  m_arrival.notifyOne();
  return 0;
}

int McuIMDThread::UnInit() {
  return Release();
}

void* McuIMDThread::ApipcThreadProc(void* argument) {
  takeShare<McuIMDThread>(argument)->ApipcMsg();
  return nullptr;
}

void* McuIMDThread::RecvThreadProc(void* argument) {
  takeShare<McuIMDThread>(argument)->RecvMsg();
  return nullptr;
}

void* McuIMDThread::FlagThreadProc(void* argument) {
  takeShare<McuIMDThread>(argument)->FlagMsg();
  return nullptr;
}

void McuIMDThread::ApipcMsg() {
  TRACE_INFO("ApipcMsg process thread begin:");
  while (!m_bExitApipcThread) {
    TRACE_INFO("Apipc: begin wait message...");
    apipc_loop_wait(this, ipc_event_deal);
    TRACE_INFO("Apipc: finish wait message.");
  }
  TRACE_INFO("ApipcMsg process thread exit.");
}

}  // namespace TIRK_MCUC
