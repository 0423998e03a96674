// The work queue: keeps queued writes in arrival order and applies them, one at a time, on one worker thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "mcuccondition.h"
#include "mcucmutex.h"
#include "stub/mcuprocessdatablock.h"

namespace TIRK_MCUC {

class McuProcessThread : public std::enable_shared_from_this<McuProcessThread> {
 public:
  McuProcessThread() = default;
  // Starts with `held`, the items that were queued before there was a worker, oldest first.
  explicit McuProcessThread(std::vector<std::unique_ptr<MCUProcessDataBlock>> held);
  McuProcessThread(const McuProcessThread&) = delete;
  McuProcessThread& operator=(const McuProcessThread&) = delete;
  ~McuProcessThread();

  unsigned Init();          // CreateThread
  unsigned CreateThread();  // 0, or 0x80005001 after an Error line; the object must be shared-owned
  int Release();            // asks the worker to end after the item it is at; what is still queued is not applied; 0
  int UnInit();             // Release; 0
  int CloseAllSessions() { return 0; }
  int32_t status() const { return m_iStatus; }  // always 0

  // Appends; requires a block. Any thread, a handler on the worker included. Never waits for a handler.
  void addMessageToList(std::unique_ptr<MCUProcessDataBlock> block);

  // The worker's body: sleeps until there is an item or a stop request.
  void doProcess();

 private:
  static void* ThreadProc(void* argument);
  std::unique_ptr<MCUProcessDataBlock> waitForFront();  // null: asked to end

  unsigned long m_dwMcuProcessThreadID = 0;
  unsigned long m_hMcuProcessThread = 0;
  std::atomic<bool> m_bExitMcuProcessThread{false};
  int32_t m_iStatus = 0;
  CMutexThreadRecursive m_processLstMenux;  // guards the list; not held while a handler runs
  CCondition m_workArrived;
  std::list<std::unique_ptr<MCUProcessDataBlock>> m_messageList;
};

}  // namespace TIRK_MCUC
