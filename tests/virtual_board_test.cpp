// The virtual board: what it makes, and what it refuses to open.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/temporary_directory.h"
#include "support/waiting.h"
#include "virtual/board.h"
#include "virtual/files.h"

namespace {

using namespace vboard;
using testing::HasSubstr;
using testing_support::TemporaryDirectory;
namespace fs = std::filesystem;

const std::string kFlash = "root/data/tirk/etc/sysconf/pmxpara";
const std::string kFlag = "root/etc/init.d/flag_fpgaload";

std::string openError(const fs::path& directory) {
  std::string error;
  return openBoard(directory.string(), error) == 0 ? "" : error;
}

TEST(BoardConfig, NamesTheLineOfAnError) {
  const std::pair<const char*, const char*> cases[] = {
      {"colour = red", "line 1: unknown key \"colour\""},
      {"\n# x\njournal = maybe", "line 3: journal: \"maybe\""},
      {"journal = on\ncard_position = 256", "line 2: card_position"},
      {"card_position =", "line 1: card_position"},
      {"fpga_load_ms = -2", "line 1: fpga_load_ms"},
      {"input 7 = dvi", "line 1: input"},
      {"input 0 = hdmi", "line 1: input 0: \"hdmi\""},
      {"journal", "line 1: \"journal\" is not \"key = value\""},
  };
  for (const auto& [text, message] : cases) {
    std::string error;
    EXPECT_FALSE(parseConfig(text, error)) << text;
    EXPECT_THAT(error, HasSubstr(message));
  }
}

TEST(NewBoard, IsAnEmptyPrivateDevice) {
  const TemporaryDirectory directory;
  ASSERT_EQ(openError(directory.path() / "made/for/it"), "");
  const fs::path board = directory.path() / "made/for/it";

  for (const auto& entry : fs::recursive_directory_iterator(board)) {
    struct stat info = {};
    ASSERT_EQ(::lstat(entry.path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, S_ISDIR(info.st_mode) ? 0700u : 0600u) << entry.path();
  }
  std::string image(32U << 20, '\xFF');
  const std::pair<size_t, size_t> zero[] = {{0x000000, 0x00FFFF}, {0x200000, 0x200FFF}, {0xA01000, 0xA010FF},
                                            {0xA3B000, 0xA61FFF}, {0xB8B000, 0xB8CFFF}, {0xB98000, 0xB99FFF},
                                            {0xC20000, 0xC21FFF}, {0xD14000, 0xD17FFF}};
  for (const auto& [first, last] : zero) std::fill(image.begin() + long(first), image.begin() + long(last) + 1, '\0');
  EXPECT_TRUE(readFile(board / kFlash) == image);
  EXPECT_TRUE(readFile(board / (kFlash + "_factory")) == image);
  EXPECT_FALSE(fs::exists(board / (kFlash + "_factory_tmp")));
  EXPECT_EQ(fs::file_size(board / "fpga"), 256U << 20);
  EXPECT_EQ(readFile(board / "root/data/tirk/etc/sysconf/env"),
            "firstboot=0\nver_rootfs=V1.0.B1\ndevice_modelid=5001\n");
  EXPECT_EQ(readFile(board / "root/sys/class/fpga/fpga_conf").value_or("").substr(0, 1), "1");
  EXPECT_TRUE(testing_support::waitUntil([&] { return fs::exists(board / kFlag); }));
}

TEST(Board, IsOpenedByOneDaemonOnly) {
  const TemporaryDirectory directory;
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t first = ::fork();
  if (first == 0) {
    const char good = openError(directory.path()).empty() ? 'y' : 'n';
    if (::write(ready[1], &good, 1) == 1) ::pause();
    ::_exit(1);
  }
  char good = 0;
  ASSERT_EQ(::read(ready[0], &good, 1), 1);
  ASSERT_EQ(good, 'y');
  EXPECT_THAT(openError(directory.path()), HasSubstr("another daemon"));
  ::kill(first, SIGKILL);
  ::waitpid(first, nullptr, 0);
  EXPECT_EQ(openError(directory.path()), "");
  EXPECT_NE(openError(directory.path() / "other"), "") << "a process has one board";
}

TEST(Board, IsNotOpenedWhenSomethingIsWrong) {
  const std::pair<std::string, std::string> cases[] = {
      {"board.conf", "what = 1\n"}, {kFlash, "too short"},
      {kFlash + "_factory", ""},    {"clock", "tomorrow\n"},
      {"light", "70000\n"},         {"inputs/edid1", "short"},
      {"root", "a file"},           {"bus", "a file"},
      {"root/etc", "a file"},       {"clock", "9223372036854775807\n"},
  };
  for (const auto& [file, text] : cases) {
    const TemporaryDirectory directory;
    directory.put(file, text);
    EXPECT_THAT(openError(directory.path()), HasSubstr(fs::path(file).filename().string())) << file;
    EXPECT_EQ(directory.get(file), text) << "what is there stays as it is";
  }
  const TemporaryDirectory directory;
  directory.put("file", "");
  EXPECT_THAT(openError(directory.path() / "file"), HasSubstr("Not a directory"));
  directory.put("fpga", "");
  fs::resize_file(directory.path() / "fpga", (256U << 20) + 1);
  EXPECT_THAT(openError(directory.path()), HasSubstr("\"fpga\""));
}

TEST(Board, DoesNotFollowLinksOutOfItsDirectory) {
  const TemporaryDirectory outside;
  outside.put("env", "mine=1\n");
  const std::pair<const char*, const char*> links[] = {
      {"root", ""}, {"root/data/tirk/etc/sysconf", ""}, {"clock", "env"}};
  for (const auto& [link, target] : links) {
    const TemporaryDirectory directory;
    fs::create_directories((directory.path() / link).parent_path());
    fs::create_symlink(outside.path() / target, directory.path() / link);
    EXPECT_NE(openError(directory.path()), "") << link;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(outside.path()), fs::directory_iterator()), 1);
  EXPECT_EQ(outside.get("env"), "mine=1\n");
}

}  // namespace
