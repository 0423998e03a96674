// The shell commands of the virtual board, its paths, and the reboot.
#include <sys/stat.h>

#include <filesystem>

#include "boardaccess.h"
#include "boardhost.h"
#include "support/board_fixture.h"
#include "virtual/cards.h"

namespace {

using namespace testing_support;
using testing::ElementsAre;
using testing::HasSubstr;
using vboard::board;
using vboard::Op;
namespace fs = std::filesystem;

constexpr int kRefused = 127;

class VirtualShell : public BoardTest {
 protected:
  fs::path root() const { return m_directory.path() / "root"; }
  std::string file(const std::string& path) const { return m_directory.get("root" + path); }
  static std::string path(const char* devicePath) {
    char out[256];
    return board_path(devicePath, out, sizeof out) == 0 ? out : "";
  }
  // How many files and directories there are.
  static long entries(const fs::path& directory) {
    return std::distance(fs::recursive_directory_iterator(directory), fs::recursive_directory_iterator());
  }
};

TEST_F(VirtualShell, CarriesOutItsCommands) {
  EXPECT_EQ(board_system("mkdir -p /tmp/kadrend/deep/er"), 0);
  EXPECT_EQ(board_system("mkdir -p /tmp/kadrend"), 0) << "it may be there";
  EXPECT_TRUE(fs::is_directory(root() / "tmp/kadrend/deep/er"));
  EXPECT_EQ(board_system("echo \"Point:7 ,use adddr:0x1ec, wide:0 high:0, description:a; b > c\" >> /root/x.txt"), 0);
  EXPECT_EQ(board_system("echo \"\" >> /root/x.txt"), 0);
  EXPECT_EQ(file("/root/x.txt"), "Point:7 ,use adddr:0x1ec, wide:0 high:0, description:a; b > c\n\n");
  EXPECT_EQ(board_system("cp /root/x.txt /tmp/kadrend"), 0);
  EXPECT_EQ(board_system("cp /root/x.txt /tmp/y.txt"), 0);
  EXPECT_EQ(file("/tmp/kadrend/x.txt"), file("/root/x.txt"));
  EXPECT_EQ(file("/tmp/y.txt"), file("/root/x.txt"));
  EXPECT_EQ(board_system("rm -r /tmp/kadrend"), 0);
  EXPECT_FALSE(fs::exists(root() / "tmp/kadrend"));
  EXPECT_EQ(board_system("sysconfig set firstboot 1"), 0);
  EXPECT_EQ(board_system("/usr/pmx100/bin/fw_setenv ethaddr 00:0a:ff:01:02:03"), 0);
  EXPECT_EQ(env("firstboot") + env("ethaddr"), "100:0a:ff:01:02:03");
  EXPECT_EQ(board_system("fpga w s 0x1eb 0x5A"), 0);
  EXPECT_EQ(board_system("fpga w s 0x1e 0xFF"), 0);
  EXPECT_EQ(fpga(0x1EB, 1), bytes({0x5A}));
  EXPECT_EQ(fpga(0x1E, 1), bytes({0})) << "a status register";
  for (const char* command : {"sync", "killall frelld", "hwclock -w --localtime"}) {
    EXPECT_EQ(board_system(command), 0) << command;
  }
}

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
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("refused: poweroff"));
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
