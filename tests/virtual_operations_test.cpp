// The virtual board's operations as the daemon calls them: registers, flash, stores, inputs, clock, faults, journal.
#include <gmock/gmock.h>

#include <ctime>
#include <thread>

#include "boardaccess.h"
#include "boardhost.h"
#include "llinput.h"
#include "netinfo.h"
#include "stinfo.h"
#include "support/board_fixture.h"
#include "sysconfenv.h"
#include "virtual/inputs.h"
#include "virtual/lights.h"

namespace {

using namespace testing_support;
using testing::ElementsAre;
using vboard::board;
using vboard::Op;

class VirtualOperations : public BoardTest {
 protected:
  VirtualOperations() : BoardTest("journal = on\nfpga_load_ms = -1\ninput 5 = vga\ninput 2 = hdmi14\n") {}
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

TEST_F(VirtualOperations, EnvironmentTextsCannotBreakTheStore) {
  setEnv("empty", "");
  setEnv("a", "b=c = d");
  setEnv("empt", "x");
  EXPECT_EQ(env("a"), "b=c = d");
  for (const auto& [key, value] : {std::pair{"a", "1\nb=2"}, {"a=b", "2"}, {"", "2"}}) {
    EXPECT_EQ(board().env.set(key, value), -1) << key;
  }
  EXPECT_EQ(board().env.unset("missing"), -1);
  EXPECT_EQ(board().env.unset("empty"), 0);
  EXPECT_EQ(m_directory.get("root/data/tirk/etc/sysconf/env"),
            "firstboot=0\nver_rootfs=V1.0.B1\ndevice_modelid=5001\na=b=c = d\nempt=x\n");
}

TEST_F(VirtualOperations, InputsAreFoundInTheOrderOfTheirSlots) {
  ASSERT_EQ(ll_initial(), 0);
  std::vector<en_if_t> types;
  std::vector<uint32_t> ids;
  for (uint32_t object = ll_find_input_next(0); object != 0; object = ll_find_input_next(object)) {
    uint32_t id = 0, capability = 0;
    en_if_t type = EN_IF_T_DVI;
    ASSERT_NE(ll_find_input_filter_all(object, &id), 0);
    ASSERT_EQ(ll_get_input_info(id, &type, &capability), 0);
    types.push_back(type);
    ids.push_back(id);
  }
  EXPECT_THAT(types, ElementsAre(EN_IF_T_HDMI14, EN_IF_T_VGA));
  uint32_t capability = 0;
  en_if_t type = EN_IF_T_DVI;
  EXPECT_NE(ll_get_input_info(ids[0] + 1, &type, &capability), 0) << "an empty slot";

  ByteVector edid = repeated(256, 0xED), back = repeated(256, 0);
  EXPECT_NE(ll_input_get_edid(ids[0], back.data(), 256), 0) << "none was loaded";
  EXPECT_NE(ll_input_set_edid(ids[0], edid.data(), 128), 0);
  ASSERT_EQ(ll_input_set_edid(ids[0], edid.data(), 256), 0);
  ASSERT_EQ(ll_input_get_edid(ids[0], back.data(), 200), 0);
  EXPECT_TRUE(std::equal(edid.begin(), edid.begin() + 200, back.begin()));
  EXPECT_EQ(back[200], 0) << "not more than was asked for";
  EXPECT_NE(ll_input_get_edid(ids[1], back.data(), 256), 0);

  EXPECT_EQ(board().inputs->text(2), "hdmi14 " + std::to_string(ids[0]) + "\n" + toHex(edid));
  EXPECT_EQ(board().inputs->text(5), "vga " + std::to_string(ids[1]));
  EXPECT_EQ(board().inputs->text(0), "none");
}

TEST_F(VirtualOperations, TheClockRunsFromTheMachinesWithAnOffset) {
  setZone("UTC0");
  constexpr timeval set{1930089480, 250000};  // 2031-02-28 23:58
  const time_t machine = ::time(nullptr);
  ASSERT_EQ(board_clock_set(&set), 0);
  EXPECT_LE(std::abs(::time(nullptr) - machine), 60) << "the machine's clock is left alone";
  char ymd[32], hms[32];
  ASSERT_EQ(sysconf_get_date_ymd(ymd), 0);
  ASSERT_EQ(sysconf_get_date_hms(hms), 0);
  EXPECT_STREQ(ymd, "2031-02-28");
  EXPECT_EQ(std::string(hms).substr(0, 4), "23:5");
  for (const timeval& wrong : {timeval{-1, 0}, timeval{0, 1000000}, timeval{0, -1}, timeval{400000000000, 0}}) {
    EXPECT_EQ(board_clock_set(&wrong), -1) << wrong.tv_sec;
  }
  EXPECT_EQ(journalLines()[0], "clock set 2031-02-28 23:58:00");
}

TEST_F(VirtualOperations, TheJournalTellsEachOperationInItsOrder) {
  const ByteVector long64 = repeated(64, 0xAB), long65 = repeated(65, 0xAB);
  const std::string hex64 = toHex(long64);
  clearJournal();
  writeFpga(0x1E, bytes({0x0A, 0xFF}));
  writeFlash(0xB98000, long64);
  fail(Op::FlashWrite, 2, -5);
  writeFlash(0xB98000, long65);
  writeFlash(0xB98000, long65);
  writeFlash(0xB98000, long65);
  const uint8_t factory[] = {1};
  WriteDataToFactoryTmpFlashx(2, 1, factory);
  sysconf_openenv();
  sysconf_setenv("device_sn", "0123");
  sysconf_closeenv();
  board_system("sysconfig set boot_screen 0");
  board_system("hwclock -w --localtime");
  fail(Op::Shell, 1, 4);
  board_system("sync");
  ll_input_set_edid(board().inputs->at(5)->id, long64.data(), 64);
  netinfo_set_eth_mode(0);
  netinfo_set_curr_ip("192.168.0.10", "255.255.255.0", "192.168.0.1");
  st_info_op(1, 0x1D8, 1, factory);
  uint8_t read[4];
  ReadFPGABlock(1, 0, 4, read);
  ReadDataFromFlashx(0, 4, read);
  EXPECT_THAT(
      journalLines(),
      ElementsAre("fpga w 0x0000001e 2 0aff", "flash w 0x00b98000 64 " + hex64,
                  "flash w 0x00b98000 65 " + hex64 + "... failed -5",
                  "flash w 0x00b98000 65 " + hex64 + "... failed -5", "flash w 0x00b98000 65 " + hex64 + "...",
                  "factory w 0x00000002 1 01 failed -1", "env set device_sn 0123", "sh sysconfig set boot_screen 0",
                  "sh hwclock -w --localtime", "sh sync failed 4", "edid w 5 " + hex64 + " failed -1", "net mode 0",
                  "net ip 192.168.0.10 255.255.255.0 192.168.0.1", "status 0x000001d8 01"));
  EXPECT_EQ(env("ipaddr"), "192.168.0.10");
  EXPECT_EQ(env("gatewayip"), "192.168.0.1");
  board().journal.setOn(false);
  clearJournal();
  writeFpga(0, bytes({1}));
  EXPECT_EQ(journal(), "");
}

TEST_F(VirtualOperations, WritersAtOnceLoseNothingAndTheirLinesStandInOrder) {
  constexpr int kWriters = 4, kWrites = 50;
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([w] {
      ASSERT_EQ(sysconf_openenv(), 0);
      for (int i = 0; i < kWrites; ++i) {
        writeFpga(0x40, bytes({w, i}));
        ASSERT_EQ(sysconf_setenv(("writer" + std::to_string(w)).c_str(), std::to_string(i).c_str()), 0);
      }
      sysconf_closeenv();
    });
  }
  for (std::thread& writer : writers) writer.join();
  for (int w = 0; w < kWriters; ++w) EXPECT_EQ(env("writer" + std::to_string(w)), std::to_string(kWrites - 1));
  const auto lines = did("fpga w ");
  ASSERT_EQ(lines.size(), size_t{kWriters * kWrites});
  EXPECT_EQ(lines.back(), "fpga w 0x00000040 2 " + toHex(fpga(0x40, 2)));
}

TEST_F(VirtualOperations, FaultsHitTheDaemonsCallsOnlyAndRunOut) {
  uint8_t out[1] = {};
  fail(Op::FpgaRead, 2, -7);
  EXPECT_EQ(fpga(0, 1), bytes({0})) << "the back door knows no faults";
  for (const int result : {-7, -7, 0}) EXPECT_EQ(ReadFPGABlock(1, 0, 1, out), result);
  fail(Op::FpgaWrite, 1);
  EXPECT_EQ(writeFpga(0, bytes({1})), -1);
  EXPECT_EQ(fpga(0, 1), bytes({0}));
  ASSERT_EQ(sysconf_openenv(), 0);
  fail(Op::EnvGet, 1);
  EXPECT_EQ(sysconf_getenv("firstboot"), nullptr);
  EXPECT_STREQ(sysconf_getenv("firstboot"), "0");
  fail(Op::EnvSet, 5, -2);
  fail(Op::EnvSet, 0);
  EXPECT_EQ(sysconf_setenv("firstboot", "1"), 0);
  sysconf_closeenv();
}

}  // namespace
