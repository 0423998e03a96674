// Gamma tables, HDR, picture quality, warm-up and test patterns, from the register to the FPGA and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr uint32_t kInteraction = 0x02200000;
constexpr uint32_t kHdrType = kInteraction + 0x117;
constexpr size_t kTable = 8192;
constexpr uint32_t kColours[] = {0x700000, 0x710000, 0x720000};  // red, green, blue
constexpr uint8_t kHdr10 = 0x58;
constexpr uint8_t kHlg = 0x78;

using Levels = std::vector<std::pair<unsigned, int>>;

class ColourTest : public ScenarioTest {
 protected:
  Answer apply(uint32_t address, const ByteVector& data) {
    const Answer answer = askWrite(address, data);
    settle(60);
    return answer;
  }
  // Each level stands in four entries of each colour's table.
  void expectLevels(const Levels& levels) {
    for (const uint32_t colour : kColours) {
      const auto table = fpga(colour, kTable);
      for (const auto& [level, value] : levels) {
        for (size_t i = 0; i < 4; ++i) {
          EXPECT_EQ(wordAt(table, 2 * (4 * level + i)), value) << "level " << level << " of " << std::hex << colour;
        }
      }
    }
  }
  void linkCards(uint8_t brightness) {
    monitor("cards 0 1 64 64");
    ASSERT_TRUE(waitLogged("Info", "SourceLinkStatus:0 -> NowChangedLinstatus:1"));
    monitor("card write recv 0 0 0x02000001 " + toHex(ByteVector{brightness}));
    monitor("journal clear");
  }
};

const Levels kDefaultGamma = {{0, 0}, {256, 1365}, {512, 9461}, {768, 29391}, {1023, 65535}};

TEST_F(ColourTest, Hdr10FollowsItsParametersAndIsKept) {
  linkCards(255);
  EXPECT_EQ(apply(kHdrType, {kHdr10}), (Answer{0, 0, {}}));
  expectLevels(
      {{0, 0}, {1, 0}, {64, 10}, {128, 47}, {256, 362}, {512, 6132}, {640, 20423}, {768, 46581}, {1023, 65535}});
  EXPECT_EQ(fpga(0x500109, 1), ByteVector{0x5A});
  EXPECT_EQ(fpga(0x1EA, 1), ByteVector{0x58});
  EXPECT_EQ(flash(flash::kHdr.address, 10),
            (ByteVector{kHdr10, 0, 100, 0} + word(1000) + word(30) + ByteVector{15, 140}));
  EXPECT_EQ(logged("Info", "RecBuf = 255 Brightness = 100"), 1U);
  effects();
  const auto bright = fpga(kColours[0], kTable);
  EXPECT_EQ(apply(kInteraction + 0x118, word(600)).ack, 0);
  EXPECT_EQ(apply(kInteraction + 0x11A, {60}).ack, 0);
  EXPECT_EQ(apply(kInteraction + 0x12E, {7}).ack, 0);
  EXPECT_EQ(flash(flash::kHdr.address, 10),
            (ByteVector{kHdr10, 0, 100, 0} + word(600) + word(60) + ByteVector{7, 140}));
  EXPECT_NE(fpga(kColours[0], kTable), bright);
  EXPECT_EQ(askRead(kHdrType, 4).data, (ByteVector{kHdr10} + word(600) + ByteVector{60}));
  EXPECT_EQ(askRead(kInteraction + 0x12E, 1).data, ByteVector{7});
  const auto all = askRead(kHdrType, 25).data;
  ASSERT_EQ(all.size(), 25U);
  EXPECT_EQ(ByteVector(all.begin(), all.begin() + 4), (ByteVector{kHdr10} + word(600) + ByteVector{60}));
  EXPECT_EQ(all[23], 7);
}

TEST_F(ColourTest, Hdr10WithoutCardsTakesTheLastBrightness) {
  linkCards(128);
  apply(kHdrType, {kHdr10});
  EXPECT_EQ(flash(flash::kHdr.address + 2, 1), ByteVector{50});
  monitor("cards 0 0 1 1");
  ASSERT_TRUE(waitLogged("Info", "SourceLinkStatus:1 -> NowChangedLinstatus:0"));
  apply(kInteraction + 0x12E, {9});
  EXPECT_EQ(flash(flash::kHdr.address + 2, 1), ByteVector{50});
}

TEST_F(ColourTest, HlgAndBackToTheStoredGamma) {
  EXPECT_EQ(apply(kHdrType, {kHlg}), (Answer{0, 0, {}}));
  expectLevels({{0, 0}, {256, 631}, {511, 3315}, {512, 3330}, {768, 13373}, {1023, 65535}});
  EXPECT_EQ(flash(flash::kHdr.address, 10), (ByteVector{kHlg, 4} + ByteVector(8, 0)));
  apply(kInteraction + 0x118, word(600));
  EXPECT_EQ(askRead(kHdrType, 4).data, (ByteVector{kHlg} + word(1000) + ByteVector{30})) << "HDR10's, left alone";
  apply(kInteraction + 0x129, {8});
  EXPECT_EQ(askRead(kInteraction + 0x129, 1).data, ByteVector{8});
  EXPECT_NE(wordAt(fpga(kColours[2] + 8 * 512, 2), 0), 3330);
  effects();
  EXPECT_EQ(apply(kHdrType, {0}).ack, 0);
  expectLevels(kDefaultGamma);
  EXPECT_EQ(fpga(0x1EA, 1), ByteVector{0xFF});
  EXPECT_EQ(fpga(0x500109, 1), ByteVector{0});
  EXPECT_EQ(logged("Info", "Finish Deft RGBGAMMA Sendto FPGA,the SendcardBitDepth is  0"), 1U);
}

TEST_F(ColourTest, AGammaSetIsLoadedWhenItsBlueIsComplete) {
  constexpr size_t kPiece = 1024;
  constexpr uint32_t kMarkers12[] = {0xD09000, 0xD0A000, 0xD0B000};
  constexpr uint32_t kMarkers10[] = {0xD00000, 0xD01000, 0xD02000};
  const ByteVector tag = fromHex("39f6a55a");
  for (const bool deep : {true, false}) {
    const uint32_t first = deep ? 0x0E000000 : 0x0E002000;
    const uint32_t* markers = deep ? kMarkers12 : kMarkers10;
    std::vector<ByteVector> tables;
    for (unsigned colour = 0; colour < 3; ++colour) {
      ByteVector table(kTable);
      for (size_t i = 0; i < kTable; ++i) table[i] = static_cast<uint8_t>(i * (colour + 3) + i / 251 + (deep ? 1 : 0));
      for (size_t at = 0; at < kTable; at += kPiece) {
        const auto begin = table.begin() + static_cast<long>(at);
        EXPECT_EQ(
            askWrite(static_cast<uint32_t>(first + 0x100000 * colour + at), ByteVector(begin, begin + kPiece)).ack, 0);
        if (at + kPiece < kTable && at > 0) continue;
        settle(60);
        EXPECT_EQ(flash(markers[colour], 4) == tag, at > 0) << "complete with the last piece";
      }
      tables.push_back(table);
      if (colour < 2) {
        EXPECT_NE(fpga(kColours[colour], kTable), table) << "not before the set is whole";
      }
    }
    for (unsigned colour = 0; colour < 3; ++colour) {
      EXPECT_EQ(fpga(kColours[colour], kTable), tables[colour]) << colour;
    }
  }
  EXPECT_EQ(askRead(0x0E102400, 16).data, fpga(kColours[1] + 0x2400, 16));
}

TEST_F(ColourTest, GammaOutsideItsTablesIsDropped) {
  EXPECT_EQ(apply(0x0E001FFF, {1}).ack, 0);
  EXPECT_EQ(apply(0x0E003FFF, {1}).ack, 0);
  EXPECT_EQ(apply(0x0E300001, {1}).ack, 0);
  EXPECT_THAT(effects(), IsEmpty());
  EXPECT_EQ(apply(0x0E001FF0, ByteVector(64, 1)).ack, 0);
  EXPECT_THAT(effects(), IsEmpty()) << "it would run past the table";
  EXPECT_GE(logged("Error", "==="), 1U);
  EXPECT_EQ(apply(0x0E302000, {22}).ack, 0);
  EXPECT_EQ(apply(0x0E300000, {28}).ack, 0);
  EXPECT_THAT(effects(), ElementsAre("flash w 0x00d13000 1 16", "flash w 0x00d12000 1 1c"));
}

TEST_F(ColourTest, PictureQualityIsComputedForBothSources) {
  EXPECT_EQ(apply(kInteraction + 0x13A, (ByteVector{50, 50} + word(0))).ack, 0);
  const auto coefficients = [](const std::vector<int>& values) {
    ByteVector bytes;
    for (const int value : values) bytes = bytes + word(static_cast<uint16_t>(value));
    return bytes;
  };
  EXPECT_EQ(fpga(0xD00000, 18), coefficients({4096, 0, 0, 0, 4096, 0, 0, 0, 4096}));
  EXPECT_EQ(fpga(0xD00040, 18), coefficients({4787, 0, 7370, 4787, -877, -2191, 4787, 8684, 0}));
  EXPECT_EQ(fpga(0xD00040 + 18, 6), coefficients({-256, -2048, -2048}));
  effects();
  EXPECT_EQ(apply(kInteraction + 0x13A, (ByteVector{80, 30} + word(300))).ack, 0);
  EXPECT_THAT(effects(), ElementsAre(StartsWith("fpga w 0x00d00000 32 "), StartsWith("fpga w 0x00d00040 32 ")));
  EXPECT_EQ(askRead(kInteraction + 0x13A, 6).data, word(80) + word(30) + word(300));
}

TEST_F(ColourTest, WarmUpAndCommunicationModeAreStored) {
  EXPECT_EQ(apply(kInteraction + 0x12C, {3, 45}).ack, 0);
  EXPECT_THAT(effects(), ElementsAre("flash w 0x00d14000 6 39f6a55a032d"));
  EXPECT_EQ(askRead(kInteraction + 0x12C, 2).data, (ByteVector{3, 45}));
  for (const auto& [value, stored] : {std::pair{0, "0"}, {1, "1"}, {2, "2"}, {200, "2"}}) {
    EXPECT_EQ(askWrite(kInteraction + 0xC0, {static_cast<uint8_t>(value)}).ack, 0);
    EXPECT_EQ(monitorLine("env get devcom_mode"), stored);
  }
  EXPECT_EQ(apply(kInteraction + 0x50, {1, 2, 3}), (Answer{0, 0, {}})) << "nothing is there";
}

TEST_F(ColourTest, PatternsGetTheirPhases) {
  setFpga(0x2C, word(640));
  setFpga(0x26, word(480));
  const auto pattern = [this](uint8_t kind, int16_t x, int16_t y, const ByteVector& sizes) {
    ByteVector block(0x39, 0);
    block[1] = 9;
    DWT_ENCWD(&block[0x0E], static_cast<uint16_t>(x));
    DWT_ENCWD(&block[0x10], static_cast<uint16_t>(y));
    block[0x20] = kind;
    std::copy(sizes.begin(), sizes.end(), block.begin() + (kind == 1 ? 0x21 : 0x31));
    monitor("journal clear");
    EXPECT_EQ(apply(0x12010000, block).ack, 0);
    return fpga(0xA00000, 0x39);
  };
  auto sent = pattern(1, 3, 0, word(8) + word(8));
  EXPECT_EQ(wordAt(sent, 2), 640);
  EXPECT_EQ(wordAt(sent, 4), 480);
  EXPECT_EQ(wordAt(sent, 0x25), 5);
  EXPECT_EQ(wordAt(sent, 0x27), 0);
  EXPECT_THAT(effects(), ElementsAre(StartsWith("fpga w 0x00a00000 27 0009"), StartsWith("fpga w 0x00a0001c 29 "),
                                     "fpga w 0x00a0001b 1 a8", "fpga w 0x00a0001b 1 00"));
  sent = pattern(1, 8, 0, word(8) + word(8));
  EXPECT_EQ(wordAt(sent, 0x25), 0) << "out of range";
  EXPECT_EQ(logged("Error", "negative offset or out of range, invalid parameter") +
                logged("Info", "negative offset or out of range, invalid parameter"),
            1U);
  sent = pattern(2, 20, -5, word(16) + word(16));
  EXPECT_EQ(wordAt(sent, 0x2D), 2);
  EXPECT_EQ(wordAt(sent, 0x35), 12);
  EXPECT_EQ(wordAt(sent, 0x2F), 0);
  EXPECT_EQ(wordAt(sent, 0x37), 5);
  sent = pattern(2, 32, 0, word(0) + word(0));
  EXPECT_EQ(sent[0x20], 2) << "blocks of no size stop nobody";
  EXPECT_EQ(askRead(0x12010020, 8).data, ByteVector(sent.begin() + 0x20, sent.begin() + 0x28));
}

}  // namespace
}  // namespace testing_support
