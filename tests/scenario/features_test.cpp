// The feature block: what a read refreshes and hides, and every side effect of a write, in its order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "proto/flashmap.h"
#include "proto/sendparameter.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr const char* kImage = "flash w 0x00a3b100 512 ";

class FeaturesTest : public ScenarioTest {
 protected:
  static constexpr uint32_t at(size_t offset) { return static_cast<uint32_t>(sendpara::kRegisterBase + offset); }
  // Writes, waits until it is applied, and tells what was done.
  std::vector<std::string> apply(size_t offset, const ByteVector& data) {
    EXPECT_EQ(askWrite(at(offset), data), (Answer{0, 0, {}})) << offset;
    settle(60);
    return effects();
  }
  void setSize(uint16_t width, uint16_t height) {
    apply(sendpara::kScreenWidthEven, word(width) + word(height));
    apply(sendpara::kScreenWidthExact, word(width));
    apply(sendpara::kScreenWidth, word(width) + word(height));
  }
  ByteVector block(size_t offset, uint16_t length) { return askRead(at(offset), length).data; }
};

TEST_F(FeaturesTest, AReadHidesRefreshesAndTellsTheTime) {
  monitor("clock set 2026-11-16 13:45:59");
  ByteVector bus(20);
  for (size_t i = 0; i < bus.size(); ++i) bus[i] = static_cast<uint8_t>(0x10 + i);
  setFpga(480, bus);
  const auto all = block(0, 512);
  ASSERT_EQ(all.size(), 512U);
  EXPECT_EQ(ByteVector(all.begin() + 1, all.begin() + 11), ByteVector(10, 0xFF));
  EXPECT_EQ(ByteVector(all.begin() + 13, all.begin() + 15), ByteVector(2, 0xFF));
  EXPECT_THAT(toHex(Bytes(all).subspan(17, 6)), ::testing::AnyOf("261116134559", "261116134600"));
  EXPECT_EQ(block(480, 20), (ByteVector(bus.begin(), bus.begin() + 16) + ByteVector(4, 0)))
      << "the bus up to 0x1EF, the block's own from there";
  setFpga(480, ByteVector(16, 0x77));
  EXPECT_EQ(block(480, 16), ByteVector(bus.begin(), bus.begin() + 16))
      << "a read that ends before 0x1F0 is from the mirror";
  EXPECT_EQ(block(480, 17)[0], 0x77);
}

TEST_F(FeaturesTest, TheLightSensorIsAskedByAReadOfItsTwoBytes) {
  monitor("light board 0x1234");
  EXPECT_EQ(block(15, 2), (ByteVector{0x34, 0x12}));
  monitor("light board 0x5678");
  EXPECT_EQ(block(15, 1), ByteVector{0x34}) << "kept in the block";
  monitor("light board fail");
  EXPECT_EQ(askRead(at(15), 2), (Answer{0, 0, {0, 0}}));
  EXPECT_EQ(logged("Error", "=====find senior error====="), 1U);
}

TEST_F(FeaturesTest, FiberLinksAreMergedIntoTheCopperBits) {
  monitor("link fiber1 0x4021");
  monitor("link fiber2 0x0800");
  settle(450);
  EXPECT_EQ(block(31, 1), ByteVector{0x01});
  EXPECT_EQ(block(159, 1), ByteVector{0x02});
  EXPECT_EQ(block(294, 2), (ByteVector{0x08, 0x04}));
}

TEST_F(FeaturesTest, TheSpecialReadAnswersOneZero) {
  apply(0x4B, {0x99});
  EXPECT_EQ(askRead(at(0x4B), 1), (Answer{0, 0, {0}}));
  EXPECT_EQ(logged("Info", "Sending 0x0200_004B information to DWT when reading feature information."), 1U);
  EXPECT_EQ(askRead(at(0x4B), 2), (Answer{0, 0, {0x99, 0}}));
}

TEST_F(FeaturesTest, APlainWriteGoesToTheBusAndTheWholeBlockToTheFlash) {
  EXPECT_THAT(apply(0x40, {0x11, 0x22}), ElementsAre("fpga w 0x00000040 2 1122", StartsWith(kImage)));
  EXPECT_EQ(logged("Info",
                   "========addr > 0x1EF || (addr + len ) <0x1EC ....OR.... addr > 0x24 || (addr + len ) <0x27  "
                   "not set ScreenSize !!!!"),
            1U);
  EXPECT_EQ(flash(flash::kFeature.address + 0x40, 2), (ByteVector{0x11, 0x22}));
  EXPECT_THAT(apply(0x1F0, {1, 2}), ElementsAre(StartsWith(kImage))) << "no bus behind 0x1EF";
}

TEST_F(FeaturesTest, PowerOnTimeSetsTheBootScreen) {
  struct {
    uint8_t value;
    const char* command;
  } times[] = {{0x00, "0"}, {0x23, "0"}, {0x24, "1"}, {0x30, "13"}, {0xFF, "220"}};
  for (const auto& time : times) {
    EXPECT_THAT(apply(0x21, {time.value}), Contains(std::string("sh sysconfig set boot_screen ") + time.command));
  }
  EXPECT_THAT(apply(0x21, {0x30, 0}), ::testing::Not(Contains(StartsWith("sh sysconfig")))) << "alone only";
}

TEST_F(FeaturesTest, TheScreenSizeIsStoredWhereverItIsWritten) {
  EXPECT_THAT(apply(0x24, word(1920) + word(1080)),
              ElementsAre("fpga w 0x00000024 4 80073804", "fpga w 0x000001ec 4 00000000", StartsWith(kImage)))
      << "cleared, and a width of 0 is not stored";
  EXPECT_EQ(logged("Error", "a screen size of 0 is not stored"), 1U);
  EXPECT_THAT(apply(0x2C, word(1919)), ElementsAre("fpga w 0x0000002c 2 7f07", "flash w 0x00c20000 8 7f07000038040000",
                                                   "flash w 0x00d17000 1 01", StartsWith(kImage)));
  EXPECT_EQ(block(0x1EC, 4), word(1919) + word(0));
  EXPECT_THAT(apply(0x1EC, word(1600) + word(900)),
              ElementsAre("fpga w 0x000001ec 4 40068403", "flash w 0x00c20000 8 4006000084030000",
                          "flash w 0x00d17000 1 02", StartsWith(kImage)));
  EXPECT_EQ(logged("Info", "========Set ScreenSize = 1600 x 900"), 1U);
}

TEST_F(FeaturesTest, EnteringBypassTakesTheOffsetsOffTheSize) {
  setSize(1920, 1080);
  apply(0x28, word(100) + word(0));
  EXPECT_THAT(apply(0x1F8, {0xA5}),
              ElementsAre("fpga w 0x00000091 2 0000", "fpga w 0x000000ac 2 0000", "fpga w 0x00000028 4 64000000",
                          StartsWith(kImage), "fpga w 0x00000028 4 00000000", "fpga w 0x000001ec 4 1c073804",
                          "flash w 0x00c20000 8 1c07000038040000", StartsWith("flash w 0x00d17000 1 ")));
  EXPECT_EQ(flash(flash::kFeature.address + 0x1F8, 1), ByteVector{1});
  EXPECT_EQ(flash(flash::kFeature.address + 0x28, 4), ByteVector(4, 0));
}

TEST_F(FeaturesTest, BypassOffsetsAreReportedButToWhoSetsThem) {
  BusClient screenDaemon(board(), kTaskQxt);
  reports(screenDaemon, 500);
  apply(0x28, word(10) + word(20));
  EXPECT_THAT(reports(screenDaemon, 200), IsEmpty()) << "not in bypass mode";
  apply(0x1F8, {0xA5});
  EXPECT_THAT(apply(0x28, word(10) + word(20)),
              ElementsAre(StartsWith("ipc s 0x010a3900 "), "fpga w 0x00000028 4 0a001400", "fpga w 0x00000091 2 0000",
                          "fpga w 0x000000ac 2 0000", StartsWith(kImage)));
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x020001f0 f6ffffffecffffff"));
  apply(0x2A, word(30));
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x020001f0 f6ffffffe2ffffff"));
  apply(0x28, word(40));
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x020001f0 d8ffffffe2ffffff"));
  const auto request = BusClient::request(kCodeWrite, at(0x28), 4, word(1) + word(2), {});
  EXPECT_EQ(ask(screenDaemon, request).ack, 0);
  settle(60);
  EXPECT_THAT(reports(screenDaemon, 200), IsEmpty());
  EXPECT_EQ(flash(flash::kFeature.address + 0x1F0, 8), dword(0xFFFFFFFF) + dword(0xFFFFFFFE)) << "stored all the same";
}

TEST_F(FeaturesTest, OffsetsOfTheDisplayDaemonGrowTheScreen) {
  setSize(1920, 1080);
  EXPECT_THAT(apply(0x1F0, dword(static_cast<uint32_t>(-100)) + dword(40)), ElementsAre(StartsWith(kImage)))
      << "in the normal mode they are stored only";
  apply(0x1F8, {0xA5});
  EXPECT_THAT(apply(0x1F0, dword(static_cast<uint32_t>(-100)) + dword(40)),
              ElementsAre("fpga w 0x00000028 2 6400", "fpga w 0x00000091 2 0000", "fpga w 0x0000002a 2 2800",
                          "fpga w 0x000000ac 2 ffff", StartsWith(kImage)));
  EXPECT_EQ(flash(flash::kFeature.address + 0x1EC, 4), word(2020) + word(1080));
  EXPECT_EQ(flash(flash::kFeature.address + 0x1F8, 1), ByteVector{2});
  EXPECT_EQ(askRead(0x02100000, 6).data, (ByteVector{3, 0, 100, 0, 0, 0}));
}

TEST_F(FeaturesTest, TheRoleReachesEveryPortAndIsKept) {
  setFlash(flash::kRoleRecord.address, {1, 2, 3, 4});
  std::vector<std::string> expected = {"fpga w 0x0000009d 1 a5", "flash w 0x00a60010 1 01"};
  for (const char* port : {"0", "1", "2", "3"}) {
    const char last = port[0];
    for (const char* base : {"0000001", "0000009", "0000010", "0000010"}) {
      const size_t n = expected.size() % 4;  // two lines came before
      char digit = last;
      if (n == 2 || n == 3) digit = static_cast<char>(last == '0' ? '8' : last == '1' ? '9' : last == '2' ? 'a' : 'b');
      if (n == 1) digit = static_cast<char>(last + 4);
      expected.push_back(std::string("fpga w 0x") + base + digit + " 1 80");
    }
  }
  for (const char* line :
       {"flash w 0x00a3b118 4 80808080", "flash w 0x00a3b198 4 80808080", "flash w 0x00a3b200 8 8080808080808080",
        "flash w 0x00a3b19d 1 a5", "flash w 0x00c95000 4 00000000"}) {
    expected.push_back(line);
  }
  auto done = apply(0x9D, {0xA5});
  std::erase_if(done, [](const std::string& line) { return line.rfind("ipc s", 0) == 0; });  // the cycle saw the roles
  ASSERT_EQ(done.size(), expected.size() + 1);
  EXPECT_THAT(done.back(), StartsWith(kImage));
  done.pop_back();
  EXPECT_EQ(done, expected);
  setFlash(flash::kRoleRecord.address, {1, 2, 3, 4});
  apply(0x9D, {0x00});
  EXPECT_EQ(flash(flash::kRoleRecord.address, 4), (ByteVector{1, 2, 3, 4})) << "another value clears nothing";
  EXPECT_EQ(fpga(0x18, 4) + fpga(0x98, 4) + fpga(0x100, 8), ByteVector(16, 0));
  apply(0x9D, {0xA5});
  restart();
  ready();
  EXPECT_EQ(fpga(0x100, 8), ByteVector(8, 0x80));
}

TEST_F(FeaturesTest, SwitchesAreReportedStoredAndKept) {
  BusClient screenDaemon(board(), kTaskQxt);
  reports(screenDaemon, 500);
  apply(0x4A, {1, 2});
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x0200004a 01"));
  apply(0x9C, {1, 2});
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x0200009c 0102"));
  apply(0x74, {1});
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x02000074 01"));
  EXPECT_THAT(apply(0x1D8, {1}), ElementsAre("fpga w 0x000001d8 1 01", "status 0x020001d8 01",
                                             "flash w 0x00a3b2d8 1 01", StartsWith(kImage)));
  EXPECT_THAT(apply(0xD4, {1}), ElementsAre("fpga w 0x000000d4 1 01", StartsWith(kImage), "sh sync"));
  EXPECT_EQ(logged("Info", "============================ system SYNC =============================="), 1U);
}

TEST_F(FeaturesTest, LowDelayNeedsTheGeneratorOffInBypassMode) {
  apply(0x1F8, {0xA5});
  EXPECT_THAT(apply(0x74, {1}), IsEmpty());
  EXPECT_EQ(block(0x74, 1), ByteVector{0});
  EXPECT_EQ(logged("Error", "======= bypass Mode and want open  LowdelayDisable, fail! close!! ====== Gen:"), 1U);
  setFlash(flash::k3DSwitch.address, {0x28});
  EXPECT_THAT(apply(0x74, {1}), Contains("fpga w 0x00000074 1 01"));
  EXPECT_EQ(block(0x74, 1), ByteVector{1});
}

TEST_F(FeaturesTest, DateAndTimeSetTheBoardsClock) {
  const auto done = apply(0x11, fromHex("260228235950"));
  std::vector<std::string> clock;
  for (const auto& line : done)
    if (line.rfind("clock set", 0) == 0 || line.rfind("sh hw", 0) == 0) clock.push_back(line);
  EXPECT_THAT(clock, ElementsAre(StartsWith("clock set 2026-02-28 "), "clock set 2026-02-28 23:59:50",
                                 StartsWith("clock set 2026-02-28 23:59:5"), "sh hwclock -w --localtime"));
  EXPECT_THAT(monitorLine("clock"), StartsWith("2026-02-28 23:59:5"));
  for (const char* wrong : {"260028235950", "261328235950", "260200235950", "260232235950", "2602282359a0"}) {
    const auto refused = apply(0x11, fromHex(wrong));
    EXPECT_THAT(refused, ::testing::Not(Contains(StartsWith("clock")))) << wrong;
  }
}

TEST_F(FeaturesTest, TheSerialTimeoutIsKeptWithTheBrightness) {
  EXPECT_THAT(apply(0x3F, {80}),
              ElementsAre(StartsWith("flash w 0x00b8b000 256 "), StartsWith("flash w 0x00b8b100 256 "),
                          StartsWith("flash w 0x00b8b200 4608 "), StartsWith(kImage)))
      << "and not to the bus";
  EXPECT_THAT(apply(0x3F, {80}), ElementsAre(StartsWith(kImage))) << "unchanged";
  EXPECT_THAT(apply(0x3F, {120}), ElementsAre(StartsWith(kImage))) << "out of range";
  EXPECT_THAT(apply(0x3F, {1}), ElementsAre(StartsWith(kImage))) << "out of range";
}

TEST_F(FeaturesTest, AnEmptyScreenIsWrittenDown) {
  EXPECT_THAT(apply(0x40, {1}), Contains(StartsWith("fpga w 0x00000040")));
  EXPECT_NE(m_directory.get("root/root/screen_zero.txt")
                .find("use adddr:0x2000040, wide:0 high:0, description:Read "
                      "software para!!\n"),
            std::string::npos);
  setSize(640, 480);
  const std::string before = m_directory.get("root/root/screen_zero.txt");
  apply(0x40, {1});
  EXPECT_EQ(m_directory.get("root/root/screen_zero.txt"), before);
}

}  // namespace
}  // namespace testing_support
