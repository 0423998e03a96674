// Refreshing a mirror with what a read brought from the FPGA (request thread).
//
// The worker writes a mirror first and the FPGA after it; a read in between would put old bytes back, and the next save
// would keep them. So a read refreshes the mirror only when no handler and no calculation runs, which it tests without
// waiting, and only when the FPGA has been restored: before that it holds nothing of the device's, while the mirrors
// hold what the flash has stored. What a read answers does not depend on it. Make it before the read and keep it until
// the mirror is written.
#pragma once

#include "process/tprocess_ctl.h"
#include "proto/data_common.h"

namespace TIRK_MCUC {

class MirrorRefresh {
 public:
  MirrorRefresh() : m_idle(Tprocess_ctl::getInstance()->m_mutex.TryLock()) {}
  ~MirrorRefresh() {
    if (m_idle) Tprocess_ctl::getInstance()->m_mutex.UnLock();
  }
  MirrorRefresh(const MirrorRefresh&) = delete;
  MirrorRefresh& operator=(const MirrorRefresh&) = delete;

  bool idle() const { return m_idle; }  // no handler and no calculation runs, for as long as this object lives
  bool allowed() const { return m_idle && Data_Global::getInstance()->FpgaParaLoadFinish; }

 private:
  bool m_idle;
};

}  // namespace TIRK_MCUC
