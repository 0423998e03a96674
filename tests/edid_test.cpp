// EDIDs: table and reduced-blanking timings, the descriptor's limits, and conformity by an independent decoder.
#include <gtest/gtest.h>

#include <cstdio>
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

TEST(Edid, ReducedBlankingIsExact) {
  cvt_mode m;
  vert_refresh(1920, 1080, 50, 0, 1, 0, 0, &m);
  EXPECT_EQ(std::tuple(m.pclkKhz, m.vfl, m.hss, m.hse, m.vss, m.vse),
            std::tuple(115856U, 1114, 1968, 2000, 1103, 1108));
  vert_refresh(1366, 768, 60, 0, 1, 0, 0, &m);
  EXPECT_EQ(m.vse - m.vss, 10);
  for (const auto& [interlaced, margins, rate] : {std::tuple{1, 0, 60.0}, {0, 1, 60.0}, {0, 0, 0.0}, {0, 0, 3000.0}}) {
    vert_refresh(1920, 1080, rate, interlaced, 1, margins, 0, &m);
    EXPECT_EQ(m.hfl, 0);
    EXPECT_EQ(m.pclkKhz, 0U);
  }
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

}  // namespace
