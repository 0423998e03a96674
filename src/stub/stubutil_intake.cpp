// Request intake, and the way up from the rooms below.
#include <exception>
#include <utility>

#include "mcuctrace.h"
#include "proto/tshl_ctl.h"
#include "stub/mcuimdthread.h"
#include "stub/mcuprocessthread.h"
#include "stub/stubutil.h"

namespace TIRK_MCUC {

namespace {

int dispatch(IMD_proto3rd* record) {
  auto* registers = Tshl_ctl::getInstance();
  switch (record->proto.m_ucDeviceType) {
    case kDeviceSendCard:
      return registers->Ssh_StartSendCard(record);
    case kDeviceRecvCard:
      return registers->Ssh_StartScanCard(record);
    case kDeviceMultiCard:
      return registers->Ssh_StartMultiCard(record);
    case kDeviceDistribute:
      return registers->Ssh_StartDistribute(record);
    case kDevice3DLauncher:
      return registers->Ssh_Start3DLauncher(record);
    default:
      return kUnknown;
  }
}

// While it lives, a sleeping worker that this thread gives an item is not woken before its end: the reply goes out
// first.
class WakeAfterReply {
 public:
  WakeAfterReply() { s_present = this; }
  ~WakeAfterReply() {
    s_present = nullptr;
    if (m_worker != nullptr) m_worker->wake();
  }
  WakeAfterReply(const WakeAfterReply&) = delete;
  WakeAfterReply& operator=(const WakeAfterReply&) = delete;

  // Wakes the worker, now or at the end of this thread's object.
  static void wake(std::shared_ptr<McuProcessThread> worker) {
    if (s_present == nullptr) {
      worker->wake();
    } else {
      s_present->m_worker = std::move(worker);
    }
  }

 private:
  static thread_local WakeAfterReply* s_present;
  std::shared_ptr<McuProcessThread> m_worker;
};
thread_local WakeAfterReply* WakeAfterReply::s_present = nullptr;

// A request that fails in a way of its own is refused; the daemon goes on.
int dispatchGuarded(IMD_proto3rd* record) {
  try {
    return dispatch(record);
  } catch (const std::exception& failure) {
    TRACE_ERROR("=== onDataRecvFromIMDNew ===request failed: " << failure.what());
    record->proto.m_ucAck = kAckRefused;
    return kRefused;
  }
}

}  // namespace

int StubUtil::onDataRecvFromIMDNew(IMD_proto3rd* record) {
  if (record == nullptr) return kUnknown;
  TRACE_INFO(" >>>>>>>>>> onDataRecvFromIMDNew Lock <<<<<<<<<<<<");
  const WakeAfterReply wakeAfterReply;
  CMutexGuardT guard(m_stubMenux);
  if (!checkSelfDeviceRequestNew(record)) {
    guard.UnLock();
    TRACE_INFO(" >>>>>>>>>> onDataRecvFromIMDNew Err UnLock <<<<<<<<<<<<");
    return kRefused;
  }
  int result = kUnknown;
  if (record->proto.m_ucAck == kAckOk) result = dispatchGuarded(record);
  if (const auto link = peerLink()) link->ReplyMsgNew(record);
  TRACE_INFO(" >>>>>>>>>> onDataRecvFromIMDNew UnLock <<<<<<<<<<<<");
  return result;
}

bool StubUtil::checkSelfDeviceRequestNew(IMD_proto3rd* record) {
  const int destination = record->proto.m_ucDestinationAddrerss;
  const int self = m_DeviceSequseID;
  TRACE_INFO("Check sequence number, protoReply m_ucDestinationAddrerss = " << hex << destination
                                                                            << ", sequse id = " << hex << self);
  if (destination == self) return true;
  TRACE_ERROR("=== checkSelfDeviceRequest ===Not this ZB7700's Msg, addr = " << destination << " sequse id = " << self);
  record->proto.m_ucAck = kAckOk;  // also of a frame whose checksum failed
  return true;
}

std::shared_ptr<McuIMDThread> StubUtil::peerLink() {
  const CMutexGuardT guard(m_wiringMutex);
  return m_McuIMDThreadPtr;
}

std::shared_ptr<McuProcessThread> StubUtil::worker() {
  const CMutexGuardT guard(m_wiringMutex);
  return m_McuProcessThreadPtr;
}

unsigned StubUtil::SendMsg(IMD_proto3rd record) {
  const auto link = peerLink();
  if (link == nullptr) {
    TRACE_ERROR("=== SendMsg ===the peer link is not there yet, register = " << hex
                                                                             << record.proto.m_uiRegisterUnitAddress);
    return kSendFailed;
  }
  return link->SendMsgNew(&record);
}

bool StubUtil::addMessageToList(std::unique_ptr<MCUProcessDataBlock> block) {
  if (block == nullptr) return false;
  std::shared_ptr<McuProcessThread> worker;
  {
    const CMutexGuardT guard(m_wiringMutex);
    if (m_workerFailed) return false;
    worker = m_McuProcessThreadPtr;
    if (worker == nullptr) m_held.push_back(std::move(block));
  }
  if (worker != nullptr) {
    worker->addWithoutWaking(std::move(block));
    WakeAfterReply::wake(std::move(worker));
  }
  return true;
}

void StubUtil::waitForWorkRoom() {
  if (const auto thread = worker()) thread->waitForRoom();
}

bool StubUtil::hasWorkRoom() {
  const auto thread = worker();
  return thread == nullptr || thread->hasRoom();
}

size_t StubUtil::pendingWork() {
  const auto thread = worker();
  if (thread != nullptr) return thread->pending();
  const CMutexGuardT guard(m_wiringMutex);
  return m_held.size();
}

}  // namespace TIRK_MCUC
