// The closed colour calculations of the virtual board: published check values, end points and monotony.
#include <gmock/gmock.h>

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

TEST(ColourCalculation, HlgGivesItsCheckValues) {
  const auto levels = hlgLevels(4);
  std::vector<int> picked;
  for (const size_t k : {256, 511, 512, 768, 1023}) picked.push_back(levels[k]);
  EXPECT_THAT(picked, ElementsAre(631, 3315, 3330, 13373, 65535));
  EXPECT_EQ(hlgLevels(20), hlgLevels(200));
}

TEST(ColourCalculation, NeutralPictureIsTheIdentityAndLimitedYuvGivesItsCheckValues) {
  EXPECT_THAT(colourConversion(FRtoFR, 50, 50, 0).coefficients, ElementsAre(4096, 0, 0, 0, 4096, 0, 0, 0, 4096));
  const auto yuv = colourConversion(LYtoFR, 50, 50, 0);
  EXPECT_THAT(yuv.coefficients, ElementsAre(4787, 0, 7370, 4787, -877, -2191, 4787, 8684, 0));
  EXPECT_THAT(yuv.inputOffsets, ElementsAre(-256, -2048, -2048));
  EXPECT_THAT(yuv.outputOffsets, ElementsAre(0, 0, 0));
}

}  // namespace
