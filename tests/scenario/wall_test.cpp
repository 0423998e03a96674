// The wall: from its description to positions, counts and regions, once, when the description has settled.
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/sendparameter.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;

constexpr const char* kCalculates = "=================== Begin CalculateParaOfSenderInMosaicMode ====================";
constexpr uint32_t kShortcutSpace = 0x02810000;
constexpr size_t kPortTable = 4096;

class WallTest : public RunningDaemonTest {
 protected:
  explicit WallTest(const std::string& config = kLoadsAtOnce) : RunningDaemonTest(config) {}

  void connectCards() {
    monitor("cards 0 20 128 128");
    ASSERT_TRUE(waitLogged("Info", "SourceLinkStatus:0 -> NowChangedLinstatus:1"));
    monitor("journal clear");
  }
  size_t calculations() const { return logged("Info", kCalculates); }
  bool waitCalculations(size_t count) {
    return waitUntil([&] { return logged("Info", "Finish CalculateParaOfSenderInMosaicMode") >= count; });
  }
  // The X and Y of the n-th card of a port, as the FPGA has them.
  std::pair<int, int> position(unsigned port, unsigned n) {
    const auto entry = fpga(static_cast<uint32_t>(fpga::kPosition.address + port * kPortTable + 4 * n), 4);
    return {wordAt(entry, 0), wordAt(entry, 2)};
  }
  int cardCount(unsigned port) {
    const uint32_t block = port < 4   ? fpga::kNumber0To3.address + 0x20 * port
                           : port < 8 ? fpga::kNumber4To7.address + 0x20 * (port - 4)
                                      : fpga::kNumber8To11.address + 0x20 * (port - 8);
    return wordAt(fpga(block, 2), 0);
  }
  // Width, height, X, Y of a port's region.
  std::vector<int> region(unsigned port) {
    const auto block = fpga(static_cast<uint32_t>(sendpara::portBlock(port)), 8);
    return {wordAt(block, 0), wordAt(block, 2), wordAt(block, 4), wordAt(block, 6)};
  }
  std::pair<int, int> screenSize() {
    const auto size = fpga(sendpara::kScreenWidth, 4);
    return {wordAt(size, 0), wordAt(size, 2)};
  }
  ByteVector saved() { return flash(flash::kPosition.address, flash::kPosition.length); }
};

TEST_F(WallTest, FourRowsOfSixOnTwoPorts) {
  connectCards();
  EXPECT_EQ(writeScreen(4, 6, 10), (Reply{0, 0, {}}));
  ASSERT_TRUE(waitCalculations(1));
  settle();
  EXPECT_EQ(screenSize(), (std::pair{768, 512}));
  for (unsigned port = 0; port < 10; ++port) {
    EXPECT_EQ(region(port), (std::vector<int>{768, 256, 0, port % 2 ? 256 : 0})) << port;
    EXPECT_EQ(cardCount(port), 12) << port;
    EXPECT_EQ(position(port, 0), (std::pair{0, 0})) << port;
    EXPECT_EQ(position(port, 5), (std::pair{640, 0})) << port;
    EXPECT_EQ(position(port, 6), (std::pair{640, 128})) << "the second row runs back, port " << port;
    EXPECT_EQ(position(port, 11), (std::pair{0, 128})) << port;
    EXPECT_EQ(position(port, 12), position(port, 0)) << "the list repeats, port " << port;
    EXPECT_EQ(position(port, 1019), position(port, 11)) << port;
  }
  EXPECT_EQ(flash(flash::kScreenRecord.address, 15), fromHex("015500000000800080000406000a00"));
  EXPECT_EQ(flash(flash::kScreenSize.address, 8), dword(768) + dword(512));
  EXPECT_EQ(flash(flash::kShortcut.address, 1), ByteVector{0xA8});
  EXPECT_EQ(saved(), fpga(fpga::kPosition.address, flash::kPosition.length));
  for (const auto& line : effects())
    EXPECT_TRUE(line.find("failed") == std::string::npos || line.rfind("ipc s", 0) == 0) << line;
}

TEST_F(WallTest, ABurstOfTwoClientsIsCalculatedOnceWithTheLast) {
  connectCards();
  BusClient other(board());
  const auto request = [](const ByteVector& record) {
    return BusClient::request(kCodeWrite, kScreenFields, static_cast<uint16_t>(record.size()), record, {});
  };
  constexpr uint8_t kWrites = 10;
  for (uint8_t i = 0; i < kWrites; ++i) {
    ASSERT_TRUE(client().send(client().datagram(request(basicScreen(2, 2, 4)), i)));
    ASSERT_TRUE(other.send(other.datagram(request(basicScreen(3, static_cast<uint8_t>(i + 1), 3, 1)), i)));
    const auto mine = client().receive(5000);
    const auto theirs = other.receive(5000);
    ASSERT_TRUE(mine && theirs);
    EXPECT_EQ(mine->frame.m_ucAck + theirs->frame.m_ucAck, 0);
  }
  settle();
  EXPECT_EQ(logged("Info", "Begin Sprocess_CalculateParaOfSender "), size_t{2} * kWrites);
  EXPECT_EQ(calculations(), 1U);
  EXPECT_EQ(flash(flash::kScreenRecord.address, 15), fromHex("01550000000080008000030a010300"));
  EXPECT_EQ(flash(flash::kShortcut.address + 17, 9), basicScreen(3, 10, 3, 1));
}

TEST_F(WallTest, WhatWasSavedSurvivesAKillAndAReboot) {
  connectCards();
  EXPECT_EQ(writeScreen(3, 4, 4, 2).ack, 0);
  ASSERT_TRUE(waitCalculations(1));
  settle();
  const auto positions = saved();
  const auto ports = fpga(sendpara::kPortBlocks0To3, 0x170);
  restart();
  ready();
  EXPECT_EQ(saved(), positions);
  EXPECT_EQ(fpga(fpga::kPosition.address, flash::kPosition.length), positions);
  monitor("reboot");
  waitReboot();
  ready();
  EXPECT_EQ(fpga(fpga::kPosition.address, flash::kPosition.length), positions)
      << "from the flash, the FPGA was cleared";
  EXPECT_EQ(fpga(sendpara::kPortBlocks0To3, 0x170), ports);
  for (unsigned port = 0; port < 10; ++port) EXPECT_EQ(cardCount(port), 4) << port;
  EXPECT_EQ(askRead(kShortcutSpace, 26).data, (ByteVector{0xA8} + ByteVector(16, 0) + basicScreen(3, 4, 4, 2)));
}

TEST_F(WallTest, AnAcknowledgedDescriptionSurvivesAKillBeforeItsCalculation) {
  EXPECT_EQ(writeScreen(3, 4, 4, 2).ack, 0);
  restart();
  EXPECT_EQ(flash(flash::kShortcut.address + 17, 9), basicScreen(3, 4, 4, 2));
}

class LateFpgaWallTest : public WallTest {
 protected:
  LateFpgaWallTest() : WallTest("journal = on\nfpga_load_ms = -1\n") {}
  void SetUp() override { DaemonTest::SetUp(); }
};

TEST_F(LateFpgaWallTest, ADescriptionFromBeforeTheLoadIsCalculatedAfterIt) {
  EXPECT_EQ(writeScreen(2, 3, 6).ack, 0);
  EXPECT_EQ(writeScreen(3, 3, 9).ack, 0);
  settle(700);
  EXPECT_EQ(calculations(), 0U);
  m_directory.put(kFpgaFlagFile, "");
  ASSERT_TRUE(waitCalculations(1));
  settle();
  EXPECT_EQ(calculations(), 1U);
  EXPECT_EQ(screenSize(), (std::pair{384, 384}));
  EXPECT_EQ(position(9, 8), (std::pair{256, 256}));
}

}  // namespace
}  // namespace testing_support
