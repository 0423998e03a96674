// The brightness table and its flash region: pieces, refusals, the mode that they select, start-up, saves, and the
// register space in front of it.
#include <algorithm>
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
};

MixedBlock fixedBlock(uint8_t percent) {
  MixedBlock block;
  block.nodes = {{0x00, 0x00, percent}};
  return block;
}

TEST_F(BrightnessTable, TheModeByteAloneSwitchesAndIsStoredWithoutDisturbingTheRegion) {
  setFlash(kRegion, pattern());
  for (const int mode : {0x7D, 0x5B, 0x00, 0x9A, 0x9B, 0x9C, 0xFF}) {
    clearJournal();
    write(0, bytes({mode}));
    EXPECT_EQ(region(), with(pattern(), 0, {mode}));
    EXPECT_EQ(table(), with(pattern(512), 0, {mode}));
    EXPECT_THAT(operations("flash w"), SizeIs(16));
    EXPECT_EQ(operations("flash w").back(), operation("flash", kRegion + 15 * 256, 256));
  }
}

TEST_F(BrightnessTable, ARegionThatCannotBeReadIsNotWrittenBack) {
  const MixedBlock block = fixedBlock(10);
  configure(block);
  fail(vboard::Op::FlashRead, 3);
  clearJournal();
  write(0, bytes({0x00}));
  EXPECT_THAT(operations("flash w"), IsEmpty());
  EXPECT_EQ(region(1000), block.bytes());
  EXPECT_EQ(table(0, 1), bytes({0x00}));  // switched all the same
  sent();
  run(700);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BrightnessTable, ABlockInPiecesIsInForceWhenItsLastPieceIsThere) {
  const ByteVector block = fixedBlock(50).bytes();
  write(0, {block.begin(), block.begin() + 500});
  EXPECT_THAT(operations("flash"), ElementsAre(operation("flash", kRegion, 500)));
  run(5);
  EXPECT_THAT(sent(), IsEmpty());
  write(500, {block.begin() + 500, block.end()});
  EXPECT_EQ(operations("flash").front(), operation("flash", 0xB8B1F4, 500));
  EXPECT_THAT(sent(), ElementsAre("all 127"));
  EXPECT_EQ(table(), ByteVector(block.begin(), block.begin() + 512));
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
  write(0, {block.begin(), block.begin() + 700});
  run(65);
  EXPECT_THAT(sent(), ElementsAre("all 153"));
  write(700, {block.begin() + 700, block.end()});
  EXPECT_THAT(sent(), ElementsAre("all 25"));
  run(60);
  EXPECT_THAT(sent(), ElementsAre("all 51"));
}

TEST_F(BrightnessTable, AGapKeepsABlockFromBeingAppliedUntilItIsSentAgain) {
  const ByteVector block = fixedBlock(50).bytes();
  const auto piece = [&block](std::ptrdiff_t from, std::ptrdiff_t to) {
    return ByteVector(block.begin() + from, block.begin() + to);
  };
  write(0, piece(0, 400));
  write(600, piece(600, 1000));
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(logged("the block has a gap after 400 bytes, not applied"), 1U);
  EXPECT_EQ(flash(kRegion + 600, 400), piece(600, 1000));  // stored, as every piece
  write(400, piece(400, 600));
  write(600, piece(600, 1000));
  EXPECT_THAT(sent(), ElementsAre("all 127"));
  write(0, piece(0, 500));
  fail(vboard::Op::FlashWrite, 3);  // a piece that could not be stored is a gap
  write(500, piece(500, 800));
  write(800, piece(800, 1000));
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(BrightnessTable, APieceOfAKnownBlockMayBeReplaced) {
  ByteVector block = fixedBlock(50).bytes();
  setFlash(kRegion, block);
  poll();
  EXPECT_THAT(sent(), ElementsAre("all 127"));
  const size_t percent = 512 + 1 + 1 + 5;  // behind an empty list of sensors
  ASSERT_EQ(block[percent], 50);
  write(percent, bytes({60}));
  EXPECT_THAT(sent(), IsEmpty());
  write(900, {block.begin() + 900, block.end()});  // its end says that it is whole
  EXPECT_THAT(sent(), ElementsAre("all 153"));
}

TEST_F(BrightnessTable, WhatIsNotWholeAndLegalChangesNothing) {
  setFlash(kRegion, pattern(4096));
  write(0, bytes({0x00}));
  const ByteVector before = region(8192);
  clearJournal();
  const struct {
    size_t offset;
    ByteVector data;
  } cases[] = {
      {0, bytes({0x9A, 0x10})},        // a transfer begins with its length
      {0, bytes({0x9A, 0x01, 0x10})},  // 4097
      {0, bytes({0x9C, 0xFF, 0xFF})}, {4096, bytes({1})},          {4095, bytes({1, 2})},
      {1, ByteVector(4096)},          {0, ByteVector(4097, 0x9A)}, {0xFFFFFF, bytes({1})},
  };
  size_t errors = 0;
  for (const auto& c : cases) {
    write(c.offset, c.data);
    EXPECT_EQ(logged("=== SetBrightnessAdjustTable ==="), ++errors) << c.offset << ", " << c.data.size();
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
  const ByteVector piece = pattern(100);
  write(450, piece);
  EXPECT_EQ(table(450, 62), ByteVector(piece.begin(), piece.begin() + 62));
  EXPECT_EQ(flash(kRegion + 450, 100), piece);
  write(511, bytes({0xAB}));
  write(512, bytes({0xCD}));
  EXPECT_EQ(table(511, 1), bytes({0xAB}));
  EXPECT_EQ(flash(kRegion + 511, 2), bytes({0xAB, 0xCD}));
}

TEST_F(BrightnessTable, ASaveWritesTheTableOverTheRegionsStart) {
  setFlash(kRegion, pattern());
  control().SaveBrightnessPara();  // loads the table first
  EXPECT_EQ(region(), pattern());
  EXPECT_THAT(operations("flash"), ElementsAre(operation("flash", kRegion, 256), operation("flash", kRegion + 256, 256),
                                               operation("flash", kRegion + 512, 4608)));
  setFlash(kRegion, ByteVector(5120, 0x11));
  control().SaveBrightnessPara();
  ByteVector expected(5120, 0x11);
  std::copy_n(pattern().begin(), 512, expected.begin());
  EXPECT_EQ(region(), expected);
}

TEST_F(BrightnessTable, ASaveNeverWritesWhatItCouldNotRead) {
  setFlash(kRegion, pattern());
  fail(vboard::Op::FlashRead, 3);  // the table's three tries
  control().SaveBrightnessPara();
  EXPECT_THAT(operations("flash"), IsEmpty());
  fail(vboard::Op::FlashRead, 2);
  control().SaveBrightnessPara();
  EXPECT_THAT(operations("flash"), SizeIs(3));
  clearJournal();
  fail(vboard::Op::FlashRead, 3);  // now the region's
  control().SaveBrightnessPara();
  EXPECT_THAT(operations("flash"), IsEmpty());
  EXPECT_EQ(region(), pattern());
}

// --- Start-up.

struct StoredCase {
  const char* name;
  ByteVector region;
  std::vector<std::string> sentAtOnce;
};
void PrintTo(const StoredCase& c, std::ostream* out) {
  *out << c.name;
}

class StoredMode : public BrightnessTable, public ::testing::WithParamInterface<StoredCase> {};

TEST_P(StoredMode, StartsAsItsBytesSay) {
  setFlash(kRegion, GetParam().region);
  run(1);  // the controllers included
  EXPECT_EQ(sent(), GetParam().sentAtOnce);
}

MixedBlock changed(MixedBlock block, void (*change)(MixedBlock&)) {
  change(block);
  return block;
}

INSTANTIATE_TEST_SUITE_P(
    AtStartUp, StoredMode,
    ::testing::Values(
        StoredCase{"schedule", ScheduleTable{{{0x06, 0x00, 0x05, 77}}}.bytes(), {"0 77", "2 77"}},
        StoredCase{"mixed", fixedBlock(50).bytes(), {"all 127"}}, StoredCase{"off", ByteVector(4096), {}},
        StoredCase{"erased", ByteVector(4096, 0xFF), {}},
        StoredCase{"mixed not allowed", changed(fixedBlock(50), [](MixedBlock& b) { b.allowed = false; }).bytes(), {}},
        StoredCase{"mixed not on", changed(fixedBlock(50), [](MixedBlock& b) { b.on = false; }).bytes(), {}},
        // Without a stored timeout the serial link counts as lost.
        StoredCase{"black", changed(fixedBlock(50), [](MixedBlock& b) { b.mode = 0x9B; }).bytes(), {"all black 255"}},
        StoredCase{"hardware", changed(fixedBlock(50), [](MixedBlock& b) { b.mode = 0x9C; }).bytes(), {"all 127"}},
        StoredCase{"hardware not allowed",
                   changed(fixedBlock(50),
                           [](MixedBlock& b) {
                             b.mode = 0x9C;
                             b.allowed = false;
                           })
                       .bytes(),
                   {}}),
    [](const auto& test) {
      std::string name = test.param.name;
      std::erase(name, ' ');
      return name;
    });

TEST_F(BrightnessTable, ASecondaryAddressRunsNoMixedOrSerialMode) {
  control().LocalAddr = 1;
  MixedBlock block = fixedBlock(50);
  for (const BrightnessMode mode : {kModeMixed, kModeScreenBlack, kModeHardwareControl}) {
    block.mode = mode;
    configure(block);
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
  const ByteVector block = fixedBlock(50).bytes();
  setFlash(kRegion, fixedBlock(20).bytes());
  write(0, {block.begin(), block.begin() + 500});
  run(5);
  EXPECT_THAT(sent(), IsEmpty());
  write(500, {block.begin() + 500, block.end()});
  EXPECT_THAT(sent(), ElementsAre("all 127"));
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

// --- The switch of the mixed mode.

TEST_F(BrightnessTable, TheMixedSwitchIsStoredAndActsOnAChangeOnly) {
  configure(fixedBlock(50));
  sent();
  write(12, bytes({5}));  // on already
  EXPECT_THAT(sent(), IsEmpty());
  write(12, bytes({0}));
  EXPECT_EQ(flash(kRegion + 12, 1), bytes({0}));
  run(1300);
  EXPECT_THAT(sent(), IsEmpty());  // neither its nodes nor the re-broadcast
  write(12, bytes({1}));
  EXPECT_EQ(flash(kRegion + 12, 1), bytes({1}));
  EXPECT_THAT(sent(), ElementsAre("all 127"));
  run(601);
  EXPECT_THAT(sent(), ElementsAre("all 127"));
}

TEST_F(BrightnessTable, AnotherModeByteEndsEveryMode) {
  MixedBlock block = fixedBlock(50);
  block.nodes.push_back({0x12, 0x10, 60});
  configure(block);
  sent();
  write(0, bytes({0x55}));
  run(1300);
  EXPECT_THAT(sent(), IsEmpty());
  write(0, bytes({0x9A}));  // and back, from what is stored
  EXPECT_THAT(sent(), ElementsAre("all 153"));
}

// --- Gradual changes.

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
  std::thread flagThread([this] { runUntil("12:01:05"); });
  ASSERT_TRUE(waitUntil([] { return journalLines().size() >= 3; }));
  write(0, bytes({0x00}));
  const uint8_t reached = control().LastGlobalBri;
  flagThread.join();
  const auto values = sent();
  EXPECT_EQ(values.back(), "all " + std::to_string(reached));
  EXPECT_LT(reached, 255);
  EXPECT_EQ(control().LastGlobalBri, reached);
  runUntil("12:03:00");
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(GradualChange, GoesOnWhenAWriteStartsNothing) {
  begin(45);  // 114
  std::thread flagThread([this] { runUntil("12:01:05"); });
  ASSERT_TRUE(waitUntil([] { return journalLines().size() >= 3; }));
  const ByteVector block = fixedBlock(7).bytes();
  write(0, {block.begin(), block.begin() + 500});  // half a block
  flagThread.join();
  EXPECT_EQ(sent().back(), "all 114");
  runUntil("12:02:10");
  EXPECT_EQ(sent().back(), "all 99");  // the alarm was armed again
}

// --- The register space.

class BrightnessSpace : public SpaceStoreTest {};

TEST_F(BrightnessSpace, ReadsAnswerFromTheTableOrTheRegion) {
  setFlash(0xB8B000, pattern());
  const auto expect = [](uint32_t offset, uint16_t length) {
    const ByteVector all = pattern();
    return done({all.begin() + offset, all.begin() + offset + length});
  };
  for (const auto& [offset, length] :
       {std::pair<uint32_t, uint16_t>{0, 1}, {0, 512}, {511, 1}, {510, 3}, {600, 16}, {512, 512}, {4000, 512}}) {
    EXPECT_EQ(read(0x0A000000 + offset, length), expect(offset, length)) << offset << ", " << length;
  }
  setFlash(0xB8B000, ByteVector(1024));
  EXPECT_EQ(read(0x0A000000, 16), expect(0, 16));  // the table is in memory
  EXPECT_EQ(read(0x0A000000, 513).result, -1);
  EXPECT_EQ(read(0x0A000000, 4096).result, -1);
  EXPECT_EQ(read(0x0A000000, 4097), refused(6));
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(read(0x0A000000 + 600, 16), refused(4));
}

TEST_F(BrightnessSpace, AReadOfATableThatCannotBeLoadedIsRefused) {
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(read(0x0A000000, 16), refused(4));
  EXPECT_EQ(read(0x0A000000, 1), done({0}));
}

TEST_F(BrightnessSpace, WritesAreQueuedAndAppliedByTheWorker) {
  const ByteVector piece = counting(100);
  EXPECT_EQ(write(0x0A000100, piece), done());
  EXPECT_THAT(applied(), ElementsAre(appliedWrite("Sprocess_doAdjustBrightness", 0x0A000100, piece)));
  EXPECT_EQ(flash(0xB8B100, 100), piece);
  EXPECT_EQ(write(0x0A000000, {}), refused(6));
  EXPECT_EQ(write(0x0A000FFF, bytes({1, 2})), refused(5));
  EXPECT_EQ(write(0x0A001000, bytes({1})), refused(5));
  EXPECT_EQ(write(0x0A000FFF, bytes({0x77})), done());
  EXPECT_THAT(applied(), SizeIs(1));
  EXPECT_EQ(flash(0xB8BFFF, 1), bytes({0x77}));
}

// --- Output.

class BrightnessReports : public ReportingStoreTest {};

TEST_F(BrightnessReports, TheDisplayDaemonHearsOfBrightnessOnly) {
  ReportListener qxt(m_directory.path().string(), kTaskQxt);
  const uint8_t value = 0x64;
  BrightnessControl::NewSendReceiveCardPara(kCardGlobalBrightness, 3, kAllCards, 1, &value);
  EXPECT_THAT(qxt.take(), ElementsAre(Report{kCardGlobalBrightness, bytes({0x64})}));
  BrightnessControl::NewSendReceiveCardPara(kCardScreenBlack, kAllPorts, kAllCards, 1, &value);
  EXPECT_THAT(qxt.take(), IsEmpty());
}

}  // namespace
