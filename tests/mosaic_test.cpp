// The mosaic calculation on a board: mirrors, FPGA, flash and the order in which they change.
#include <atomic>
#include <thread>

#include "mcuctrace.h"
#include "proto/screentables.h"
#include "support/store_fixture.h"

namespace TIRK_MCUC {
namespace {

using namespace testing_support;
using namespace ::testing;

class Mosaic : public StoreTest {
 protected:
  void calculate(uint16_t rows, uint16_t columns, uint16_t cards, uint8_t mode, uint8_t masterSlave = 0) {
    clearJournal();
    store.CalculateParaOfSenderInMosaicMode({rows, columns, cards, mode, masterSlave});
  }
  std::vector<unsigned> counts() const {
    std::vector<unsigned> out;
    for (unsigned port = 0; port < 10; ++port) out.push_back(readWord(fpga(countAddress(port), 2).data()));
    return out;
  }
  std::vector<unsigned> roles() const {
    std::vector<unsigned> out;
    for (unsigned port = 0; port < 16; ++port) out.push_back(store.SendParameterReg.byte(sendpara::portRole(port)));
    return out;
  }
};

TEST_F(Mosaic, WritesFpgaAndFlashInTheStatedOrder) {
  calculate(2, 5, 4, 1);
  auto expected = layoutOperations();
  expected.push_back(operation("fpga", 0x18, 430));
  for (const auto& line : saveOperations(true)) expected.push_back(line);
  EXPECT_EQ(operations(), expected);
}

TEST_F(Mosaic, TheLastPortAndItsRepeatsCarryFewerCards) {
  calculate(7, 4, 8, 4);  // 2, 2, 2 and 1 rows, upwards
  EXPECT_THAT(counts(), ElementsAre(8, 8, 8, 4, 8, 8, 8, 4, 8, 8));
  EXPECT_EQ(mirror(sendpara::portBlock(9) + 4, 4), littleEndian({0, 128 + 256})) << "like port 1";
  EXPECT_EQ(mirror(sendpara::portBlock(7) + 4, 4), littleEndian({0, 0})) << "the last port is at the top";
  EXPECT_EQ(position(7, 0), (CardPosition{0, 0}));
  EXPECT_EQ(position(8, 0), (CardPosition{0, 128})) << "bottom left of its own region";
}

TEST_F(Mosaic, RoundsAnOddWidthUpAndClearsWhatTheReportsShow) {
  store.setCardSize({101, 7});
  setMirror(0x4A, bytes({0x11}));
  setMirror(0x9F, bytes({0x22}));
  setMirror(0x59, bytes({0x33}));
  calculate(1, 3, 3, 0);
  EXPECT_EQ(mirror(0x24, 4) + mirror(0x2C, 2), littleEndian({304, 7, 303}));
  EXPECT_EQ(mirror(0x4A, 1) + mirror(0x9F, 1), bytes({0, 0}));
  EXPECT_EQ(mirror(0x59, 1), bytes({0x33})) << "the ninth byte of a port block is not ours";
}

TEST_F(Mosaic, TheNumberTableKeepsWhatIsNoCount) {
  setFpga(0x500000, repeated(128, 0xA1));
  setFpga(0x501000, repeated(128, 0xA2));
  setFpga(0x502000, repeated(128, 0xA3));
  numberTable().fill(0, 768, 0xEE);
  calculate(1, 1, 1, 0);
  EXPECT_THAT(numberTable().copy<3>(0x20), ElementsAre(1, 0, 0xA1));
  EXPECT_THAT(numberTable().copy<3>(0x220), ElementsAre(1, 0, 0xA3));
  EXPECT_THAT(numberTable().copy<2>(0x240), ElementsAre(0xA3, 0xA3)) << "port 10 has no count";
  EXPECT_THAT(numberTable().copy<2>(0x100), ElementsAre(0xEE, 0xEE)) << "the common part is not read";
  EXPECT_EQ(fpga(0x500000, 4), bytes({1, 0, 0xA1, 0xA1})) << "only the counts are written";

  numberTable().fill(0, 768, 0xEE);
  fail(vboard::Op::FpgaRead, 3);
  calculate(1, 1, 1, 0);
  EXPECT_THAT(numberTable().copy<3>(0x20), ElementsAre(1, 0, 0xEE)) << "unreadable: as the mirror had it";
  EXPECT_THAT(numberTable().copy<3>(0x80), ElementsAre(1, 0, 0xA2));
}

TEST_F(Mosaic, InvalidRequestsOnlyWriteThePortsAndSave) {
  calculate(2, 2, 2, 0);
  const auto before = store.SendParameterReg.image();
  const auto record = store.ScreenParaReg.image();
  const auto positions = positionTable().image();
  auto expected = saveOperations(false);
  expected.insert(expected.begin(), operation("fpga", 0x18, 430));
  calculate(40, 40, 50, 0);
  EXPECT_EQ(operations(), expected);
  store.setCardSize({0, 128});
  calculate(2, 2, 2, 0);
  EXPECT_EQ(operations(), expected) << "no card size";
  EXPECT_EQ(store.SendParameterReg.image(), before);
  EXPECT_EQ(store.ScreenParaReg.image(), record);
  EXPECT_EQ(positionTable().image(), positions);
}

TEST_F(Mosaic, MorePortsThanTablesEndTheCalculationAtTheFirstEntryBeyond) {
  positionTable().fill(0, kPositionTableSize, 0xEE);
  calculate(11, 2, 2, 0);
  EXPECT_THAT(positionTable().copy<8>(9 * 4096), ElementsAre(0, 0, 0, 0, 128, 0, 0, 0)) << "up to the bound";
  auto expected = layoutOperations();
  expected.resize(21);  // the record and the counts
  EXPECT_EQ(operations(), expected);
}

TEST_F(Mosaic, RolesOfTheOutputPorts) {
  calculate(2, 2, 2, 0, 1);
  EXPECT_THAT(roles(), ::testing::Each(0x80)) << "a slave device";

  store.GigaPhyLinkSta = 1U << 0 | 1U << 2 | 1U << 9 | 1U << 12;
  calculate(2, 2, 2, 0);
  EXPECT_THAT(roles(), ::testing::Each(0)) << "no automatic backup while the device has a role";

  store.NormalBackupStatus = 1;
  calculate(2, 2, 2, 0);  // uses ports 0 and 1
  EXPECT_THAT(roles(), ElementsAre(0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(fpga(0x1A, 1), bytes({0x80}));
  EXPECT_EQ(fpga(0x101, 1), bytes({0x80}));
}

TEST_F(Mosaic, TheFlashIsSavedThoughTheFpgaFails) {
  fail(vboard::Op::FpgaWrite, 1000);
  calculate(4, 6, 10, 0);
  EXPECT_EQ(flash(0xA3C000 + 4, 4), littleEndian({128, 0}));
}

TEST_F(Mosaic, ScreenSizeFromTheGrid) {
  store.setCardSize({64, 33});
  setFlash(0xD17000, bytes({41}));
  setFpga(0x28, bytes({1, 2, 3, 4}));
  setMirror(0x28, bytes({1, 2, 3, 4}));
  store.CalculateParaGetSreenSize({3, 5, 15, 0, 0});
  std::vector<std::string> expected{operation("fpga", 0x28, 4), operation("flash", 0xC20000, 8),
                                    operation("flash", 0xD17000, 1)};
  for (const auto& line : saveOperations(true)) expected.push_back(line);
  expected.push_back(operation("fpga", 0x1EC, 4));
  EXPECT_EQ(operations(), expected);
  EXPECT_EQ(flash(0xC20000, 8), littleEndian32({320, 99}));
  EXPECT_EQ(flash(0xD17000, 1), bytes({42}));
  EXPECT_EQ(mirror(0x1EC, 4) + fpga(0x1EC, 4), littleEndian({320, 99, 320, 99}));
  EXPECT_EQ(mirror(0x24, 8), littleEndian({320, 99, 0, 0}));
  EXPECT_EQ(fpga(0x28, 4), repeated(4, 0));

  store.CalculateParaGetSreenSize({0, 5, 15, 0, 0});
  EXPECT_EQ(flash(0xC20000, 8), littleEndian32({128, 128})) << "a screen without cards";
  clearJournal();
  store.CalculateParaGetSreenSize({3, 1024, 15, 0, 0});
  EXPECT_THAT(operations(), IsEmpty()) << "65 536 wide: nothing changes";
  EXPECT_EQ(mirror(0x1EC, 4), littleEndian({128, 128}));
}

class AskedCardSize : public Mosaic {
 protected:
  void expect(int result, CardSize size, const char* what) {
    EXPECT_EQ(store.GetRecvCardSize_EnvNew(), result) << what;
    EXPECT_EQ(store.cardSize(), size) << what;
  }
};

TEST_F(AskedCardSize, IsTheFirstLinkedCards) {
  fitCards(3, 256, 192);
  fitCards(5, 64, 32);
  expect(0, {256, 192}, "the lowest port");
  fitCards(3, 0, 192);
  expect(-1, {256, 192}, "a width of 0 is no answer");
  fail(vboard::Op::CardRead, 9);
  expect(-1, {128, 128}, "a card that does not answer");
  fail(vboard::Op::CardRead, 0);
  store.setCardSize({7, 9});
  store.GigaPhyLinkSta = 1U << 12;
  expect(-1, {7, 9}, "only a port without a table is linked");
  store.GigaPhyLinkSta = 0;
  expect(-1, {128, 128}, "nothing is linked");
}

TEST_F(AskedCardSize, OverFibre) {
  fitCards(6, 320, 160);
  store.GigaPhyLinkSta = 0;
  store.Fiber2BelowLinkStatus_buff = 1U << 6;
  expect(0, {320, 160}, "no module");
  setFpga(0x1D7, bytes({0x81}));
  expect(-1, {128, 128}, "an optical module that is up: port 0 is asked, which has no link");
  for (const uint8_t state : {uint8_t{0x80}, uint8_t{0x0F}, uint8_t{0x51}}) {
    setFpga(0x1D7, {state});
    expect(0, {320, 160}, "not up");
  }
}

// Another thread sees one layout or the other, never parts of both.
TEST_F(Mosaic, ReadersSeeWholeLayouts) {
  g_logLevel = 4;
  std::atomic<bool> done{false};
  std::atomic<int> torn{0};
  std::thread reader([&] {
    while (!done) {
      const auto block = store.SendParameterReg.copy<0x178>(0);
      const uint16_t width = readWord(&block[0x2C]);
      for (unsigned port = 0; port < 10; ++port) torn += readWord(&block[sendpara::portBlock(port)]) != width;
      const auto table = positionTable().image();
      for (size_t port = 1; port < 10; ++port) {
        torn += !std::equal(table.begin(), table.begin() + 4096, table.begin() + static_cast<long>(4096 * port));
      }
    }
  });
  for (int i = 0; i < 100; ++i) {
    const auto side = static_cast<uint16_t>(i % 2 == 0 ? 64 : 100);
    store.setCardSize({side, side});
    calculate(2, static_cast<uint16_t>(i % 2 == 0 ? 8 : 3), 6, 0);
    calculate(2, static_cast<uint16_t>(i % 2 == 0 ? 8 : 3), static_cast<uint16_t>(i % 2 == 0 ? 16 : 6), 0);
  }
  done = true;
  reader.join();
  EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace TIRK_MCUC
