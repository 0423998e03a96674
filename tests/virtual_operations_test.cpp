// The virtual board's operations as the daemon calls them: registers, flash and stores.
#include <thread>

#include "boardaccess.h"
#include "support/board_fixture.h"
#include "sysconfenv.h"

namespace {

using namespace testing_support;
using vboard::board;
using vboard::Op;

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

}  // namespace
