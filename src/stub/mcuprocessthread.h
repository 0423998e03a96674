// The work queue: keeps queued writes in arrival order and applies them, one at a time, on one worker thread.
//
// Adding never waits, so that a handler may queue. What is queued stays bounded because the request intake waits for
// room before it takes another request (waitForRoom): peers that write faster than writes are applied wait in the end.
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
  // Beyond either the queue has no room for the request intake.
  static constexpr size_t kMostItems = 16384;
  static constexpr size_t kMostBytes = 16U << 20;  // payloads, and what each item takes beside its own

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
  // The same in two steps, for a caller with something to do before a sleeping worker begins.
  void addWithoutWaking(std::unique_ptr<MCUProcessDataBlock> block);
  void wake();
  // Returns when there is room, or when the worker was asked to end. Never on the worker, and without a lock that a
  // handler takes.
  void waitForRoom();
  bool hasRoom();    // any thread
  size_t pending();  // items that are queued or being applied; any thread

  // The worker's body: sleeps until there is an item or a stop request.
  void doProcess();
  // One turn of it: false when it was asked to end.
  bool applyNext();

 private:
  static void* ThreadProc(void* argument);
  std::unique_ptr<MCUProcessDataBlock> waitForFront();  // null: asked to end
  void push(std::unique_ptr<MCUProcessDataBlock> block);
  bool full() const { return m_messageList.size() >= kMostItems || m_queuedBytes >= kMostBytes; }

  unsigned long m_dwMcuProcessThreadID = 0;
  unsigned long m_hMcuProcessThread = 0;
  std::atomic<bool> m_bExitMcuProcessThread{false};
  int32_t m_iStatus = 0;
  CMutexThreadRecursive m_processLstMenux{LockRank::workQueue};  // guards the list; not held while a handler runs
  CCondition m_workArrived;
  CCondition m_roomArrived;
  std::list<std::unique_ptr<MCUProcessDataBlock>> m_messageList;
  size_t m_queuedBytes = 0;
  bool m_applying = false;
};

}  // namespace TIRK_MCUC
