// The process handlers: what a queued write does to FPGA, flash, mirrors and cards, and how the dispatch calls them.
#include <stdexcept>

#include "driverutil.h"
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
    EXPECT_EQ(Tprocess_ctl::getInstance()->initialize(), 1);
    clearJournal();
  }
  static void dispatch(int key, const ByteVector& payload) {
    MCUProcessDataBlock block;
    block.m_key = key;
    EXPECT_TRUE(block.setData(payload.data(), static_cast<int>(payload.size())));
    Tprocess_ctl::getInstance()->onProcessDealwith(&block);
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

TEST_F(ProcessHandlersTest, KeysWithoutHandlerAreIgnoredWithoutALine) {
  const std::string before = log();
  for (const int key : {1, 20, 30, 199, -1}) dispatch(key, bytes({1, 2, 3, 4, 5, 6, 7, 8}));
  dispatch(28, bytes({1}));  // the one handler that does nothing
  EXPECT_EQ(log(), before);
  EXPECT_EQ(journal(), "");
}

TEST_F(ProcessHandlersTest, AHandlersExceptionIsLoggedAndGoesNoFurther) {
  MCUProcessDataBlock block;
  block.m_key = 5;
  const auto apply = [&block](int (*handler)(int, uint8_t*)) {
    const Fprocess_cmd command{28, 1, DoFeatureInfoKey, "", handler};
    EXPECT_NO_THROW(Tprocess_ctl::apply(&command, block));
  };
  apply([](int, uint8_t*) -> int { throw std::runtime_error("out of luck"); });
  EXPECT_EQ(logged("the handler of key 5 failed: out of luck"), 1U);
  apply([](int, uint8_t*) -> int { throw 7; });
  EXPECT_EQ(logged("the handler of key 5 failed."), 1U);
  apply(nullptr);
  EXPECT_EQ(logged("=== onProcessDealwith ===: Invalid key!"), 1U);
}

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
  EXPECT_EQ(Tprocess::Sprocess_BasicData(8, nullptr), 0);
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(m_store->RebootRF, 0);
  EXPECT_EQ(m_store->LEDConfigStatus, 0);
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

TEST_F(ProcessHandlersTest, AFactoryResetIsLeftToTheStatusCycleAndAReloadDuringItDropped) {
  m_store->FpgaOnlineFlag = 1;
  apply(Tprocess::Sprocess_ReturnFactorySet, bytes({2}));
  EXPECT_EQ(m_store->RebootRF, 3);
  EXPECT_EQ(m_store->ResetMode, 2);
  for (const uint8_t state : bytes({3, 1, 2})) {
    m_store->RebootRF = state;
    apply(Tprocess::Sprocess_ReloadSendCardProgram, bytes({1}));
    EXPECT_EQ(journal(), "") << int{state};
  }
  EXPECT_EQ(logged("reload dropped"), 3U);
  m_store->RebootRF = 0;
  apply(Tprocess::Sprocess_ReloadSendCardProgram, bytes({1}));
  EXPECT_THAT(did("fpga w "), Not(IsEmpty()));
}

TEST_F(ProcessHandlersTest, MappingReachesAllCards) {
  for (const int command : {1, 5, 2, 0}) apply(Tprocess::Sprocess_doMappingForSender, bytes({command}));
  EXPECT_THAT(did("card w "),
              ElementsAre("card w recv 255 65535 0x01000088 1 05", "card w recv 255 65535 0x01000088 1 05",
                          "card w recv 255 65535 0x01000088 1 ff", "card w recv 255 65535 0x01000088 1 ff"));
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
  EXPECT_EQ(journal(), "");
}

TEST_F(ProcessHandlersTest, PositionsGoToMirrorAndFpgaAndNotBeyondTheTable) {
  write(Tprocess::Sprocess_PositionNetPort, 0x03009FFE, bytes({0x5A, 0xA5}));
  EXPECT_EQ(positionTable().byte(kPositionTableSize - 1), 0xA5);
  EXPECT_EQ(journal(), "fpga w 0x00609ffe 2 5aa5\n");
  clearJournal();
  write(Tprocess::Sprocess_PositionNetPort, 0x03009FFE, bytes({1, 2, 3}));
  EXPECT_EQ(positionTable().byte(kPositionTableSize - 1), 2) << "what there is room for";
  EXPECT_EQ(logged("$$$$ MoreThan Little Sprocess_PositionNetPort $$$$ Reg more than max:40958 Now:2"), 1U);
  const auto before = positionTable().image();
  write(Tprocess::Sprocess_PositionNetPort, 0x0300A000, bytes({9}));
  write(Tprocess::Sprocess_PositionNetPort, 0x0300FFFF, repeated(60000, 9));
  EXPECT_EQ(logged("$$$$ All para Pooling Sprocess_PositionNetPort $$$$ Reg more than max:"), 2U);
  EXPECT_EQ(positionTable().image(), before);
  EXPECT_EQ(journal(), "");
}

TEST_F(ProcessHandlersTest, FunctionCardWritesRewriteTheBlocksTheyTouch) {
  const char* const kBlocks[] = {"fpga w 0x00500000 128", "fpga w 0x00501000 128", "fpga w 0x00500100 256",
                                 "fpga w 0x00502000 128", "fpga w 0x00503000 128"};
  const struct {
    uint32_t offset;
    size_t count, firstBlock, blocks;
  } kCases[] = {{0, 2, 0, 1},   {127, 1, 0, 1}, {127, 2, 0, 2},       {128, 1, 1, 1}, {255, 2, 1, 2},
                {400, 1, 2, 1}, {511, 2, 2, 2}, {639, 2, 3, 2},       {767, 1, 4, 1}, {765, 3, 0, 5},
                {767, 2, 0, 0}, {768, 1, 0, 0}, {0xFFFF, 65000, 0, 0}};
  for (const auto& [offset, count, firstBlock, blocks] : kCases) {
    const auto before = numberTable().image();
    clearJournal();
    write(Tprocess::Sprocess_DoNumberFunCardPort, 0x03100000 + offset, repeated(count, 0x77));
    auto lines = journalLines();
    for (std::string& line : lines) line.resize(line.rfind(' '));
    EXPECT_EQ(lines, std::vector<std::string>(kBlocks + firstBlock, kBlocks + firstBlock + blocks)) << offset;
    if (blocks != 0) continue;
    EXPECT_EQ(numberTable().image(), before) << offset;
  }
  const auto table = numberTable().copy<256>(256);
  EXPECT_EQ(fpga(fpga::kNumberCommon.address, 256), ByteVector(table.begin(), table.end()));
  EXPECT_EQ(fpga(fpga::kNumber12To15.address + 125, 3), repeated(3, 0x77));
}

TEST_F(ProcessHandlersTest, ASoftwareTableSetsTheStatusBelowTheRoleRecord) {
  write(Tprocess::Sprocess_DoSoftwareTable, 0x05065000, bytes({1, 2, 3, 4}));
  EXPECT_EQ(flash(0xC95000, 4), bytes({1, 2, 3, 4}));
  EXPECT_EQ(m_store->LEDConfigStatus, 0);
  write(Tprocess::Sprocess_DoSoftwareTable, 0x05064FFF, bytes({9}));
  EXPECT_EQ(flash(0xC94FFF, 1), bytes({9}));
  EXPECT_EQ(m_store->LEDConfigStatus, 200);
}

TEST_F(ProcessHandlersTest, PatternRegistersAreKeptWithinTheirBlock) {
  write(Tprocess::Sprocess_ScreenPatternGen, 0x12010000 + 510, bytes({1, 2}));
  EXPECT_EQ(m_store->HardwareScreenGenReg.word(510), 0x0201);
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
