// Process wiring, and the one way up: rooms below reach the peer link and the work queue through SendMsg and
// addMessageToList, and nothing else of what runs above them.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "mcucmutex.h"
#include "stub/mcucmessagestruct.h"
#include "stub/mcuprocessdatablock.h"

namespace TIRK_MCUC {

class McuIMDThread;
class McuProcessThread;
class FpgaReportThread;

class StubUtil {
 public:
  static StubUtil* getInstance();
  StubUtil(const StubUtil&) = delete;
  StubUtil& operator=(const StubUtil&) = delete;

  // --- start-up (main thread)
  bool initialize();  // true when the three thread objects were created and initialised
  bool creatIMDComm();
  bool creatProcess();
  bool creatFpgaReport();
  int SetEnvKadrendVerToRootfs();  // 0, or -1 when the environment store could not be opened
  void SetKadrendVersion(const char* version);

  // --- intake (the peer link, one request at a time): dispatches the request under m_stubMenux and replies; what it
  // queued starts after the reply. The routine's result, or -1 when nothing was dispatched.
  int onDataRecvFromIMDNew(IMD_proto3rd* record);
  bool checkSelfDeviceRequestNew(IMD_proto3rd* record);

  // --- the way up (any thread; neither takes m_stubMenux)
  // Sends a frame on the daemon's own initiative to the task in `processID`. Before the IPC thread object exists it is
  // dropped with an Error line. 0 or 0x8000....
  unsigned SendMsg(IMD_proto3rd record);
  // Queues a work item. Before the worker exists it is held and applied, in order, when it does. False: the worker
  // could not be created; the item is dropped and the request must be refused (4, 4).
  bool addMessageToList(std::unique_ptr<MCUProcessDataBlock> block);
  // Returns when the work queue has room, or when there is no worker. Receive thread, before it takes a request.
  void waitForWorkRoom();
  bool hasWorkRoom();    // whether that would return at once
  size_t pendingWork();  // items that are queued, held or being applied

 private:
  template <class T>
  friend class NoDestroy;
  StubUtil() = default;
  void refuseWrites();                         // there will be no worker
  std::shared_ptr<McuIMDThread> peerLink();    // null before creatIMDComm
  std::shared_ptr<McuProcessThread> worker();  // null before creatProcess

  CMutexThread m_stubMenux{LockRank::request};
  CMutexThread m_wiringMutex;  // guards the three pointers, m_held and m_workerFailed; a leaf but for the trace
  std::shared_ptr<McuIMDThread> m_McuIMDThreadPtr;
  std::shared_ptr<McuProcessThread> m_McuProcessThreadPtr;
  std::shared_ptr<FpgaReportThread> m_FpgaReportThreadPtr;
  std::vector<std::unique_ptr<MCUProcessDataBlock>> m_held;
  bool m_workerFailed = false;
  uint8_t m_DeviceSequseID = 0;
};

}  // namespace TIRK_MCUC
