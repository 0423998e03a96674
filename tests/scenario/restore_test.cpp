// What a start, a late FPGA, a reload and the first start after a factory reset bring back, and what they leave alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/sendparameter.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kNeverLoads = "journal = on\nfpga_load_ms = -1\n";
constexpr const char* kFinished = "============================== Finish Restore FPGA ==============================";

class RestoreTest : public ScenarioTest {
 protected:
  explicit RestoreTest(const std::string& config = kLoadsAtOnce) : ScenarioTest(config) {}
  // Puts the bytes into the stored feature block.
  void store(size_t offset, const ByteVector& bytes) {
    setFlash(static_cast<uint32_t>(flash::kFeature.address + offset), bytes);
  }
  // Starts with a cleared FPGA, as a power-on does.
  void powerOn() {
    monitor("reboot");
    waitReboot();
    ready();
  }
};

TEST_F(RestoreTest, BringsTheStoredStateBack) {
  ByteVector feature(512);
  for (size_t i = 0; i < feature.size(); ++i) feature[i] = static_cast<uint8_t>(i * 3 + 1);
  feature[0x23] = 0x21;
  feature[0x1F8] = 0;
  ByteVector positions(flash::kPosition.length);
  for (size_t i = 0; i < positions.size(); ++i) positions[i] = static_cast<uint8_t>(i * 5 + i / 256);
  ByteVector numbers(768);
  for (size_t i = 0; i < numbers.size(); ++i) numbers[i] = static_cast<uint8_t>(i * 11 + i / 256);
  store(0, feature);
  setFlash(flash::kPosition.address, positions);
  setFlash(flash::kNumber.address, numbers);
  setFlash(flash::kScreenRecord.address, fromHex("015500000000800040000203010600"));
  setFlash(flash::kShortcut.address, {0xB8});
  setFlash(flash::kScreenCounter.address, {9});
  powerOn();
  EXPECT_EQ(fpga(fpga::kPosition.address, positions.size()), positions);
  const auto part = [&](size_t from, size_t to) {
    return ByteVector(numbers.begin() + static_cast<long>(from), numbers.begin() + static_cast<long>(to));
  };
  EXPECT_EQ(fpga(0x500000, 128), part(0, 128));
  EXPECT_EQ(fpga(0x501000, 128), part(128, 256));
  EXPECT_EQ(fpga(0x500100, 256), part(256, 512));
  EXPECT_EQ(fpga(0x502000, 128), part(512, 640));
  EXPECT_EQ(fpga(0x503000, 128), ByteVector(128, 0)) << "the spare block is left alone";
  // The feature block from 0x18 to 0x1EF, but for the link bits, what the status registers say, and the output switch.
  ByteVector expected = feature;
  for (const size_t cleared : {0x1E, 0x1F, 0x9E, 0x9F, 0x120, 0x121, 0x126, 0x127, 0x1D7, 0x1DE, 0x1E0, 0x1E1}) {
    expected[cleared] = 0;
  }
  EXPECT_EQ(fpga(0x18, 472), ByteVector(expected.begin() + 0x18, expected.begin() + 0x1F0));
  EXPECT_EQ(askRead(0x02100000, 15).data, fromHex("015500000000800040000203010600"));
  EXPECT_EQ(askRead(0x02810000, 1).data, ByteVector{0xB8});
  EXPECT_EQ(flash(flash::kScreenCounter.address, 1), ByteVector{0});
}

TEST_F(RestoreTest, TheModeByteIsOneOfThree) {
  for (const auto& [stored, restored] : {std::pair{0x21, 0x21}, {0x10, 0x10}, {0x22, 0x20}}) {
    store(0x23, {static_cast<uint8_t>(stored)});
    restart();
    ready();
    EXPECT_EQ(fpga(0x23, 1), ByteVector{static_cast<uint8_t>(restored)});
  }
}

TEST_F(RestoreTest, DisplayOffsetsFollowTheirMode) {
  struct {
    uint8_t mode;
    int32_t x, y;  // of the display daemon
    ByteVector host;
    const char *atX, *signX, *atY, *signY;
  } cases[] = {{2, -5, 7, {}, "0500", "0000", "0700", "ffff"},
               {2, 70000, 0, {}, "0000", "0000", "0000", "0000"},  // refused: it does not fit
               {1, 9, 9, {1, 2, 3, 4}, "0102", "0000", "0304", "0000"},
               {0, 9, 9, {1, 2, 3, 4}, "0102", "0000", "0304", "0000"}};
  for (const auto& one : cases) {
    store(0x1F8, {one.mode});
    store(0x1F0, dword(static_cast<uint32_t>(one.x)) + dword(static_cast<uint32_t>(one.y)));
    store(0x28, one.host.empty() ? ByteVector(4, 0) : one.host);
    store(0x91, {0, 0});
    store(0xAC, {0, 0});
    powerOn();
    EXPECT_EQ(toHex(fpga(0x28, 2)), one.atX) << int{one.mode} << " " << one.x;
    EXPECT_EQ(toHex(fpga(0x91, 2)), one.signX) << int{one.mode} << " " << one.x;
    EXPECT_EQ(toHex(fpga(0x2A, 2)), one.atY) << int{one.mode} << " " << one.x;
    EXPECT_EQ(toHex(fpga(0xAC, 2)), one.signY) << int{one.mode} << " " << one.x;
  }
}

TEST_F(RestoreTest, AReloadCommandRestoresAgain) {
  setFpga(fpga::kPosition.address, ByteVector(16, 0xEE));
  EXPECT_EQ(askWrite(0x01000004, {1}), (Answer{0, 0, {}}));
  settle(100);
  EXPECT_EQ(fpga(fpga::kPosition.address, 16), ByteVector(16, 0));
  EXPECT_THAT(effects(), Contains("fpga w 0x000001de 1 00"));
}

TEST_F(RestoreTest, FailingFlashAndFpgaAreLoggedAndDoNotStopIt) {
  monitor("fail flash-read 1000");
  EXPECT_EQ(askWrite(0x01000004, {1}).ack, 0);
  ASSERT_TRUE(waitLogged("Info", kFinished, 3));
  monitor("fail flash-read 0");
  EXPECT_EQ(logged("Error", "=== BootRecover ===Can not read flash when get the PbufMorSMode in poweron! "), 1U);
  EXPECT_EQ(logged("Error", "=== BootRecover ===Can not read flash when get the ScreenParaReg[0x01] in poweron! "), 1U);
  monitor("fail fpga-write 1000");
  EXPECT_EQ(askWrite(0x01000004, {1}).ack, 0);
  ASSERT_TRUE(waitLogged("Info", kFinished, 4));
  monitor("fail fpga-write 0");
  EXPECT_EQ(askRead(0x02300000, 1).ack, 0);
}

class LateFpgaTest : public RestoreTest {
 protected:
  LateFpgaTest() : RestoreTest(kNeverLoads) {}
  void SetUp() override { DaemonTest::SetUp(); }
  // The lines of the journal that touch the FPGA.
  std::vector<std::string> fpgaWrites() {
    auto lines = journal();
    std::erase_if(lines, [](const std::string& line) { return line.rfind("fpga w", 0) != 0; });
    return lines;
  }
};

TEST_F(LateFpgaTest, NothingButTheReportRegistersIsWrittenBefore) {
  ASSERT_TRUE(waitLogged("Info", kFinished));
  settle(300);
  EXPECT_THAT(fpgaWrites(), ElementsAre("fpga w 0x00100071 4 04009001", "fpga w 0x00100070 1 00"));
  EXPECT_EQ(askRead(0x02300000, 1).ack, 0) << "requests are served";
  m_directory.put(kFpgaFlagFile, "");
  ASSERT_TRUE(waitLogged("Info", kFinished, 2));
  EXPECT_EQ(logged("Info", "----------------- receive file /etc/init.d/flag_fpgaload."), 1U);
  EXPECT_GT(fpgaWrites().size(), 40U);
}

TEST_F(LateFpgaTest, WritesFromBeforeAreNotLost) {
  EXPECT_EQ(askWrite(0x02000040, {0x11, 0x22}).ack, 0);
  EXPECT_EQ(askWrite(0x03000100, {0x33, 0x44}).ack, 0);
  EXPECT_EQ(askWrite(0x01000001, {1}).ack, 0) << "saved";
  settle(100);
  m_directory.put(kFpgaFlagFile, "");
  ready();
  EXPECT_EQ(fpga(0x40, 2), (ByteVector{0x11, 0x22}));
  EXPECT_EQ(fpga(0x600100, 2), (ByteVector{0x33, 0x44}));
}

TEST_F(LateFpgaTest, WhatIsReadOfAnEmptyFpgaReplacesNothingStored) {
  const ByteVector positions(flash::kPosition.length, 0x21);
  const ByteVector numbers(768, 0x22);
  const ByteVector feature(16, 0x23);
  setFlash(flash::kPosition.address, positions);
  setFlash(flash::kNumber.address, numbers);
  store(0x40, feature);
  restart();
  EXPECT_EQ(askRead(0x03000000, 40960).data, ByteVector(40960, 0)) << "it answers what is there";
  EXPECT_EQ(askRead(0x03100000, 768).data, ByteVector(768, 0));
  EXPECT_EQ(askRead(0x02000000, 512).ack, 0);
  EXPECT_EQ(askWrite(0x02000060, {1}).ack, 0) << "keeps the whole feature block";
  EXPECT_EQ(askWrite(0x01000001, {1}).ack, 0) << "saves all of it";
  settle(100);
  EXPECT_EQ(flash(flash::kPosition.address, flash::kPosition.length), positions);
  EXPECT_EQ(flash(flash::kNumber.address, 768), numbers);
  EXPECT_EQ(flash(flash::kFeature.address + 0x40, 16), feature);
}

TEST_F(LateFpgaTest, TheFirstStartAfterAResetWaitsForTheFpga) {
  monitor("env set firstboot 1");
  setFlash(flash::kScreenSize.address, dword(96) + dword(48));
  setFlash(flash::kScreenCounter.address, {7});
  restart();
  ASSERT_TRUE(waitLogged("Info", "=======Finish Restore FPGA When FirstBoot after ReturnFactory ============"));
  settle(200);
  EXPECT_EQ(monitorLine("env get firstboot"), "1") << "not done yet";
  EXPECT_EQ(flash(flash::kScreenCounter.address, 1), ByteVector{0});
  EXPECT_THAT(fpgaWrites(), Not(Contains(HasSubstr("0x00600000"))));
  BusClient screenDaemon(board(), kTaskQxt);
  m_directory.put(kFpgaFlagFile, "");
  ASSERT_TRUE(waitLogged("Info", "=======Finish Restore FPGA When FirstBoot after ReturnFactory ============", 2));
  EXPECT_THAT(reports(screenDaemon, 500),
              ::testing::AllOf(Contains("0x02000018 00000000"), Contains("0x02000098 00000000"),
                               Contains("0x02000100 0000000000000000"), Contains("0x14000000 02")));
  EXPECT_EQ(monitorLine("env get firstboot"), "0");
  // One card of the stored screen's size.
  EXPECT_EQ(fpga(sendpara::kScreenWidthEven, 4), word(96) + word(48));
  EXPECT_EQ(fpga(sendpara::portBlock(9), 4), word(96) + word(48));
  EXPECT_EQ(fpga(fpga::kPosition.address, flash::kPosition.length), ByteVector(flash::kPosition.length, 0));
  EXPECT_EQ(fpga(0x500000, 2), word(1));
  EXPECT_EQ(flash(flash::kScreenRecord.address, 15), fromHex("01550000000060003000010100") + word(1));
  restart();
  ready();
  EXPECT_EQ(logged("Info", "=======Reboot kadrend============"), 3U)
      << "the first start, and both restores of this one";
}

TEST_F(LateFpgaTest, AStoredSizeThatIsNoneLeavesTheCardsAsTheyAre) {
  monitor("env set firstboot 1");
  setFlash(flash::kScreenSize.address, dword(0) + dword(70000));
  m_directory.put(kFpgaFlagFile, "");
  restart();
  ready();
  EXPECT_EQ(fpga(sendpara::kScreenWidthEven, 4), word(128) + word(128));
  EXPECT_EQ(flash(flash::kScreenSize.address, 8), dword(128) + dword(128));
}

}  // namespace
}  // namespace testing_support
