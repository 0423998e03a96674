// Refreshing a mirror with what a read brought from the FPGA (request thread).
//
// The worker writes a mirror first and the FPGA after it; a read in between would put old bytes back, and the next save
// would keep them. So a read refreshes the mirror only when no handler and no calculation runs, which it tests without
// waiting; what it answers does not depend on it. Make it before the read and keep it until the mirror is written.
#pragma once

#include "process/tprocess_ctl.h"

namespace TIRK_MCUC {

class MirrorRefresh {
 public:
  MirrorRefresh() : m_idle(Tprocess_ctl::getInstance()->m_mutex.TryLock()) {}
  ~MirrorRefresh() {
    if (m_idle) Tprocess_ctl::getInstance()->m_mutex.UnLock();
  }
  MirrorRefresh(const MirrorRefresh&) = delete;
  MirrorRefresh& operator=(const MirrorRefresh&) = delete;

  bool allowed() const { return m_idle; }

 private:
  bool m_idle;  // and stays so while this object lives
};

}  // namespace TIRK_MCUC
