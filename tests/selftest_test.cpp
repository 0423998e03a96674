// The FPGA report thread: its start and end, what a test run writes, and what it finds.
#include "stub/fpgareportthread.h"

#include <atomic>
#include <thread>

#include "mcucutil.h"
#include "support/board_fixture.h"
#include "support/waiting.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;
using vboard::Op;

constexpr uint32_t kPositionMemory = 0x600000;
constexpr uint32_t kNumberMemory = 0x500000;
constexpr const char* kInitialised = "FPGAReport_init Finish";
constexpr const char* kEnds = "ActiveReport thread exit.";

class SelfTestTest : public BoardTest {
 protected:
  ~SelfTestTest() override {
    if (!m_thread) return;
    m_thread->Release();
    waitUntil([this] { return logged(kEnds) == 1; });
  }

  void startThread() {
    m_thread = std::make_shared<FpgaReportThread>();
    ASSERT_EQ(m_thread->Init(), 0U);
    ASSERT_TRUE(waitUntil([this] { return logged(kInitialised) == 1; }));
  }
  static std::vector<std::string> busWrites() {
    auto lines = did("fpga w");
    for (std::string& line : lines) line.resize(line.rfind(' '));  // without the data
    return lines;
  }

  std::shared_ptr<FpgaReportThread> m_thread;
};

TEST_F(SelfTestTest, StartProgramsTheReportRegistersOnceAndThenSleeps) {
  setFpga(0x100070, repeated(5, 0xEE));
  startThread();
  EXPECT_EQ(fpga(0x100070, 5), bytes({0x00, 0x04, 0x00, 0x90, 0x01}));
  Sleep(30);
  EXPECT_THAT(busWrites(), ElementsAre("fpga w 0x00100071 4", "fpga w 0x00100070 1"));
}

TEST_F(SelfTestTest, AThreadWhoseRegistersCannotBeWrittenRunsOnAndEndsWhenAsked) {
  m_directory.put("root/sys/class/fpga/fpga_conf", "1\n");
  fail(Op::FpgaWrite, 6);
  startThread();
  EXPECT_EQ(logged(" Reg failed! ret = -1"), 2U);
  const std::weak_ptr<FpgaReportThread> object = m_thread;
  m_thread->Release();
  m_thread.reset();
  EXPECT_TRUE(waitUntil([&object] { return object.expired(); })) << "it lives as long as its thread";
  EXPECT_EQ(logged(kEnds), 1U);
}

TEST_F(SelfTestTest, RunWritesBothPatternsInEveryBlockSize) {
  FpgaReportThread thread;
  thread.testfpgareadwrite();
  std::vector<std::string> expected;
  for (const auto& [memory, largest] : {std::pair{"0x00600000", 1024}, std::pair{"0x00500000", 256}}) {
    for (int size = 16; size <= largest; size *= 2) {
      expected.insert(expected.end(), 2, std::string("fpga w ") + memory + " " + std::to_string(size));
    }
  }
  EXPECT_EQ(busWrites(), expected);
  EXPECT_THAT(journalLines()[0], testing::EndsWith(" aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"));
  EXPECT_EQ(fpga(kPositionMemory, 1025), [] {
    ByteVector memory(1025, 0x55);
    memory.back() = 0;
    return memory;
  }());
  EXPECT_EQ(logged(" Error:"), 0U);
}

TEST_F(SelfTestTest, FailedAccessIsReportedAndTheNextBlockIsStillTested) {
  m_directory.put("root/sys/class/fpga/fpga_conf", "1\n");
  FpgaReportThread thread;
  fail(Op::FpgaWrite, 3);
  thread.testfpgareadwrite();
  EXPECT_EQ(logged("=== WriteToPosNetPort ===Write FPGA Position 16 Word Info failed! ret = -1"), 1U);
  fail(Op::FpgaRead, 3 * 15);
  thread.testfpgareadwrite();
  EXPECT_EQ(logged("=== ReadFromPosNetPort ===Read FPGA Posi "), 14U);
  EXPECT_EQ(logged("=== ReadFromPosNetPort ===Read FPGA Posi 1024Word Info failed! ret = -1"), 2U);
  EXPECT_EQ(logged("=== ReadFromNumberFunCardPort ===Read FPGA NumberFunCardPort 16Word Info failed! ret = -1"), 1U);
  EXPECT_EQ(logged(" Word , Data error"), 0U);
}

TEST_F(SelfTestTest, DifferenceIsReportedWithItsFirstByte) {
  // Another hand keeps writing byte 5 of the number memory while runs go on.
  std::atomic<bool> stop{false};
  std::thread disturber([&stop] {
    while (!stop) setFpga(kNumberMemory + 5, bytes({0x0F}));
  });
  FpgaReportThread thread;
  const std::string line = "Read_Write FPGA 0x03100000 256 Word , Data error  reg = 5 sendData ";
  for (int run = 0; run < 200 && logged(line) == 0; ++run) thread.testfpgareadwrite();
  stop = true;
  disturber.join();
  EXPECT_GE(logged(line + "170 recvData 15") + logged(line + "85 recvData 15"), 1U);
  EXPECT_EQ(logged("Data error"), logged("Data error  reg = 5 sendData "));
}

}  // namespace
