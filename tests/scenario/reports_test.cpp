// What the screen-management daemon is told, when, and that its absence, its return and its silence hurt nobody.
#include <chrono>
#include <memory>

#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using namespace ::testing;

class StatusReportsTest : public RunningDaemonTest {
 protected:
  void SetUp() override {
    RunningDaemonTest::SetUp();
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

}  // namespace
}  // namespace testing_support
