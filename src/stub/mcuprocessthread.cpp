#include "stub/mcuprocessthread.h"

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cassert>
#include <utility>

#include "mcuctrace.h"
#include "process/tprocess_ctl.h"
#include "stub/sharedthread.h"

namespace TIRK_MCUC {

namespace {
size_t cost(const MCUProcessDataBlock& block) {
  return sizeof block + block.m_data.size();
}

// What sched_setattr(2) takes; not every C library has it.
struct SchedulingAttributes {
  uint32_t size = sizeof(SchedulingAttributes);
  uint32_t policy = 0;
  uint64_t flags = 0;
  int32_t nice = 0;
  uint32_t priority = 0;
  uint64_t runtimeNs = 0;  // the time slice of a thread without a deadline
  uint64_t deadlineNs = 0;
  uint64_t periodNs = 0;
};

// What was acknowledged can wait, a peer does not: with one core for both, replies come first. The long time slice is
// for schedulers that know one of each thread's own: who has a shorter one need not wait for its end. Where this is
// refused, both take turns.
void giveWayToRequests() {
  const SchedulingAttributes attributes{.policy = SCHED_BATCH, .nice = 5, .runtimeNs = 100'000'000};
  syscall(SYS_sched_setattr, 0, &attributes, 0);
}

}  // namespace

McuProcessThread::McuProcessThread(std::vector<std::unique_ptr<MCUProcessDataBlock>> held) {
  for (auto& block : held) push(std::move(block));
}

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
  m_roomArrived.notifyOne();
  return 0;
}

int McuProcessThread::UnInit() {
  return Release();
}

void McuProcessThread::addMessageToList(std::unique_ptr<MCUProcessDataBlock> block) {
  addWithoutWaking(std::move(block));
  wake();
}

void McuProcessThread::addWithoutWaking(std::unique_ptr<MCUProcessDataBlock> block) {
  assert(block != nullptr);
  TRACE_INFO(" <<<<<<<<<<<< Add apipc data list Begin >>>>>>>>>>>>");
  {
    const CMutexGuardT guard(m_processLstMenux);
    TRACE_INFO(" <<<<<<<<<<<< Add apipc data list Lock   >>>>>>>>>>>>");
    push(std::move(block));
    TRACE_INFO(" <<<<<<<<<<<< Add apipc data list UnLock   >>>>>>>>>>>>");
  }
}

void McuProcessThread::wake() {
  m_workArrived.notifyOne();
}

void McuProcessThread::push(std::unique_ptr<MCUProcessDataBlock> block) {
  m_queuedBytes += cost(*block);
  m_messageList.push_back(std::move(block));
}

void McuProcessThread::waitForRoom() {
  const CMutexGuardT guard(m_processLstMenux);
  while (full() && !m_bExitMcuProcessThread) m_roomArrived.wait(m_processLstMenux);
}

bool McuProcessThread::hasRoom() {
  const CMutexGuardT guard(m_processLstMenux);
  return !full();
}

size_t McuProcessThread::pending() {
  const CMutexGuardT guard(m_processLstMenux);
  return m_messageList.size() + (m_applying ? 1 : 0);
}

void* McuProcessThread::ThreadProc(void* argument) {
  takeShare<McuProcessThread>(argument)->doProcess();
  return nullptr;
}

void McuProcessThread::doProcess() {
  TRACE_INFO("doProcess process thread begin:");
  giveWayToRequests();
  while (applyNext()) {
  }
  TRACE_INFO("doProcess process thread exit.");
}

// The handler runs without the list lock: an acknowledgement never waits for it. Order and "one at a time" follow from
// the one worker.
bool McuProcessThread::applyNext() {
  const auto block = waitForFront();
  if (!block) return false;
  Tprocess_ctl::getInstance()->onProcessDealwith(block.get());
  const CMutexGuardT guard(m_processLstMenux);
  m_applying = false;
  return true;
}

std::unique_ptr<MCUProcessDataBlock> McuProcessThread::waitForFront() {
  const CMutexGuardT guard(m_processLstMenux);
  while (m_messageList.empty() && !m_bExitMcuProcessThread) m_workArrived.wait(m_processLstMenux);
  if (m_bExitMcuProcessThread) return nullptr;
  auto block = std::move(m_messageList.front());
  m_messageList.pop_front();
  const bool wasFull = full();
  m_queuedBytes -= cost(*block);
  m_applying = true;
  if (wasFull && !full()) m_roomArrived.notifyOne();
  return block;
}

}  // namespace TIRK_MCUC
