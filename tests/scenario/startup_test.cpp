// The start of the whole daemon: its option, what it stores and says.
#include <cstdlib>
#include <filesystem>

#include "support/daemon_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;

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
  EXPECT_FALSE(text.empty()) << "the file's header is there with any option";
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
    at = text.find(line, at);
    ASSERT_NE(at, std::string::npos) << line;
  }
  EXPECT_TRUE(std::filesystem::is_directory(m_directory.path() / "root/tmp/kadrend"));
}

TEST_F(StartUpTest, StoresTheRootFileSystemsVersionAsItsOwn) {
  EXPECT_EQ(monitorLine("env get ver_kadrend"), monitorLine("env get ver_rootfs"));
  for (const auto& [command, version] :
       {std::pair{"env set ver_rootfs V7.3.B9", "V7.3.B9"}, {"env unset ver_rootfs", "V1.0.B1"}}) {
    monitor(command);
    restart();
    EXPECT_EQ(monitorLine("env get ver_kadrend"), version);
  }
}

TEST_F(StartUpTest, TheTracesSwitchesCanBeReachedByName) {
  const std::string list = board() + "/symbols";
  ASSERT_EQ(std::system(("nm --dynamic --defined-only '" KADREND_DAEMON "' > '" + list + "'").c_str()), 0);
  const std::string symbols = m_directory.get("symbols");
  for (const char* name : {"g_logLevel", "log_on", "log_uuid"})
    EXPECT_EQ(occurrences(symbols, std::string(" ") + name + "\n"), 1U);
}

TEST_F(StartUpTest, IsReachedByAPathThatIsLongerThanTheSystemTakes) {
  std::string path = board();
  while (path.size() < 10000) path += "/.";
  EXPECT_EQ(kadctl::MonitorClient(path).command("env get firstboot"), monitor("env get firstboot"));
}

struct ClosedOutputTest : DaemonTest {
  ClosedOutputTest() { m_output = ""; }
};
TEST_F(ClosedOutputTest, NoFileOfTheBoardTakesThePlaceOfAClosedStream) {
  for (const char* fd : {"1", "2"}) {
    const auto file = std::filesystem::read_symlink("/proc/" + std::to_string(pid()) + "/fd/" + fd);
    EXPECT_FALSE(file.string().starts_with(board())) << file;
  }
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

}  // namespace
}  // namespace testing_support
