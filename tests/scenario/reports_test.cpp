// What the screen-management daemon is told, when, and that its absence, its return and its silence hurt nobody.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class StatusReportsTest : public ScenarioTest {
 protected:
  void SetUp() override {
    ScenarioTest::SetUp();
    listen();
  }
  // The screen-management daemon comes up; what a new connection is told is forgotten.
  void listen() {
    m_screenDaemon = std::make_unique<BusClient>(board(), kTaskQxt);
    ASSERT_TRUE(m_screenDaemon->receive(5000));
    reports(*m_screenDaemon, 300);
  }
  // What is told of a change within a cycle or two.
  std::vector<std::string> told(int quietMs = 300) { return reports(*m_screenDaemon, quietMs); }

  std::unique_ptr<BusClient> m_screenDaemon;
};

TEST_F(StatusReportsTest, AReportIsAFrameOfItsOwn) {
  setFpga(0x1E, {0x03});
  const auto report = m_screenDaemon->receive(5000);
  ASSERT_TRUE(report);
  EXPECT_TRUE(report->checksumRight);
  EXPECT_EQ(report->frame.m_usHeader, 0x55AA) << "AA 55 on the wire";
  EXPECT_EQ(report->frame.m_ucAck, 0);
  EXPECT_EQ(report->frame.m_ucCode, 0);
  EXPECT_EQ(report->frame.m_ucReserved, 0);
  EXPECT_EQ(report->frame.m_ucDeviceType, 0);
  EXPECT_EQ(report->frame.m_uiRegisterUnitAddress, 0x0200001EU);
  EXPECT_THAT(report->frame.m_data, ElementsAre(0x03));
  EXPECT_EQ(report->envelope.uiid, 0x010A3900U);
  EXPECT_EQ(report->envelope.smallLabel, 0);
  EXPECT_EQ(report->envelope.largeLabel, 28);
  EXPECT_EQ(report->envelope.labelCount + report->envelope.size + report->envelope.result + report->envelope.detail,
            0U);
}

TEST_F(StatusReportsTest, EachChangeIsToldOnceWithItsNeighbours) {
  struct {
    uint32_t address;
    ByteVector bytes;
    std::vector<std::string> told;
  } changes[] = {
      {0x9E, {1}, {"0x0200001e 00", "0x0200009e 01", "0x02000120 0000"}},
      {0x121, {2}, {"0x0200001e 00", "0x0200009e 01", "0x02000120 0002"}},
      {0x1F8,
       {7},
       {"0x020001f6 00", "0x020001f7 00", "0x020001f8 07", "0x020001f9 00", "0x020001fa 00", "0x020001fb 00"}},
      {0x1D7, {0x5A}, {"0x020001d7 5a"}},
      {0x1DA, {1}, {"0x020001da 01", "0x020001da 01"}},
      {0x1E0, {3, 4}, {"0x020001e0 03", "0x020001e1 04"}},
      {0x18, {0x80}, {"0x02000018 80000000", "0x02000098 00000000", "0x02000100 00000000"}},
  };
  for (const auto& change : changes) {
    setFpga(change.address, change.bytes);
    EXPECT_EQ(told(250), change.told) << std::hex << change.address;
  }
  EXPECT_THAT(told(450), IsEmpty());
}

TEST_F(StatusReportsTest, AFiberLinkIsToldForItsFiberOnly) {
  monitor("link fiber2 0x0102");
  EXPECT_THAT(told(), ElementsAre("0x020001f4 02", "0x020001f5 01"));
  monitor("link fiber1 0x8000");
  EXPECT_THAT(told(), ElementsAre("0x020001f2 00", "0x020001f3 80"));
  EXPECT_EQ(logged("Info",
                   "======================== Begin send SendFiber1BelowLinkStatustoQXT link info to QXT "
                   "======================"),
            1U);
  EXPECT_EQ(logged("Info",
                   "======================== Finish send SendFiber2BelowLinkStatustoQXT link info to QXT "
                   "====================="),
            1U);
}

TEST_F(StatusReportsTest, ANewLinkBringsTheSizeOfTheCardsSomeCyclesLater) {
  const auto start = std::chrono::steady_clock::now();
  monitor("cards 2 1 96 48");
  EXPECT_THAT(told(150), ElementsAre("0x0200001f 04", "0x0200009f 00", "0x02000126 0000"));
  const auto size = m_screenDaemon->receive(5000);
  const auto took = std::chrono::steady_clock::now() - start;
  ASSERT_TRUE(size);
  EXPECT_EQ(size->frame.m_uiRegisterUnitAddress, 0x02100006U);
  EXPECT_EQ(size->frame.m_data, word(96) + word(48));
  EXPECT_GE(took, std::chrono::milliseconds(600));
  EXPECT_LE(took, std::chrono::milliseconds(2500));
  EXPECT_EQ(logged("Info", "SourceLinkStatus:0 -> NowChangedLinstatus:4"), 1U);
  monitor("cards 2 0 1 1");
  EXPECT_THAT(told(), ElementsAre("0x0200001f 00", "0x0200009f 00", "0x02000126 0000"));
  // Up to the tenth cycle after the change, and no card to ask.
  ASSERT_TRUE(waitLogged("Info", "=========Link changed ++ delay========", 3 + 9));
  EXPECT_THAT(told(450), IsEmpty());
  EXPECT_EQ(logged("Info", "=========Link changed ++ delay========"), 3U + 9U);
}

TEST_F(StatusReportsTest, ACardThatDoesNotAnswerIsAskedAgain) {
  monitor("fail card-read 1000");
  monitor("cards 2 1 96 48");
  ASSERT_TRUE(waitUntil([this] { return logged("Error", "=== Read receive card failed, return ====") >= 2; }));
  monitor("fail card-read 0");
  EXPECT_TRUE(heard(*m_screenDaemon, "0x02100006 60003000"));
}

TEST_F(StatusReportsTest, ARestartedScreenDaemonIsToldEverythingWhenItAsks) {
  setFpga(0x1E, {0x03});
  setFpga(0x1D7, {0x5A});
  monitor("link copper 0x8421");
  told(1500);
  m_screenDaemon.reset();
  settle(450);
  m_screenDaemon = std::make_unique<BusClient>(board(), kTaskQxt);
  EXPECT_THAT(told(450), IsEmpty()) << "nothing changed";
  // A write of the optical-to-network switch has the daemon look for it anew.
  EXPECT_EQ(askWrite(0x020001DF, {1}).ack, 0);
  EXPECT_THAT(told(450), ::testing::IsSupersetOf({"0x0200001e 03", "0x0200009e 00", "0x02000120 0000", "0x0200001f 01",
                                                  "0x0200009f 02", "0x02000126 0408", "0x020001d7 5a"}));
  EXPECT_EQ(logged("Info", "<<<<<<FlagMsg process thread apipc_connect_chktask_by_taskid success!>>>>>>"), 2U);
}

TEST_F(StatusReportsTest, ASilentScreenDaemonDelaysNoRequestForLong) {
  // It binds its socket and never reads: its queue fills up.
  for (uint8_t i = 1; i < 12; ++i) {
    setFpga(0x1D7, {i});
    EXPECT_EQ(askRead(0x02300000, 1).ack, 0);
    ASSERT_TRUE(waitUntil([&] { return logged("Info", "Begin send fiber link info to QXT = ") >= i; }));
  }
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(askWrite(0x02000001, {0x40}, {kDeviceRecvCard, 255, 0xFFFF}).ack, 0) << "reports to it as well";
  EXPECT_LE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
  EXPECT_GE(logged("Error", "=== ReplyMsg ===ReplyMsg: reply message Failed! ret = -1"), 1U);
}

TEST_F(StatusReportsTest, AReadOfTheFpgaThatFailsReadsAsZero) {
  setFpga(0x9E, {0x05});
  EXPECT_THAT(told(), Contains("0x0200009e 05"));
  monitor("fail fpga-read 100000");
  EXPECT_TRUE(heard(*m_screenDaemon, "0x0200009e 00"));
  monitor("fail fpga-read 0");
  EXPECT_TRUE(heard(*m_screenDaemon, "0x0200009e 05"));
  EXPECT_GE(logged("Error", ">>>>>>>>>>>>>>>>>>>>> FPGA Read Fail<<<<<<<<<<<<<<<<<<<"), 1U);
}

}  // namespace
}  // namespace testing_support
