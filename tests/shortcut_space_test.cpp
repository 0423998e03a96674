// The shortcut-configuration space, the handler that its basic record queues, and the deferred calculation.
#include "process/tprocess.h"
#include "support/store_fixture.h"

namespace TIRK_MCUC {
namespace {

using namespace testing_support;
using namespace ::testing;

constexpr uint32_t kSpace = 0x02810000;
constexpr uint32_t kFlash = 0xB99000;
constexpr const char* kBasic = "Sprocess_CalculateParaOfSender";
constexpr const char* kAdvanced = "Sprocess_AdvCalcParaOfSender";

// What a host writes at offset 16: direction at 17, rows, columns and cabinets at 22..25.
ByteVector basicFields(uint8_t rows, uint8_t columns, uint16_t cabinets, uint8_t direction = 0) {
  return bytes({0, direction, 0, 0, 0, 0, rows, columns, cabinets & 0xFF, cabinets >> 8});
}

class ShortcutSpace : public SpaceStoreTest {
 protected:
  Answer writeBasic(uint8_t rows, uint8_t columns, uint16_t cabinets, uint8_t direction = 0) {
    return write(kSpace + 16, basicFields(rows, columns, cabinets, direction));
  }
};

TEST_F(ShortcutSpace, TheRecordIsReadWithTheLivingStatusAndIn38BytesAsWprKeepsIt) {
  setFlash(kFlash, counting(38, 100));
  setFlash(kFlash + 0xFFE, bytes({5, 6}));
  setFlash(0xC20030, bytes({0xA, 0xB, 0xC, 0xD}));
  store.LEDConfigStatus = 0xC8;
  EXPECT_EQ(read(kSpace + 1, 2), done(bytes({101, 102})));
  EXPECT_EQ(read(kSpace + 0xFFE, 2), done(bytes({5, 6})));
  EXPECT_EQ(read(kSpace, 37), done(bytes({0xC8}) + counting(36, 101)));
  EXPECT_EQ(read(kSpace, 38), done(bytes({0xC8}) + counting(16, 101) + bytes({0xA}) + counting(4, 118) +
                                   bytes({0xB, 0xC, 0xD}) + counting(13, 125)));
}

TEST_F(ShortcutSpace, AFlashThatFailsRefuses) {
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(read(kSpace, 4), refused(-1));
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(writeBasic(4, 5, 18), refused(4)) << "a record that cannot be read back";
  for (const unsigned long failing : {3UL, 6UL}) {
    fail(vboard::Op::FlashWrite, failing);
    EXPECT_EQ(writeBasic(4, 5, 18), refused(4));
    fail(vboard::Op::FlashWrite, 0);
  }
  EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(ShortcutSpace, ABasicRecordIsStoredCheckedAndQueued) {
  ReportListener qxt(m_directory.path().string(), kTaskQxt);
  fitCards(2, 200, 100);
  setFlash(kFlash, counting(32, 1));
  EXPECT_EQ(writeBasic(4, 5, 18), done());
  EXPECT_THAT(applied(), ElementsAre(kBasic));
  auto stored = operations("flash w 0x00b99");
  stored.resize(3);
  EXPECT_THAT(stored, ElementsAre(operation("flash", kFlash + 16, 10), operation("flash", kFlash + 16, 10),
                                  operation("flash", kFlash, 32)));
  EXPECT_EQ(flash(kFlash + 1, 15), counting(15, 2));
  EXPECT_EQ(flash(kFlash + 16, 10), basicFields(4, 5, 18));
  EXPECT_EQ(flash(kFlash + 26, 6), bytes({27, 28, 0, 0, 0, 0})) << "the record's last four bytes are cleared";
  EXPECT_THAT(store.TmpCalcScreenPara.copy<4>(22), ElementsAre(4, 5, 18, 0));
  EXPECT_EQ(store.mosaicRequest(), (MosaicRequest{4, 5, 18, 0, 0}));
  EXPECT_EQ(store.cardSize(), (CardSize{200, 100}));

  EXPECT_EQ(writeBasic(4, 5, 257, 1), done());
  EXPECT_EQ(logged("horizontal line: RowOrColInOnePort = 4 CardNumofOneCable = 20"), 1U);
  EXPECT_EQ(logged("vertical line: RowOrColInOnePort = 65 CardNumofOneCable = 260"), 1U);
  EXPECT_THAT(applied(), ElementsAre(kBasic));
  EXPECT_THAT(qxt.take(), ElementsAre(Report{0x02100006, littleEndian({200, 100})})) << "asked for once in a cycle";
}

TEST_F(ShortcutSpace, OnlyWritesThatStartInTheBasicFieldsQueue) {
  ASSERT_EQ(writeBasic(4, 5, 18), done());
  ASSERT_THAT(applied(), ElementsAre(kBasic));
  for (const uint32_t offset : {1U, 15U, 29U, 0x4FU, 0x50U, 0x41CU, 0x41DU, 0xF00U}) {
    EXPECT_EQ(write(kSpace + offset, bytes({0xB8})), done()) << offset;
    EXPECT_EQ(flash(kFlash + offset, 1), bytes({0xB8})) << offset;
  }
  EXPECT_THAT(applied(), IsEmpty());
  EXPECT_EQ(write(kSpace + 28, bytes({9})), done());
  EXPECT_THAT(applied(), ElementsAre(kBasic)) << "the last start that queues";
}

TEST_F(ShortcutSpace, AnIncompleteBasicRecordIsRefusedAndStored) {
  EXPECT_EQ(writeBasic(0, 5, 18), refused(4));
  EXPECT_EQ(writeBasic(4, 0, 18), refused(4));
  EXPECT_EQ(writeBasic(4, 5, 0), refused(4));
  EXPECT_EQ(logged("=== WriteToShortcutConfigScreen ===Check Para stage: Para invalid! Row = 4 Colume = 5 "
                   "Box Number = 0"),
            1U);
  EXPECT_EQ(flash(kFlash + 22, 4), bytes({4, 5, 0, 0}));
  EXPECT_THAT(applied(), IsEmpty());
  EXPECT_EQ(writeBasic(4, 5, 256), done()) << "cabinets are 16 bits";
  EXPECT_THAT(applied(), ElementsAre(kBasic));
}

TEST_F(ShortcutSpace, ASubmitQueuesTheAdvancedCalculationAndIsNotStored) {
  setFlash(kFlash + 0x100, bytes({0x42}));
  EXPECT_EQ(write(kSpace + 0x100, bytes({0xB9})), done());
  EXPECT_THAT(applied(), ElementsAre(kAdvanced));
  EXPECT_EQ(flash(kFlash + 0x100, 1), bytes({0x42}));
  EXPECT_EQ(logged("Warning:"), 0U);

  EXPECT_EQ(write(kSpace + 0x101, bytes({0xB9})), done());
  EXPECT_EQ(flash(kFlash + 0x101, 1), bytes({0xB9})) << "anywhere else 0xB9 is data";
  EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(ShortcutSpace, ASubmitWarnsOfPortsThatAreNotCalculated) {
  EXPECT_EQ(write(kSpace + 0x50 + 64 * 15 + 6, bytes({3, 4})), done());
  EXPECT_EQ(write(kSpace + 0x50 + 64 * 11 + 6, bytes({3, 4})), done());
  setFlash(kFlash + 0x50 + 64 * 12, repeated(64, 0xFF));  // erased
  EXPECT_EQ(write(kSpace, bytes({0xB9})), done());
  EXPECT_THAT(applied(), ElementsAre(kAdvanced));
  EXPECT_EQ(logged("Warning:"), 2U);
  EXPECT_EQ(logged("the record of port 11 is stored and not calculated"), 1U);
  EXPECT_EQ(logged("the record of port 15 is stored and not calculated"), 1U);
  EXPECT_EQ(read(kSpace + 0x50 + 64 * 15 + 6, 2), done(bytes({3, 4})));
}

class BasicCalculation : public ReportingStoreTest {
 protected:
  void handle(uint8_t rows, uint8_t columns, uint16_t cabinets, uint8_t mode) {
    ByteVector record(32);
    record[17] = mode;
    record[22] = rows;
    record[23] = columns;
    record[24] = static_cast<uint8_t>(cabinets);
    record[25] = static_cast<uint8_t>(cabinets >> 8);
    clearJournal();
    Tprocess::Sprocess_CalculateParaOfSender(32, record.data());
  }
  void storeRecord(uint8_t rows, uint8_t columns, uint16_t cabinets, uint8_t mode) {
    setFlash(kFlash + 17, {mode});
    setFlash(kFlash + 22, {rows, columns, static_cast<uint8_t>(cabinets), static_cast<uint8_t>(cabinets >> 8)});
  }
  void calculate() {
    clearJournal();
    Tprocess::CalculateParaOfSenderHandler();
  }
};

TEST_F(BasicCalculation, TheRequestIsNotedAndTheScreenSized) {
  store.setCardSize({64, 32});
  store.PbufMorSMode = 1;
  store.SendParameterReg.setByte(0x9D, 0x5A);
  handle(3, 4, 300, 5);
  EXPECT_EQ(store.mosaicRequest(), (MosaicRequest{3, 4, 300, 5, 1}));
  EXPECT_EQ(store.SendParameterReg.byte(0x9D), 0xFF);
  EXPECT_EQ(flash(0xA3B19D, 1), bytes({0xFF}));
  EXPECT_EQ(store.NormalBackupStatus, 1);
  EXPECT_EQ(flash(0xC20000, 8), littleEndian32({256, 96}));
  EXPECT_EQ(store.LEDConfigStatus, 168);
  EXPECT_EQ(flash(kFlash, 1), bytes({168}));
  EXPECT_EQ(store.CalculateParaHandlerCnt, 1U);
  EXPECT_THAT(operations("fpga w 0x0060"), IsEmpty()) << "the layout waits for the requests to settle";
  handle(3, 4, 12, 0);
  EXPECT_EQ(store.CalculateParaHandlerCnt, 2U);
}

TEST_F(BasicCalculation, TheDeferredCalculationLaysOutTheSettledRequest) {
  ReportListener qxt(m_directory.path().string(), kTaskQxt);
  fitCards(0, 100, 50);
  store.ShortCfgReadRvStatus = 1;
  storeRecord(2, 3, 6, 0);
  handle(2, 3, 6, 0);
  calculate();
  EXPECT_EQ(fpga(0x51, 8), littleEndian({300, 100, 0, 0}));
  EXPECT_EQ(fpga(0x500000, 2), bytes({6, 0}));
  EXPECT_EQ(store.ShortCfgReadRvStatus, 0) << "the next record asks the cards anew";
  EXPECT_EQ(store.LEDConfigStatus, 168);
  EXPECT_EQ(operations().back(), operation("flash", kFlash, 1));
  EXPECT_THAT(qxt.take(), ElementsAre(Report{0x02100006, littleEndian({100, 50})}));
}

TEST_F(BasicCalculation, TheRecordInFlashHasTheLastWordWhenItIsComplete) {
  fitCards(0, 100, 50);
  const struct {
    MosaicRequest stored;
    unsigned cards;  // on port 0
  } kCases[] = {
      {{1, 4, 4, 0, 0}, 4}, {{2, 2, 4, 1, 0}, 4}, {{0, 4, 4, 0, 0}, 6}, {{1, 0, 4, 0, 0}, 6}, {{1, 4, 0, 0, 0}, 6}};
  size_t differences = 0;
  for (const auto& [stored, cards] : kCases) {
    handle(2, 3, 6, 0);
    storeRecord(static_cast<uint8_t>(stored.rows), static_cast<uint8_t>(stored.columns), stored.cards,
                stored.connectMode);
    calculate();
    EXPECT_EQ(readWord(fpga(0x500000, 2).data()), cards) << stored.rows << " x " << stored.columns;
    differences += cards == 4;
    EXPECT_EQ(logged("Read Flash Para is diff CalculateParaOfSenderHandler"), differences);
  }
  handle(2, 3, 6, 0);
  storeRecord(1, 4, 4, 0);
  fail(vboard::Op::FlashRead, 3);
  calculate();
  EXPECT_EQ(fpga(0x500000, 2), bytes({6, 0})) << "an unreadable record has none";
}

}  // namespace
}  // namespace TIRK_MCUC
