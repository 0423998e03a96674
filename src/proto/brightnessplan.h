// What a brightness configuration says: its layout, its lists, and the look-ups over them. Pure: bytes and times in,
// values out; nothing here reads a clock, the flash or a card.
//
// The configuration is the first 4096 bytes of the brightness region; its first 512 are the table. u16 little-endian.
// Byte 0 is the mode. Lists outside the region are empty.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "mcucbytes.h"

namespace TIRK_MCUC {

constexpr size_t kBrightnessTableSize = 512;
constexpr size_t kBrightnessRegionSize = 4096;  // what hosts transfer
constexpr size_t kBrightnessSavedSize = 5120;   // what a save rewrites

enum BrightnessMode : uint8_t {
  kModeSchedule = 0x5B,
  kModeSensor = 0x7D,
  kModeMixed = 0x9A,
  kModeScreenBlack = 0x9B,
  kModeHardwareControl = 0x9C
};

// Table bytes.
namespace brightnesstable {
constexpr size_t kMode = 0;
constexpr size_t kBlockLength = 1;      // u16, mixed and serial modes
constexpr size_t kCount = 1;            // schedule: nodes; sensor mode: sensors
constexpr size_t kComponents = 2;       // schedule: 0x5B, nodes carry colour components
constexpr size_t kSensorList = 3;       // u16, mixed modes
constexpr size_t kMaxLux = 5;           // u16, sensor mode
constexpr size_t kNodeList = 5;         // u16, mixed modes
constexpr size_t kMinLux = 7;           // u16, sensor mode
constexpr size_t kLuxMap = 7;           // u16, mixed modes
constexpr size_t kMaxBri = 9;           // sensor mode
constexpr size_t kMinBri = 10;          // sensor mode
constexpr size_t kFallback = 10;        // u16, mixed modes
constexpr size_t kSteps = 11;           // sensor mode
constexpr size_t kMixedOn = 12;         // mixed modes
constexpr size_t kSensorInterval = 13;  // u16 seconds, mixed modes
constexpr size_t kSensorSamples = 15;   // mixed modes
constexpr size_t kMixedAllowed = 16;    // mixed modes
constexpr size_t kGradual = 17;         // mixed modes
constexpr size_t kNodeHour = 32;        // schedule, one byte a node, BCD
constexpr size_t kSensorRecords = 32;   // sensor mode, 16 bytes each
constexpr size_t kNodeMinute = 64;
constexpr size_t kNodePorts = 128;  // bits 0..3: output ports
constexpr size_t kNodeBrightness = 160;
constexpr size_t kNodeRed = 192;
constexpr size_t kNodeGreen = 224;
constexpr size_t kNodeBlue = 256;
constexpr size_t kNodeVirtualRed = 288;
}  // namespace brightnesstable

constexpr uint16_t kInvalidSample = 0xFFFF;
constexpr uint16_t kNoNode = 0xFFFF;
constexpr size_t kMostSensors = 8;
constexpr size_t kMostScheduleNodes = 32;
constexpr size_t kMostLuxPoints = 32;

// BCD(hour) * 128 + BCD(minute): orders times of day, for fields that are BCD already.
constexpr unsigned timeKey(uint8_t hourBcd, uint8_t minuteBcd) {
  return hourBcd * 128U + minuteBcd;
}
constexpr uint8_t toBcd(unsigned value) {
  return static_cast<uint8_t>(value / 10 % 10 << 4 | value % 10);
}
constexpr bool isBcdTime(uint8_t hourBcd, uint8_t minuteBcd) {
  return (hourBcd & 15) < 10 && hourBcd < 0x24 && (minuteBcd & 15) < 10 && minuteBcd < 0x60;
}

// Percent (above 100 counts as 100) to 0..255.
constexpr uint8_t percentToBrightness(unsigned percent) {
  return static_cast<uint8_t>((percent > 100 ? 100 : percent) * 255 / 100);
}

struct ScheduleNode {
  uint8_t hourBcd, minuteBcd;
  uint8_t ports;  // bits 0..3
  uint8_t brightness;
  uint8_t red, green, blue, virtualRed;
};
struct Schedule {
  std::vector<ScheduleNode> nodes;  // 1..32
  bool components = false;
};

struct SensorRecord {
  uint8_t type;  // 0 behind a multi-function card, 1 the board's own
  uint8_t PortAddr;
  uint16_t BoardAddr;
  uint8_t SensorAddr;
};

// Sensor mode: brightness 0..255 by steps between two lux values.
struct StepMap {
  uint16_t MaxLux, MinLux;
  uint8_t MaxBri, MinBri;
  uint8_t steps;
};

struct MixedNode {
  uint8_t hourBcd, minuteBcd;
  bool sensor;       // driven by the sensors; else a fixed brightness
  uint8_t weekdays;  // bit d - 1: active on weekday d
  uint8_t percent;
  bool enabled;
};
struct LuxPoint {
  uint16_t lux;
  uint8_t percent;
};
struct MixedPlan {
  std::vector<MixedNode> nodes;
  std::vector<SensorRecord> sensors;  // more than 8 is no legal list: `tooManySensors`
  bool tooManySensors = false;
  std::vector<LuxPoint> luxMap;  // empty when its count is 0 or above 32
  bool fallbackEnabled = false;
  uint8_t fallbackPercent = 0;
  uint16_t SensorReadInterval = 0;    // seconds
  uint8_t SensorReadTimes = 1;        // 1..16
  std::vector<const char*> problems;  // what is not legal and therefore not used, in words
};

using BrightnessTable = std::span<const uint8_t, kBrightnessTableSize>;
using BrightnessRegion = std::span<const uint8_t, kBrightnessRegionSize>;

Schedule parseSchedule(BrightnessTable table);
// Empty when the list holds more than 8.
std::optional<std::vector<SensorRecord>> parseTableSensors(BrightnessTable table);
StepMap parseStepMap(BrightnessTable table);
MixedPlan parseMixedPlan(BrightnessRegion region);

// The node in force: the first i whose start is at or before now and whose successor's is after it; else the last.
// Requires nodes.
size_t CurrentTimeBelongToWhichNode(const Schedule& schedule, uint8_t hourBcd, uint8_t minuteBcd);
// The enabled node in force, kNoNode when none is enabled.
uint16_t MixAdjCurrentTimeNode(const MixedPlan& plan, uint8_t hourBcd, uint8_t minuteBcd);

// Trimmed mean of values that are not 0xFFFF: of 1 or 2 their mean; of more, sorted in place, without the lowest and
// the highest. 0 success, 1 no valid value.
int SortAndAverage(uint16_t* values, size_t count, uint16_t* out);

// False when the parameters are unusable (0 or more than 32 steps).
bool LuxToBrightnessLookupTable(const StepMap& map, uint16_t lux, uint8_t* out);
// To percent; false when the map is empty or the value lies in no interval.
bool MixAdjLuxToBriLookupTable(std::span<const LuxPoint> map, uint16_t lux, uint8_t* out);

}  // namespace TIRK_MCUC
