// The process handlers: what a queued write does to FPGA, flash, mirrors and cards.
#include "driverutil.h"
#include "edidapi.h"
#include "process/inputSource.h"
#include "process/tprocess.h"
#include "process/tprocess_ctl.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/screentables.h"
#include "proto/writerecord.h"
#include "support/board_fixture.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

using Handler = int (*)(int, uint8_t*);

class ProcessHandlersTest : public BoardTest {
 protected:
  ProcessHandlersTest() {
    DriverUtil::getInstance()->initialize();
    clearJournal();
  }
  static int apply(Handler handler, ByteVector payload) {
    return handler(static_cast<int>(payload.size()), payload.data());
  }
  // A register write record.
  static int write(Handler handler, uint32_t address, const ByteVector& data) {
    return apply(handler, encodeWriteRecord(address, static_cast<uint16_t>(data.size()), data));
  }
  Data_Global* m_store = Data_Global::getInstance();
};

TEST_F(ProcessHandlersTest, WhatARecordClaimsMustBeThere) {
  const Handler kRecordHandlers[] = {Tprocess::Sprocess_BasicData,          Tprocess::Sprocess_DoFeatureInfo,
                                     Tprocess::Sprocess_DoScreenInfoEcho,   Tprocess::Sprocess_DoBackupInfo,
                                     Tprocess::Sprocess_PositionNetPort,    Tprocess::Sprocess_DoNumberFunCardPort,
                                     Tprocess::Sprocess_DoSoftwareTable,    Tprocess::Sprocess_DoDoEDIDSpace,
                                     Tprocess::Sprocess_doAdjustBrightness, Tprocess::Sprocess_ScreenPatternGen};
  size_t dropped = 0;
  for (const Handler handler : kRecordHandlers) {
    const ByteVector kShortRecords[] = {bytes({0, 0, 0, 5, 1}), bytes({0, 0, 0, 5, 2, 0, 0xEE}),
                                        bytes({0, 0, 0, 5, 0xFF, 0xFF, 0xEE, 0xEE})};
    for (const ByteVector& payload : kShortRecords) {
      apply(handler, payload);
      EXPECT_EQ(logged("data block is shorter than what it claims"), ++dropped);
    }
  }
  uint8_t none = 0;
  for (const Handler handler : {Tprocess::Sprocess_SaveSendCardPara, Tprocess::Sprocess_ReturnFactorySet,
                                Tprocess::Sprocess_ReloadSendCardProgram, Tprocess::Sprocess_doMappingForSender}) {
    EXPECT_EQ(handler(0, &none), 0);
    EXPECT_EQ(logged("data block is shorter than what it claims"), ++dropped);
  }
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(m_store->RebootRF, 0);
  EXPECT_EQ(m_store->LEDConfigStatus, 0);
}

TEST_F(ProcessHandlersTest, BasicDataIsAppliedAndTellsSo) {
  EXPECT_EQ(Tprocess::Sprocess_BasicData(8, nullptr), 0);
  EXPECT_EQ(write(Tprocess::Sprocess_BasicData, 10, bytes({0x12, 0x34})), 1);
  EXPECT_EQ(flash(flash::kBasicHardware.address + 10, 2), bytes({0x12, 0x34}));
}

TEST_F(ProcessHandlersTest, FeatureAndBrightnessWritesAreHandedOn) {
  write(Tprocess::Sprocess_DoFeatureInfo, 0x02000080, bytes({0x31, 0x32}));
  EXPECT_EQ(m_store->SendParameterReg.word(0x80), 0x3231);
  write(Tprocess::Sprocess_doAdjustBrightness, 0x0A00000C, bytes({7}));
  EXPECT_EQ(flash(flash::kBrightness.address + 12, 1), bytes({7}));
}

TEST_F(ProcessHandlersTest, SavingPersistsTheStatusOnlyOfASoftwareTable) {
  setFlash(flash::kShortcut.address, bytes({0x11}));
  m_store->ScreenParaReg.write(0, bytes({3, 0x55, 9}));
  m_store->SendParameterReg.setByte(sendpara::kMode, 0x20);
  m_store->LEDConfigStatus = kLedConfigBasic;
  apply(Tprocess::Sprocess_SaveSendCardPara, bytes({1}));
  EXPECT_EQ(flash(flash::kShortcut.address, 1), bytes({0x11}));
  EXPECT_EQ(flash(flash::kScreenRecord.address, 3), bytes({3, 0x55, 0}));
  EXPECT_EQ(flash(flash::kFeature.address + sendpara::kMode, 1), bytes({0x20}));
  EXPECT_THAT(did("sh "), ElementsAre("sh sync"));

  m_store->LEDConfigStatus = kLedConfigSoftware;
  apply(Tprocess::Sprocess_SaveSendCardPara, bytes({1}));
  EXPECT_EQ(flash(flash::kShortcut.address, 1), bytes({200}));
}

TEST_F(ProcessHandlersTest, AFactoryResetIsLeftToTheStatusCycle) {
  apply(Tprocess::Sprocess_ReturnFactorySet, bytes({2}));
  EXPECT_EQ(m_store->RebootRF, 3);
  EXPECT_EQ(m_store->ResetMode, 2);
  EXPECT_EQ(journal(), "");
}

TEST_F(ProcessHandlersTest, AReloadDuringAFactoryResetIsDropped) {
  m_store->FpgaOnlineFlag = 1;
  for (const uint8_t state : bytes({1, 2, 3})) {
    m_store->RebootRF = state;
    apply(Tprocess::Sprocess_ReloadSendCardProgram, bytes({1}));
    EXPECT_EQ(journal(), "") << int{state};
    EXPECT_EQ(logged("reload dropped"), size_t{state});
  }
  m_store->RebootRF = 0;
  apply(Tprocess::Sprocess_ReloadSendCardProgram, bytes({1}));
  EXPECT_THAT(did("fpga w "), Not(IsEmpty()));
}

TEST_F(ProcessHandlersTest, MappingReachesAllCards) {
  for (const int command : {1, 5, 2, 0}) apply(Tprocess::Sprocess_doMappingForSender, bytes({command}));
  EXPECT_THAT(did("card w "),
              ElementsAre("card w recv 255 65535 0x01000088 1 05", "card w recv 255 65535 0x01000088 1 05",
                          "card w recv 255 65535 0x01000088 1 ff", "card w recv 255 65535 0x01000088 1 ff"));
  EXPECT_EQ(logged("Process key: doMappingForSender  Register: "), 4U);
}

TEST_F(ProcessHandlersTest, ScreenInfoEchoStoresTheFirst32BytesOnly) {
  write(Tprocess::Sprocess_DoScreenInfoEcho, 0x02100010, counting(40));
  EXPECT_EQ(m_store->ScreenParaReg.word(15), 0x0100);
  const auto stored = m_store->ScreenParaReg.copy<16>(16);
  EXPECT_EQ(ByteVector(stored.begin(), stored.end()), counting(16));
  EXPECT_EQ(m_store->ScreenParaReg.word(32), 0);
  // Beyond the 32 nothing is stored; the offset is the low byte alone.
  write(Tprocess::Sprocess_DoScreenInfoEcho, 0x02100020, counting(4));
  EXPECT_EQ(m_store->ScreenParaReg.dword(32), 0U);
  write(Tprocess::Sprocess_DoScreenInfoEcho, 0x02100101, bytes({0xC3}));
  EXPECT_EQ(m_store->ScreenParaReg.byte(1), 0xC3);
  EXPECT_EQ(logged("====WriteToScreenInfoEcho=== 02100001 =0xc3"), 1U);
  EXPECT_EQ(journal(), "");
}

TEST_F(ProcessHandlersTest, PositionsGoToMirrorAndFpga) {
  write(Tprocess::Sprocess_PositionNetPort, 0x03001004, counting(4));
  EXPECT_EQ(positionTable().dword(0x1004), 0x04030201U);
  EXPECT_EQ(journal(), "fpga w 0x00601004 4 01020304\n");
  clearJournal();
  // The table's last byte, and the whole of it.
  write(Tprocess::Sprocess_PositionNetPort, 0x03009FFF, bytes({0x5A}));
  EXPECT_EQ(positionTable().byte(kPositionTableSize - 1), 0x5A);
  EXPECT_EQ(journal(), "fpga w 0x00609fff 1 5a\n");
  write(Tprocess::Sprocess_PositionNetPort, 0x03000000, repeated(kPositionTableSize, 7));
  EXPECT_EQ(fpga(fpga::kPosition.address, kPositionTableSize), repeated(kPositionTableSize, 7));
}

TEST_F(ProcessHandlersTest, PositionsBeyondTheTableNeverReachTheFpga) {
  write(Tprocess::Sprocess_PositionNetPort, 0x03000000 + 40900, counting(100));
  const auto stored = positionTable().copy<60>(40900);
  EXPECT_EQ(ByteVector(stored.begin(), stored.end()), counting(60));
  EXPECT_EQ(logged("$$$$ MoreThan Little Sprocess_PositionNetPort $$$$ Reg more than max:40900 Now:"), 1U);
  const auto before = positionTable().image();
  write(Tprocess::Sprocess_PositionNetPort, 0x03000000 + 40960, bytes({9}));
  EXPECT_EQ(logged("$$$$ All para Pooling Sprocess_PositionNetPort $$$$ Reg more than max:40960"), 1U);
  write(Tprocess::Sprocess_PositionNetPort, 0x0300FFFF, repeated(60000, 9));
  EXPECT_EQ(positionTable().image(), before);
  EXPECT_EQ(journal(), "");
}

TEST_F(ProcessHandlersTest, AFailedPositionWriteIsLoggedAndTheMirrorKept) {
  fail(vboard::Op::FpgaWrite, 3);
  write(Tprocess::Sprocess_PositionNetPort, 0x03000010, bytes({0x42}));
  EXPECT_EQ(positionTable().byte(0x10), 0x42);
  EXPECT_EQ(logged("=== WriteToPosNetPort ===Write FPGA Position Info failed! ret = -1"), 1U);
}

TEST_F(ProcessHandlersTest, SmallFunctionCardWritesRewriteTheBlocksTheyTouch) {
  const struct {
    uint32_t offset;
    size_t count;
    std::vector<std::string> blocks;
  } kCases[] = {{400, 1, {"fpga w 0x00500100 256 "}},
                {0, 2, {"fpga w 0x00500000 128 "}},
                {127, 1, {"fpga w 0x00500000 128 "}},
                {128, 1, {"fpga w 0x00501000 128 "}},
                {127, 2, {"fpga w 0x00500000 128 ", "fpga w 0x00501000 128 "}},
                {255, 2, {"fpga w 0x00501000 128 ", "fpga w 0x00500100 256 "}},
                {511, 2, {"fpga w 0x00500100 256 ", "fpga w 0x00502000 128 "}},
                {639, 2, {"fpga w 0x00502000 128 ", "fpga w 0x00503000 128 "}},
                {767, 1, {"fpga w 0x00503000 128 "}}};
  for (const auto& [offset, count, blocks] : kCases) {
    clearJournal();
    write(Tprocess::Sprocess_DoNumberFunCardPort, 0x03100000 + offset, repeated(count, 0x77));
    EXPECT_EQ(numberTable().byte(offset), 0x77);
    const auto lines = journalLines();
    ASSERT_EQ(lines.size(), blocks.size()) << offset;
    for (size_t i = 0; i < blocks.size(); ++i) EXPECT_THAT(lines[i], StartsWith(blocks[i])) << offset;
  }
  const auto table = numberTable().copy<256>(256);
  EXPECT_EQ(fpga(fpga::kNumberCommon.address, 256), ByteVector(table.begin(), table.end()));
}

TEST_F(ProcessHandlersTest, LongerFunctionCardWritesRewriteTheTable) {
  write(Tprocess::Sprocess_DoNumberFunCardPort, 0x03100000 + 765, bytes({1, 2, 3}));
  const auto lines = journalLines();
  ASSERT_THAT(lines, SizeIs(5));
  const char* const kBlocks[] = {"fpga w 0x00500000 128 ", "fpga w 0x00501000 128 ", "fpga w 0x00500100 256 ",
                                 "fpga w 0x00502000 128 ", "fpga w 0x00503000 128 "};
  for (size_t i = 0; i < 5; ++i) EXPECT_THAT(lines[i], StartsWith(kBlocks[i]));
  EXPECT_EQ(fpga(fpga::kNumber12To15.address + 125, 3), bytes({1, 2, 3}));
}

TEST_F(ProcessHandlersTest, FunctionCardWritesBeyondTheTableAreDropped) {
  write(Tprocess::Sprocess_DoNumberFunCardPort, 0x03100000 + 767, bytes({1, 2}));
  write(Tprocess::Sprocess_DoNumberFunCardPort, 0x03100000 + 768, bytes({1}));
  write(Tprocess::Sprocess_DoNumberFunCardPort, 0x0310FFFF, repeated(65000, 1));
  EXPECT_EQ(logged("=== WriteToNumberFunCardPort ===Invalid addr+len, dropped!"), 3U);
  EXPECT_THAT(numberTable().image(), Each(0));
  EXPECT_EQ(journal(), "");
}

TEST_F(ProcessHandlersTest, BackupGoesToFlashAndIsFlushed) {
  write(Tprocess::Sprocess_DoBackupInfo, 0x02300FFE, bytes({0xDE, 0xAD}));
  EXPECT_THAT(journalLines(), ElementsAre("flash w 0x00b98ffe 2 dead", "sh sync"));
  fail(vboard::Op::FlashWrite, 3);
  write(Tprocess::Sprocess_DoBackupInfo, 0x02300000, bytes({1}));
  EXPECT_EQ(logged("=== WriteToBackupInfo ===Write backup info to flash failed. ret = -1"), 1U);
}

TEST_F(ProcessHandlersTest, ASoftwareTableSetsTheStatusBelowTheRoleRecord) {
  write(Tprocess::Sprocess_DoSoftwareTable, 0x05065000, bytes({1, 2, 3, 4}));
  EXPECT_EQ(flash(0xC95000, 4), bytes({1, 2, 3, 4}));
  EXPECT_EQ(m_store->LEDConfigStatus, 0);
  write(Tprocess::Sprocess_DoSoftwareTable, 0x05064FFF, bytes({9}));
  EXPECT_EQ(flash(0xC94FFF, 1), bytes({9}));
  EXPECT_EQ(m_store->LEDConfigStatus, 200);
  write(Tprocess::Sprocess_DoSoftwareTable, 0x05000000, counting(600));
  EXPECT_EQ(flash(0xC30000, 600), counting(600));
  fail(vboard::Op::FlashWrite, 3, 6);
  write(Tprocess::Sprocess_DoSoftwareTable, 0x05000000, bytes({1}));
  EXPECT_EQ(logged("=== WriteToSoftwareTable ===Write to Page Program Failed. DriverRet = 6"), 1U);
}

TEST_F(ProcessHandlersTest, AnEdidGoesToTheSelectedInput) {
  InputSource::getInstance()->InputBoardInit();
  ByteVector edid(256);
  const edid_request_t request{EDID_OPTION_HDMI, {}};
  ASSERT_EQ(ModifyEDID_API.generate(&request, edid.data()), 0);
  clearJournal();
  for (const size_t length : {200U, 300U, 127U, 255U})
    write(Tprocess::Sprocess_DoDoEDIDSpace, 0x08000000, ByteVector(length));
  EXPECT_EQ(logged("=== DoWriteEdidInfo ===data length > 100! length = 300 return. "), 1U);
  EXPECT_EQ(journal(), "");

  m_store->SendParameterReg.setByte(sendpara::kInputSource, 98);
  write(Tprocess::Sprocess_DoDoEDIDSpace, 0x08000000, edid);
  EXPECT_EQ(logged(" SendParameterReg[0x01A5] = 0x62"), 1U);
  EXPECT_THAT(did("edid w 1 "), Not(IsEmpty()));
  EXPECT_THAT(did("edid w 0 "), IsEmpty());
}

TEST_F(ProcessHandlersTest, PatternRegistersAreKeptWithinTheirBlock) {
  write(Tprocess::Sprocess_ScreenPatternGen, 0x12010000 + 510, bytes({1, 2}));
  EXPECT_EQ(m_store->HardwareScreenGenReg.word(510), 0x0201);
  EXPECT_EQ(logged(" WriteOffset:510 &0xFFF:510"), 1U);
  const auto before = m_store->HardwareScreenGenReg.image();
  clearJournal();
  write(Tprocess::Sprocess_ScreenPatternGen, 0x12010000 + 511, bytes({3, 4}));
  write(Tprocess::Sprocess_ScreenPatternGen, 0x12010000 + 513, bytes({3}));
  write(Tprocess::Sprocess_ScreenPatternGen, 0x1200FFFF, bytes({3}));  // below the space
  EXPECT_EQ(logged("=== Sprocess_ScreenPatternGen ===Invalid addr+len, dropped!"), 3U);
  EXPECT_EQ(m_store->HardwareScreenGenReg.image(), before);
  EXPECT_EQ(journal(), "");
}

}  // namespace
