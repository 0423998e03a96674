// Saving and loading the device state.
#include "proto/flashmap.h"
#include "support/store_fixture.h"

namespace TIRK_MCUC {
namespace {

using namespace testing_support;
using namespace ::testing;

class Store : public StoreTest {
 protected:
  std::string debugFile() const { return m_directory.get("root/root/screen_zero.txt"); }
};

TEST_F(Store, SavingTheScreenWritesEachRegionOnceInOrder) {
  store.SendParameterReg.setByte(0x1E0, 0x77);
  ParaTable[255] = 0x1234;
  positionTable().setByte(40959, 0x5A);
  numberTable().setByte(767, 0xA5);
  store.SaveParaToFlash(1);
  EXPECT_EQ(operations(), saveOperations(true));
  EXPECT_EQ(flash(0xA3B100 + 0x1E0, 1), bytes({0x77}));
  EXPECT_EQ(flash(0xA61000 + 510, 2), bytes({0x34, 0x12}));
  EXPECT_EQ(flash(0xB88000, 4), bytes({0x39, 0xF6, 0xA5, 0x5A}));
  EXPECT_EQ(flash(0xA3C000 + 40959, 1), bytes({0x5A}));
  EXPECT_EQ(flash(0xA5C000 + 767, 1), bytes({0xA5}));

  clearJournal();
  store.SaveParaToFlash(1);
  EXPECT_THAT(operations("flash w 0x00b88000"), IsEmpty()) << "a right tag is not rewritten";
  fail(vboard::Op::FlashRead, 3);
  store.SaveParaToFlash(1);
  EXPECT_EQ(operations("flash w 0x00b88000").size(), 1U) << "a tag that cannot be read counts as different";
}

TEST_F(Store, OtherSaveTypesWriteTheHardwareBlockOrNothing) {
  Data_Preset::getInstance()->BasicHardWareReg.setByte(255, 0x42);
  store.SaveParaToFlash(0);
  EXPECT_THAT(operations(), ElementsAre("flash w 0x00a01000 256"));
  EXPECT_EQ(flash(0xA01000 + 255, 1), bytes({0x42}));
  clearJournal();
  store.SaveParaToFlash(2);
  EXPECT_THAT(operations(), IsEmpty());
}

TEST_F(Store, AFailingRegionDoesNotStopTheOthers) {
  fail(vboard::Op::FlashWrite, 15);  // five regions, three tries each
  store.SaveParaToFlash(1);
  for (const auto& step : saveOperations(true)) EXPECT_THAT(operations(step), Not(IsEmpty()));
  EXPECT_EQ(vboard::board().faults.left(vboard::Op::FlashWrite), 0U);
  for (const char* region : {"feature", "Global", "position", "number"})
    EXPECT_EQ(logged(std::string("=== Save ") + region + " para to flash failed! ret = -1"), 1U);
}

TEST_F(Store, AnImplausibleBlockIsNamedAndSavedAllTheSame) {
  const auto verdicts = [this] { return logged("Finish parameter verify, the parameter is invalid!"); };
  size_t expected = 0;
  // The first and the last field of every group.
  for (const size_t field : {0x24, 0x2C, 0x51, 0x72, 0xB1, 0xD2, 0x131, 0x14C, 0x155, 0x170, 0x176}) {
    store.SendParameterReg.setWord(field, 3840);
    store.SaveParaToFlash(1);
    EXPECT_EQ(verdicts(), expected) << std::hex << field << " at its limit";
    store.SendParameterReg.setWord(field, 3841);
    store.SaveParaToFlash(1);
    EXPECT_EQ(verdicts(), ++expected) << std::hex << field << " beyond its limit";
    EXPECT_EQ(flash(static_cast<uint32_t>(0xA3B100 + field), 2), littleEndian({3841}));
    store.SendParameterReg.setWord(field, 0);
  }
  store.SendParameterReg.setByte(0x21, 0xFF);
  store.SaveParaToFlash(1);
  EXPECT_EQ(verdicts(), expected + 1) << "the mark of a block that was never set up";
}

TEST_F(Store, CopyProgramsPagesAndTheRemainder) {
  ByteVector data(600);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 7 + i / 256);
  EXPECT_EQ(store.CopyConstDataToFlash(0xC95000, data.data(), 600), 0);
  EXPECT_THAT(operations(), ElementsAre("flash w 0x00c95000 256", "flash w 0x00c95100 256", "flash w 0x00c95200 88"));
  EXPECT_EQ(flash(0xC95000, 600), data);

  clearJournal();
  EXPECT_EQ(store.CopyConstDataToFlash(0xC95000, data.data(), 512), 0);
  EXPECT_THAT(operations(), ElementsAre("flash w 0x00c95000 256", "flash w 0x00c95100 256")) << "no empty remainder";

  clearJournal();
  EXPECT_EQ(store.CopyConstDataToFlash(0xC95000, data.data(), 0), 0);
  EXPECT_EQ(store.CopyConstDataToFlash(0xFFFFFF00, data.data(), 600), -1) << "would wrap around";
  EXPECT_EQ(store.CopyConstDataToFlash(0xC95000, nullptr, 1), -1);
  EXPECT_THAT(operations(), IsEmpty());

  fail(vboard::Op::FlashWrite, 3, -7);
  EXPECT_EQ(store.CopyConstDataToFlash(0xC95000, data.data(), 600), 0) << "the last page's result";
  fail(vboard::Op::FlashWrite, 9, -7);
  EXPECT_EQ(store.CopyConstDataToFlash(0xC95000, data.data(), 600), -7);
}

TEST_F(Store, SizeRecords) {
  uint32_t size[2] = {7, 8};
  setFlash(0xC20000, littleEndian32({1920, 1080}));
  EXPECT_EQ(store.Read_ScreenSize_FromFlash(size), 0);
  EXPECT_THAT(size, ElementsAre(1920, 1080));

  setFlash(0xC20000, littleEndian32({0, 1080}));
  EXPECT_EQ(store.Read_ScreenSize_FromFlash(size), -1);
  EXPECT_THAT(size, ElementsAre(0, 1080)) << "what was read";

  setFlash(0xC20008, littleEndian32({64, 0}));
  EXPECT_EQ(store.Read_CardSize_FromFlash(size), -1);
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(store.Read_CardSize_FromFlash(size), -1);
  EXPECT_THAT(size, ElementsAre(64, 0)) << "unreadable: as it was";
}

TEST_F(Store, RestoringFromFlashRefusesWhatItCannotHold) {
  ByteVector dest(6000, 0xEE);
  setFlash(0xA3B100, bytes({1, 2, 3}));
  setFlash(0x001000, bytes({4, 5, 6}));
  store.RestoreDataFromFlash(1, dest.data(), 3);
  EXPECT_EQ(ByteVector(dest.begin(), dest.begin() + 4), bytes({1, 2, 3, 0xEE}));
  store.RestoreDataFromFlash(0, dest.data(), 3);
  EXPECT_EQ(ByteVector(dest.begin(), dest.begin() + 4), bytes({4, 5, 6, 0xEE}));

  dest.assign(dest.size(), 0xEE);
  const ByteVector untouched = dest;
  EXPECT_NE(store.RestoreDataFromFlash(1, dest.data(), 5121), 0);
  EXPECT_NE(store.RestoreDataFromFlash(2, dest.data(), 3), 0);
  fail(vboard::Op::FlashRead, 3);
  EXPECT_NE(store.RestoreDataFromFlash(1, dest.data(), 3), 0);
  EXPECT_EQ(dest, untouched);
  EXPECT_EQ(store.RestoreDataFromFlash(1, dest.data(), 5120), 0) << "the longest";
}

TEST_F(Store, TheHardwareBlockGetsItsVersionAndMarker) {
  setFlash(0x001000, counting(256, 0x80));
  store.ReadHardwareInfo();
  EXPECT_THAT(operations(), ElementsAre("flash w 0x0000101f 1", "flash w 0x00001000 16"));
  auto& mirror = Data_Preset::getInstance()->BasicHardWareReg;
  EXPECT_THAT(mirror.copy<10>(0), ElementsAre(0x80, 0x81, 20, 17, 2, 0, 168, 0, 4, 0x89));
  EXPECT_THAT(mirror.copy<3>(30), ElementsAre(0, 0x55, 0xA0));
  EXPECT_EQ(flash(0x001000, 10), bytes({0x80, 0x81, 20, 17, 2, 0, 168, 0, 4, 0x89}));
  EXPECT_EQ(flash(0x00101E, 3), bytes({0x9E, 0x55, 0xA0})) << "of the rest only the marker is written";
  clearJournal();
  fail(vboard::Op::FlashRead, 3);
  store.ReadHardwareInfo();
  EXPECT_THAT(operations(), IsEmpty()) << "what cannot be read is not overwritten";
}

TEST_F(Store, AScreenWithoutSizeLeavesATrace) {
  setScreenSize(1920, 1080);
  store.DebugForScreenZero(7, 0x2000024, "nothing to see");
  EXPECT_EQ(debugFile(), "");
  setScreenSize(0, 1080);
  store.DebugForScreenZero(7, 0x2000024, "CalculateParaGetSreenSize, calc screen!!");
  setScreenSize(40000, 0);
  store.DebugForScreenZero(20, 0, "RestoreFPGA, Device Power on !!");
  EXPECT_EQ(debugFile(),
            "Point:7 ,use adddr:0x2000024, wide:0 high:1080, description:CalculateParaGetSreenSize, calc screen!!\n"
            "Point:20 ,use adddr:0x0, wide:40000 high:0, description:RestoreFPGA, Device Power on !!\n");
}

}  // namespace
}  // namespace TIRK_MCUC
