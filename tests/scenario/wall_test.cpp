// The wall: its description is kept from the acknowledgement on, what is laid out survives kills and a reboot.
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/sendparameter.h"
#include "support/scenario_fixture.h"
#include "virtual/files.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;

using WallTest = RunningDaemonTest;

TEST_F(WallTest, WhatWasAcknowledgedAndSavedSurvivesKillsAndAReboot) {
  const ByteVector description = basicScreen(3, 4, 4, 2);
  EXPECT_EQ(writeScreen(3, 4, 4, 2).ack, 0);
  restart();
  ready();
  EXPECT_EQ(flash(flash::kShortcut.address + 17, 9), description) << "killed before its calculation";

  EXPECT_EQ(writeScreen(3, 4, 4, 2).ack, 0);
  ASSERT_TRUE(waitLogged("Info", "Finish CalculateParaOfSenderInMosaicMode"));
  settle();
  const auto positions = flash(flash::kPosition.address, flash::kPosition.length);
  const auto ports = fpga(sendpara::kPortBlocks0To3, 0x170);
  EXPECT_EQ(fpga(fpga::kPosition.address, flash::kPosition.length), positions);
  restart();
  ready();
  EXPECT_EQ(flash(flash::kPosition.address, flash::kPosition.length), positions);
  const auto name = vboard::readFile("/proc/" + std::to_string(pid()) + "/comm");
  monitor("reboot");
  waitReboot();
  EXPECT_EQ(vboard::readFile("/proc/" + std::to_string(pid()) + "/comm"), name) << "the process keeps its name";
  ready();
  EXPECT_EQ(fpga(fpga::kPosition.address, flash::kPosition.length), positions)
      << "from the flash, the FPGA was cleared";
  EXPECT_EQ(fpga(sendpara::kPortBlocks0To3, 0x170), ports);
  EXPECT_EQ(askRead(0x02810000, 26).data, (ByteVector{0xA8} + ByteVector(16, 0) + description));
}

}  // namespace
}  // namespace testing_support
