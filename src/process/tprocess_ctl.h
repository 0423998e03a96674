// The process-key table and its dispatch, and the status monitor of the flag thread's 200-ms cycle.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>

#include "mcucmutex.h"
#include "process/processkeys.h"
#include "stub/mcuprocessdatablock.h"

namespace TIRK_MCUC {

struct Fprocess_cmd {
  uint16_t largelab = 0;
  uint16_t smalllab = 0;
  enum_Process_Key_Table process_key{};
  const char* cmd_str = nullptr;  // "" in every entry; null ends the table
  int (*called_fun)(int length, uint8_t* data) = nullptr;
};
struct Fprocess_cmdMap {
  uint32_t NO = 0;
  const Fprocess_cmd* cmd = nullptr;
};
using MAP_INT_Fprocess_cmd = std::map<uint32_t, Fprocess_cmdMap>;

class Tprocess_ctl {
 public:
  static Tprocess_ctl* getInstance();
  Tprocess_ctl(const Tprocess_ctl&) = delete;
  Tprocess_ctl& operator=(const Tprocess_ctl&) = delete;

  int initialize();  // 1; builds the map, before the worker runs
  // Worker: applies one item under m_mutex. An unknown key is dropped silently; an exception of a handler is logged.
  void onProcessDealwith(MCUProcessDataBlock* block);
  // Calls the entry's handler with the item's payload, under m_mutex held by the caller. An entry without handler is an
  // Error line.
  static void apply(const Fprocess_cmd* command, MCUProcessDataBlock& block);

  // --- status monitor, tprocess_monitor.cpp; flag thread. Each reads its status registers, reports what differs from
  // what was last reported, and remembers.
  void SendRedundtoQXT();
  void SendNetLinktoQXT();
  void SendFiberLinktoQXT();
  void SendFiberBelowLinkStatustoQXT();
  void SendFiberRedundtoQXT();
  void SendFiberToNetStatustoQXT();
  void SendFiberCopyStatustoQXT();
  void SendGenLockLinktoQXT();
  void SendRecvCardParaToQxtByLinkChange();
  void SendRedundtoQXT1_4();
  void SendRedundtoQXT5_8();
  void SendRedundtoQXT9_16();
  void SendNetLinktoQXT1_4();
  void SendNetLinktoQXT5_8();
  void SendNetLinktoQXT9_16();
  void RebootAfterRF();  // the deferred reboot and factory reset

  CMutexThreadRecursive m_mutex{LockRank::process};  // serialises handlers with the flag thread's calculations
  std::atomic<uint8_t> SocuerTrp{0};
  std::atomic<bool> apipc_connect_status{false};
  std::atomic<bool> OptToNetEnableOnce{false};

 private:
  template <class T>
  friend class NoDestroy;
  Tprocess_ctl();

  std::array<Fprocess_cmd, 200> process_root;
  MAP_INT_Fprocess_cmd m_mapProcess;
  bool m_rebootWithheld = false;  // flag thread only: the line that says so has been written
};

}  // namespace TIRK_MCUC
