// The virtual board's operations as the daemon calls them: registers, flash, environment and shell. Neither the shell
// nor a path leaves the board's root.
#include <filesystem>
#include <thread>

#include "boardaccess.h"
#include "boardhost.h"
#include "support/board_fixture.h"
#include "sysconfenv.h"
#include "virtual/files.h"

namespace {

using namespace testing_support;
using vboard::board;
using vboard::Op;
namespace fs = std::filesystem;

class VirtualOperations : public BoardTest {
 protected:
  void SetUp() override { ASSERT_EQ(Flash_Init(), 0); }

  static int writeFpga(uint32_t address, const ByteVector& data) {
    return WriteFPGABlock(1, address, static_cast<uint16_t>(data.size()), data.data());
  }
  static int writeFlash(uint32_t address, const ByteVector& data) {
    return WriteDataToFlashx(address, static_cast<uint32_t>(data.size()), data.data());
  }
};

TEST_F(VirtualOperations, StatusRegistersKeepWhatTheFpgaSetAlsoInsideABlock) {
  const std::pair<uint32_t, uint32_t> status[] = {{0x1E, 0x1F},   {0x9E, 0x9F},         {0x120, 0x121},
                                                  {0x126, 0x127}, {0x1D7, 0x1D7},       {0x1E0, 0x1E1},
                                                  {0x1F2, 0x1FB}, {0xF04000, 0xF04003}, {0xF05100, 0xF05103}};
  for (const uint32_t base : {0x000000U, 0xF04000U - 16, 0xF05100U - 16}) {
    const size_t length = base == 0 ? 0x200 : 36;
    setFpga(base, repeated(length, 0x11));
    ASSERT_EQ(writeFpga(base, repeated(length, 0x22)), 0);
    ByteVector expected = repeated(length, 0x22);
    for (const auto& [first, last] : status) {
      for (uint32_t a = first; a <= last; ++a) {
        if (a >= base && a - base < length) expected[a - base] = 0x11;
      }
    }
    EXPECT_EQ(fpga(base, length), expected) << base;
  }
  ASSERT_EQ(writeFpga(0x1F3, bytes({1, 2})), 0) << "a write that lies within one is a success";
  ASSERT_EQ(writeFpga(0x1F1, bytes({0x33, 0x33})), 0);
  EXPECT_EQ(fpga(0x1F1, 4), bytes({0x33, 0x11, 0x11, 0x11}));
  std::filesystem::remove(m_directory.path() / "journal");
  ASSERT_EQ(writeFpga(0x1E, bytes({1})), 0);
  EXPECT_EQ(journalLines(), std::vector<std::string>{"fpga w 0x0000001e 1 01"}) << "a journal that was removed";
}

TEST_F(VirtualOperations, TheClockIsSetByTheDaemonAndTheConsoleAtOnce) {
  std::thread console([] {
    for (int i = 0; i < 300; ++i) ASSERT_EQ(board().clock.set(1'900'000'000'000'000), 0);
  });
  for (int i = 0; i < 300; ++i) {
    const timeval time{1'700'000'000, 0};
    ASSERT_EQ(board_clock_set(&time), 0);
  }
  console.join();
  EXPECT_EQ(vboard::readFile(m_directory.path() / "clock"), std::to_string(board().clock.offsetUs) + "\n");
}

TEST_F(VirtualOperations, AddressesEndWithTheirMemory) {
  EXPECT_EQ(writeFpga(0x0FFFFFFF, bytes({7})), 0);
  EXPECT_NE(writeFpga(0x0FFFFFFF, bytes({8, 8})), 0);
  EXPECT_NE(writeFpga(0x10000000, bytes({8})), 0);
  EXPECT_NE(writeFpga(0xFFFFFFFF, bytes({8, 8})), 0);
  EXPECT_EQ(fpga(0x0FFFFFFF, 1), bytes({7}));
  uint8_t out[2];
  EXPECT_NE(ReadFPGABlock(1, 0x0FFFFFFF, 2, out), 0);
  EXPECT_EQ(writeFlash(0x1FFFFFF, bytes({7})), 0);
  EXPECT_NE(writeFlash(0x1FFFFFF, bytes({8, 8})), 0);
  EXPECT_NE(ReadDataFromFlashx(0x2000000, 1, out), 0);
  EXPECT_NE(ReadDataFromFlashx(16, 0xFFFFFFF8, out), 0);
  EXPECT_EQ(flash(0x1FFFFFF, 1), bytes({7}));
}

TEST_F(VirtualOperations, TheEnvironmentIsReadAndWrittenWhileItIsOpen) {
  EXPECT_EQ(sysconf_getenv("firstboot"), nullptr);
  EXPECT_NE(sysconf_setenv("firstboot", "1"), 0);
  ASSERT_EQ(sysconf_openenv(), 0);
  const char* const before = sysconf_getenv("firstboot");
  ASSERT_STREQ(before, "0");
  ASSERT_EQ(sysconf_openenv(), 0);
  ASSERT_EQ(sysconf_setenv("firstboot", "1"), 0);
  EXPECT_STREQ(sysconf_getenv("firstboot"), "1");
  sysconf_closeenv();
  EXPECT_STREQ(before, "0") << "a text lives until the outermost close";
  fail(Op::EnvOpen, 1);
  EXPECT_NE(sysconf_openenv(), 0);
  sysconf_closeenv();
  EXPECT_STREQ(sysconf_getenv("firstboot"), "1") << "the close of an open that failed closes nothing";
  std::thread([] { EXPECT_EQ(sysconf_getenv("firstboot"), nullptr) << "opened by another thread"; }).join();
  sysconf_closeenv();
  EXPECT_EQ(sysconf_getenv("firstboot"), nullptr);
}

constexpr int kRefused = 127;

class VirtualShell : public BoardTest {
 protected:
  fs::path root() const { return m_directory.path() / "root"; }
  static std::string path(const char* devicePath) {
    char out[256];
    return board_path(devicePath, out, sizeof out) == 0 ? out : "";
  }
  // How many files and directories there are.
  static long entries(const fs::path& directory) {
    return std::distance(fs::recursive_directory_iterator(directory), fs::recursive_directory_iterator());
  }
};

TEST_F(VirtualShell, RefusesEverythingElse) {
  constexpr const char* kCommands[] = {
      // other programs, other options, too few or too many words
      "", "ls", "reboot", "REBOOT -f", "/sbin/reboot -f", "rm /tmp/x", "rm -rf /tmp", "rm -r /tmp /log", "mkdir /tmp/x",
      "sysconfig set a", "sysconfig set a 1 2", "fpga r s 0x1eb", "hwclock -s", "fw_setenv a 1", "killall -9 frelld",
      // what a real shell would take for more than words
      "rm -r /tmp/*", "mkdir -p $HOME", "mkdir -p /tmp/`id`", "mkdir -p \"/tmp/x\"", "sync; touch /tmp/x",
      "sync && sync", "sync\nsync", "/bin/cat /tmp/a > /tmp/b", "echo x >> /tmp/x", "echo \"x\" > /tmp/x",
      "echo \"x\" >> /tmp/x y", "echo \"x\" >> /tmp/x; sync", "echo \"$HOME\" >> /tmp/x", "echo \"`id`\" >> /tmp/x",
      "echo \"a\\n\" >> /tmp/x", "echo \"x"};
  const long before = entries(root());
  for (const char* command : kCommands) EXPECT_EQ(board_system(command), kRefused) << command;
  EXPECT_EQ(entries(root()), before);
  testing::internal::CaptureStderr();
  board_system("poweroff");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("refused: poweroff"));
}

TEST_F(VirtualShell, NeverLeavesItsRoot) {
  const TemporaryDirectory outside;
  outside.put("file", "mine");
  fs::create_directory_symlink(outside.path(), root() / "tmp/absolute");
  fs::create_directory_symlink(fs::relative(outside.path(), fs::canonical(root() / "tmp")), root() / "tmp/relative");
  fs::create_symlink(outside.path() / "file", root() / "tmp/link");
  fs::create_symlink("loop", root() / "tmp/loop");
  for (const char* command :
       {"mkdir -p /tmp/absolute/made", "mkdir -p /tmp/relative/made", "mkdir -p /../made", "mkdir -p /tmp/../../made",
        "rm -r /tmp/absolute/file", "rm -r /tmp/relative/file", "rm -r /../board.conf", "/bin/cat /tmp/link",
        "/bin/cat /../board.conf", "cp /tmp/link /tmp/copy", "cp /data/tirk/etc/sysconf/env /tmp/link",
        "cp /data/tirk/etc/sysconf/env /tmp/absolute", "cp /data/tirk/etc/sysconf/env /tmp/relative/env",
        "echo \"x\" >> /tmp/link", "echo \"x\" >> /tmp/relative/file", "echo \"x\" >> /tmp/loop",
        "echo \"x\" >> /../board.conf"}) {
    EXPECT_EQ(board_system(command), 1) << command;
  }
  for (const char* name : {"/tmp/absolute", "/tmp/relative/file", "/tmp/link", "/..", "/tmp/../..", "tmp", ""}) {
    EXPECT_EQ(path(name), "") << name;
  }
  EXPECT_EQ(board_system("rm -r /tmp/absolute"), 0) << "the link itself";
  EXPECT_EQ(board_system("rm -r /tmp"), 0);
  EXPECT_EQ(outside.get("file"), "mine");
  EXPECT_EQ(entries(outside.path()), 1);
}

}  // namespace
