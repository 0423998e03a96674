// The FPGA report thread: programs the report registers once, then hosts the bus self-test on request: while the test
// switch is on it writes patterns into the position and the number memory and reads them back; when it goes off, both
// memories get back what their tables hold. One object, owned by a shared_ptr; the thread holds another.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace TIRK_MCUC {

class FpgaReportThread : public std::enable_shared_from_this<FpgaReportThread> {
 public:
  ~FpgaReportThread();
  unsigned Init();          // CreateThread
  unsigned CreateThread();  // 0, or 0x80005001 after an Error line
  int Release();            // asks the thread to end
  int UnInit();

  int FPGAReport_init();     // report parameters, reporting off; 0 also when a write fails
  void ActiveReport();       // the thread's body: sleeps until the self-test is switched on
  void testfpgareadwrite();  // one run: every difference and every failed access is an Error line

 private:
  static void* ThreadProc(void* argument);
  void restoreTestedMemory();

  [[maybe_unused]] uint8_t SocureState = 0;
  [[maybe_unused]] uint8_t LastSocureState = 0;
  [[maybe_unused]] int server_fd = 0;
  unsigned long m_dwFpgaReportThreadID = 0;
  unsigned long m_hFpgaReportThread = 0;
  std::atomic<bool> m_bExitFpgaReportThread{false};
};

}  // namespace TIRK_MCUC
