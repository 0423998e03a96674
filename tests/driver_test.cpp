// The driver's bus, flash and shell operations on a board whose accesses fail on command.
#include <numeric>

#include "driverutil.h"
#include "support/board_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;
using vboard::Op;

constexpr uint32_t kScratch = 0x300000;

class DriverTest : public BoardTest {
 protected:
  DriverTest() { driver.initialize(); }

  void configurationState(const std::string& text) { m_directory.put("root/sys/class/fpga/fpga_conf", text); }
  DriverUtil& driver = *DriverUtil::getInstance();
};

TEST_F(DriverTest, BusAccessIsTriedThreeTimes) {
  fail(Op::FpgaWrite, 2);
  EXPECT_EQ(driver.WriteFPGABusOneWord(kScratch, 0x5A), 0);
  EXPECT_THAT(did("fpga w"), ElementsAre("fpga w 0x00300000 1 5a failed -1", "fpga w 0x00300000 1 5a failed -1",
                                         "fpga w 0x00300000 1 5a"));
  fail(Op::FpgaRead, 2);
  uint8_t byte = 0;
  EXPECT_EQ(driver.ReadFPGABusOneWord(kScratch, &byte), 0);
  EXPECT_EQ(byte, 0x5A);
  fail(Op::FpgaRead, 3, 77);
  EXPECT_EQ(driver.ReadFPGABusOneWord(kScratch, &byte), -1);
  fail(Op::FpgaRead, 3);
  EXPECT_EQ(driver.FPGAC5_ReadOneWord(0, 0, kScratch), 0);
  EXPECT_EQ(driver.FPGAC5_ReadOneWord(0, 0, kScratch), 0x5A);
}

TEST_F(DriverTest, LatchFollowsTheConfigurationStateAfterThreeFailures) {
  const struct {
    const char* state;
    bool down;
  } cases[] = {{"1\n", false},   {"2", false},   {"0\n", true}, {" 0 \n", true}, {"", false},
               {"ready", false}, {"\n0", false}, {"-1", false}, {"0x", false}};
  for (const auto& row : cases) {
    for (const bool write : {true, false}) {
      configurationState(row.state);
      driver.clearFpgaDown();
      fail(write ? Op::FpgaWrite : Op::FpgaRead, 3);
      uint8_t byte = 0;
      EXPECT_EQ(write ? driver.WriteFPGABusOneWord(kScratch, 1) : driver.ReadFPGABusOneWord(kScratch, &byte), -1);
      EXPECT_EQ(driver.fpgaDown(), row.down) << row.state;
    }
  }
}

TEST_F(DriverTest, ClosedBusFailsWithoutAttemptOrLineUntilItIsCleared) {
  configurationState("0\n");
  fail(Op::FpgaWrite, 3);
  ASSERT_EQ(driver.WriteFPGABusOneWord(kScratch, 1), -1);
  configurationState("1\n");
  clearJournal();
  const std::string before = log();
  uint8_t block[2048] = {};
  EXPECT_EQ(driver.WriteFPGABusBlock(kScratch, block, 16), -1);
  EXPECT_EQ(driver.ReadFPGABusBlock(kScratch, block, 16), -1);
  EXPECT_EQ(driver.FPGAC5_WriteDataBlock(0, 0, kScratch, 2048, block), -1);
  EXPECT_EQ(driver.FPGAC5_ReadOneWord(0, 0, kScratch), 0);
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(log(), before);
  EXPECT_EQ(driver.WriteDataToFlash(0xC30000, 1, block), 0);  // the flash is another matter

  driver.clearFpgaDown();
  EXPECT_EQ(driver.WriteFPGABusBlock(kScratch, block, 16), 0);
}

TEST_F(DriverTest, BlocksGoInPiecesOf1024Bytes) {
  ByteVector data(2049);
  std::iota(data.begin(), data.end(), uint8_t{3});
  const auto pieces = [&](uint32_t length) {
    clearJournal();
    EXPECT_EQ(driver.FPGAC5_WriteDataBlock(1, 2, kScratch, length, data.data()), length == 0 ? -1 : 0) << length;
    return did("fpga w");
  };
  EXPECT_THAT(pieces(0), IsEmpty());
  EXPECT_THAT(pieces(2048), ElementsAre(StartsWith("fpga w 0x00300000 1024 "), StartsWith("fpga w 0x00300400 1024 ")));
  EXPECT_THAT(pieces(2049), ElementsAre(StartsWith("fpga w 0x00300000 1024 "), StartsWith("fpga w 0x00300400 1024 "),
                                        EndsWith("0x00300800 1 03")));
  EXPECT_EQ(fpga(kScratch, 2049), data);

  ByteVector back(2049);
  EXPECT_EQ(driver.FPGAC5_ReadDataBlock(1, 2, kScratch, 2049, back.data()), 0);
  EXPECT_EQ(back, data);
  EXPECT_EQ(driver.FPGAC5_ReadDataBlock(1, 2, kScratch, 0, back.data()), -1);
}

TEST_F(DriverTest, TransferEndsAtThePieceThatFails) {
  constexpr uint32_t kEnd = 0x10000000;
  ByteVector data(3 * 1024, 0x77);
  EXPECT_EQ(driver.FPGAC5_WriteDataBlock(0, 0, kEnd - 1024, 3 * 1024, data.data()), -1);
  EXPECT_THAT(did("fpga w"), SizeIs(1 + 3));  // the first, and three attempts at the second
  EXPECT_EQ(driver.FPGAC5_ReadDataBlock(0, 0, kEnd - 1024, 3 * 1024, data.data()), -1);
  clearJournal();  // what would wrap around to the first registers is not begun
  EXPECT_EQ(driver.FPGAC5_WriteDataBlock(0, 0, 0xFFFFFFFF, 2, data.data()), -1);
  EXPECT_THAT(did("fpga w"), IsEmpty());
}

TEST_F(DriverTest, LongestBlockIs65535Bytes) {
  ByteVector data(65536, 0x42);
  EXPECT_EQ(driver.WriteFPGABusBlock(kScratch, data.data(), 65536), -1);  // not the 0 bytes that 16 bits would hold
  EXPECT_EQ(driver.ReadFPGABusBlock(kScratch, data.data(), 65536), -1);
  EXPECT_EQ(driver.WriteFPGABusBlock(kScratch, nullptr, 1), -1);
  EXPECT_THAT(did("fpga w"), IsEmpty());
  EXPECT_EQ(driver.WriteFPGABusBlock(kScratch, data.data(), 65535), 0);
  EXPECT_EQ(fpga(kScratch, 65536), repeated(65535, 0x42) + bytes({0}));
}

TEST_F(DriverTest, FlashAccessIsTriedThreeTimesAndGivesTheLibrarysCode) {
  uint8_t data[4] = {1, 2, 3, 4};
  fail(Op::FlashWrite, 2, 9);
  EXPECT_EQ(driver.WriteDataToFlash(1, 0xC30000, 4, data), 0);
  EXPECT_EQ(flash(0xC30000, 4), bytes({1, 2, 3, 4}));
  fail(Op::FlashWrite, 3, 9);
  EXPECT_EQ(driver.PageProgram(1, 0xC30004, 4, data), 9);
  EXPECT_EQ(flash(0xC30004, 4), repeated(4, 0xFF));
  fail(Op::FlashRead, 2, 9);
  uint8_t back[4] = {};
  EXPECT_EQ(driver.ReadBytesFromFlash(0, 0xC30000, 4, back), 0);
  EXPECT_THAT(back, ElementsAre(1, 2, 3, 4));
  fail(Op::FlashRead, 3, 9);
  EXPECT_EQ(driver.ReadBytesFromFlash(0xC30000, 4, back), 9);
  EXPECT_NE(driver.WriteDataToFactoryTmpFlash(0x1000, 4, data), 0);  // there is no image that a reset prepares
  EXPECT_THAT(did("flash w "), SizeIs(3 + 3));
  EXPECT_FALSE(driver.fpgaDown());
}

TEST_F(DriverTest, CommandGivesItsFirstLine) {
  const struct {
    const char* output;
    int capacity;
    int result;
    const char* text;
  } cases[] = {{"one\ntwo\n", 16, 0, "one"}, {"windows\r\nx", 16, 0, "windows"}, {"\nsecond", 16, -1, "before"},
               {"\r\n", 16, -1, "before"},   {"too long", 4, 0, "too"},          {"x", 1, 0, ""}};
  for (const auto& row : cases) {
    m_directory.put("root/tmp/output", row.output);
    char result[16] = "before";
    EXPECT_EQ(driver.run_command_return_string("/bin/cat /tmp/output", result, row.capacity), row.result) << row.output;
    EXPECT_STREQ(result, row.text) << row.output;
  }

  m_directory.put("root/tmp/output", std::string(200, 'z'));
  char result[256];
  EXPECT_EQ(driver.run_command_return_string("/bin/cat /tmp/output", result, sizeof result), 0);
  EXPECT_EQ(std::string(result), std::string(63, 'z'));
  EXPECT_EQ(driver.run_command_return_string(nullptr, result, 16), -1);
  EXPECT_EQ(driver.run_command_return_string("/bin/cat /tmp/output", nullptr, 16), -1);
  EXPECT_EQ(driver.run_command_return_string("/bin/cat /tmp/output", result, 0), -1);
  fail(Op::Shell, 1);
  EXPECT_EQ(driver.run_command_return_string("/bin/cat /tmp/output", result, 16), -1);
}

}  // namespace
