// What a start, a late FPGA, a reload and the first start after a factory reset bring back, and what they leave alone.
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/sendparameter.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using namespace ::testing;

constexpr const char* kNeverLoads = "journal = on\nfpga_load_ms = -1\n";
constexpr const char* kFinished = "============================== Finish Restore FPGA ==============================";

class RestoreTest : public RunningDaemonTest {
 protected:
  explicit RestoreTest(const std::string& config = kLoadsAtOnce) : RunningDaemonTest(config) {}
  // Puts the bytes into the stored feature block.
  void store(size_t offset, const ByteVector& bytes) {
    setFlash(static_cast<uint32_t>(flash::kFeature.address + offset), bytes);
  }
};

TEST_F(RestoreTest, AReloadCommandRestoresAgain) {
  setFpga(fpga::kPosition.address, ByteVector(16, 0xEE));
  EXPECT_EQ(askWrite(0x01000004, {1}), (Reply{0, 0, {}}));
  settle(100);
  EXPECT_EQ(fpga(fpga::kPosition.address, 16), ByteVector(16, 0));
  EXPECT_THAT(effects(), Contains("fpga w 0x000001de 1 00"));
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

}  // namespace
}  // namespace testing_support
