// The advanced configuration on a board: every output port described by itself.
#include "process/tprocess.h"
#include "proto/screentables.h"
#include "support/store_fixture.h"

namespace TIRK_MCUC {
namespace {

using namespace testing_support;
using namespace ::testing;

constexpr int kInvalidPorts = static_cast<int>(0x80005011);

class Advanced : public ReportingStoreTest {
 protected:
  static AdvancedRequest uniform(uint16_t rows, uint16_t columns, uint8_t mode = 0) {
    AdvancedRequest request;
    request.rows.fill(rows);
    request.columns.fill(columns);
    request.connectMode.fill(mode);
    return request;
  }
  // Cards of 128 x 64 behind port 0: the calculation asks for the size again.
  void fitWall() { fitCards(0, 128, 64); }
};

TEST_F(Advanced, EachPortHasItsOwnRegionCountAndWiring) {
  fitWall();
  AdvancedRequest request = uniform(1, 1);
  request.rows = {4, 2, 1, 1, 1, 1, 1, 1, 1, 1};
  request.columns = {8, 3, 1, 1, 1, 1, 1, 1, 1, 1};
  request.x = {0, 1024, 0, 0, 0, 0, 0, 0, 0, 500};
  request.y = {0, 10, 0, 0, 0, 0, 0, 0, 0, 600};
  request.connectMode = {0, 7, 0, 0, 0, 0, 0, 0, 0, 0};
  clearJournal();
  EXPECT_EQ(store.AdvCalcParaOfSenderInMosaicMode(request), 0);
  EXPECT_EQ(mirror(0x51, 8), littleEndian({1024, 256, 0, 0}));
  EXPECT_EQ(mirror(0x13A, 8), littleEndian({128, 64, 500, 600})) << "port 9";
  EXPECT_EQ(fpga(0x5A, 8), littleEndian({384, 128, 1024, 10}));
  EXPECT_EQ(mirror(0x24, 4), littleEndian({1024, 256})) << "the largest port, not the borders";
  EXPECT_EQ(mirror(0x2C, 2), littleEndian({1024}));
  EXPECT_EQ(fpga(0x500000, 2), littleEndian({32}));
  EXPECT_EQ(fpga(0x500020, 2), littleEndian({6}));
  EXPECT_EQ(fpga(0x502020, 2), littleEndian({1}));
  EXPECT_EQ(position(0, 1023), (CardPosition{0, 192})) << "32 repeats";
  EXPECT_EQ(position(1, 0), (CardPosition{256, 64})) << "from the bottom right upwards";
  EXPECT_EQ(position(1, 2), (CardPosition{128, 0}));
  EXPECT_EQ(flash(0xC20040, 15), bytes({1, 0x55, 0, 0, 0, 0, 128, 0, 64, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(flash(0xA3C000, 40960), fpga(0x600000, 40960));
}

TEST_F(Advanced, WritesInTheStatedOrder) {
  fitWall();
  store.PbufMorSMode = 1;
  store.SendParameterReg.setByte(0x4A, 0x11);
  clearJournal();
  ASSERT_EQ(store.AdvCalcParaOfSenderInMosaicMode(uniform(2, 2)), 0);
  auto expected = layoutOperations();
  for (uint32_t k = 0; k < 4; ++k) {
    for (const uint32_t role : {0x18U, 0x98U, 0x100U, 0x104U}) expected.push_back(operation("fpga", role + k, 1));
  }
  expected.push_back(operation("flash", 0xA3B118, 4));
  expected.push_back(operation("flash", 0xA3B198, 4));
  expected.push_back(operation("flash", 0xA3B200, 8));
  expected.push_back(operation("fpga", 0x18, 430));
  for (const auto& line : saveOperations(true)) expected.push_back(line);
  auto done = operations();
  std::erase_if(done, [](const std::string& line) { return line.starts_with("card r"); });
  EXPECT_EQ(done, expected);
  EXPECT_EQ(mirror(0x4A, 1), bytes({0}));
  EXPECT_EQ(fpga(0x104, 4), repeated(4, 0x80)) << "a slave device";
}

TEST_F(Advanced, LimitsAreTestedBeforeAnythingChanges) {
  store.setCardSize({128, 64});
  const auto block = store.SendParameterReg.image();
  AdvancedRequest tooMany = uniform(1, 1);
  tooMany.rows[4] = 16;
  tooMany.columns[4] = 33;
  for (const AdvancedRequest& request : {tooMany, uniform(5, 41)}) {
    EXPECT_EQ(store.AdvCalcParaOfSenderInMosaicMode(request), kInvalidPorts);
  }
  for (const auto& [port, mode, columns] :
       {std::tuple<uint8_t, uint8_t, uint16_t>{10, 0, 1}, {0, 8, 1}, {0, 0, 6554}}) {
    EXPECT_EQ(store.AdvCordinateCalc(0, mode, port, 0, 0, 1, columns), kInvalidPorts) << int{port} << ", " << columns;
  }
  EXPECT_THAT(operations(), IsEmpty());
  EXPECT_EQ(store.SendParameterReg.image(), block);
  EXPECT_EQ(store.cardSize(), (CardSize{128, 64})) << "the cards were not even asked";
}

TEST_F(Advanced, LargerCardsThanBeforeMayLeaveTheLargestScreen) {
  store.setCardSize({16, 16});
  fitCards(0, 4096, 16);
  const auto block = store.SendParameterReg.image();
  EXPECT_EQ(store.AdvCalcParaOfSenderInMosaicMode(uniform(1, 16)), kInvalidPorts);
  EXPECT_EQ(store.SendParameterReg.image(), block);
  EXPECT_THAT(operations("fpga"), IsEmpty());
  EXPECT_THAT(operations("flash"), IsEmpty());
}

TEST_F(Advanced, APortWithoutRowsKeepsItsTable) {
  fitWall();
  positionTable().fill(3 * 4096, 4096, 0xEE);
  AdvancedRequest request = uniform(1, 5);
  request.rows[3] = 0;
  positionTable().fill(4 * 4096, 4096, 0xEE);
  ASSERT_EQ(store.AdvCalcParaOfSenderInMosaicMode(request), 0);
  EXPECT_EQ(fpga(0x603000, 4096), repeated(4096, 0xEE));
  EXPECT_EQ(fpga(0x500060, 2), bytes({0, 0}));
  EXPECT_EQ(position(4, 1019), (CardPosition{512, 0}));
  EXPECT_EQ(fpga(0x604000 + 4 * 1020, 16), repeated(16, 0xEE)) << "1024 is no multiple of 5";
}

TEST_F(Advanced, TheNumberTableIsNotReadBack) {
  fitWall();
  setFpga(0x500000, repeated(128, 0xA1));
  numberTable().fill(0, 768, 0xEE);
  ASSERT_EQ(store.AdvCalcParaOfSenderInMosaicMode(uniform(1, 1)), 0);
  EXPECT_THAT(numberTable().copy<3>(0x20), ElementsAre(1, 0, 0xEE));
}

TEST_F(Advanced, ScreenSizeFromTheBorders) {
  store.setCardSize({128, 64});
  setFlash(0xD17000, bytes({5}));
  setMirror(0x28, repeated(4, 0xEE));
  AdvancedRequest request = uniform(0, 0);
  request.rows[0] = request.rows[1] = 4;
  request.columns[0] = request.columns[1] = 8;
  request.x[1] = 1024;
  request.y[1] = 1;
  clearJournal();
  store.AdvCalcParaGetSreenSize(request);
  EXPECT_EQ(mirror(0x1EC, 4), littleEndian({2048, 257}));
  EXPECT_EQ(mirror(0x24, 8), littleEndian({2048, 257, 0, 0})) << "not rounded";
  std::vector<std::string> expected{operation("fpga", 0x28, 4)};
  for (const auto& line : saveOperations(true)) expected.push_back(line);
  expected.push_back(operation("flash", 0xC20000, 8));
  expected.push_back(operation("flash", 0xD17000, 1));
  EXPECT_EQ(operations(), expected);
  EXPECT_EQ(flash(0xC20000, 8), littleEndian32({2048, 257}));
  EXPECT_EQ(flash(0xD17000, 1), bytes({6}));
}

class AdvancedHandler : public Advanced {
 protected:
  AdvancedHandler() {
    fitWall();
    store.setCardSize({128, 64});
    for (unsigned p = 0; p < 16; ++p) setPort(p, 1, 1, 0, 0, 0);
  }
  static void setPort(unsigned port, uint8_t rows, uint8_t columns, uint16_t x, uint16_t y, uint8_t mode) {
    const uint32_t at = 0xB99050 + 64 * port;
    setFlash(at + 1, {mode});
    setFlash(at + 6, {rows, columns});
    setFlash(at + 10, littleEndian({x, y}));
  }
  void handle() {
    clearJournal();
    uint8_t work[] = {1};
    Tprocess::Sprocess_AdvCalcParaOfSender(1, work);
  }
};

TEST_F(AdvancedHandler, LaysOutTheStoredPorts) {
  setPort(0, 4, 8, 0, 0, 0);
  setPort(1, 4, 8, 1024, 0, 2);
  setPort(2, 0, 0, 100, 50, 0);
  setPort(12, 255, 255, 65535, 65535, 9);  // stored, not calculated
  handle();
  EXPECT_EQ(store.LEDConfigStatus, 184);
  EXPECT_EQ(flash(0xB99000, 1), bytes({184}));
  EXPECT_EQ(mirror(0x1EC, 4), littleEndian({2048, 256}));
  EXPECT_EQ(mirror(0x24, 4), littleEndian({1024, 256})) << "the calculation comes after the borders";
  EXPECT_EQ(fpga(0x500040, 2), bytes({1, 0})) << "0 rows and columns are one card";
  EXPECT_EQ(position(1, 0), (CardPosition{896, 0}));
  EXPECT_EQ(operations().back(), operation("flash", 0xB99000, 1));
}

TEST_F(AdvancedHandler, BeyondTheLimitsNothingChanges) {
  store.LEDConfigStatus = 200;
  setPort(5, 255, 255, 0, 0, 0);
  handle();
  EXPECT_THAT(operations(), IsEmpty());
  setPort(5, 1, 1, 0, 0, 0);
  fail(vboard::Op::FlashRead, 3);
  handle();
  EXPECT_THAT(operations(), IsEmpty()) << "records that cannot be read";
  uint8_t work[] = {1};
  EXPECT_EQ(Tprocess::Sprocess_AdvCalcParaOfSender(0, work), 0);
  EXPECT_EQ(Tprocess::Sprocess_AdvCalcParaOfSender(1, nullptr), 0);
  EXPECT_THAT(operations(), IsEmpty()) << "an empty work item";
  EXPECT_EQ(store.LEDConfigStatus, 200);
}

}  // namespace
}  // namespace TIRK_MCUC
