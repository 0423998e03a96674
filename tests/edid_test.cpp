// EDIDs: table and reduced-blanking timings, the descriptor's limits, and conformity by an independent decoder.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include "edidapi.h"
#include "process/cvt.h"
#include "process/edid.h"
#include "process/videotimings.h"
#include "support/temporary_directory.h"

namespace {

using namespace TIRK_MCUC;

Edid base(uint32_t option = EDID_OPTION_DVI) {
  edid_request_t request{};
  request.option = option;
  Edid edid{};
  EXPECT_EQ(ModifyEDID_API.generate(&request, edid.data()), 0);
  return edid;
}

Edid edidFor(const VideoMode& mode, uint32_t option = EDID_OPTION_DVI) {
  Edid out{};
  EXPECT_EQ(ResT_calEDID_by_model_new(base(option).data(), out.data(), mode.h, mode.v, mode.r), 0)
      << mode.h << "x" << mode.v << "@" << mode.r;
  return out;
}

struct Decoded {
  bool conforms = false;
  int width = 0, height = 0;
  double refresh = 0;
  std::string text;
};

// What the independent decoder makes of an EDID.
Decoded decode(const Edid& edid) {
  const testing_support::TemporaryDirectory directory;
  directory.put("edid", std::string(edid.begin(), edid.end()));
  const std::string command = "edid-decode --check " + (directory.path() / "edid").string() + " 2>&1";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  Decoded out;
  char line[512];
  while (pipe && std::fgets(line, sizeof line, pipe.get()) != nullptr) {
    out.text += line;
    const std::string text = line;
    if (text.find("EDID conformity: PASS") != std::string::npos) out.conforms = true;
    const size_t at = text.find("DTD 1:");
    if (at != std::string::npos)
      std::sscanf(text.c_str() + at, "DTD 1: %dx%d %lf", &out.width, &out.height, &out.refresh);
  }
  return out;
}

void expectConforming(const VideoMode& mode, uint32_t option) {
  const Decoded decoded = decode(edidFor(mode, option));
  EXPECT_TRUE(decoded.conforms) << decoded.text;
  EXPECT_EQ(decoded.width, mode.h) << decoded.text;
  EXPECT_EQ(decoded.height, mode.v);
  EXPECT_NEAR(decoded.refresh, mode.r / 100.0, 0.06) << mode.h << "x" << mode.v;
}

TEST(Edid, EveryTableModeConforms) {
  for (const mode_table_t& entry : g_timing_table_input) {
    const Resolution& size = g_resolution_input[entry.en_res_idx];
    const auto rate = static_cast<uint16_t>((entry.v_freq + 5) / 10 * 100);
    expectConforming({size.width, size.height, rate}, EDID_OPTION_HDMI);
  }
}

TEST(Edid, RandomModesConform) {
  std::mt19937 random(20261122);
  const auto between = [&random](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
  for (int i = 0; i < 500; ++i) {
    const VideoMode mode{static_cast<uint16_t>(2 * between(320, 1920)), static_cast<uint16_t>(between(300, 2160)),
                         static_cast<uint16_t>(100 * between(24, 60))};
    expectConforming(mode, i % 2 == 0 ? EDID_OPTION_DVI : EDID_OPTION_HDMI);
    if (HasFailure()) break;
  }
}

TEST(Edid, TableModeAndItsFractionalRate) {
  const Edid whole = edidFor({1920, 1080, 6000});
  EXPECT_EQ(readWord(whole.data() + 54), 14850);
  const auto d = decodeDescriptor(whole.data() + 54);
  EXPECT_EQ(d.HorizBlankingPixels, 280);
  EXPECT_EQ(d.HorizSyncOffset, 88);
  EXPECT_EQ(d.VertSyncOffset, 4);
  EXPECT_EQ(whole[54 + 17], 0x18);
  const Edid fraction = edidFor({1920, 1080, 5994});
  EXPECT_EQ(refreshOf(readWord(fraction.data() + 54), 2200, 1125), 5994U);
  EXPECT_EQ(*modeOfEdid(fraction.data()), (VideoMode{1920, 1080, 5994}));
}

TEST(Edid, ReducedBlankingIsExact) {
  cvt_mode m;
  vert_refresh(1920, 1080, 50, 0, 1, 0, 0, &m);
  EXPECT_EQ(m.pclkKhz, 115856U);
  EXPECT_EQ(m.vfl, 1114);
  EXPECT_EQ(m.hss, 1968);
  EXPECT_EQ(m.hse, 2000);
  EXPECT_EQ(m.vss, 1103);
  EXPECT_EQ(m.vse, 1108);
  vert_refresh(1280, 1024, 60, 0, 1, 0, 0, &m);
  EXPECT_EQ(m.vse - m.vss, 7);
  vert_refresh(1366, 768, 60, 0, 1, 0, 0, &m);
  EXPECT_EQ(m.vse - m.vss, 10);
  for (const auto& [interlaced, margins, rate] : {std::tuple{1, 0, 60.0}, {0, 1, 60.0}, {0, 0, 0.0}, {0, 0, 3000.0}}) {
    vert_refresh(1920, 1080, rate, interlaced, 1, margins, 0, &m);
    EXPECT_EQ(m.hfl, 0);
    EXPECT_EQ(m.pclkKhz, 0U);
  }
}

TEST(Edid, DescriptorSurvivesARoundTripWithFullFields) {
  edid_CEA861DetailedTimingDescriptor d;
  d.HorizActivePixels = 4095;
  d.HorizBlankingPixels = 1023;
  d.VertActiveLines = 2047;
  d.VertBlankingLines = 511;
  d.HorizSyncOffset = 1023;
  d.HorizSyncPulseWidth = 777;
  d.VertSyncOffset = 63;
  d.VertSyncPulseWidth = 42;
  d.SyncSignalDescription = 3;
  d.PixelClock = 600000000;
  std::array<uint8_t, kEdidDescriptorLength> out{};
  ASSERT_EQ(edid_create_dtd(&d, out.data(), 4583), 1);
  const auto back = decodeDescriptor(out.data());
  EXPECT_EQ(back.HorizActivePixels, 4095);
  EXPECT_EQ(back.HorizBlankingPixels, 1023);
  EXPECT_EQ(back.VertActiveLines, 2047);
  EXPECT_EQ(back.VertBlankingLines, 511);
  EXPECT_EQ(back.HorizSyncOffset, 1023);
  EXPECT_EQ(back.HorizSyncPulseWidth, 777);
  EXPECT_EQ(back.VertSyncOffset, 63);
  EXPECT_EQ(back.VertSyncPulseWidth, 42);
}

TEST(Edid, WhatADescriptorCannotHoldIsRefused) {
  for (const VideoMode& mode : {VideoMode{4096, 1080, 6000}, VideoMode{3840, 4096, 3000}, VideoMode{3840, 2160, 12000},
                                VideoMode{0, 1080, 6000}, VideoMode{1920, 0, 6000}, VideoMode{1920, 1080, 0}}) {
    Edid out;
    out.fill(0xEE);
    EXPECT_NE(ResT_calEDID_by_model_new(base().data(), out.data(), mode.h, mode.v, mode.r), 0) << mode.h << mode.v;
    EXPECT_EQ(out[54], 0xEE);
  }
}

TEST(Edid, ARateBeyondEveryFieldIsNoMode) {
  Edid edid = base();
  std::fill_n(edid.begin() + kEdidFirstDescriptor, kEdidDescriptorLength, uint8_t{0});
  edid[kEdidFirstDescriptor + 2] = 1;  // one pixel, one line
  edid[kEdidFirstDescriptor + 5] = 1;
  for (const uint16_t clock : {uint16_t{4295}, uint16_t{0xFFFF}}) {  // 4 295 000 000 is 32 704 beyond 32 bits
    DWT_ENCWD(&edid[kEdidFirstDescriptor], clock);
    EXPECT_FALSE(modeOfEdid(edid.data())) << clock;
  }
}

TEST(Edid, VerificationReadsOnlyWhatIsThere) {
  Edid good = base();
  EXPECT_EQ(ResT_verify_EDID(good.data()), 1);
  EXPECT_EQ(ResT_verify_EDID(good.data(), 128), 0) << "announces an extension that is not there";
  good[kEdidExtensionCount] = 0;
  setBlockChecksum(good);
  EXPECT_EQ(ResT_verify_EDID(good.data(), 128), 1);
  EXPECT_EQ(ResT_verify_EDID(good.data(), 127), 0);
  for (const size_t at : {size_t{0}, size_t{60}, size_t{127}}) {
    Edid bad = base();
    bad[at] ^= 0x10;
    EXPECT_EQ(ResT_verify_EDID(bad.data()), 0) << at;
  }
  Edid badExtension = base();
  badExtension[200] ^= 1;
  EXPECT_EQ(ResT_verify_EDID(badExtension.data()), 0);
}

TEST(Edid, GeneratorReplacesTheMonitorName) {
  edid_request_t request{};
  request.option = EDID_OPTION_DVI;
  std::snprintf(request.monitor_name, sizeof request.monitor_name, "WALL");
  Edid edid{};
  ASSERT_EQ(ModifyEDID_API.generate(&request, edid.data()), 0);
  EXPECT_EQ(std::string(edid.begin() + 77, edid.begin() + 90), "WALL\n        ");
  EXPECT_TRUE(decode(edid).conforms);
  request.option = 7;
  EXPECT_EQ(ModifyEDID_API.generate(&request, edid.data()), -1);
}

}  // namespace
