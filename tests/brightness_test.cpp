// The brightness table and its flash region: pieces, refusals, the mode that they select, start-up, saves, and the
// register space in front of it.
#include <functional>
#include <thread>

#include "driverutil.h"
#include "mcucutil.h"
#include "stub/stubutil.h"
#include "support/brightness_fixture.h"
#include "support/daemon_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

// A region of bytes that tell where they are.
ByteVector pattern(size_t count = 5120) {
  ByteVector out(count);
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(i * 7 + i / 256 + 1);
  return out;
}

ByteVector with(ByteVector bytes, size_t at, std::initializer_list<int> values) {
  for (const int value : values) bytes.at(at++) = static_cast<uint8_t>(value);
  return bytes;
}

class BrightnessTable : public BrightnessTest {
 protected:
  ByteVector table(size_t offset = 0, size_t length = 512) {
    ByteVector out(length);
    EXPECT_TRUE(control().copyTable(offset, out));
    return out;
  }
  static ByteVector region(size_t length = 5120) { return flash(kRegion, length); }
  static ByteVector piece(const ByteVector& block, size_t from, size_t to) {
    return {block.begin() + static_cast<std::ptrdiff_t>(from), block.begin() + static_cast<std::ptrdiff_t>(to)};
  }
  static void writePiece(const ByteVector& block, size_t from, size_t to) { write(from, piece(block, from, to)); }
};

MixedBlock fixedBlock(uint8_t percent) {
  MixedBlock block;
  block.nodes = {{0x00, 0x00, percent}};
  return block;
}

TEST_F(BrightnessTable, TheModeByteAloneSwitchesAndIsStoredWithoutDisturbingTheRegion) {
  setFlash(kRegion, pattern());
  for (const int mode : {0x7D, 0x00, 0x9A, 0xFF}) {
    clearJournal();
    write(0, bytes({mode}));
    EXPECT_EQ(region(), with(pattern(), 0, {mode}));
    EXPECT_EQ(table(), with(pattern(512), 0, {mode}));
    EXPECT_THAT(operations("flash w"), SizeIs(16));
    EXPECT_EQ(operations("flash w").back(), operation("flash", kRegion + 15 * 256, 256));
  }
}

TEST_F(BrightnessTable, ARegionThatCannotBeReadIsNotWrittenBackAndStartsNothing) {
  const MixedBlock block = fixedBlock(10);
  configure(block);
  sent();
  fail(vboard::Op::FlashRead, 3);
  write(0, bytes({0x00}));
  EXPECT_THAT(operations("flash w"), IsEmpty());
  EXPECT_EQ(region(1000), block.bytes());
  EXPECT_EQ(table(0, 1), bytes({0x00}));  // switched all the same
  fail(vboard::Op::FlashRead, 6);
  write(0, bytes({0x9A}));
  run(700);
  EXPECT_THAT(sent(), IsEmpty());
  write(0, bytes({0x9A}));
  EXPECT_THAT(sent(), ElementsAre("all 25"));
}

TEST_F(BrightnessTable, ABlockInPiecesIsInForceWhenItsLastPieceIsThere) {
  const ByteVector block = fixedBlock(50).bytes();
  writePiece(block, 0, 500);
  EXPECT_THAT(operations("flash"), ElementsAre(operation("flash", kRegion, 500)));
  run(5);
  EXPECT_THAT(sent(), IsEmpty());
  writePiece(block, 500, 1000);
  EXPECT_EQ(operations("flash").front(), operation("flash", 0xB8B1F4, 500));
  EXPECT_THAT(sent(), ElementsAre("all 127"));
  EXPECT_EQ(table(), piece(block, 0, 512));
  EXPECT_EQ(region(1000), block);
}

TEST_F(BrightnessTable, TheBlockInForceStaysWhileAnotherComes) {
  MixedBlock old = fixedBlock(50);
  old.nodes.push_back({0x12, 0x01, 60});
  configure(old);
  sent();
  MixedBlock other = fixedBlock(10);
  other.nodes.push_back({0x12, 0x02, 20});
  const ByteVector block = other.bytes();
  writePiece(block, 0, 700);
  run(65);
  EXPECT_THAT(sent(), ElementsAre("all 153"));
  writePiece(block, 700, 1000);
  EXPECT_THAT(sent(), ElementsAre("all 25"));
  run(60);
  EXPECT_THAT(sent(), ElementsAre("all 51"));
}

TEST_F(BrightnessTable, ABlockMayComeWithoutWhatItsListsDoNotNeedButNotWithoutALostPiece) {
  const ByteVector block = fixedBlock(50).bytes();
  writePiece(block, 0, 18);
  writePiece(block, 512, 1000);
  EXPECT_THAT(sent(), ElementsAre("all 127"));
  writePiece(block, 0, 500);
  fail(vboard::Op::FlashWrite, 3);
  writePiece(block, 500, 800);
  writePiece(block, 800, 1000);
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(logged("a piece of the block could not be stored, not applied"), 1U);
  writePiece(block, 0, 1000);
  EXPECT_THAT(sent(), ElementsAre("all 127"));
}

TEST_F(BrightnessTable, APieceOfAKnownBlockMayBeReplaced) {
  const ByteVector block = fixedBlock(50).bytes();
  setFlash(kRegion, block);
  poll();
  EXPECT_THAT(sent(), ElementsAre("all 127"));
  constexpr size_t kPercent = 512 + 1 + 1 + 5;  // behind an empty list of sensors
  write(kPercent, bytes({60}));
  EXPECT_THAT(sent(), IsEmpty());
  writePiece(block, 900, 1000);  // its end says that it is whole
  EXPECT_THAT(sent(), ElementsAre("all 153"));
}

TEST_F(BrightnessTable, WhatIsNotWholeAndLegalChangesNothing) {
  setFlash(kRegion, pattern(4096));
  write(0, bytes({0x00}));
  const ByteVector before = region(8192);
  clearJournal();
  const std::pair<size_t, ByteVector> cases[] = {
      {0, bytes({0x9A, 0x10})},        // a transfer begins with its length
      {0, bytes({0x9A, 0x01, 0x10})},  // 4097
      {4096, bytes({1})},
      {1, ByteVector(4096)},
      {0xFFFFFF, bytes({1})},
  };
  size_t errors = 0;
  for (const auto& [offset, data] : cases) {
    write(offset, data);
    EXPECT_EQ(logged("=== SetBrightnessAdjustTable ==="), ++errors) << offset << ", " << data.size();
  }
  control().SetBrightnessAdjustTable(kSpace, 0, before.data());
  control().SetBrightnessAdjustTable(kSpace, 5, nullptr);
  EXPECT_THAT(operations(), IsEmpty());
  EXPECT_EQ(region(8192), before);
  write(4095, bytes({0xEE}));
  EXPECT_EQ(flash(kRegion + 4095, 1), bytes({0xEE}));
  write(0, with(ByteVector(4096), 0, {0x9A, 0x00, 0x10}));
  EXPECT_EQ(logged("=== SetBrightnessAdjustTable ==="), errors);
}

TEST_F(BrightnessTable, OfAWriteAcrossTheTablesEndTheFirstPartEntersIt) {
  setFlash(kRegion, ByteVector(4096));
  const ByteVector data = pattern(100);
  write(450, data);
  EXPECT_EQ(table(450, 62), piece(data, 0, 62));
  EXPECT_EQ(flash(kRegion + 450, 100), data);
}

TEST_F(BrightnessTable, ASaveWritesTheTableOverTheRegionsStart) {
  setFlash(kRegion, pattern());
  fail(vboard::Op::FlashRead, 3);  // the table's three tries
  control().SaveBrightnessPara();
  EXPECT_THAT(operations("flash"), IsEmpty());
  control().SaveBrightnessPara();
  EXPECT_THAT(operations("flash"), ElementsAre(operation("flash", kRegion, 256), operation("flash", kRegion + 256, 256),
                                               operation("flash", kRegion + 512, 4608)));
  EXPECT_EQ(region(), pattern());
  setFlash(kRegion, ByteVector(5120, 0x11));
  clearJournal();
  fail(vboard::Op::FlashRead, 3);  // now the region's
  control().SaveBrightnessPara();
  EXPECT_THAT(operations("flash"), IsEmpty());
  control().SaveBrightnessPara();
  EXPECT_EQ(region(), pattern(512) + ByteVector(4608, 0x11));
}

MixedBlock fixedBlockOf(BrightnessMode mode, bool on = true, bool allowed = true) {
  MixedBlock block = fixedBlock(50);
  block.mode = mode;
  block.on = on;
  block.allowed = allowed;
  return block;
}

struct StoredCase {
  const char* name;
  ByteVector region;
  std::vector<std::string> sentAtOnce;
};

class StoredMode : public BrightnessTable, public ::testing::WithParamInterface<StoredCase> {};

TEST_P(StoredMode, StartsAsItsBytesSay) {
  setFlash(kRegion, GetParam().region);
  run(1);  // the controllers included
  EXPECT_EQ(sent(), GetParam().sentAtOnce);
}

INSTANTIATE_TEST_SUITE_P(
    AtStartUp, StoredMode,
    ::testing::Values(StoredCase{"Schedule", ScheduleTable{{{0x06, 0x00, 0x05, 77}}}.bytes(), {"0 77", "2 77"}},
                      StoredCase{"Mixed", fixedBlock(50).bytes(), {"all 127"}},
                      StoredCase{"Erased", ByteVector(4096, 0xFF), {}},
                      StoredCase{"MixedNotAllowed", fixedBlockOf(kModeMixed, true, false).bytes(), {}},
                      StoredCase{"MixedNotOn", fixedBlockOf(kModeMixed, false).bytes(), {}},
                      // Without a stored timeout the serial link counts as lost.
                      StoredCase{"Black", fixedBlockOf(kModeScreenBlack).bytes(), {"all black 255"}},
                      StoredCase{"Hardware", fixedBlockOf(kModeHardwareControl).bytes(), {"all 127"}},
                      StoredCase{"HardwareNotAllowed", fixedBlockOf(kModeHardwareControl, true, false).bytes(), {}}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(BrightnessTable, ASecondaryAddressRunsNoMixedOrSerialMode) {
  control().LocalAddr = 1;
  for (const BrightnessMode mode : {kModeMixed, kModeScreenBlack, kModeHardwareControl}) {
    configure(fixedBlockOf(mode));
    run(50);
    EXPECT_THAT(sent(), IsEmpty()) << int{mode};
  }
  configure(ScheduleTable{{{0x06, 0x00, 0x01, 77}}});
  EXPECT_THAT(sent(), ElementsAre("0 77"));
}

TEST_F(BrightnessTable, AWriteBeforeTheFirstPollIsNotUndoneByIt) {
  setFlash(kRegion, fixedBlock(50).bytes());
  write(0, bytes({0x00}));
  run(5);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BrightnessTable, AHalfBlockIsNotStartedByTheFirstPoll) {
  setFlash(kRegion, fixedBlock(20).bytes());
  writePiece(fixedBlock(50).bytes(), 0, 500);
  run(5);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BrightnessTable, ATableThatCannotBeLoadedAtStartUpIsLoadedBeforeItIsChanged) {
  setFlash(kRegion, ScheduleTable{{{0x06, 0x00, 0x01, 77}}}.bytes());
  fail(vboard::Op::FlashRead, 3);
  poll();
  EXPECT_EQ(logged("Read the brightness region failed! ret = -1"), 1U);
  EXPECT_THAT(sent(), IsEmpty());
  write(160, bytes({78}));
  EXPECT_THAT(sent(), ElementsAre("0 78"));
}

TEST_F(BrightnessTable, TheMixedSwitchIsStoredAndActsOnAChangeOnly) {
  configure(fixedBlock(50));
  sent();
  write(12, bytes({5}));  // on already
  EXPECT_THAT(sent(), IsEmpty());
  for (const size_t offset : {12U, 0U}) {  // the switch, and the mode itself
    write(offset, bytes({0}));
    EXPECT_EQ(flash(kRegion + static_cast<uint32_t>(offset), 1), bytes({0}));
    run(1300);
    EXPECT_THAT(sent(), IsEmpty());  // neither its nodes nor the re-broadcast
    write(offset, bytes({offset == 0 ? 0x9A : 1}));
    EXPECT_THAT(sent(), ElementsAre("all 127"));
  }
  run(601);
  EXPECT_THAT(sent(), ElementsAre("all 127"));
}

class GradualChange : public BrightnessTable {
 protected:
  // In force at 39 percent (99 of 255); a minute later a node of `target` begins.
  void begin(uint8_t target) {
    MixedBlock block = fixedBlock(39);
    block.gradual = true;
    block.nodes.push_back({0x12, 0x01, target});
    block.nodes.push_back({0x12, 0x02, 39});
    configure(block);
    runUntil("12:00:58");
    EXPECT_THAT(sent(), ElementsAre("all 99"));
  }
  // Does something in the middle of the change.
  void whileItRuns(const std::function<void()>& work) {
    std::thread flagThread([this] { runUntil("12:01:05"); });
    EXPECT_TRUE(waitUntil([] { return journalLines().size() >= 3; }));
    work();
    flagThread.join();
  }
};

TEST_F(GradualChange, PassesThroughEveryValue) {
  begin(41);  // 104
  const int64_t before = monotonicMs();
  runUntil("12:01:10");
  EXPECT_GE(monotonicMs() - before, 5 * 50);
  EXPECT_THAT(sent(), ElementsAre("all 100", "all 101", "all 102", "all 103", "all 104"));
  runUntil("12:02:10");
  EXPECT_THAT(sent(), ElementsAre("all 103", "all 102", "all 101", "all 100", "all 99"));
}

TEST_F(GradualChange, EndsWhereItIsWhenAModeStartsInBetween) {
  begin(100);
  whileItRuns([] { write(0, bytes({0x00})); });
  EXPECT_EQ(sent().back(), "all " + std::to_string(control().LastGlobalBri));
  EXPECT_LT(control().LastGlobalBri, 255);
  runUntil("12:03:00");
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(GradualChange, GoesOnWhenAWriteStartsNothing) {
  begin(45);                                                       // 114
  whileItRuns([] { writePiece(fixedBlock(7).bytes(), 0, 500); });  // half a block
  EXPECT_EQ(sent().back(), "all 114");
  runUntil("12:02:10");
  EXPECT_EQ(sent().back(), "all 99");  // the alarm was armed again
}

using BrightnessSpace = SpaceStoreTest;

TEST_F(BrightnessSpace, ReadsAnswerFromTheTableOrTheRegion) {
  setFlash(0xB8B000, pattern());
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(read(0x0A000000, 16), refused(4)) << "a table that cannot be loaded";
  const ByteVector all = pattern();
  for (const auto& [offset, length] :
       {std::pair<uint32_t, uint16_t>{0, 1}, {0, 512}, {511, 1}, {510, 3}, {600, 16}, {512, 512}, {4000, 512}}) {
    EXPECT_EQ(read(0x0A000000 + offset, length), done({all.begin() + offset, all.begin() + offset + length}))
        << offset << ", " << length;
  }
  setFlash(0xB8B000, ByteVector(1024));
  EXPECT_EQ(read(0x0A000000, 16), done(pattern(16))) << "the table is in memory";
  EXPECT_EQ(read(0x0A000000, 513).result, -1);
  EXPECT_EQ(logged("=== ReadFromBrightnessInfo ===Invalid len, return! len = 513"), 1U);
  EXPECT_EQ(read(0x0A000000, 4097), refused(6));
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(read(0x0A000000 + 600, 16), refused(4));
}

TEST_F(BrightnessSpace, WritesAreQueuedAndAppliedByTheWorker) {
  EXPECT_EQ(write(0x0A000FFE, bytes({0x77, 0x78})), done());
  EXPECT_EQ(write(0x0A000000, {}), refused(6));
  EXPECT_EQ(write(0x0A000FFF, bytes({1, 2})), refused(5));
  EXPECT_EQ(write(0x0A001000, bytes({1})), refused(5));
  EXPECT_THAT(applied(), ElementsAre("Sprocess_doAdjustBrightness"));
  EXPECT_EQ(logged("  Register: 167776254 len: 2 data:"), 1U);
  EXPECT_EQ(flash(0xB8BFFE, 2), bytes({0x77, 0x78}));
}

using BrightnessReports = ReportingStoreTest;

TEST_F(BrightnessReports, TheDisplayDaemonHearsOfBrightnessOnly) {
  ReportListener qxt(m_directory.path().string(), kTaskQxt);
  const uint8_t value = 0x64;
  for (const uint32_t address : {kCardGlobalBrightness, kCardScreenBlack})
    BrightnessControl::NewSendReceiveCardPara(address, 3, kAllCards, 1, &value);
  EXPECT_THAT(qxt.take(), ElementsAre(Report{kCardGlobalBrightness, bytes({0x64})}));
}

}  // namespace
