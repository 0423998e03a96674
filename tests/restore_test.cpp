// The boot restore: what comes back from flash, what reaches the FPGA, and the first boot after a factory reset.
#include "mcuctrace.h"
#include "proto/screentables.h"
#include "support/store_fixture.h"

namespace TIRK_MCUC {
namespace {

using namespace testing_support;
using namespace ::testing;

class Restore : public ReportingStoreTest {
 protected:
  // A device that was set up: every region holds something of its own.
  Restore() {
    ByteVector block(512);
    for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<uint8_t>(i * 3 + 1);
    for (const size_t status : {0x1FU, 0x9FU, 0x126U}) block[status] = 0x0F;
    block[0x23] = 0x21;
    block[0x1DE] = 0x5A;
    block[0x1F8] = 0;
    block[0x1E9] = 1;
    setFlash(0xA3B100, block);
    ByteVector positions(40960);
    for (size_t i = 0; i < positions.size(); ++i) positions[i] = static_cast<uint8_t>(i / 4096 + i % 251);
    setFlash(0xA3C000, positions);
    ByteVector numbers(768);
    for (size_t i = 0; i < numbers.size(); ++i) numbers[i] = static_cast<uint8_t>(i % 253);
    setFlash(0xA5C000, numbers);
    setFlash(0xA60010, bytes({1}));
    setFlash(0xB99000, bytes({184}));
    setFlash(0xC20040, bytes({1, 0x55, 0, 0, 0, 0, 64, 0, 32, 0, 4, 5, 2, 20, 0}));
    setFlash(0xD17000, bytes({77}));
  }
  void setBlock(uint32_t index, const ByteVector& data) { setFlash(0xA3B100 + index, data); }
  void restore(bool online = true) {
    store.FpgaOnlineFlag = online ? 1 : 0;
    clearJournal();
    store.RestoreFPGA();
  }
  void setOffsets(uint8_t mode, int32_t x, int32_t y) {
    setBlock(0x1F0, littleEndian32({static_cast<uint32_t>(x), static_cast<uint32_t>(y)}));
    setBlock(0x1F8, {mode});
  }
};

TEST_F(Restore, ASetUpDeviceComesBackWhole) {
  store.RebootRF = 1;
  factory_flag = 1;
  setFpga(0x1DE, bytes({0x11}));
  restore();
  EXPECT_EQ(store.RebootRF, 0);
  EXPECT_EQ(factory_flag, 0U);
  EXPECT_EQ(store.PbufMorSMode, 1);
  EXPECT_EQ(store.LEDConfigStatus, 184);
  EXPECT_EQ(store._gCorroentHighSpeed, 1);
  EXPECT_TRUE(store.FpgaParaLoadFinish);
  EXPECT_THAT(store.ScreenParaReg.copy<15>(0), ElementsAre(1, 0x55, 0, 0, 0, 0, 64, 0, 32, 0, 4, 5, 2, 20, 0));

  EXPECT_EQ(fpga(0x20, 3), flash(0xA3B100 + 0x20, 3));
  EXPECT_EQ(fpga(0x1C0, 16), flash(0xA3B100 + 0x1C0, 16));
  EXPECT_EQ(fpga(0x1EF, 2), bytes({(0x1EF * 3 + 1) & 0xFF, 0})) << "the part ends at 0x1EF";
  EXPECT_EQ(fpga(0x17, 1), bytes({0})) << "and begins at 0x18";
  for (const size_t status : {0x1FU, 0x9FU, 0x126U}) EXPECT_EQ(store.SendParameterReg.byte(status), 0) << status;
  EXPECT_EQ(fpga(0x600000, 40960), flash(0xA3C000, 40960));
  EXPECT_EQ(fpga(0x500000, 128), flash(0xA5C000, 128));
  EXPECT_EQ(fpga(0x501000, 128), flash(0xA5C080, 128));
  EXPECT_EQ(fpga(0x500100, 256), flash(0xA5C100, 256));
  EXPECT_EQ(fpga(0x502000, 128), flash(0xA5C200, 128));
  EXPECT_EQ(fpga(0x503000, 128), repeated(128, 0)) << "ports 12..15 have no table";
  EXPECT_EQ(fpga(0x1DE, 1), bytes({0})) << "the output is closed";
  EXPECT_EQ(store.SendParameterReg.byte(0x1DE), 0x5A);
  EXPECT_EQ(flash(0xD17000, 1), bytes({0}));
}

TEST_F(Restore, WritesInTheStatedOrder) {
  restore();
  std::vector<std::string> expected{"sh sysconfig set firstboot 0", operation("fpga", 0x18, 472)};
  for (uint32_t block = 0; block < 40; ++block) expected.push_back(operation("fpga", 0x600000 + 1024 * block, 1024));
  for (const uint32_t address : {0x500000U, 0x501000U, 0x502000U}) expected.push_back(operation("fpga", address, 128));
  expected.push_back(operation("fpga", 0x500100, 256));
  expected.push_back(operation("fpga", 0x1DE, 1));
  expected.push_back(operation("flash", 0xD17000, 1));
  EXPECT_EQ(operations(), expected);
}

TEST_F(Restore, ModeAndOutputSwitchAreNormalised) {
  for (const auto& [stored, restored] :
       {std::pair{0x20, 0x20}, {0x21, 0x21}, {0x10, 0x10}, {0x22, 0x20}, {0x00, 0x20}, {0xFF, 0x20}}) {
    setBlock(0x23, bytes({stored}));
    setBlock(0x1DE, bytes({(stored + 1) & 0xFF}));
    restore(false);
    EXPECT_EQ(store.SendParameterReg.byte(0x23), restored) << stored;
    EXPECT_EQ(store.SendParameterReg.byte(0x1DE), (stored + 1) & 0xFF) << "only 0x5A becomes 0";
  }
  EXPECT_THAT(operations("fpga"), IsEmpty()) << "offline the mirrors alone are loaded";
  EXPECT_EQ(numberTable().byte(0x2FF), 0x2FF % 253);
  EXPECT_FALSE(store.FpgaParaLoadFinish);
}

TEST_F(Restore, OffsetsGoInTheFormOfWhoeverSetThem) {
  const struct {
    uint8_t mode;  // 1: the host's, 2: the display daemon's
    int32_t x, y;
    ByteVector offsets, signX, signY;  // in the FPGA afterwards
  } kCases[] = {{2, -5, 5, littleEndian({5, 5}), word(0), word(0xFFFF)},
                {2, 5, 0, littleEndian({5, 0}), word(0xFFFF), word(0)},
                {2, 0, -65535, littleEndian({0, 65535}), word(0), word(0)},
                {2, 65535, -1, littleEndian({65535, 1}), word(0xFFFF), word(0)},
                {1, -7, -8, littleEndian({300, 200}), word(0), word(0)}};
  setBlock(0x28, littleEndian({300, 200}));
  for (const auto& c : kCases) {
    setOffsets(c.mode, c.x, c.y);
    restore();
    EXPECT_EQ(fpga(0x28, 4), c.offsets) << c.x;
    EXPECT_EQ(fpga(0x91, 2), c.signX) << c.x;
    EXPECT_EQ(fpga(0xAC, 2), c.signY) << c.y;
  }
}

TEST_F(Restore, OffsetsThatDoNotFitAreBothRefused) {
  for (const auto& [x, y] : {std::pair{65536, 1}, {1, -65536}, {INT32_MIN, INT32_MIN}}) {
    setOffsets(2, x, y);
    restore();
    EXPECT_EQ(operations("fpga")[1], operation("fpga", 0x600000, 1024)) << x << ", " << y;
    EXPECT_EQ(fpga(0x28, 4), flash(0xA3B100 + 0x28, 4)) << "as the block has them";
  }
  EXPECT_EQ(logged("=== RestoreFPGA ===the display offsets do not fit and are not written"), 3U);
  EXPECT_TRUE(store.FpgaParaLoadFinish);
}

TEST_F(Restore, TheDeviceRoleDecidesAboutAutomaticBackups) {
  for (const auto& [role, backup] : {std::pair<int, int>{0x5A, 0}, {0xA5, 0}, {0x00, 1}, {0xFF, 1}}) {
    setFpga(0x9D, bytes({role}));
    store.FpgaOnlineFlag = 1;
    store.BootRecover();
    EXPECT_EQ(store.NormalBackupStatus, backup) << role;
  }
  setFpga(0x9D, bytes({0x5A}));
  store.FpgaOnlineFlag = 0;
  store.BootRecover();
  EXPECT_EQ(store.NormalBackupStatus, 1) << "offline the register is not read";
}

TEST_F(Restore, FirstBootMakesTheStoredScreenOneCard) {
  ReportListener qxt(m_directory.path().string(), kTaskQxt);
  setEnv("firstboot", "1");
  setFlash(0xC20000, littleEndian32({1920, 1080}));
  setFpga(0x9D, bytes({0x5A}));
  restore();
  EXPECT_EQ(store.cardSize(), (CardSize{1920, 1080}));
  EXPECT_EQ(factory_flag, 1U);
  EXPECT_TRUE(store.FpgaParaLoadFinish);
  EXPECT_EQ(store.LEDConfigStatus, 184);
  EXPECT_EQ(fpga(0x51, 8), littleEndian({1920, 1080, 0, 0}));
  EXPECT_EQ(fpga(0x500000, 2), bytes({1, 0}));
  EXPECT_EQ(fpga(0x600000, 4096), repeated(4096, 0)) << "one card in all 1024 entries";
  EXPECT_EQ(flash(0xC20040, 15), bytes({1, 0x55, 0, 0, 0, 0, 0x80, 7, 0x38, 4, 1, 1, 0, 1, 0}));
  const auto operationsDone = operations();
  EXPECT_THAT(std::vector(operationsDone.begin(), operationsDone.begin() + 4),
              ElementsAre(operation("flash", 0xC20000, 8), operation("flash", 0xD17000, 1),
                          "sh sysconfig set firstboot 0", operation("flash", 0xC20040, 15)));
  EXPECT_THAT(qxt.take(), ElementsAre(Report{0x02000018, bytes({0, 0, 0, 0})}, Report{0x02000098, bytes({0, 0, 0, 0})},
                                      Report{0x02000100, repeated(8, 0)}));

  restore();
  EXPECT_EQ(logged("=======Reboot after ReturnFactory === RestoreFPGA    "), 1U) << "the next boot is an ordinary one";
  EXPECT_EQ(factory_flag, 0U);
}

TEST_F(Restore, FirstBootWaitsForTheFpga) {
  setEnv("firstboot", "1");
  setFlash(0xC20000, littleEndian32({640, 480}));
  restore(false);
  EXPECT_THAT(operations(), ElementsAre(operation("flash", 0xC20000, 8), operation("flash", 0xD17000, 1)));
  EXPECT_EQ(env("firstboot"), "1");
  EXPECT_EQ(store.cardSize(), (CardSize{640, 480}));
  EXPECT_EQ(flash(0xD17000, 1), bytes({0}));
  EXPECT_EQ(store.SendParameterReg.dword(0x1EC), 480U << 16 | 640U);
  EXPECT_FALSE(store.FpgaParaLoadFinish);

  restore(true);
  EXPECT_EQ(env("firstboot"), "0");
  EXPECT_TRUE(store.FpgaParaLoadFinish);
  EXPECT_EQ(fpga(0x51, 4), littleEndian({640, 480}));
}

TEST_F(Restore, AScreenThatIsNoCardLeavesTheDefault) {
  const std::initializer_list<uint32_t> kSizes[] = {{0, 1080}, {1920, 0}, {65536, 1080}, {1920, 0xFFFFFFFF}};
  for (const auto& size : kSizes) {
    setEnv("firstboot", "1");
    setFlash(0xC20000, littleEndian32(size));
    restore(false);
    EXPECT_EQ(store.cardSize(), (CardSize{128, 128}));
    EXPECT_EQ(flash(0xC20000, 8), littleEndian32({128, 128}));
  }
  EXPECT_EQ(logged("the stored screen size is no card size"), 4U);
}

TEST_F(Restore, OnlyTheValueOneIsAFirstBoot) {
  for (const char* value : {"0", "2", "no", ""}) {
    setEnv("firstboot", value);
    restore(false);
    EXPECT_THAT(operations("sh"), ElementsAre("sh sysconfig set firstboot 0")) << value;
  }
  EXPECT_EQ(vboard::board().env.unset("firstboot"), 0);
  restore(false);
  EXPECT_THAT(operations("sh"), IsEmpty());
  setEnv("firstboot", "1");
  fail(vboard::Op::EnvOpen, 1);
  restore(false);
  EXPECT_EQ(env("firstboot"), "1") << "a store that cannot be opened is an ordinary boot";
  EXPECT_EQ(logged("=======Reboot after ReturnFactory === RestoreFPGA    "), 0U);
}

}  // namespace
}  // namespace TIRK_MCUC
