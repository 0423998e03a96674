// A brightness setup as people think of it, and the block that the device keeps of it. Pure.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "proto/brightnessplan.h"

namespace kadctl {

constexpr uint8_t kModeOff = 0;
constexpr unsigned kSchedulePorts = 4;  // a schedule acts on the first four output ports

struct BrightnessNode {
  unsigned minute = 0;     // of the day
  uint8_t brightness = 0;  // schedule: 0..255; mixed modes: percent
  bool sensor = false;     // mixed modes: driven by the sensors
  uint8_t ports = 0x0F;    // schedule: bits 0..3
  std::array<uint8_t, 4> components{};
  uint8_t days = 0x7F;  // mixed modes: bit 0 Monday
  bool enabled = true;

  std::string time() const;  // "HH:MM"
};

struct BrightnessSetup {
  uint8_t mode = kModeOff;
  std::vector<BrightnessNode> nodes;
  bool components = false;  // schedule: nodes carry colour components
  std::vector<TIRK_MCUC::SensorRecord> sensors;
  TIRK_MCUC::StepMap steps{};
  std::vector<TIRK_MCUC::LuxPoint> luxMap;
  uint16_t interval = 20;
  uint8_t samples = 1;
  std::optional<uint8_t> fallback;
  bool on = true, allowed = true, gradual = true;
  std::vector<std::string> notes;  // what a block holds and the file cannot say

  bool mixed() const { return mode >= TIRK_MCUC::kModeMixed && mode <= TIRK_MCUC::kModeHardwareControl; }
};

// The block: the first bytes of the region, from its mode byte on.
std::vector<uint8_t> encodeBrightness(const BrightnessSetup& setup);
BrightnessSetup decodeBrightness(TIRK_MCUC::BrightnessRegion region);

// The node whose start was the last before or at that minute of a day (0 Monday), of those that act on the port on that
// day; none when there has been none for a week.
const BrightnessNode* nodeInForce(const BrightnessSetup& setup, unsigned day, unsigned minute, unsigned port);
struct NextChange {
  const BrightnessNode* node;
  unsigned minutes;  // from now, 1..10080
};
std::optional<NextChange> nextChange(const BrightnessSetup& setup, unsigned day, unsigned minute);

}  // namespace kadctl
