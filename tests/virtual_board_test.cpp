// The virtual board: what it makes, what it refuses to open, and what survives the daemon.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

#include "boardaccess.h"
#include "boardhost.h"
#include "llinput.h"
#include "support/temporary_directory.h"
#include "support/waiting.h"
#include "sysconfenv.h"
#include "virtual/board.h"
#include "virtual/cards.h"
#include "virtual/files.h"
#include "virtual/inputs.h"
#include "virtual/lights.h"

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

// Runs `work` in a process of its own and answers how it ended. The work that returns is a process that exits with 0.
int inChild(const std::function<void()>& work) {
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    ::_exit(0);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

TEST(BoardConfig, NamesTheLineOfAnError) {
  const std::pair<const char*, const char*> cases[] = {
      {"colour = red", "line 1: unknown key \"colour\""},
      {"\n# x\njournal = maybe", "line 3: journal: \"maybe\""},
      {"journal = on\ncard_position = 256", "line 2: card_position"},
      {"card_position = -1", "line 1: card_position"},
      {"card_position = 1x", "line 1: card_position"},
      {"card_position =", "line 1: card_position"},
      {"fpga_load_ms = -2", "line 1: fpga_load_ms"},
      {"fpga_load_ms = 99999999999", "line 1: fpga_load_ms"},
      {"input 7 = dvi", "line 1: input"},
      {"input 0 = hdmi", "line 1: input 0: \"hdmi\""},
      {"input = dvi", "line 1: unknown key \"input\""},
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
      {"board.conf", "what = 1\n"}, {kFlash, "too short"}, {kFlash + "_factory", ""},
      {"clock", "tomorrow\n"},      {"light", "70000\n"},  {"inputs/edid1", "short"},
      {"root", "a file"},           {"bus", "a file"},     {"root/etc", "a file"},
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

TEST(Board, KeepsItsStateWhenTheDaemonIsKilled) {
  const TemporaryDirectory directory;
  constexpr uint8_t kBytes[] = {1, 2, 3};
  Edid edid;
  edid.fill(0xE1);
  const int status = inChild([&] {
    if (!openError(directory.path()).empty()) return;
    board().journal.setOn(true);
    const timeval set{4102444800, 0};
    sysconf_openenv();
    const int failures = Flash_Init() + WriteFPGABlock(1, 0x100, 3, kBytes) + board().fpga.write(0x1E, kBytes) +
                         WriteDataToFlashx(0xB98000, 3, kBytes) + sysconf_setenv("key", "a value") +
                         board_clock_set(&set) + board().inputs->setEdid(1, edid) + board().lights->setBoard(0x8123);
    if (failures == 0) ::raise(SIGKILL);
  });
  ASSERT_TRUE(WIFSIGNALED(status));
  ASSERT_EQ(openError(directory.path()), "");
  const auto holds = [&kBytes](const auto& memory, uint32_t address) {
    uint8_t read[3] = {};
    return memory.read(address, read) == 0 && std::equal(read, read + 3, kBytes);
  };
  EXPECT_TRUE(holds(board().fpga, 0x100));
  EXPECT_TRUE(holds(board().fpga, 0x1E));
  EXPECT_TRUE(holds(board().flash, 0xB98000));
  EXPECT_EQ(board().env.get("key"), "a value");
  EXPECT_NEAR(double(board().clock.nowUs()), 4102444800e6, 60e6);
  EXPECT_EQ(board().inputs->at(1)->edid, edid);
  EXPECT_EQ(board().lights->board(), 0x8123);
  EXPECT_THAT(board().journal.text(), HasSubstr("fpga w 0x00000100 3 010203\nflash w 0x00b98000 3 010203\n"));
  EXPECT_TRUE(board().journal.on()) << "a journal that was switched on goes on";
}

TEST(Power, ARebootTheDaemonDidNotLiveThroughIsFinished) {
  const TemporaryDirectory directory;
  const CardAddress card{CardKind::Receiving, 2, 0};
  const auto opened = [&](const std::function<bool()>& work) {
    return inChild([&] { ::_exit(openError(directory.path()).empty() && work() ? 0 : 1); }) == 0;
  };
  const auto byteOf = [](const auto& memory, auto address) {
    uint8_t byte = 1;
    return memory.read(address, {&byte, 1}) == 0 ? byte : -1;
  };
  const auto reboot = [&](const std::string& factoryImage) {
    directory.put(kFlag, "");
    directory.put("rebooting", "");
    directory.put(kFlash + "_factory_tmp", factoryImage);
  };
  directory.put("board.conf", "fpga_load_ms = -1\n");
  ASSERT_TRUE(opened([&] {
    const uint8_t data[] = {7};
    return board().fpga.write(0, data) + board().cards->setChain(2, 1, 8, 8) + board().cards->write(card, 1, data) +
               board().flash.write(1, data) + board().env.set("firstboot", "1") ==
           0;
  }));
  std::string image = directory.get(kFlash + "_factory");
  image[0] = 0x5A;
  reboot(image);
  EXPECT_TRUE(opened([&] {
    uint8_t kept = 1;
    return byteOf(board().fpga, 0U) == 0 && byteOf(board().flash, 0U) == 0x5A && byteOf(board().flash, 1U) == 0 &&
           board().cards->read(card, 1, {&kept, 1}) == 0 && kept == 0 && byteOf(board().fpga, 0x1FU) == 4 &&
           board().env.get("firstboot") == "1";
  })) << "the swapped image is in use; chains, links and the environment stay";
  for (const std::string& left : {kFlag, kFlash + "_factory_tmp", std::string("rebooting")})
    EXPECT_FALSE(fs::exists(directory.path() / left)) << left;
  reboot("half");
  EXPECT_TRUE(opened([&] { return byteOf(board().flash, 0U) == 0x5A; })) << "half an image is none";
}

}  // namespace
