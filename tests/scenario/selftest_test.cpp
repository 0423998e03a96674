// The bus self-test: it runs while its switch is on, finds what differs, and leaves the memories as they were.
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;

constexpr uint32_t kSwitch = 0x020001EF;
constexpr uint32_t kPositionSpace = 0x03000000;
constexpr uint32_t kNumberSpace = 0x03100000;

class BusSelfTestTest : public RunningDaemonTest {
 protected:
  void SetUp() override {
    RunningDaemonTest::SetUp();
    monitor("journal off");  // it would hold every transfer of the test
    m_positions = ByteVector(2048);
    for (size_t i = 0; i < m_positions.size(); ++i) m_positions[i] = static_cast<uint8_t>(i * 3);
    m_numbers = ByteVector(768);
    for (size_t i = 0; i < m_numbers.size(); ++i) m_numbers[i] = static_cast<uint8_t>(i * 7);
    EXPECT_EQ(askWrite(kPositionSpace, m_positions).ack, 0);
    EXPECT_EQ(askWrite(kNumberSpace, m_numbers).ack, 0);
    settle(60);
  }
  void run() {
    EXPECT_EQ(askWrite(kSwitch, {1}), (Reply{0, 0, {}}));
    ASSERT_TRUE(waitLogged("Info", "Read_Write FPGA 00: End  01: Start   Now:1"));
    ASSERT_TRUE(waitUntil([this] {
      const auto there = fpga(fpga::kPosition.address, 16);
      return there == ByteVector(16, 0xAA) || there == ByteVector(16, 0x55);
    }));
  }
  ByteVector m_positions;
  ByteVector m_numbers;
};

TEST_F(BusSelfTestTest, WhatIsWrittenAndLaidOutDuringItComesOutInTheEnd) {
  run();
  EXPECT_EQ(writeScreen(2, 2, 4).ack, 0);
  ASSERT_TRUE(waitLogged("Info", "Finish CalculateParaOfSenderInMosaicMode"));
  for (size_t port = 0; port < 10; ++port) DWT_ENCWD(&m_numbers[port < 8 ? 0x20 * port : 0x200 + 0x20 * (port - 8)], 4);
  EXPECT_EQ(flash(flash::kNumber.address, 768), m_numbers) << "no pattern is saved with the wall";
  m_positions = flash(flash::kPosition.address, m_positions.size());
  m_positions[0] = 0x11;
  m_numbers[3] = 0x22;
  EXPECT_EQ(askWrite(kPositionSpace, {0x11}).ack, 0);
  EXPECT_EQ(askWrite(kNumberSpace + 3, {0x22}).ack, 0);
  EXPECT_TRUE(waitUntil([this] {
    return askRead(kPositionSpace, 1).data == ByteVector{0x11} && askRead(kNumberSpace + 3, 1).data == ByteVector{0x22};
  })) << "reads answer what was written, not the patterns";
  EXPECT_EQ(askWrite(kSwitch, {0}), (Reply{0, 0, {}}));
  EXPECT_TRUE(waitUntil([this] {
    return fpga(fpga::kPosition.address, m_positions.size()) == m_positions &&
           fpga(0x500000, 128) == ByteVector(m_numbers.begin(), m_numbers.begin() + 128) &&
           fpga(0x503000, 128) == ByteVector(m_numbers.begin() + 640, m_numbers.end());
  }));
}

}  // namespace
}  // namespace testing_support
