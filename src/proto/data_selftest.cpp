// Data_Global: the switch of the bus self-test.

#include <mutex>

#include "proto/data_common.h"

namespace TIRK_MCUC {

void Data_Global::setRWFPGATestflag(uint8_t value) {
  const std::lock_guard guard(m_selfTestMutex);
  m_selfTestFlag = value;
  m_selfTestChanged.notify_all();
}

void Data_Global::waitForSelfTest(const std::atomic<bool>& stop) {
  std::unique_lock lock(m_selfTestMutex);
  m_selfTestChanged.wait(lock, [&] { return stop.load() || m_selfTestFlag == 1; });
}

void Data_Global::wakeSelfTest() {
  const std::lock_guard guard(m_selfTestMutex);
  m_selfTestChanged.notify_all();
}

}  // namespace TIRK_MCUC
