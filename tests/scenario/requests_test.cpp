// What hosts write to the whole daemon, and what a peer that comes back is told.
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using RequestsTest = RunningDaemonTest;

TEST_F(RequestsTest, WhatIsWrittenIsKeptAndReadBack) {
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
    EXPECT_EQ(askWrite(space.address, data), (Reply{0, 0, {}})) << std::hex << space.address;
    settle(60);
    EXPECT_EQ(askRead(space.address, static_cast<uint16_t>(data.size())), (Reply{0, 0, data}))
        << std::hex << space.address;
    if (space.flashAddress != 0) {
      EXPECT_EQ(flash(space.flashAddress, data.size()), data) << std::hex << space.address;
    }
    if (space.fpgaAddress != 0) {
      EXPECT_EQ(fpga(space.fpgaAddress, data.size()), data) << std::hex << space.address;
    }
  }
}

TEST_F(RequestsTest, ARestartedScreenDaemonIsToldEverythingWhenItAsks) {
  auto screenDaemon = std::make_unique<kadctl::BusClient>(board(), TIRK_MCUC::kTaskQxt);
  ASSERT_TRUE(screenDaemon->receive(5000));
  setFpga(0x1E, {0x03});
  setFpga(0x1D7, {0x5A});
  monitor("link copper 0x8421");
  reports(*screenDaemon, 1500);
  screenDaemon.reset();
  settle(450);
  screenDaemon = std::make_unique<kadctl::BusClient>(board(), TIRK_MCUC::kTaskQxt);
  EXPECT_THAT(reports(*screenDaemon, 450), ::testing::IsEmpty()) << "nothing changed";
  // A write of the optical-to-network switch has the daemon look for it anew.
  EXPECT_EQ(askWrite(0x020001DF, {1}).ack, 0);
  EXPECT_THAT(reports(*screenDaemon, 450),
              ::testing::IsSupersetOf({"0x0200001e 03", "0x0200009e 00", "0x02000120 0000", "0x0200001f 01",
                                       "0x0200009f 02", "0x02000126 0408", "0x020001d7 5a"}));
}

}  // namespace
}  // namespace testing_support
