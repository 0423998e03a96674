#include "stub/fpgareportthread.h"

#include <algorithm>
#include <array>

#include "driverutil.h"
#include "mcucbytes.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/tprocess_ctl.h"
#include "proto/data_common.h"
#include "proto/fpgamap.h"
#include "proto/screentables.h"
#include "stub/sharedthread.h"

namespace TIRK_MCUC {

namespace {

constexpr std::array<uint8_t, 4> kReportParameterBytes{0x04, 0x00, 0x90, 0x01};
constexpr uint8_t kReportOff = 0x00;

constexpr size_t kSmallestBlock = 16;
constexpr size_t kLargestBlock = 1024;
constexpr std::array<uint8_t, 2> kPatterns{0xAA, 0x55};
constexpr unsigned long kSettleUs = 100;
constexpr unsigned long kRunPauseMs = 1;
constexpr unsigned kRunsPerLine = 100;

// A memory under test, with blocks of 16 bytes and each power of two up to its largest.
struct TestArea {
  uint32_t address;
  size_t largestBlock;
  const char* writeFailed;
  const char* readFailed;
  const char* differs;
};
constexpr TestArea kPositionArea{fpga::kPosition.address, kLargestBlock,
                                 "=== WriteToPosNetPort ===Write FPGA Position ",
                                 "=== ReadFromPosNetPort ===Read FPGA Posi ", "Read_Write FPGA 0x03000000 "};
constexpr TestArea kNumberArea{
    fpga::kNumber0To3.address, 256, "=== WriteFromNumberFunCardPort ===Write FPGA NumberFunCardPort ",
    "=== ReadFromNumberFunCardPort ===Read FPGA NumberFunCardPort ", "Read_Write FPGA 0x03100000 "};

void testBlock(const TestArea& area, size_t size, uint8_t pattern) {
  DriverUtil* driver = DriverUtil::getInstance();
  std::array<uint8_t, kLargestBlock> sent;
  std::array<uint8_t, kLargestBlock> received{};
  sent.fill(pattern);
  const auto length = static_cast<uint32_t>(size);
  int ret = driver->FPGAC5_WriteDataBlock(0, 0, area.address, length, sent.data());
  if (ret != 0) {
    TRACE_ERROR(area.writeFailed << length << " Word Info failed! ret = " << ret);
    return;
  }
  sleepUs(kSettleUs);
  ret = driver->FPGAC5_ReadDataBlock(0, 0, area.address, length, received.data());
  if (ret != 0) {
    TRACE_ERROR(area.readFailed << length << "Word Info failed! ret = " << ret);
    return;
  }
  const auto end = sent.begin() + static_cast<std::ptrdiff_t>(size);
  const auto [sentByte, receivedByte] = std::mismatch(sent.begin(), end, received.begin());
  if (sentByte == end) return;
  TRACE_ERROR(area.differs << length << " Word , Data error  reg = " << (sentByte - sent.begin()) << " sendData "
                           << *sentByte << " recvData " << *receivedByte);
}

void testArea(const TestArea& area) {
  for (size_t size = kSmallestBlock; size <= area.largestBlock; size *= 2) {
    for (const uint8_t pattern : kPatterns) testBlock(area, size, pattern);
  }
}

void writeBack(const char* memory, uint32_t address, Bytes bytes) {
  const int ret = DriverUtil::getInstance()->FPGAC5_WriteDataBlock(0, 0, address, static_cast<uint32_t>(bytes.size()),
                                                                   bytes.data());
  if (ret != 0) TRACE_ERROR("=== testfpgareadwrite ===restore of the " << memory << " memory failed! ret = " << ret);
}

}  // namespace

FpgaReportThread::~FpgaReportThread() {
  UnInit();
}

unsigned FpgaReportThread::Init() {
  return CreateThread();
}

unsigned FpgaReportThread::CreateThread() {
  static constexpr ThreadStartTexts kTexts{
      "FpgaReportThread::CreateThread() pthread_attr_init() failed! errno=",
      "FpgaReportThread::CreateThread() pthread_attr_setdetachstate() failed! err=",
      "FpgaReportThread::CreateThread() pthread_create() failed! err=",
  };
  const unsigned result = startSharedThread(shared_from_this(), &ThreadProc, &m_dwFpgaReportThreadID, kTexts);
  if (result != 0) return result;
  m_hFpgaReportThread = m_dwFpgaReportThreadID;
  return 0;
}

void* FpgaReportThread::ThreadProc(void* argument) {
  takeShare<FpgaReportThread>(argument)->ActiveReport();
  return nullptr;
}

int FpgaReportThread::Release() {
  m_bExitFpgaReportThread = true;
  Data_Global::getInstance()->wakeSelfTest();
  return 0;
}

int FpgaReportThread::UnInit() {
  return Release();
}

int FpgaReportThread::FPGAReport_init() {
  TRACE_INFO("=============================== FPGAReport_init ============================= ");
  DriverUtil* driver = DriverUtil::getInstance();
  int ret = driver->WriteFPGABusBlock(fpga::kReportParameters.address, kReportParameterBytes.data(),
                                      kReportParameterBytes.size());
  if (ret != 0) TRACE_ERROR("=== Write reprot para Reg failed! ret = " << ret);
  ret = driver->WriteFPGABusOneWord(fpga::kReportEnable.address, kReportOff);
  if (ret != 0) TRACE_ERROR("=== Write reprot enable Reg failed! ret = " << ret);
  TRACE_INFO("=============================== FPGAReport_init Finish ============================= ");
  return 0;
}

void FpgaReportThread::ActiveReport() {
  TRACE_INFO("ActiveReport thread begin:");
  FPGAReport_init();
  Data_Global* store = Data_Global::getInstance();
  unsigned runs = 0;
  for (;;) {
    store->waitForSelfTest(m_bExitFpgaReportThread);
    if (m_bExitFpgaReportThread) break;
    store->setMemoriesUnderTest(true);
    do {
      testfpgareadwrite();
      if (++runs % kRunsPerLine == 0) TRACE_INFO("Read_Write FPGA test : " << runs);
      Sleep(kRunPauseMs);
    } while (store->RWFPGATestflag() == 1 && !m_bExitFpgaReportThread);
    restoreTestedMemory();
  }
  TRACE_INFO("FpgaThread  exit.");
  TRACE_INFO("ActiveReport thread exit.");
}

void FpgaReportThread::testfpgareadwrite() {
  testArea(kPositionArea);
  testArea(kNumberArea);
}

void FpgaReportThread::restoreTestedMemory() {
  // No handler may change a table between its copy here and the copy's way to the FPGA.
  CMutexGuardT guard(Tprocess_ctl::getInstance()->m_mutex);
  writeBack("position", kPositionArea.address, positionTable().copy<kPositionArea.largestBlock>(0));
  const auto numbers = numberTable().image();
  for (const NumberTableBlock& block : kNumberTableBlocks) {
    if (block.fpgaAddress < kNumberArea.address || block.fpgaAddress >= kNumberArea.address + kNumberArea.largestBlock)
      continue;
    writeBack("number", block.fpgaAddress, Bytes(numbers).subspan(block.offset, block.length));
  }
  Data_Global::getInstance()->setMemoriesUnderTest(false);
}

}  // namespace TIRK_MCUC
