// The peer link: receives requests from the IPC bus, replies to them, sends the daemon's own frames, and hosts the
// 200-ms monitoring cycle. Three detached threads, each of which holds a share of the object:
//   wait     blocks in the bus and puts each message on the local queue
//   receive  takes messages off the queue, checks and decodes them and hands them to the request intake
//   flag     waits until the FPGA is loaded, restores it, then runs the cycle
// Messages are handled one at a time, in the order in which they came. While the receive thread has none, the wait
// thread handles a message itself if nothing in it waits: a hand-over would cost as much as the rest of its answer.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <vector>

#include "apipc.h"
#include "mcuccondition.h"
#include "mcucdatablock.h"
#include "mcucmutex.h"
#include "stub/mcucmessagestruct.h"

namespace TIRK_MCUC {

class McuIMDThread : public std::enable_shared_from_this<McuIMDThread> {
 public:
  static constexpr size_t kMostUiids = 4096;
  static constexpr size_t kMostHeldBytes = 4096;

  McuIMDThread() = default;
  McuIMDThread(const McuIMDThread&) = delete;
  McuIMDThread& operator=(const McuIMDThread&) = delete;
  ~McuIMDThread();

  unsigned Init();  // CreateThread, after a line
  // Wait, receive, flag, in this order: 0, or 0x80005001 after an Error line; the threads already started keep running.
  // The object must be shared-owned.
  unsigned CreateThread();
  int Release();  // asks every thread to end; each looks between its waits only; 0
  int UnInit();   // Release; 0

  // --- sending. Any thread, several at once. 0; 0x80005004 no record; 0x8000503A not encodable; 0x80005036 not sent.
  // To the return task, which finds the requester by the envelope. The reply to a read is held while the wait thread
  // has taken more messages from the bus already: each reply wakes its receiver, and several at once cost it one change
  // of thread. It is sent, in order and with its own lines, before anything else is: 0 for one that is held.
  unsigned ReplyMsgNew(IMD_proto3rd* record);
  unsigned SendMsgNew(IMD_proto3rd* record);  // to the task in `processID`

  // --- receiving.
  // The bus callback, wait thread; `argument` is the McuIMDThread. Owns the message, and handles it or puts it on the
  // local queue. 0 or 0x80005004.
  static int ipc_event_deal(void* session, void* argument, apipc_msg_t* message, int length);
  // Receive thread: handles messages, sleeping while there are none, until one is dropped (0x80005004) or a stop is
  // requested (0).
  unsigned ipc_event_deal_th();
  // One frame with its envelope. 0, or 0x80005004 when `frame` is null.
  unsigned dealDataBlockNew(const ipcHeaderInfo& head, Bytes frame);

  // --- flag thread.
  int CheckFPGAOnline();  // 0 when the FPGA is loaded, else -1
  void monitorCycle();    // what one turn of 200 ms does
  void QxtApipcConnHandler();
  // Recomputes the layout once the calculation counter has stayed the same for a cycle.
  void CalculateSenderParaHandler();

  std::vector<uint32_t> seenUiids();  // every distinct sender, the first 4096, in order of arrival; any thread

  uint8_t SetSenderPowerOnTime = 0;

 private:
  static void* ApipcThreadProc(void* argument);
  static void* RecvThreadProc(void* argument);
  static void* FlagThreadProc(void* argument);
  void ApipcMsg();
  void RecvMsg();
  void FlagMsg();

  bool answersWithoutWait(apipc_msg_t* message) const;
  unsigned handOver(apipc_msg_t* message);
  std::optional<apipc_msg_t*> takeMessage();  // empty: asked to end
  unsigned dealMessage(apipc_msg_t* message);
  void noteSender(uint32_t uiid);
  unsigned sendFrame(IMD_proto3rd* record, uint32_t destination, bool mayWait);
  bool hold(std::vector<uint8_t>& message);
  void sendHeld();
  bool waitForFpga();
  void restoreUnlessReset();

  unsigned long m_dwApipcThreadID = 0;
  unsigned long m_hApipcThread = 0;
  std::atomic<bool> m_bExitApipcThread{false};
  unsigned long m_dwRecvThreadID = 0;
  unsigned long m_hRecvThread = 0;
  std::atomic<bool> m_bExitRecvThread{false};
  unsigned long m_dwFlagThreadID = 0;
  unsigned long m_hFlagThread = 0;
  std::atomic<bool> m_bExitFlagThread{false};
  unsigned long m_dWaitFPGAThreadID = 0;  // reserved, like the next two: no such thread is started
  unsigned long m_hWaitFPGAThread = 0;
  std::atomic<bool> m_bWaitFPGAThread{false};

  CMutexThreadRecursive m_mutex;
  std::list<std::unique_ptr<MCUCDataBlock>> m_recvList;  // reserved: messages wait on the IPC library's queue
  CMutexThreadRecursive m_uiidMutex;
  std::vector<uint32_t> m_vectorUIIDs;

  CMutexThread m_arrivalMutex;  // guards m_arrived; a leaf
  CCondition m_arrival;
  bool m_arrived = false;  // a message was queued since the receive thread last found the queue empty
  // Messages that the receive thread has, or will find on the queue. Only the wait thread adds to them: once it sees
  // none, there are none until it hands over the next.
  std::atomic<size_t> m_handedOver{0};
  std::atomic<bool> m_receiving{false};  // the receive thread has begun

  std::atomic<bool> m_holding{false};  // the wait thread handles a message, and may hold the reply
  CMutexThread m_heldMutex;            // guards m_held; a leaf, held while they are sent
  std::vector<std::vector<uint8_t>> m_held;
  std::atomic<size_t> m_heldBytes{0};

  uint32_t m_lastCalculateCnt = 0;  // flag thread: the calculation counter as seen in the previous cycle
};

}  // namespace TIRK_MCUC
