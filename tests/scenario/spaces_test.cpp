// What is written to a register space is applied, kept and read back; what each write does to FPGA and flash.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class SpacesTest : public ScenarioTest {
 protected:
  // Writes, waits until it is applied, and tells what was done.
  std::vector<std::string> apply(uint32_t address, const ByteVector& data) {
    EXPECT_EQ(askWrite(address, data), (Answer{0, 0, {}})) << std::hex << address;
    settle(60);
    return effects();
  }
  static std::string fpgaWrite(uint32_t address, const ByteVector& data) { return line("fpga", address, data); }
  static std::string flashWrite(uint32_t address, const ByteVector& data) { return line("flash", address, data); }

 private:
  static std::string line(const char* kind, uint32_t address, const ByteVector& data) {
    char start[48];
    std::snprintf(start, sizeof start, "%s w 0x%08x %zu ", kind, address, data.size());
    return start + toHex(Bytes(data).first(std::min<size_t>(data.size(), 64))) + (data.size() > 64 ? "..." : "");
  }
};

TEST_F(SpacesTest, AreReadBackAsTheyWereWritten) {
  struct {
    uint32_t address;
    size_t length;
    uint32_t flashAddress;  // 0: not in the flash
    uint32_t fpgaAddress;   // 0: not in the FPGA
  } spaces[] = {{0x02300000, 512, 0xB98000, 0},  {0x02300FFF, 1, 0xB98FFF, 0},     {0x0281001D, 40, 0xB9901D, 0},
                {0x02810400, 1500, 0xB99400, 0}, {0x03000000, 40960, 0, 0x600000}, {0x03009FFE, 2, 0, 0x609FFE},
                {0x03100000, 128, 0, 0x500000},  {0x03100080, 128, 0, 0x501000},   {0x03100100, 256, 0, 0x500100},
                {0x03100200, 128, 0, 0x502000},  {0x03100280, 128, 0, 0x503000},   {0x031002FF, 1, 0, 0x50307F},
                {0x05000000, 600, 0xC30000, 0},  {0x0500FFFE, 2, 0xC3FFFE, 0},     {0x05060000, 2, 0xC90000, 0},
                {0x0F000801, 100, 0xE00801, 0},  {0x0F7FFFFF, 1, 0x15FFFFF, 0},    {0x0F800100, 64, 0xD14100, 0},
                {0x12010006, 8, 0, 0xA00006},    {0xF0000200, 20, 0, 0x200},       {0xF1000000, 2048, 0, 0x1000000},
                {0x02100010, 16, 0, 0},          {0x02000040, 16, 0xA3B140, 0x40}, {0x020001F9, 7, 0xA3B2F9, 0}};
  uint8_t next = 0;
  for (const auto& space : spaces) {
    ByteVector data(space.length);
    for (auto& byte : data) byte = static_cast<uint8_t>(next += 7);
    EXPECT_EQ(askWrite(space.address, data), (Answer{0, 0, {}})) << std::hex << space.address;
    settle(60);
    EXPECT_EQ(askRead(space.address, static_cast<uint16_t>(data.size())), (Answer{0, 0, data}))
        << std::hex << space.address;
    if (space.flashAddress != 0) {
      EXPECT_EQ(flash(space.flashAddress, data.size()), data) << std::hex << space.address;
    }
    if (space.fpgaAddress != 0) {
      EXPECT_EQ(fpga(space.fpgaAddress, data.size()), data) << std::hex << space.address;
    }
  }
}

TEST_F(SpacesTest, WithoutContentsAnswerAllTheSame) {
  for (const uint32_t address : {0x00010000U, 0x0001FFFFU, 0x01000000U, 0x010000FFU, 0x02400000U, 0x02700000U}) {
    EXPECT_EQ(askRead(address, 5), (Answer{0, 0, {}})) << std::hex << address;
  }
  for (const uint32_t address : {0x00010000U, 0x02700000U, 0x01000005U, 0x01000020U}) {
    EXPECT_EQ(askWrite(address, {1}), (Answer{0, 0, {}})) << std::hex << address;
  }
  EXPECT_EQ(askRead(0x18001000, 4096), (Answer{0, 0, ByteVector(4096, 0)}));
  EXPECT_EQ(askRead(0x18200000, 256), (Answer{0, 0, ByteVector(256, 0)}));
  EXPECT_EQ(askRead(0x0E001FFF, 4), (Answer{0, 0, ByteVector(4, 0)})) << "between two tables";
  EXPECT_EQ(askRead(0x03000000, 0), (Answer{0, 0, {}}));
  settle(60);
  EXPECT_THAT(effects(), IsEmpty());
}

TEST_F(SpacesTest, NumberTableRewritesTheBlocksItTouches) {
  EXPECT_THAT(apply(0x03100190, {0x55}), ElementsAre(StartsWith("fpga w 0x00500100 256 ")));
  EXPECT_EQ(fpga(0x500190, 1), ByteVector{0x55});
  EXPECT_THAT(apply(0x031000FF, {0x56, 0x57}),
              ElementsAre(StartsWith("fpga w 0x00501000 128 "), StartsWith("fpga w 0x00500100 256 57")));
  EXPECT_THAT(apply(0x03100000, {1, 2, 3}),
              ElementsAre(StartsWith("fpga w 0x00500000 128 010203"), StartsWith("fpga w 0x00501000 128 "),
                          StartsWith("fpga w 0x00500100 256 57"), StartsWith("fpga w 0x00502000 128 "),
                          StartsWith("fpga w 0x00503000 128 ")));
}

TEST_F(SpacesTest, PositionsPastTheTableStayInTheMirror) {
  EXPECT_THAT(apply(0x03009FC4, ByteVector(100, 7)), IsEmpty());
  EXPECT_EQ(logged("Error", "$$$$ MoreThan Little Sprocess_PositionNetPort $$$$ Reg more than max:40900 Now:60"), 1U);
  EXPECT_THAT(apply(0x0300A000, {7}), IsEmpty());
  EXPECT_EQ(logged("Error", "$$$$ All para Pooling Sprocess_PositionNetPort $$$$ Reg more than max:40960"), 1U);
  // A save stores the mirror.
  EXPECT_EQ(askWrite(0x01000001, {1}).ack, 0);
  settle(60);
  EXPECT_EQ(flash(flash::kPosition.address + 40899, 61), (ByteVector{0} + ByteVector(60, 7)));
}

TEST_F(SpacesTest, SoftwareTableGoesInPagesAndMarksTheWall) {
  ByteVector data(600);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i);
  EXPECT_THAT(apply(0x05000000, data),
              ElementsAre(flashWrite(0xC30000, ByteVector(data.begin(), data.begin() + 256)),
                          flashWrite(0xC30100, ByteVector(data.begin() + 256, data.begin() + 512)),
                          flashWrite(0xC30200, ByteVector(data.begin() + 512, data.end()))));
  EXPECT_EQ(askRead(0x02810000, 1).data, ByteVector{200}) << "the configuration status";
  EXPECT_THAT(apply(0x01000001, {1}),
              ElementsAre("flash w 0x00b99000 1 c8", "flash w 0x00c20040 2 0000", StartsWith("flash w 0x00a3b100 512 "),
                          StartsWith("flash w 0x00a61000 512 "), "flash w 0x00b88000 4 39f6a55a",
                          StartsWith("flash w 0x00a3c000 40960 "), StartsWith("flash w 0x00a5c000 768 "), "sh sync"));
  EXPECT_THAT(apply(0x010000FF, {1}), ::testing::Not(Contains(HasSubstr("0x00b88000")))) << "the tag is there now";
}

TEST_F(SpacesTest, SoftwareTableAboveTheRoleRecordLeavesTheMark) {
  EXPECT_THAT(apply(0x05065000, {1, 2, 3, 4}), ElementsAre("flash w 0x00c95000 4 01020304"));
  EXPECT_EQ(askRead(0x02810000, 1).data, ByteVector{0});
}

TEST_F(SpacesTest, SoftwareTableNoticeGoesToTheVideoApplication) {
  BusClient video(board(), kTaskWpr);
  EXPECT_EQ(askRead(0x0500FFFF, 1).data.size(), 1U);
  EXPECT_THAT(reports(video, 500), ElementsAre("0x02810000 c8"));
  EXPECT_EQ(askRead(0x0500FFFF, 2).data.size(), 2U) << "an ordinary read";
  EXPECT_THAT(reports(video, 200), IsEmpty());
}

TEST_F(SpacesTest, HardwareRecordTakesItsFieldsOnly) {
  ByteVector all(256);
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<uint8_t>(i);
  EXPECT_THAT(apply(0x00000000, all),
              ElementsAre("env set device_sn 161718191a1b1c1d", StartsWith("flash w 0x00001000 256 000014110200a800")));
  EXPECT_EQ(askRead(22, 8).data, fromHex("161718191a1b1c1d"));
  EXPECT_THAT(apply(2, {0xAA, 0xBB}), ElementsAre(StartsWith("flash w 0x00001000 256 0000aabb0200a800")));
  EXPECT_EQ(askRead(2, 2).data, (ByteVector{0x01, 0x50})) << "the environment's model wins";
  EXPECT_THAT(apply(7, {0xCC, 0xDD}), ElementsAre(StartsWith("flash w 0x00001000 256 0000aabb0200a8ccdd")));
  EXPECT_THAT(apply(10, {0xEE, 0xFF, 0x99}),
              ElementsAre(StartsWith("flash w 0x00001000 256 0000aabb0200a8ccdd00eeff")));
  EXPECT_THAT(apply(0x3D, {1, 2, 3, 4, 5, 6, 7}),
              ElementsAre("sh /usr/pmx100/bin/fw_setenv ethaddr 02:03:04:05:06:07", "env set ethaddr_set 1",
                          StartsWith("flash w 0x00001000 256 ")));
  EXPECT_EQ(flash(0x103D, 7), (ByteVector{1, 2, 3, 4, 5, 6, 7}));
  EXPECT_THAT(apply(0x3D, ByteVector(6, 9)), ElementsAre(StartsWith("flash w 0x00001000 256 ")));
  EXPECT_EQ(flash(0x103D, 7), (ByteVector{1, 2, 3, 4, 5, 6, 7})) << "not the length of the network record";
  monitor("fail flash-read 3");
  EXPECT_THAT(apply(2, {1, 1}), IsEmpty()) << "nothing is written over a block that cannot be read";
}

TEST_F(SpacesTest, TestRegistersActAtOnce) {
  EXPECT_THAT(apply(0xF0000200, {0x11}), ElementsAre("fpga w 0x00000200 1 11"));
  EXPECT_THAT(apply(0xF1200000, ByteVector(25, 0x22)),
              ElementsAre(fpgaWrite(0x01200000, ByteVector(25, 0x22)), "fpga w 0x00100051 1 01"));
  EXPECT_EQ(logged("Info", "============================ Test Partten ==========================="), 1U);
  EXPECT_THAT(apply(0xF1200000, ByteVector(24, 0x22)), ElementsAre(fpgaWrite(0x01200000, ByteVector(24, 0x22))));
  EXPECT_THAT(apply(0x01000003, {0x00, 0x00, 0x02, 0x34, 0x77}), ElementsAre("fpga w 0x00000234 1 77"));
}

TEST_F(SpacesTest, MappingReachesAllCards) {
  monitor("cards 3 2 64 64");
  for (const auto& [command, sent] : {std::pair{1, "05"}, {5, "05"}, {2, "ff"}, {0, "ff"}}) {
    EXPECT_THAT(apply(0x01000018, {static_cast<uint8_t>(command)}),
                Contains(std::string("card w recv 255 65535 0x01000088 1 ") + sent));
    EXPECT_EQ(monitorLine("card read recv 3 1 0x01000088 1"), sent);
  }
}

TEST_F(SpacesTest, ScreenRecordTakesItsFirst32Bytes) {
  ByteVector data(40);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i + 1);
  EXPECT_THAT(apply(0x02100010, data), IsEmpty());
  const auto record = askRead(0x02100000, 1024).data;
  ASSERT_EQ(record.size(), 392U) << "cut at its end";
  EXPECT_EQ(ByteVector(record.begin() + 16, record.begin() + 34),
            (ByteVector(data.begin(), data.begin() + 16) + ByteVector(2, 0)));
  EXPECT_THAT(apply(0x02100105, {0x77}), IsEmpty());
  EXPECT_EQ(askRead(0x02100005, 1).data, ByteVector{0x77}) << "by the low byte of the address";
}

TEST_F(SpacesTest, AFailedFlashWriteIsTriedThreeTimesAndLogged) {
  monitor("fail flash-write 3 9");
  EXPECT_THAT(apply(0x02300000, {1, 2}),
              ElementsAre("flash w 0x00b98000 2 0102 failed 9", "flash w 0x00b98000 2 0102 failed 9",
                          "flash w 0x00b98000 2 0102 failed 9", "sh sync"));
  EXPECT_EQ(logged("Error", "=== WriteToBackupInfo ===Write backup info to flash failed. ret = 9"), 1U);
  monitor("fail flash-write 2");
  EXPECT_THAT(apply(0x02300000, {1, 2}), Contains("flash w 0x00b98000 2 0102"));
  EXPECT_EQ(flash(0xB98000, 2), (ByteVector{1, 2}));
  EXPECT_EQ(logged("Error", "=== WriteToBackupInfo ==="), 1U);
}

// Ten measurements of 65 535 transfers each; what the FPGA holds stays as it is.
TEST_F(SpacesTest, TransferSpeedIsMeasuredWithoutATrace) {
  const ByteVector there = {1, 2, 3, 4};
  setFpga(fpga::kPosition.address, there);
  monitor("journal off");
  auto request = BusClient::request(kCodeRead, 0x030001EF, 1, {}, {});
  EXPECT_EQ(ask(client(), request, 60000).ack, 0);
  EXPECT_EQ(fpga(fpga::kPosition.address, 4), there);
  EXPECT_EQ(logged("Info", "=================start write UDP test=================== "), 4U);
  EXPECT_EQ(logged("Info", "==================stop write UDP test=================== "), 4U);
}

}  // namespace
}  // namespace testing_support
