// What the virtual board's shell refuses, and that neither it nor a path leaves the board's root.
#include <filesystem>

#include "boardaccess.h"
#include "boardhost.h"
#include "support/board_fixture.h"

namespace {

using namespace testing_support;
using testing::HasSubstr;
namespace fs = std::filesystem;

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
