// The closed colour calculations of the virtual board: published check values, end points and monotony.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>

#include "virtual/colourmath.h"

namespace {

using namespace vboard;
using ::testing::ElementsAre;

TEST(ColourCalculation, Hdr10GivesItsCheckValues) {
  const auto levels = hdr10Levels({1000, 30, 100, 10, 15, 140});
  ASSERT_EQ(levels.size(), 1024U);
  std::vector<int> picked;
  for (const size_t k : {1, 64, 128, 256, 512, 640, 768, 1023}) picked.push_back(levels[k]);
  EXPECT_THAT(picked, ElementsAre(0, 10, 47, 362, 6132, 20423, 46581, 65535));
}

TEST(ColourCalculation, Hdr10NeverFallsAndReachesItsEndsForAnyParameters) {
  for (const unsigned peak : {0U, 1U, 100U, 1000U, 10000U, 65535U}) {
    for (const unsigned ambient : {0U, 30U, 65535U}) {
      for (const unsigned low : {0U, 15U, 255U}) {
        for (const unsigned high : {0U, 70U, 140U, 255U}) {
          for (const unsigned brightness : {0U, 1U, 50U, 255U}) {
            const auto levels = hdr10Levels({peak, ambient, brightness, 10, low, high});
            EXPECT_TRUE(std::is_sorted(levels.begin(), levels.end()));
            EXPECT_EQ(levels.front(), 0);
            EXPECT_EQ(levels.back(), 65535) << peak << " " << ambient << " " << low << " " << high;
          }
        }
      }
    }
  }
}

TEST(ColourCalculation, PerceptualQuantizerInverts) {
  for (double luminance = 0.01; luminance <= 10000; luminance *= 1.7) {
    EXPECT_NEAR(pqToLuminance(luminanceToPq(luminance)), luminance, luminance * 1e-9);
  }
}

TEST(ColourCalculation, HlgGivesItsCheckValues) {
  const auto levels = hlgLevels(4);
  std::vector<int> picked;
  for (const size_t k : {256, 511, 512, 768, 1023}) picked.push_back(levels[k]);
  EXPECT_THAT(picked, ElementsAre(631, 3315, 3330, 13373, 65535));
  EXPECT_EQ(hlgLevels(20), hlgLevels(200));
}

TEST(ColourCalculation, TablesRepeatEachLevel) {
  std::array<uint8_t, 8192> table{};
  HLGGammaCalculation(4, table.data());
  for (size_t entry = 4 * 256; entry < 4 * 257; ++entry) EXPECT_EQ(table[2 * entry] | table[2 * entry + 1] << 8, 631);
}

TEST(ColourCalculation, NeutralPictureIsTheIdentityAndLimitedYuvGivesItsCheckValues) {
  EXPECT_THAT(colourConversion(FRtoFR, 50, 50, 0).coefficients, ElementsAre(4096, 0, 0, 0, 4096, 0, 0, 0, 4096));
  const auto yuv = colourConversion(LYtoFR, 50, 50, 0);
  EXPECT_THAT(yuv.coefficients, ElementsAre(4787, 0, 7370, 4787, -877, -2191, 4787, 8684, 0));
  EXPECT_THAT(yuv.inputOffsets, ElementsAre(-256, -2048, -2048));
  EXPECT_THAT(yuv.outputOffsets, ElementsAre(0, 0, 0));
}

TEST(ColourCalculation, EachKindInvertsItsCounterpart) {
  const std::pair<COLORSPACECONVERT, COLORSPACECONVERT> pairs[] = {
      {FRtoLY, LYtoFR}, {FRtoFY, FYtoFR}, {FYtoLY, LYtoFY}};
  for (const auto& [there, back] : pairs) {
    const auto a = colourConversion(there, 50, 50, 0);
    const auto b = colourConversion(back, 50, 50, 0);
    for (size_t row = 0; row < 3; ++row) {
      for (size_t column = 0; column < 3; ++column) {
        double sum = 0;
        for (size_t k = 0; k < 3; ++k)
          sum += b.coefficients[3 * row + k] / 4096.0 * a.coefficients[3 * k + column] / 4096.0;
        EXPECT_NEAR(sum, row == column ? 1 : 0, 1e-3);
      }
      EXPECT_EQ(a.outputOffsets[row], -b.inputOffsets[row]);
    }
  }
}

TEST(ColourCalculation, BlockCarriesCoefficientsOffsetsKindAndArgument) {
  std::array<uint8_t, 32> block{};
  PictureQualityCalculation(LYtoFR, 50, 50, 360, 9, block.data());
  EXPECT_EQ(block[0] | block[1] << 8, 4787);
  EXPECT_EQ(static_cast<int16_t>(block[18] | block[19] << 8), -256);
  EXPECT_EQ(block[30], LYtoFR);
  EXPECT_EQ(block[31], 9);
}

}  // namespace
