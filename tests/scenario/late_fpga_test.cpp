// An FPGA that is loaded long after the daemon's start: what waits for it, and what is done once it is there.
#include "proto/flashmap.h"
#include "proto/sendparameter.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using namespace ::testing;

constexpr const char* kRestored = "============================== Finish Restore FPGA ==============================";
constexpr const char* kLaidOut = "Finish CalculateParaOfSenderInMosaicMode";

class LateFpgaTest : public RunningDaemonTest {
 protected:
  LateFpgaTest() : RunningDaemonTest("journal = on\nfpga_load_ms = -1\n") {}
  void SetUp() override { DaemonTest::SetUp(); }
  void load() { m_directory.put(kFpgaFlagFile, ""); }
  std::vector<std::string> fpgaWrites() {
    auto lines = journal();
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("fpga w"); });
    return lines;
  }
};

TEST_F(LateFpgaTest, NothingButTheReportRegistersIsWrittenBeforeAndNothingTold) {
  BusClient screenDaemon(board(), kTaskQxt);
  ASSERT_TRUE(waitLogged("Info", kRestored));
  EXPECT_FALSE(screenDaemon.receive(500));
  EXPECT_THAT(fpgaWrites(), ElementsAre("fpga w 0x00100071 4 04009001", "fpga w 0x00100070 1 00"));
  EXPECT_EQ(askRead(0x02300000, 1).ack, 0) << "requests are served";
  load();
  ASSERT_TRUE(waitLogged("Info", kRestored, 2));
  EXPECT_GT(fpgaWrites().size(), 40U);
  const auto first = screenDaemon.receive(5000);
  ASSERT_TRUE(first && first->checksumRight);
  EXPECT_EQ(first->frame.m_uiRegisterUnitAddress, 0x14000000U);
  EXPECT_THAT(first->frame.m_data, ElementsAre(0x02));
}

TEST_F(LateFpgaTest, WhatWasWrittenBeforeComesOutAfterIt) {
  EXPECT_EQ(askWrite(0x02000040, {0x11, 0x22}).ack, 0);
  EXPECT_EQ(askWrite(0x03100110, {0x33, 0x44, 0x55}).ack, 0);
  EXPECT_EQ(askWrite(0x01000001, {1}).ack, 0) << "saved";
  EXPECT_EQ(writeScreen(2, 3, 6).ack, 0);
  EXPECT_EQ(writeScreen(3, 3, 9).ack, 0);
  settle(700);
  EXPECT_EQ(logged("Info", kLaidOut), 0U);
  load();
  ASSERT_TRUE(waitLogged("Info", kLaidOut));
  settle();
  EXPECT_EQ(logged("Info", kLaidOut), 1U) << "the last description alone";
  EXPECT_EQ(fpga(0x40, 2), (ByteVector{0x11, 0x22}));
  EXPECT_EQ(fpga(0x500110, 3), (ByteVector{0x33, 0x44, 0x55}));
  EXPECT_EQ(fpga(sendpara::kScreenWidth, 4), word(384) + word(384));
  EXPECT_EQ(fpga(0x600000 + 9 * 4096 + 4 * 8, 4), word(256) + word(256)) << "the ninth card of port 9";
}

TEST_F(LateFpgaTest, WhatIsReadOfAnEmptyFpgaReplacesNothingStored) {
  const ByteVector positions(flash::kPosition.length, 0x21);
  const ByteVector numbers(768, 0x22);
  const ByteVector feature(16, 0x23);
  setFlash(flash::kPosition.address, positions);
  setFlash(flash::kNumber.address, numbers);
  setFlash(flash::kFeature.address + 0x40, feature);
  restart();
  EXPECT_EQ(askRead(0x03000000, 40960).data, ByteVector(40960, 0)) << "it answers what is there";
  EXPECT_EQ(askRead(0x03100000, 768).data, ByteVector(768, 0));
  EXPECT_EQ(askRead(0x02000000, 512).ack, 0);
  EXPECT_EQ(askWrite(0x02000060, {1}).ack, 0) << "keeps the whole feature block";
  EXPECT_EQ(askWrite(0x01000001, {1}).ack, 0) << "saves all of it";
  settle(100);
  EXPECT_EQ(flash(flash::kPosition.address, flash::kPosition.length), positions);
  EXPECT_EQ(flash(flash::kNumber.address, 768), numbers);
  EXPECT_EQ(flash(flash::kFeature.address + 0x40, 16), feature);
}

TEST_F(LateFpgaTest, AResetIsCarriedOutAfterItAndBeforeARestore) {
  const ByteVector record = fromHex("015500000000800040000203010600");
  setFlash(flash::kScreenRecord.address, record);
  EXPECT_EQ(askWrite(0x01000002, {2}).ack, 0);
  settle(300);
  load();
  ASSERT_TRUE(waitLogged("Info", "Return to factory successfully! reboot in 5 seconds..."));
  EXPECT_EQ(monitorLine("env get firstboot"), "1") << "for the start after the reboot";
  EXPECT_EQ(flash(flash::kScreenRecord.address, record.size()), record) << "no first start yet";
  EXPECT_THAT(effects(), Contains(StartsWith("factory w 0x00003000 46080 ")));
}

TEST_F(LateFpgaTest, ItsLoadOpensTheBusThatFailedBefore) {
  const auto readable = [this] { return askRead(0x03000000, 4).ack == 0; };
  m_directory.put("root/sys/class/fpga/fpga_conf", "0\n");
  monitor("fail fpga-read 3");
  EXPECT_FALSE(readable());
  EXPECT_FALSE(readable()) << "the bus is shut, although nothing fails any more";
  m_directory.put("root/sys/class/fpga/fpga_conf", "1\n");
  EXPECT_FALSE(readable());
  load();
  EXPECT_TRUE(waitUntil(readable));
}

}  // namespace
}  // namespace testing_support
