// The wall: from its description to positions, counts and regions, once, when the description has settled.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
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
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* kCalculates = "=================== Begin CalculateParaOfSenderInMosaicMode ====================";
constexpr uint32_t kShortcutSpace = 0x02810000;
constexpr size_t kPortTable = 4096;

class WallTest : public ScenarioTest {
 protected:
  explicit WallTest(const std::string& config = kLoadsAtOnce) : ScenarioTest(config) {}

  void connectCards(int width = 128, int height = 128) {
    monitor("cards 0 20 " + std::to_string(width) + " " + std::to_string(height));
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
  EXPECT_EQ(writeScreen(4, 6, 10), (Answer{0, 0, {}}));
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

TEST_F(WallTest, ADescriptionThatKeepsChangingIsNotCalculatedUntilItRests) {
  connectCards();
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1000);
  uint8_t columns = 1;
  while (std::chrono::steady_clock::now() < end) {
    EXPECT_EQ(writeScreen(2, columns, 2).ack, 0);
    columns = static_cast<uint8_t>(columns % 8 + 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));  // the pace of a person at a slider
  }
  EXPECT_EQ(calculations(), 0U);
  EXPECT_EQ(writeScreen(2, 9, 2).ack, 0);
  settle();
  EXPECT_EQ(calculations(), 1U);
  EXPECT_EQ(flash(flash::kScreenRecord.address + 11, 1), ByteVector{9});
}

TEST_F(WallTest, ARequestDuringACalculationIsNotLost) {
  connectCards();
  // Requests at every phase of the cycle; each is the last of its burst, and what it says must come out.
  for (uint8_t i = 0; i < 12; ++i) {
    const uint8_t columns = static_cast<uint8_t>(i % 10 + 1);
    EXPECT_EQ(writeScreen(1, columns, columns).ack, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(23 * i));
  }
  EXPECT_EQ(writeScreen(5, 7, 35).ack, 0);
  settle();
  EXPECT_EQ(flash(flash::kScreenRecord.address + 10, 2), (ByteVector{5, 7}));
  EXPECT_EQ(screenSize(), (std::pair{7 * 128, 5 * 128}));
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

TEST_F(WallTest, LinkedSparePortsBackUpTheUsedOnes) {
  monitor("cards 2 1 128 128");
  monitor("cards 9 1 128 128");
  monitor("cards 0 2 128 128");
  ASSERT_TRUE(waitLogged("Info", "NowChangedLinstatus:205"));
  EXPECT_EQ(writeScreen(2, 2, 2).ack, 0);
  ASSERT_TRUE(waitCalculations(1));
  settle();
  const auto roles = [this] { return fpga(0x18, 4) + fpga(0x98, 4) + fpga(0x100, 8); };
  EXPECT_EQ(roles(), fromHex("00008000000000000080000000000000"));
  EXPECT_EQ(flash(flash::kFeature.address + 0x9D, 1), ByteVector{0xFF});
  // A slave backs up everything.
  EXPECT_EQ(askWrite(0x0200009D, {0xA5}).ack, 0);
  EXPECT_EQ(writeScreen(2, 2, 4).ack, 0);
  ASSERT_TRUE(waitCalculations(2));
  settle();
  EXPECT_EQ(roles(), ByteVector(16, 0x80));
  EXPECT_EQ(flash(flash::kFeature.address + 0x100, 8), ByteVector(8, 0x80));
}

TEST_F(WallTest, AnAcknowledgedDescriptionSurvivesAKillBeforeItsCalculation) {
  EXPECT_EQ(writeScreen(3, 4, 4, 2).ack, 0);
  restart();
  EXPECT_EQ(flash(flash::kShortcut.address + 17, 9), basicScreen(3, 4, 4, 2));
}

TEST_F(WallTest, AnIncompleteDescriptionIsRefusedAndStored) {
  EXPECT_EQ(writeScreen(4, 0, 8), (Answer{4, 4, {}}));
  EXPECT_EQ(logged("Error",
                   "=== WriteToShortcutConfigScreen ===Check Para stage: Para invalid! Row = 4 Colume = 0 Box "
                   "Number = 8"),
            1U);
  // Its missing field completes it.
  EXPECT_EQ(askWrite(kShortcutSpace + 23, {5}), (Answer{0, 0, {}}));
  EXPECT_EQ(logged("Info", "horizontal line: RowOrColInOnePort = 2 CardNumofOneCable = 10"), 1U);
  settle();
  EXPECT_EQ(calculations(), 1U);
  EXPECT_EQ(flash(flash::kScreenRecord.address + 10, 5), (ByteVector{4, 5, 0, 8, 0}));
}

TEST_F(WallTest, AnInvalidScreenChangesNoPort) {
  connectCards();
  EXPECT_EQ(writeScreen(2, 3, 6).ack, 0);
  ASSERT_TRUE(waitCalculations(1));
  settle();
  const auto positions = fpga(fpga::kPosition.address, flash::kPosition.length);
  const auto first = region(0);
  const auto record = flash(flash::kScreenRecord.address, 15);
  size_t done = 1;
  const ByteVector invalid[] = {basicScreen(1, 1, 5),        // more cards a port than cards
                                basicScreen(10, 10, 5),      // more than sixteen ports
                                basicScreen(2, 2, 2, 8),     // no such connect mode
                                basicScreen(40, 40, 1100)};  // more cards than a port's table holds
  for (const auto& screen : invalid) {
    EXPECT_EQ(askWrite(kScreenFields, screen).ack, 0);
    ASSERT_TRUE(waitCalculations(++done));
    EXPECT_EQ(logged("Error", "=== CalculateParaOfSenderInMosaicMode ===Invalid Parameter! "), done - 1);
    EXPECT_EQ(fpga(fpga::kPosition.address, flash::kPosition.length), positions) << done;
    EXPECT_EQ(region(0), first) << done;
    EXPECT_EQ(flash(flash::kScreenRecord.address, 15), record) << done;
  }
}

TEST_F(WallTest, MoreThanTenPortsEndTheCalculationAtThePositions) {
  connectCards();
  EXPECT_EQ(writeScreen(11, 1, 1).ack, 0);
  ASSERT_TRUE(waitLogged("Error", "ERROR:$$PortsTopoPara$$ out of memory!!!"));
  settle();
  EXPECT_EQ(cardCount(9), 1) << "the counts came before";
  EXPECT_EQ(logged("Info", "Finish CalculateParaOfSenderInMosaicMode"), 0U);
  EXPECT_THAT(effects(), Not(Contains(HasSubstr("fpga w 0x00600000")))) << "no positions";
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

// --- The advanced description: a record a port.
class AdvancedWallTest : public WallTest {
 protected:
  static constexpr uint32_t kPorts = kShortcutSpace + 0x50;
  static ByteVector portRecord(uint8_t rows, uint8_t columns, uint16_t x, uint16_t y, uint8_t mode) {
    ByteVector record(64, 0);
    record[1] = mode;
    record[6] = rows;
    record[7] = columns;
    DWT_ENCWD(&record[10], x);
    DWT_ENCWD(&record[12], y);
    return record;
  }
  Answer writePort(uint32_t port, const ByteVector& record) { return askWrite(kPorts + 64 * port, record); }
  Answer submit() { return askWrite(kShortcutSpace + 0x100, {0xB9}); }
  bool waitAdvanced() {
    return waitLogged("Info", "===================== Finish Calculate Advanced LED configure ======================");
  }
};

TEST_F(AdvancedWallTest, LaysOutEachPortOnItsOwn) {
  connectCards(128, 64);
  EXPECT_EQ(askRead(0x02100000, 1).ack, 0) << "it asks the cards for their size";
  monitor("journal clear");
  const uint32_t counter = flash(flash::kScreenCounter.address, 1)[0];
  EXPECT_EQ(writePort(0, portRecord(4, 8, 0, 0, 0)).ack, 0);
  EXPECT_EQ(writePort(1, portRecord(4, 8, 1024, 0, 7)).ack, 0);
  settle(100);
  EXPECT_EQ(effects().size(), 2U) << "stored, nothing else";
  const auto stored = flash(flash::kShortcut.address + 0x100, 1);
  EXPECT_EQ(submit(), (Answer{0, 0, {}}));
  ASSERT_TRUE(waitAdvanced());
  settle();
  EXPECT_EQ(flash(flash::kShortcut.address + 0x100, 1), stored) << "a submit is not stored";
  EXPECT_EQ(region(0), (std::vector<int>{1024, 256, 0, 0}));
  EXPECT_EQ(region(1), (std::vector<int>{1024, 256, 1024, 0}));
  EXPECT_EQ(cardCount(0), 32);
  EXPECT_EQ(cardCount(1), 32);
  EXPECT_EQ(cardCount(2), 1) << "rows and columns of 0 count as 1";
  EXPECT_EQ(position(0, 8), (std::pair{896, 64}));
  EXPECT_EQ(position(1, 0), (std::pair{896, 192})) << "columns, from the bottom right";
  EXPECT_EQ(position(1, 1), (std::pair{896, 128}));
  EXPECT_EQ(position(1, 31), (std::pair{0, 192}));
  EXPECT_EQ(position(0, 32), position(0, 0));
  EXPECT_EQ(flash(flash::kScreenSize.address, 8), dword(2048) + dword(256)) << "the borders";
  EXPECT_EQ(fpga(sendpara::kScreenWidthEven, 4), word(1024) + word(256)) << "the largest port";
  EXPECT_EQ(flash(flash::kShortcut.address, 1), ByteVector{0xB8});
  EXPECT_EQ(flash(flash::kScreenCounter.address, 1)[0], counter + 1);
  EXPECT_EQ(flash(flash::kScreenRecord.address, 15), fromHex("01550000000080004000") + ByteVector(5, 0));
  EXPECT_EQ(askRead(kShortcutSpace, 1).data, ByteVector{0xB8});
}

TEST_F(AdvancedWallTest, EveryConnectModeBeginsInItsCorner) {
  connectCards(100, 50);
  struct {
    uint8_t mode;
    std::pair<int, int> first, second, last;  // of 2 x 3 cards
  } modes[] = {{0, {0, 0}, {100, 0}, {0, 50}},      {1, {0, 0}, {0, 50}, {200, 50}}, {2, {200, 0}, {100, 0}, {200, 50}},
               {3, {200, 0}, {200, 50}, {0, 50}},   {4, {0, 50}, {100, 50}, {0, 0}}, {5, {0, 50}, {0, 0}, {200, 0}},
               {6, {200, 50}, {100, 50}, {200, 0}}, {7, {200, 50}, {200, 0}, {0, 0}}};
  for (const auto& mode : modes) EXPECT_EQ(writePort(mode.mode, portRecord(2, 3, 0, 0, mode.mode)).ack, 0);
  EXPECT_EQ(submit().ack, 0);
  ASSERT_TRUE(waitAdvanced());
  for (const auto& mode : modes) {
    EXPECT_EQ(position(mode.mode, 0), mode.first) << int{mode.mode};
    EXPECT_EQ(position(mode.mode, 1), mode.second) << int{mode.mode};
    EXPECT_EQ(position(mode.mode, 5), mode.last) << int{mode.mode};
  }
}

TEST_F(AdvancedWallTest, TooManyCardsChangeNothing) {
  EXPECT_EQ(writePort(3, portRecord(16, 33, 0, 0, 0)).ack, 0);
  settle(100);
  effects();
  const uint8_t status = askRead(kShortcutSpace, 1).data.at(0);
  EXPECT_EQ(submit().ack, 0);
  ASSERT_TRUE(waitLogged("Error",
                         "=== AdvCalcParaOfSenderInMosaicMode ===PortParaInvalid: total card num = 537 port "
                         "para = "));
  settle();
  EXPECT_THAT(effects(), IsEmpty());
  EXPECT_EQ(askRead(kShortcutSpace, 1).data, ByteVector{status});
  EXPECT_EQ(writePort(3, portRecord(16, 32, 0, 0, 0)).ack, 0);
  EXPECT_EQ(submit().ack, 0);
  ASSERT_TRUE(waitAdvanced());
  EXPECT_EQ(cardCount(3), 512);
}

TEST_F(AdvancedWallTest, PortsTenToFifteenAreKeptNotCalculated) {
  const auto record = portRecord(2, 2, 0, 0, 0);
  EXPECT_EQ(writePort(12, record).ack, 0);
  EXPECT_EQ(submit().ack, 0);
  ASSERT_TRUE(waitAdvanced());
  EXPECT_EQ(logged("Warning", "12"), 1U);
  EXPECT_EQ(askRead(kPorts + 64 * 12, 64).data, record);
}

TEST_F(WallTest, TheVideoApplicationsRecordIsLaidOver) {
  setFlash(flash::kShortcutForWpr.address, {0x11, 0x22, 0x33, 0x44});
  setFlash(flash::kShortcut.address, ByteVector(38, 0x77));
  const auto answer = askRead(kShortcutSpace, 38);
  ByteVector expected(38, 0x77);
  expected[0] = 0;  // the configuration status
  expected[17] = 0x11;
  expected[22] = 0x22;
  expected[23] = 0x33;
  expected[24] = 0x44;
  EXPECT_EQ(answer, (Answer{0, 0, expected}));
  expected.resize(37);
  expected[17] = expected[22] = expected[23] = expected[24] = 0x77;
  EXPECT_EQ(askRead(kShortcutSpace, 37).data, expected);
}

}  // namespace
}  // namespace testing_support
