#include "stub/mcuprocessthread.h"

#include <cassert>
#include <iterator>
#include <utility>

#include "mcuctrace.h"
#include "process/tprocess_ctl.h"
#include "stub/sharedthread.h"

namespace TIRK_MCUC {

McuProcessThread::McuProcessThread(std::vector<std::unique_ptr<MCUProcessDataBlock>> held)
    : m_messageList(std::make_move_iterator(held.begin()), std::make_move_iterator(held.end())) {}

McuProcessThread::~McuProcessThread() {
  UnInit();
}

unsigned McuProcessThread::Init() {
  return CreateThread();
}

unsigned McuProcessThread::CreateThread() {
  static constexpr ThreadStartTexts kTexts = {
      "McuProcessThread::CreateThread() pthread_attr_init() failed! errno=",
      "McuProcessThread::CreateThread() pthread_attr_setdetachstate() failed! err=",
      "McuProcessThread::CreateThread() pthread_create() failed! err="};
  const unsigned result = startSharedThread(shared_from_this(), ThreadProc, &m_dwMcuProcessThreadID, kTexts);
  if (result == 0) m_hMcuProcessThread = m_dwMcuProcessThreadID;
  return result;
}

int McuProcessThread::Release() {
  {
    const CMutexGuardT guard(m_processLstMenux);
    m_bExitMcuProcessThread = true;
  }
  m_workArrived.notifyOne();
  return 0;
}

int McuProcessThread::UnInit() {
  return Release();
}

void McuProcessThread::addMessageToList(std::unique_ptr<MCUProcessDataBlock> block) {
  assert(block != nullptr);
  TRACE_INFO(" <<<<<<<<<<<< Add apipc data list Begin >>>>>>>>>>>>");
  {
    const CMutexGuardT guard(m_processLstMenux);
    TRACE_INFO(" <<<<<<<<<<<< Add apipc data list Lock   >>>>>>>>>>>>");
    m_messageList.push_back(std::move(block));
    TRACE_INFO(" <<<<<<<<<<<< Add apipc data list UnLock   >>>>>>>>>>>>");
  }
  m_workArrived.notifyOne();
}

void* McuProcessThread::ThreadProc(void* argument) {
  takeShare<McuProcessThread>(argument)->doProcess();
  return nullptr;
}

void McuProcessThread::doProcess() {
  TRACE_INFO("doProcess process thread begin:");
  // The handler runs without the list lock: an acknowledgement never waits for it. Order and "one at a time" follow
  // from the one worker.
  while (const auto block = waitForFront()) Tprocess_ctl::getInstance()->onProcessDealwith(block.get());
  TRACE_INFO("doProcess process thread exit.");
}

std::unique_ptr<MCUProcessDataBlock> McuProcessThread::waitForFront() {
  const CMutexGuardT guard(m_processLstMenux);
  while (m_messageList.empty() && !m_bExitMcuProcessThread) m_workArrived.wait(m_processLstMenux);
  if (m_bExitMcuProcessThread) return nullptr;
  auto block = std::move(m_messageList.front());
  m_messageList.pop_front();
  return block;
}

}  // namespace TIRK_MCUC
