#include "proto/brightnessplan.h"

#include <algorithm>

namespace TIRK_MCUC {

namespace {

using namespace brightnesstable;

constexpr size_t kTableSensorLength = 16;
constexpr size_t kListSensorLength = 8;
constexpr size_t kSensorSignificant = 5;
constexpr size_t kMixedNodeLength = 16;
constexpr size_t kLuxPointLength = 3;
constexpr size_t kFallbackLength = 3;
constexpr size_t kMostSteps = 32;
constexpr uint8_t kMostSamples = 16;
constexpr uint16_t kBrightestLux = 60000;  // above it the last point holds

// A list of `count` entries behind its count byte; empty when it leaves the region.
Bytes listAt(BrightnessRegion region, size_t offset, size_t count, size_t entryLength) {
  if (offset + 1 + count * entryLength > region.size()) return {};
  return region.subspan(offset + 1, count * entryLength);
}

uint8_t countAt(BrightnessRegion region, size_t offset) {
  return offset < region.size() ? region[offset] : uint8_t{0};
}

SensorRecord decodeSensor(const uint8_t* in) {
  return {in[0], in[1], readWord(in + 2), in[4]};
}

std::vector<MixedNode> parseNodes(BrightnessRegion region, size_t offset, std::vector<const char*>& problems) {
  const size_t count = std::max<size_t>(1, countAt(region, offset));
  std::vector<MixedNode> nodes;
  const Bytes list = listAt(region, offset, count, kMixedNodeLength);
  for (size_t at = 0; at < list.size(); at += kMixedNodeLength) {
    const uint8_t* in = list.data() + at;
    nodes.push_back({in[0], in[1], in[3] == 1, in[4], in[5], in[6] != 0});
    if (nodes.back().enabled && !isBcdTime(in[0], in[1])) problems.push_back("a time node has no legal time");
  }
  if (nodes.empty()) problems.push_back("the list of time nodes leaves the region");
  return nodes;
}

void parseSensors(BrightnessRegion region, size_t offset, MixedPlan& plan) {
  const size_t count = countAt(region, offset);
  plan.tooManySensors = count > kMostSensors;
  if (plan.tooManySensors) {
    plan.problems.push_back("more than 8 sensors");
    return;
  }
  const Bytes list = listAt(region, offset, count, kListSensorLength);
  for (size_t at = 0; at < list.size(); at += kListSensorLength) plan.sensors.push_back(decodeSensor(&list[at]));
  if (plan.sensors.size() != count) plan.problems.push_back("the list of sensors leaves the region");
}

void parseLuxMap(BrightnessRegion region, size_t offset, MixedPlan& plan) {
  const size_t count = countAt(region, offset);
  if (count > kMostLuxPoints) {
    plan.problems.push_back("more than 32 points in the lux map");
    return;
  }
  const Bytes list = listAt(region, offset, count, kLuxPointLength);
  for (size_t at = 0; at < list.size(); at += kLuxPointLength) {
    plan.luxMap.push_back({readWord(&list[at]), list[at + 2]});
  }
  if (plan.luxMap.size() != count) plan.problems.push_back("the lux map leaves the region");
}

}  // namespace

Schedule parseSchedule(BrightnessTable table) {
  Schedule schedule;
  schedule.components = table[kComponents] == kModeSchedule;
  const size_t count = std::clamp<size_t>(table[kCount], 1, kMostScheduleNodes);
  for (size_t i = 0; i < count; ++i) {
    schedule.nodes.push_back({table[kNodeHour + i], table[kNodeMinute + i], table[kNodePorts + i],
                              table[kNodeBrightness + i], table[kNodeRed + i], table[kNodeGreen + i],
                              table[kNodeBlue + i], table[kNodeVirtualRed + i]});
  }
  return schedule;
}

std::optional<std::vector<SensorRecord>> parseTableSensors(BrightnessTable table) {
  const size_t count = table[kCount];
  if (count > kMostSensors) return std::nullopt;
  std::vector<SensorRecord> sensors;
  for (size_t i = 0; i < count; ++i) sensors.push_back(decodeSensor(&table[kSensorRecords + kTableSensorLength * i]));
  static_assert(kSensorRecords + kTableSensorLength * (kMostSensors - 1) + kSensorSignificant <= kBrightnessTableSize);
  return sensors;
}

StepMap parseStepMap(BrightnessTable table) {
  return {readWord(&table[kMaxLux]), readWord(&table[kMinLux]), table[kMaxBri], table[kMinBri], table[kSteps]};
}

MixedPlan parseMixedPlan(BrightnessRegion region) {
  MixedPlan plan;
  plan.nodes = parseNodes(region, readWord(&region[kNodeList]), plan.problems);
  parseSensors(region, readWord(&region[kSensorList]), plan);
  parseLuxMap(region, readWord(&region[kLuxMap]), plan);
  const size_t fallback = readWord(&region[kFallback]);
  if (fallback + kFallbackLength <= region.size()) {
    plan.fallbackEnabled = region[fallback + 1] != 0;
    plan.fallbackPercent = region[fallback + 2];
  }
  plan.SensorReadInterval = readWord(&region[kSensorInterval]);
  plan.SensorReadTimes = std::clamp<uint8_t>(region[kSensorSamples], 1, kMostSamples);
  return plan;
}

size_t CurrentTimeBelongToWhichNode(const Schedule& schedule, uint8_t hourBcd, uint8_t minuteBcd) {
  const unsigned now = timeKey(hourBcd, minuteBcd);
  const auto start = [&schedule](size_t i) { return timeKey(schedule.nodes[i].hourBcd, schedule.nodes[i].minuteBcd); };
  for (size_t i = 0; i + 1 < schedule.nodes.size(); ++i) {
    if (start(i) <= now && now < start(i + 1)) return i;
  }
  return schedule.nodes.size() - 1;
}

uint16_t MixAdjCurrentTimeNode(const MixedPlan& plan, uint8_t hourBcd, uint8_t minuteBcd) {
  const unsigned now = timeKey(hourBcd, minuteBcd);
  uint16_t taken = kNoNode;
  for (size_t i = 0; i < plan.nodes.size(); ++i) {
    if (plan.nodes[i].enabled) taken = static_cast<uint16_t>(i);  // the last enabled one covers the day's beginning
  }
  for (size_t i = 0; i < plan.nodes.size(); ++i) {
    const MixedNode& node = plan.nodes[i];
    if (!node.enabled) continue;
    if (timeKey(node.hourBcd, node.minuteBcd) > now) break;
    taken = static_cast<uint16_t>(i);
  }
  return taken;
}

int SortAndAverage(uint16_t* values, size_t count, uint16_t* out) {
  std::span<const uint16_t> counted(values, count);
  if (count >= 3) {
    std::sort(values, values + count);
    counted = counted.subspan(1, count - 2);
  }
  uint32_t sum = 0;
  uint32_t valid = 0;
  for (const uint16_t value : counted) {
    if (value == kInvalidSample) continue;
    sum += value;
    ++valid;
  }
  if (valid == 0) return 1;
  *out = static_cast<uint16_t>(sum / valid);
  return 0;
}

bool LuxToBrightnessLookupTable(const StepMap& map, uint16_t lux, uint8_t* out) {
  if (map.steps == 0 || map.steps > kMostSteps) return false;
  const int steps = map.steps;
  const int step = (map.MaxLux - map.MinLux) / steps;
  const int span = map.MaxBri - map.MinBri;
  const auto ofStep = [&](int k) { return static_cast<uint8_t>(map.MinBri + k * span / steps); };
  if (lux >= map.MaxLux) {
    *out = map.MaxBri;
  } else if (lux <= map.MinLux) {
    *out = map.MinBri;
  } else {
    const int k = step > 0 ? (lux - map.MinLux) / step : steps;
    *out = ofStep(std::min(k, steps - 1));
  }
  return true;
}

bool MixAdjLuxToBriLookupTable(std::span<const LuxPoint> map, uint16_t lux, uint8_t* out) {
  if (map.empty()) return false;
  if (lux <= map.front().lux) {
    *out = map.front().percent;
    return true;
  }
  if (lux > kBrightestLux || lux >= map.back().lux) {
    *out = map.back().percent;
    return true;
  }
  for (size_t i = 1; i < map.size(); ++i) {
    const LuxPoint& below = map[i - 1];
    const LuxPoint& above = map[i];
    if (lux < below.lux || lux > above.lux) continue;
    if (below.lux == above.lux) {
      *out = above.percent;
      return true;
    }
    const double share = static_cast<double>(lux - below.lux) / (above.lux - below.lux);
    const int low = below.percent;
    const int high = above.percent;  // percentages are clamped where they are used
    *out = static_cast<uint8_t>(low + static_cast<int>(share * (high - low)));
    return true;
  }
  return false;
}

}  // namespace TIRK_MCUC
