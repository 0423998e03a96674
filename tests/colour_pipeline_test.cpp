// The picture's way to the FPGA: gamma sets, HDR tables, colour conversion and the pattern generator, and the handlers
// that set them.
#include "mcucbytes.h"
#include "process/proc_poll.h"
#include "process/tprocess.h"
#include "proto/gammacurve.h"
#include "proto/writerecord.h"
#include "support/store_fixture.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

constexpr uint32_t kFpgaTables[] = {0x700000, 0x710000, 0x720000};  // red, green, blue
constexpr size_t kTable = 8192;
const ByteVector kTag = {0x39, 0xF6, 0xA5, 0x5A};

struct StoredSet {
  uint32_t tags[3];
  uint32_t tables[3];
};
constexpr StoredSet kSets[] = {{{0xD00000, 0xD01000, 0xD02000}, {0xD03000, 0xD05000, 0xD07000}},
                               {{0xD09000, 0xD0A000, 0xD0B000}, {0xD0C000, 0xD0E000, 0xD10000}}};

class ColourPipelineTest : public StoreTest {
 protected:
  using Handler = int (*)(int, uint8_t*);

  ColourPipelineTest() {
    for (uint8_t set = 0; set < 2; ++set)
      for (uint8_t colour = 0; colour < 3; ++colour) setFlash(kSets[set].tables[colour], stored(set, colour));
    for (const uint32_t memory : kFpgaTables) setFpga(memory, repeated(kTable, 0xEE));
    clearJournal();
  }
  static ByteVector stored(int set, int colour) {
    return repeated(kTable, static_cast<uint8_t>(0x10 * (set + 1) + colour));
  }
  static ByteVector builtIn() { return {GammaTable_x().begin(), GammaTable_x().end()}; }
  static ByteVector loaded(int colour) { return fpga(kFpgaTables[colour], kTable); }

  static void apply(Handler handler, ByteVector payload) {
    EXPECT_EQ(handler(static_cast<int>(payload.size()), payload.data()), 0);
  }
  static void write(Handler handler, uint32_t address, const ByteVector& data) {
    apply(handler, encodeWriteRecord(address, static_cast<uint16_t>(data.size()), data));
  }
};

TEST_F(ColourPipelineTest, EachColourTakesItsStoredTableWhenItsTagIsWholeElseTheBuiltInOne) {
  for (const auto& [selector, set] : {std::pair<uint8_t, int>{'x', 1}, {'X', 0}, {0, 0}, {10, 0}}) {
    for (int valid = 0; valid < 8; ++valid) {
      for (int colour = 0; colour < 3; ++colour) {
        const bool whole = (valid >> colour & 1) != 0;
        setFlash(kSets[set].tags[colour], whole ? kTag : bytes({0x39, 0xF6, 0xA5, 0x00}));
        setFlash(kSets[1 - set].tags[colour], whole ? bytes({0, 0, 0, 0}) : kTag);
      }
      store.SendGammaToFpga(selector);
      for (int colour = 0; colour < 3; ++colour)
        EXPECT_EQ(loaded(colour), (valid >> colour & 1) != 0 ? stored(set, colour) : builtIn())
            << int{selector} << " " << valid << " " << colour;
    }
  }
}

TEST_F(ColourPipelineTest, ATagOrATableThatCannotBeReadGivesTheBuiltInTable) {
  for (const uint32_t tag : kSets[0].tags) setFlash(tag, kTag);
  // Three attempts each: the red tag, or all accesses.
  for (const auto& [failures, fallBacks] : {std::pair{3UL, 1}, {100UL, 3}}) {
    fail(vboard::Op::FlashRead, failures);
    store.SendGammaToFpga(0);
    fail(vboard::Op::FlashRead, 0);
    for (int colour = 0; colour < 3; ++colour)
      EXPECT_EQ(loaded(colour), colour < fallBacks ? builtIn() : stored(0, colour)) << failures << " " << colour;
  }
}

TEST_F(ColourPipelineTest, TheBuiltInTableHasItsPublishedLevels) {
  const auto level = [](size_t entry) { return readWord(GammaTable_x().data() + 2 * entry); };
  for (const auto& [at, expected] :
       {std::pair<size_t, int>{0, 0}, {256, 1365}, {512, 9461}, {768, 29391}, {1023, 65535}})
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(level(4 * at + i), expected) << at;
}

TEST_F(ColourPipelineTest, AnyOtherKindGivesTheNormalGammaOfTheBitDepth) {
  for (const uint32_t tag : kSets[1].tags) setFlash(tag, kTag);
  for (const auto& [depth, set] : {std::pair<uint16_t, int>{0x0178, 1}, {0x0058, 0}}) {
    ParaTable[PbufSendcardBitDepth] = depth;
    store.SendCardHDRProcess(0);
    for (int colour = 0; colour < 3; ++colour) EXPECT_EQ(loaded(colour), set == 1 ? stored(1, colour) : builtIn());
    EXPECT_EQ(fpga(0x500109, 1), bytes({depth & 0xFF}));
    EXPECT_EQ(fpga(0x1EA, 1), bytes({0xFF}));
  }
}

struct Pattern {
  int kind;  // 1 pixel, 2 block interval
  int x, y;  // first pixel
  uint16_t sizeX, sizeY;
  uint16_t countX, countY, phaseX, phaseY;  // no counts for pixel intervals
};

ByteVector patternBlock(const Pattern& p) {
  ByteVector block(0x39);
  const auto put = [&block](size_t at, int value) { DWT_ENCWD(&block[at], static_cast<uint16_t>(value)); };
  put(0x0E, p.x);
  put(0x10, p.y);
  block[0x1B] = 0x77;
  block[0x20] = static_cast<uint8_t>(p.kind);
  put(p.kind == 1 ? 0x21 : 0x31, p.sizeX);
  put(p.kind == 1 ? 0x23 : 0x33, p.sizeY);
  for (const size_t at : {0x25, 0x27, 0x2D, 0x2F, 0x35, 0x37}) put(at, 0x5555);
  return block;
}

TEST_F(ColourPipelineTest, PatternPhasesFollowTheFirstPixelAndTheStrobeComesLast) {
  setFpga(0x2C, bytes({0x80, 0x07}));
  setFpga(0x26, bytes({0x38, 0x04}));
  constexpr uint16_t kUntouched = 0x5555;
  constexpr Pattern kCases[] = {{1, 3, 0, 8, 8, 0, 0, 5, 0},
                                {1, 0, 7, 8, 8, 0, 0, 0, 1},
                                {1, -1, 3, 8, 8, 0, 0, 0, 0},
                                {1, 0, 0, 0, 0, 0, 0, 0, 0},
                                {1, 0x7FFF, 1, 0xFFFF, 2, 0, 0, 0x8000, 1},
                                {2, 20, 16, 16, 16, 2, 1, 12, 0},
                                {2, -5, 0, 16, 16, 0, 0, 5, 0},
                                {2, -32768, 1, 16, 16, 0, 1, 0x8000, 15},
                                {2, 32767, 32767, 1, 0xFFFF, 32767, 1, 0, 0x8000},
                                {2, 5, 5, 0, 0, 0, 0, 0, 0},
                                {0, 3, 3, 8, 8, kUntouched, kUntouched, kUntouched, kUntouched}};
  for (const Pattern& p : kCases) {
    store.HardwareScreenGenReg.write(0, patternBlock(p));
    clearJournal();
    store.ScreenPatternGenProcess();
    EXPECT_THAT(did("fpga w"), ElementsAre(StartsWith("fpga w 0x00a00000 27 "), StartsWith("fpga w 0x00a0001c 29 "),
                                           "fpga w 0x00a0001b 1 a8", "fpga w 0x00a0001b 1 00"));
    const ByteVector sent = fpga(0xA00000, 0x39);
    std::vector<int> words;
    for (const size_t at : {0x02, 0x04, 0x25, 0x27, 0x2D, 0x2F, 0x35, 0x37}) words.push_back(readWord(&sent[at]));
    const auto of = [&p](int kind, int value) { return p.kind == kind ? value : kUntouched; };
    EXPECT_THAT(words, ElementsAre(1920, 1080, of(1, p.phaseX), of(1, p.phaseY), of(2, p.countX), of(2, p.countY),
                                   of(2, p.phaseX), of(2, p.phaseY)))
        << testing::PrintToString(std::tuple(p.kind, p.x, p.y, p.sizeX, p.sizeY));
    EXPECT_EQ(store.HardwareScreenGenReg.byte(0x1B), 0);
  }
}

TEST_F(ColourPipelineTest, AnHdrPayloadSetsItsCellsAndIsKept) {
  const ByteVector hdr10 = {0x58, 9, 77, 0, 0xE8, 0x03, 0x2C, 0x01, 15, 140};
  ParaTable[PbufHLGClass] = 6;
  apply(Tprocess::Sprocess_HDR10, hdr10);
  const auto cells = [] {
    std::vector<int> out;
    for (const auto cell : {PbufHDRType, PbufScrPeakLight, PbufAmbientLight, PbufLowGrayEffect, PbufHigGrayEffect,
                            PbufBrightness, PbufHLGClass})
      out.push_back(ParaTable[cell]);
    return out;
  };
  EXPECT_THAT(cells(), ElementsAre(0x58, 1000, 300, 15, 140, 77, 6)) << "the class is the HLG payload's";
  EXPECT_EQ(flash(0xC21000, 10), hdr10);
  EXPECT_EQ(fpga(0x1EA, 1), bytes({0x58}));

  const ByteVector hlg = {0x78, 5, 1, 0, 1, 1, 1, 1, 1, 1};
  apply(Tprocess::Sprocess_HLG, hlg);
  EXPECT_THAT(cells(), ElementsAre(0x78, 1000, 300, 15, 140, 77, 5)) << "the others are the HDR10 payload's";
  EXPECT_EQ(flash(0xC21000, 10), hlg);
  for (const char* line : {"Sprocess_HDR10 enter:", "Sprocess_HLG enter:", "Process key:  HLGClass: 5"})
    EXPECT_EQ(logged(line), 1U) << line;
}

TEST_F(ColourPipelineTest, TheStoredGammaIsLoadedOnlyWhileHdrIsOff) {
  for (const uint32_t tag : kSets[0].tags) setFlash(tag, kTag);
  apply(Tprocess::Sprocess_HDR10, bytes({0x58, 0, 100, 0, 0xE8, 3, 30, 0, 15, 140}));
  clearJournal();
  store.SendGammaToFpga(0);
  EXPECT_EQ(journal(), "");
  apply(Tprocess::Sprocess_HLG, bytes({0, 4, 0, 0, 0, 0, 0, 0, 0, 0}));
  for (int colour = 0; colour < 3; ++colour) EXPECT_EQ(loaded(colour), stored(0, colour));
  EXPECT_EQ(fpga(0x1EA, 1), bytes({0xFF}));
}

TEST_F(ColourPipelineTest, WarmUpIsKeptWithTheTag) {
  apply(Tprocess::Sprocess_DisplayWarmUp, bytes({2, 45}));
  EXPECT_EQ(flash(0xD14000, 6), bytes({0x39, 0xF6, 0xA5, 0x5A, 2, 45}));
  EXPECT_EQ(Proc_Poll::getInstance()->ChangeParaForKeepWarmUpMode, 2);
  EXPECT_EQ(Proc_Poll::getInstance()->ParaForKeepWarmUpModeTimeData, 45);
}

TEST_F(ColourPipelineTest, APayloadThatIsMissingOrCutIsDropped) {
  const struct {
    Handler handler;
    ByteVector cut;
  } kCases[] = {{Tprocess::Sprocess_HDR10, ByteVector(9)},
                {Tprocess::Sprocess_HLG, ByteVector(9)},
                {Tprocess::Sprocess_PictureQualityCal, ByteVector(5)},
                {Tprocess::Sprocess_DisplayWarmUp, ByteVector(1)},
                {Tprocess::Sprocess_SenderRGBGamma, {0, 0, 0, 0x0E, 1, 0}}};  // claims one byte
  for (const auto& test : kCases) {
    test.handler(static_cast<int>(test.cut.size()) + 1, nullptr);
    apply(test.handler, test.cut);
    EXPECT_EQ(journal(), "") << &test - kCases;
  }
  EXPECT_EQ(logged("shorter than what it claims, dropped"), 5U);
}

TEST_F(ColourPipelineTest, AGammaPieceGoesToItsPlaceAndTheLastMarksTheTable) {
  ParaTable[PbufHDRType] = 0x58;  // so that a complete set is not loaded
  const struct {
    uint32_t address;
    size_t length;
    std::vector<std::string> writes;
  } kCases[] = {
      {0x0E001C00, 1024, {operation("flash", 0xD0DC00, 1024), operation("flash", 0xD09000, 4)}},
      {0x0E101FF0, 16, {operation("flash", 0xD0FFF0, 16), operation("flash", 0xD0A000, 4)}},
      {0x0E201FF0, 16, {operation("flash", 0xD11FF0, 16), operation("flash", 0xD0B000, 4)}},
      {0x0E002000, 1, {operation("flash", 0xD03000, 1)}},
      {0x0E003C00, 1024, {operation("flash", 0xD04C00, 1024), operation("flash", 0xD00000, 4)}},
      {0xFE103FF0, 16, {operation("flash", 0xD06FF0, 16), operation("flash", 0xD01000, 4)}},
      {0x0E302000, 1, {operation("flash", 0xD13000, 1)}},
      {0x0E300000, 1, {operation("flash", 0xD12000, 1)}},
      // Outside every table, or past the end of one.
      {0x0E001FFF, 1, {}},
      {0x0E004000, 4, {}},
      {0x0E302000, 2, {}},
      {0x0E001FFE, 3, {}},
      {0x0E203C00, 1025, {}},
  };
  for (const auto& test : kCases) {
    clearJournal();
    write(Tprocess::Sprocess_SenderRGBGamma, test.address, ByteVector(test.length, 0x42));
    EXPECT_EQ(operations("flash w"), test.writes) << std::hex << test.address << " " << test.length;
    EXPECT_THAT(operations("fpga w"), IsEmpty());
  }
  for (const uint32_t tag : {0xD09000U, 0xD0A000U, 0xD0B000U, 0xD00000U, 0xD01000U})
    EXPECT_EQ(flash(tag, 4), kTag) << std::hex << tag;
}

TEST_F(ColourPipelineTest, TheCompletedBlueTableLoadsItsSet) {
  for (const auto& [set, first] : {std::pair<int, uint32_t>{1, 0x0E000000}, {0, 0x0E002000}}) {
    for (uint32_t colour = 0; colour < 3; ++colour) {
      const ByteVector piece(1024, static_cast<uint8_t>(0x80 + 16 * set + static_cast<int>(colour)));
      for (uint32_t at = 0; at < kTable; at += 1024) {
        EXPECT_THAT(operations("fpga w"), IsEmpty()) << "before the last piece";
        write(Tprocess::Sprocess_SenderRGBGamma, first + 0x100000 * colour + at, piece);
      }
    }
    for (int colour = 0; colour < 3; ++colour)
      EXPECT_EQ(loaded(colour), ByteVector(kTable, static_cast<uint8_t>(0x80 + 16 * set + colour))) << set << colour;
    clearJournal();
  }
}

}  // namespace
