// The EDIDs that the inputs present: what a source would see of the mode that was asked for, and what is kept of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <numeric>
#include <string>
#include <vector>

#include "proto/flashmap.h"
#include "proto/sendparameter.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr uint32_t kEdidSpace = 0x08000000;
constexpr const char* kTwoGoodInputs = "journal = on\nfpga_load_ms = 20\ninput 0 = dvi\ninput 3 = hdmi14\n";

// The first detailed timing of an EDID.
struct Timing {
  int clock10kHz, width, widthBlank, height, heightBlank, syncOffset, syncWidth, lineOffset, lineWidth;
  bool operator==(const Timing&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Timing& t) {
  return out << t.clock10kHz << "0 kHz, " << t.width << "+" << t.widthBlank << " x " << t.height << "+" << t.heightBlank
             << ", sync " << t.syncOffset << "/" << t.syncWidth << ", " << t.lineOffset << "/" << t.lineWidth;
}

Timing timingOf(const ByteVector& edid) {
  const uint8_t* d = &edid.at(54);
  return {d[0] + 256 * d[1],
          d[2] + 256 * (d[4] >> 4),
          d[3] + 256 * (d[4] & 15),
          d[5] + 256 * (d[7] >> 4),
          d[6] + 256 * (d[7] & 15),
          d[8] + 256 * (d[11] >> 6),
          d[9] + 256 * (d[11] >> 4 & 3),
          (d[10] >> 4) + 16 * (d[11] >> 2 & 3),
          (d[10] & 15) + 16 * (d[11] & 3)};
}

void put(ByteVector& edid, const Timing& t) {
  uint8_t* d = &edid.at(54);
  DWT_ENCWD(d, static_cast<uint16_t>(t.clock10kHz));
  d[2] = static_cast<uint8_t>(t.width);
  d[3] = static_cast<uint8_t>(t.widthBlank);
  d[4] = static_cast<uint8_t>(t.width >> 8 << 4 | t.widthBlank >> 8);
  d[5] = static_cast<uint8_t>(t.height);
  d[6] = static_cast<uint8_t>(t.heightBlank);
  d[7] = static_cast<uint8_t>(t.height >> 8 << 4 | t.heightBlank >> 8);
  edid[127] = 0;
  const unsigned sum = std::accumulate(edid.begin(), edid.begin() + 128, 0U);
  edid[127] = static_cast<uint8_t>(256 - sum % 256);
}

class InputsTest : public ScenarioTest {
 protected:
  explicit InputsTest(const std::string& config = kTwoGoodInputs) : ScenarioTest(config) {}
  void select(uint8_t code) {
    EXPECT_EQ(askWrite(0x020001A5, {code}).ack, 0);
    settle(60);
    effects();
  }
  // An EDID of the host for a mode; only its first timing counts.
  ByteVector hostEdid(const Timing& timing, size_t length = 256) {
    ByteVector edid(length, 0);
    const ByteVector header = fromHex("00ffffffffffff00");
    std::copy(header.begin(), header.end(), edid.begin());
    put(edid, timing);
    return edid;
  }
  ByteVector presented(int slot) {
    const auto lines = monitor("input " + std::to_string(slot));
    return lines.size() == 2 ? fromHex(lines[1]) : ByteVector{};
  }
  Answer offer(const ByteVector& edid) {
    const Answer answer = askWrite(kEdidSpace, edid);
    settle(60);
    return answer;
  }
  // True when an independent decoder has nothing against it.
  bool conforms(const ByteVector& edid) {
    const std::string file = board() + "/edid";
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(edid.data()), static_cast<long>(edid.size()));
    return std::system(("edid-decode --check '" + file + "' > '" + file + ".txt' 2>&1").c_str()) == 0;
  }
};

constexpr Timing kFullHd60{14850, 1920, 280, 1080, 45, 88, 44, 4, 5};

TEST_F(InputsTest, AModeOfTheTableIsPresentedStoredAndReadBack) {
  select(98);  // the second input
  EXPECT_EQ(offer(hostEdid({14850, 1920, 280, 1080, 45, 0, 0, 0, 0})), (Answer{0, 0, {}}));
  const auto edid = presented(3);
  ASSERT_EQ(edid.size(), 256U);
  EXPECT_EQ(timingOf(edid), kFullHd60);
  EXPECT_EQ(edid[54 + 17], 0x18);
  EXPECT_TRUE(conforms(edid)) << m_directory.get("edid.txt");
  EXPECT_THAT(presented(0), IsEmpty());
  EXPECT_EQ(flash(flash::kEdidModes.address + 6, 6), word(1920) + word(1080) + word(6000));
  EXPECT_EQ(askRead(kEdidSpace, 256), (Answer{0, 0, edid}));
  EXPECT_EQ(askRead(kEdidSpace, 128).data, ByteVector(edid.begin(), edid.begin() + 128));
}

TEST_F(InputsTest, AModeOfNoTableGetsAComputedTiming) {
  select(97);
  EXPECT_EQ(offer(hostEdid({11586, 1920, 160, 1080, 34, 0, 0, 0, 0}, 128)).ack, 0);
  EXPECT_EQ(flash(flash::kEdidModes.address, 6), word(1920) + word(1080) + word(5000));
  const auto edid = presented(0);
  ASSERT_EQ(edid.size(), 256U);
  EXPECT_EQ(timingOf(edid), (Timing{11586, 1920, 160, 1080, 34, 48, 32, 23, 5}));
  EXPECT_TRUE(conforms(edid)) << m_directory.get("edid.txt");
}

TEST_F(InputsTest, StoredModesAreAppliedAtTheNextStart) {
  select(98);
  offer(hostEdid({14850, 1920, 280, 1080, 45, 0, 0, 0, 0}));
  const auto edid = presented(3);
  setFlash(flash::kEdidModes.address, word(1280) + word(720) + word(6000));
  restart();
  ready();
  EXPECT_EQ(presented(3), edid);
  const auto first = timingOf(presented(0));
  EXPECT_EQ(first.width, 1280);
  EXPECT_EQ(first.height, 720);
  EXPECT_EQ(first.clock10kHz, 7425);
  // And by a read of one byte.
  setFlash(flash::kEdidModes.address, word(1024) + word(768) + word(6000));
  EXPECT_EQ(askRead(kEdidSpace, 1), (Answer{0, 0, {}}));
  EXPECT_EQ(timingOf(presented(0)).width, 1024);
}

TEST_F(InputsTest, FractionalRatesKeepTheirName) {
  select(97);
  EXPECT_EQ(offer(hostEdid({14835, 1920, 280, 1080, 45, 0, 0, 0, 0})).ack, 0);
  EXPECT_EQ(flash(flash::kEdidModes.address + 4, 2), word(5994));
  const auto timing = timingOf(presented(0));
  EXPECT_EQ(timing.width, 1920);
  const double refresh = timing.clock10kHz * 1e6 / (2200.0 * 1125.0);
  EXPECT_EQ(static_cast<int>(refresh), 5994);
}

TEST_F(InputsTest, WhatIsNoEdidChangesNothing) {
  select(97);
  offer(hostEdid({14850, 1920, 280, 1080, 45, 0, 0, 0, 0}));
  const auto before = presented(0);
  const auto stored = flash(flash::kEdidModes.address, flash::kEdidModes.length);
  effects();
  auto badHeader = hostEdid({7425, 1280, 370, 720, 30, 0, 0, 0, 0});
  badHeader[0] = 1;
  badHeader[127] = static_cast<uint8_t>(badHeader[127] - 1);
  auto badSum = hostEdid({7425, 1280, 370, 720, 30, 0, 0, 0, 0});
  badSum[20] ^= 1;
  const auto noClock = hostEdid({0, 1280, 370, 720, 30, 0, 0, 0, 0});
  const auto noTotals = hostEdid({7425, 0, 0, 0, 0, 0, 0, 0, 0});
  for (const auto& edid : {badHeader, badSum, noClock, noTotals, ByteVector(200, 1), ByteVector(300, 1)}) {
    EXPECT_EQ(offer(edid).ack, 0) << "queued";
  }
  EXPECT_THAT(effects(), IsEmpty());
  EXPECT_EQ(presented(0), before);
  EXPECT_EQ(flash(flash::kEdidModes.address, flash::kEdidModes.length), stored);
  EXPECT_EQ(logged("Error", "=== DoWriteEdidInfo ===data length > 100! length = 300 return. "), 1U);
}

TEST_F(InputsTest, AnInputThatIsNotThereIsRefused) {
  select(80);  // the third input, and there are two
  EXPECT_EQ(askRead(kEdidSpace, 128), (Answer{4, 4, {}}));
  EXPECT_EQ(offer(hostEdid({14850, 1920, 280, 1080, 45, 0, 0, 0, 0})).ack, 0);
  EXPECT_EQ(logged("Error", "SourceGroup Error,p_src is NULL!"), 1U);
}

class OtherInputsTest : public InputsTest {
 protected:
  OtherInputsTest() : InputsTest("journal = on\nfpga_load_ms = 20\ninput 1 = sdi3g\ninput 2 = hdmi14\n") {}
};

TEST_F(OtherInputsTest, AnInputOfAnotherFamilyIsLeftAlone) {
  EXPECT_EQ(occurrences(log(), "Nonsupport EDIDInit Source group 0"), 1U) << "and the pass ended";
  select(97);
  EXPECT_EQ(offer(hostEdid({14850, 1920, 280, 1080, 45, 0, 0, 0, 0})).ack, 0);
  EXPECT_EQ(logged("Error", "Nonsupport Source "), 1U);
  EXPECT_THAT(monitor("input 1"), ElementsAre(StartsWith("sdi3g ")));
  EXPECT_THAT(monitor("input 0"), ElementsAre("none"));
}

}  // namespace
}  // namespace testing_support
