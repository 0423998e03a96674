// The client's brightness setups: words, blocks and back, what it refuses, and what comes next.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kadctl/brightnessfile.h"
#include "kadctl/clienterror.h"

namespace {

using namespace kadctl;
using TIRK_MCUC::kBrightnessRegionSize;

BrightnessSetup decoded(const std::vector<uint8_t>& block) {
  std::array<uint8_t, kBrightnessRegionSize> region;
  region.fill(0xFF);  // as the flash is beyond the block
  std::copy(block.begin(), block.end(), region.begin());
  return decodeBrightness(region);
}

// What comes back from the device for a file, as a file.
std::string roundTrip(const std::string& text) {
  return brightnessFileText(decoded(encodeBrightness(parseBrightnessFile(text))));
}

TEST(BrightnessFile, ComesBackFromTheDeviceAsItWasWritten) {
  const std::string files[] = {
      "mode off\n",
      "mode schedule\nnode 00:00 0 ports none\nnode 08:00 255 ports 0,1,2,3\nnode 08:00 7 ports 3\nnode 23:59 1 ports "
      "0\n",
      "mode schedule\nnode 08:00 200 ports 0 components 1 2 3 4\nnode 20:00 20 ports 0 components 255 254 253 252\n",
      "mode sensor\ndark 0 20\nbright 65535 220\nsteps 32\nsensor board\nsensor 9 65534 5\nsensor 0 0 0\n",
      "mode mixed\non yes\nallowed no\ngradual yes\ninterval 65535\nsamples 16\nfallback 100%\nsensor 3 258 1\n"
      "lux 0 100%\nlux 0 5%\nlux 65535 0%\nnode 00:00 sensor days none\nnode 06:30 50% days mon,sun\n"
      "node 06:30 51% disabled\nnode 23:59 100%\n",
      "mode black\non no\nallowed yes\ngradual no\ninterval 0\nsamples 1\nfallback none\n",
      "mode hardware\non yes\nallowed yes\ngradual no\ninterval 20\nsamples 1\nfallback 0%\nnode 12:00 0%\n",
  };
  for (const std::string& file : files) EXPECT_EQ(roundTrip(file), file);
}

TEST(BrightnessFile, HasShorterWordsForMuch) {
  EXPECT_EQ(roundTrip("# a wall\n\n mode\tschedule # daily\nnode 08:00 50%\nnode 09:00 1 ports 0-1,3\n"),
            "mode schedule\nnode 08:00 127 ports 0,1,2,3\nnode 09:00 1 ports 0,1,3\n");
  EXPECT_THAT(roundTrip("mode mixed\nnode 08:00 50% days mon-wed,sun\n"),
              ::testing::EndsWith("fallback none\nnode 08:00 50% days mon,tue,wed,sun\n"));
}

TEST(BrightnessFile, LongestListsFitTheRegion) {
  std::string file = "mode mixed\n";
  for (int i = 0; i < 8; ++i) file += "sensor board\n";
  for (int i = 0; i < 32; ++i) file += "lux " + std::to_string(i) + " 1%\n";
  for (int i = 0; i < 200; ++i) file += "node 12:00 1%\n";
  EXPECT_LE(encodeBrightness(parseBrightnessFile(file)).size(), kBrightnessRegionSize);
  EXPECT_EQ(decoded(encodeBrightness(parseBrightnessFile(file))).nodes.size(), 200U);
  for (const char* more : {"sensor board\n", "lux 99 1%\n", "node 12:00 1%\n"}) {
    EXPECT_THROW(parseBrightnessFile(file + more), ClientError) << more;
  }
}

TEST(BrightnessFile, SaysInWhichLineWhatIsWrong) {
  const struct {
    const char* text;
    const char* error;
  } cases[] = {
      {"", "no mode"},
      {"node 08:00 1\n", "line 1: the mode comes first"},
      {"mode schedule\n", "a schedule needs a node"},
      {"mode dim\n", "line 1: not a mode: dim"},
      {"mode schedule\nnode 24:00 1\n", "line 2: 24 is above 23"},
      {"mode schedule\nnode 08:00 1 ports 3-1\n", "line 2: not a range: 3-1"},
      {"mode schedule\nnode 08:00 1 days mon\n", "line 2: a node knows no days"},
      {"mode schedule\nnode 08:00 1\nnode 07:59 1\n", "line 3: earlier than the last"},
      {"mode schedule\nsensor board\n", "line 2: mode schedule knows no sensor"},
      {"mode sensor\ndark 100 1\nbright 100 2\nsteps 3\n", "sensor mode needs dark, bright above it, and steps"},
      {"mode mixed\nnode 08:00 50% days moon\n", "line 2: not a day of the week: moon"},
      {"mode mixed\nlux 5 1%\nlux 4 1%\n", "line 3: darker than the last"},
  };
  for (const auto& c : cases) {
    std::string error;
    try {
      parseBrightnessFile(c.text);
    } catch (const ClientError& caught) {
      error = caught.what();
    }
    EXPECT_EQ(error, c.error) << c.text;
  }
}

TEST(BrightnessFile, AnyRegionCanBeShownAndWrittenAgain) {
  std::mt19937 random(5);
  for (int round = 0; round < 3000; ++round) {
    std::array<uint8_t, kBrightnessRegionSize> region;
    for (uint8_t& byte : region) byte = static_cast<uint8_t>(random() % 4 == 0 ? random() : random() % 8);
    static constexpr uint8_t kModes[] = {0x5B, 0x7D, 0x9A, 0x9B, 0x9C, 0x00, 0xEE};
    region[0] = kModes[random() % std::size(kModes)];
    const BrightnessSetup setup = decodeBrightness(region);
    const auto text = brightnessFileText(setup);
    ASSERT_EQ(text.find("mode "), 0U);
    if (setup.mode == TIRK_MCUC::kModeSchedule && setup.nodes.empty()) continue;  // a file asks for one
    const auto again = decoded(encodeBrightness(setup));
    BrightnessSetup plain = setup;
    plain.notes.clear();
    ASSERT_EQ(brightnessFileText(again), brightnessFileText(plain)) << text;
  }
}

TEST(BrightnessFile, TheNodeInForceIsOfItsPortAndDay) {
  const auto schedule =
      parseBrightnessFile("mode schedule\nnode 08:00 1 ports 0\nnode 12:00 2 ports 1\nnode 20:00 3\n");
  const auto value = [&schedule](unsigned minute, unsigned port) {
    return int{nodeInForce(schedule, 0, minute, port)->brightness};
  };
  EXPECT_EQ(value(7 * 60 + 59, 0), 3);
  EXPECT_EQ(value(8 * 60, 0), 1);
  EXPECT_EQ(value(13 * 60, 1), 2);
  EXPECT_EQ(value(13 * 60, 2), 3);

  const auto week =
      parseBrightnessFile("mode mixed\nnode 06:00 10% days mon\nnode 07:00 20% days none\nnode 22:00 30% days fri\n");
  EXPECT_EQ(nodeInForce(week, 0, 300, 0)->brightness, 30);  // since Friday
  EXPECT_EQ(nodeInForce(week, 0, 480, 0)->brightness, 10);
  EXPECT_EQ(nodeInForce(week, 4, 1319, 0)->brightness, 10);
  EXPECT_EQ(nodeInForce(parseBrightnessFile("mode mixed\nnode 06:00 1% disabled\n"), 0, 480, 0), nullptr);

  EXPECT_EQ(nextChange(week, 0, 300)->minutes, 60U);
  EXPECT_EQ(nextChange(week, 0, 360)->minutes, 4U * 1440 + 16 * 60);
  EXPECT_EQ(nextChange(week, 4, 1320)->node->brightness, 10);
  EXPECT_EQ(nextChange(parseBrightnessFile("mode schedule\nnode 12:00 1\n"), 3, 720)->minutes, 1440U);
  EXPECT_EQ(nextChange(parseBrightnessFile("mode mixed\nnode 12:00 1% days wed\n"), 2, 720)->minutes, 10080U);
  EXPECT_FALSE(nextChange(parseBrightnessFile("mode schedule\nnode 12:00 1 ports none\n"), 2, 720));
}

}  // namespace
