// The whole daemon from start-up to idling: its option, what it stores and says, the load of the FPGA, and its rest.
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "support/daemon_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using ::testing::ElementsAre;

constexpr const char* kFlagFile = "root/etc/init.d/flag_fpgaload";
constexpr const char* kFpgaState = "root/sys/class/fpga/fpga_conf";
constexpr const char* kNeverLoads = "journal = on\nfpga_load_ms = -1\n";

struct OptionCase {
  const char* name;
  const char* option;
  const char* levels;  // E: faults, I: information
};

class OptionTest : public DaemonTest, public ::testing::WithParamInterface<OptionCase> {
 protected:
  OptionTest() : DaemonTest("", GetParam().option) {}
};

TEST_P(OptionTest, SelectsTheLevelsThatAreLogged) {
  auto frame = client().datagram(kadctl::BusClient::request(kCodeRead, 0, 1, {}, {}), 1);
  frame.back() ^= 0xFF;  // a fault
  EXPECT_TRUE(client().send(frame));
  EXPECT_TRUE(client().receive(5000));
  const std::string text = log();
  EXPECT_EQ(std::string(occurrences(text, "] Error:") > 0 ? "E" : "") + (occurrences(text, "] Info:") > 0 ? "I" : ""),
            GetParam().levels);
}

// "-info" stops short of its name.
INSTANTIATE_TEST_SUITE_P(Each, OptionTest,
                         ::testing::Values(OptionCase{"None", "", "E"}, OptionCase{"Info", "-info", "E"},
                                           OptionCase{"Debug", "-debug", "EI"}, OptionCase{"Disable", "-disable", ""},
                                           OptionCase{"Unknown", "-Debug", ""}),
                         [](const auto& test) { return test.param.name; });

struct StartUpTest : DaemonTest {
  StartUpTest() : DaemonTest(kNeverLoads) {}
};

TEST_F(StartUpTest, BringsTheRoomsUpInOrder) {
  ASSERT_TRUE(waitUntil([this] { return occurrences(log(), "= Finish main init =") == 1; }));
  const std::string text = log();
  size_t at = 0;
  for (const char* line : {"= Kadrend Start =", "Version:1.1.0.0", "= Begin main init =",
                           "McuIMDThread: Init apipc, result = 0 type = kadrend", "= Finish main init ="}) {
    const size_t found = text.find(line, at);
    ASSERT_NE(found, std::string::npos) << line;
    at = found;
  }
  for (const char* thread : {"ApipcMsg", "RecvMeg", "doProcess"}) {
    const std::string line = std::string(thread) + " process thread begin:";
    EXPECT_TRUE(waitUntil([&] { return occurrences(log(), line) == 1; })) << line;
  }
  EXPECT_TRUE(waitUntil([this] { return occurrences(log(), "ActiveReport thread begin:") == 1; }));
  EXPECT_TRUE(std::filesystem::is_directory(m_directory.path() / "root/tmp/kadrend"));
}

TEST_F(StartUpTest, ASecondDaemonOnTheSameBoardEndsAtOnce) {
  const std::string second =
      "KADREND_BOARD='" + board() + "' " + shellCommand(KADREND_DAEMON) + "> /dev/null 2> '" + board() + "/second'";
  const int status = std::system(second.c_str());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_NE(m_directory.get("second"), "");
}

TEST_F(StartUpTest, StoresTheRootFileSystemsVersionAsItsOwn) {
  EXPECT_EQ(monitorLine("env get ver_kadrend"), monitorLine("env get ver_rootfs"));
  monitor("env set ver_rootfs V7.3.B9");
  restart();
  EXPECT_EQ(monitorLine("env get ver_kadrend"), "V7.3.B9");
  monitor("env unset ver_rootfs");
  restart();
  EXPECT_EQ(monitorLine("env get ver_kadrend"), "V1.0.B1");
}

TEST_F(StartUpTest, TheTracesSwitchesCanBeReachedByName) {
  const std::string list = board() + "/symbols";
  ASSERT_EQ(std::system(("nm --dynamic --defined-only '" KADREND_DAEMON "' > '" + list + "'").c_str()), 0);
  const std::string symbols = m_directory.get("symbols");
  for (const char* name : {"g_logLevel", "log_on", "log_uuid"})
    EXPECT_EQ(occurrences(symbols, std::string(" ") + name + "\n"), 1U);
}

struct OutputTest : DaemonTest {
  OutputTest() : DaemonTest("", "") { m_output = board() + "/stdout"; }
};
TEST_F(OutputTest, WhatIsPrintedIsThereAtOnce) {
  ByteVector header(64);
  header[1] = 1;
  header[32 + 5] = 0x20;  // the only file starts at 0x2000
  write(0x0F000000, header);
  write(0x0F002000, {1, 2, 3});
  EXPECT_TRUE(waitUntil([this] {
    return occurrences(m_directory.get("stdout"), "##################File Name::RvCfgFile_0.rcfgx\n") == 1;
  }));
}

// Wake-ups of all threads of a process since they began.
long wakeUps(pid_t process) {
  long sum = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
    std::ifstream status(thread.path() / "status");
    std::string word;
    while (status >> word && word != "voluntary_ctxt_switches:") continue;
    long count = 0;
    status >> count;
    sum += count;
  }
  return sum;
}

struct RestTest : DaemonTest {
  RestTest() : DaemonTest("", "") {}
};
TEST_F(RestTest, AnIdleDaemonWakesForItsCycleAlone) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer has a thread of its own that wakes";
#endif
  constexpr double kSeconds = 4;
  constexpr double kWakeUpsPerSecond = 5.5;
  settle(3000);  // start-up ends with a pause of two seconds
  const long before = wakeUps(pid());
  std::this_thread::sleep_for(std::chrono::duration<double>(kSeconds));
  const long woken = wakeUps(pid()) - before;
  EXPECT_GE(woken, kSeconds * 4) << "the cycle runs";
  EXPECT_LE(woken, kSeconds * kWakeUpsPerSecond);
}

// --- The load of the FPGA.
class FpgaLoadTest : public DaemonTest {
 protected:
  FpgaLoadTest() : DaemonTest(kNeverLoads) {}
  void loadFpga() { m_directory.put(kFlagFile, ""); }
  bool loaded() {
    return waitUntil([this] { return occurrences(log(), "receive file /etc/init.d/flag_fpgaload.") == 1; });
  }
};

TEST_F(FpgaLoadTest, IsWaitedForAndTold) {
  kadctl::BusClient screenDaemon(board(), kTaskQxt);
  EXPECT_FALSE(screenDaemon.receive(500)) << "nothing is reported before";
  loadFpga();
  ASSERT_TRUE(loaded());
  const auto first = screenDaemon.receive(5000);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->frame.m_uiRegisterUnitAddress, 0x14000000U);
  EXPECT_THAT(first->frame.m_data, ElementsAre(0x02));
  EXPECT_TRUE(first->checksumRight);
}

TEST_F(FpgaLoadTest, OpensTheBusThatFailedBefore) {
  constexpr uint32_t kFromTheFpga = 0x03000000;
  m_directory.put(kFpgaState, "0\n");
  monitor("fail fpga-read 3");
  EXPECT_THROW(read(kFromTheFpga, 4), kadctl::ClientError);
  EXPECT_THROW(read(kFromTheFpga, 4), kadctl::ClientError) << "the bus is shut, although nothing fails any more";
  m_directory.put(kFpgaState, "1\n");
  EXPECT_THROW(read(kFromTheFpga, 4), kadctl::ClientError);
  loadFpga();
  ASSERT_TRUE(loaded());
  EXPECT_TRUE(waitUntil([this] {
    try {
      return read(kFromTheFpga, 4).size() == 4;
    } catch (const kadctl::ClientError&) {
      return false;
    }
  }));
}

}  // namespace
}  // namespace testing_support
