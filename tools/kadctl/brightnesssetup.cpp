#include "kadctl/brightnesssetup.h"

#include <algorithm>
#include <cstdio>

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr unsigned kDayMinutes = 24 * 60;
constexpr unsigned kDaysAWeek = 7;
constexpr unsigned kEveryDay = 0x7F;

void putWord(std::vector<uint8_t>& bytes, size_t at, size_t value) {
  DWT_ENCWD(&bytes[at], static_cast<uint16_t>(value));
}

uint8_t hourOf(const BrightnessNode& node) {
  return toBcd(node.minute / 60);
}
uint8_t minuteOf(const BrightnessNode& node) {
  return toBcd(node.minute % 60);
}
unsigned minutesOf(uint8_t hourBcd, uint8_t minuteBcd) {
  const auto plain = [](uint8_t bcd) { return (bcd >> 4) * 10U + (bcd & 15U); };
  return plain(hourBcd) * 60 + plain(minuteBcd);
}

void encodeSchedule(const BrightnessSetup& setup, std::vector<uint8_t>& out) {
  using namespace brightnesstable;
  out[kCount] = static_cast<uint8_t>(setup.nodes.size());
  out[kComponents] = setup.components ? uint8_t{kModeSchedule} : uint8_t{0};
  for (size_t i = 0; i < setup.nodes.size(); ++i) {
    const BrightnessNode& node = setup.nodes[i];
    out[kNodeHour + i] = hourOf(node);
    out[kNodeMinute + i] = minuteOf(node);
    out[kNodePorts + i] = node.ports;
    out[kNodeBrightness + i] = node.brightness;
    for (size_t c = 0; c < 4; ++c) out[kNodeRed + 32 * c + i] = node.components[c];
  }
}

void encodeSensorMode(const BrightnessSetup& setup, std::vector<uint8_t>& out) {
  using namespace brightnesstable;
  out[kCount] = static_cast<uint8_t>(setup.sensors.size());
  putWord(out, kMaxLux, setup.steps.MaxLux);
  putWord(out, kMinLux, setup.steps.MinLux);
  out[kMaxBri] = setup.steps.MaxBri;
  out[kMinBri] = setup.steps.MinBri;
  out[kSteps] = setup.steps.steps;
  for (size_t i = 0; i < setup.sensors.size(); ++i) {
    const SensorRecord& sensor = setup.sensors[i];
    uint8_t* const record = &out[kSensorRecords + 16 * i];
    record[0] = sensor.type;
    record[1] = sensor.PortAddr;
    DWT_ENCWD(record + 2, sensor.BoardAddr);
    record[4] = sensor.SensorAddr;
  }
}

void encodeMixed(const BrightnessSetup& setup, std::vector<uint8_t>& out) {
  using namespace brightnesstable;
  const auto list = [&out](size_t offsetAt, size_t count) {
    putWord(out, offsetAt, out.size());
    out.push_back(static_cast<uint8_t>(count));
  };
  const auto put = [&out](const std::vector<uint8_t>& record) { out.insert(out.end(), record.begin(), record.end()); };
  const auto low = [](uint16_t word) { return static_cast<uint8_t>(word); };
  const auto high = [](uint16_t word) { return static_cast<uint8_t>(word >> 8); };
  list(kSensorList, setup.sensors.size());
  for (const SensorRecord& s : setup.sensors) {
    put({s.type, s.PortAddr, low(s.BoardAddr), high(s.BoardAddr), s.SensorAddr, 0, 0, 0});
  }
  list(kNodeList, setup.nodes.size());
  for (const BrightnessNode& n : setup.nodes) {
    put({hourOf(n), minuteOf(n), 0, n.sensor, n.days, n.brightness, n.enabled, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  }
  if (setup.nodes.empty()) put(std::vector<uint8_t>(16));  // a count of 0 counts as 1
  list(kLuxMap, setup.luxMap.size());
  for (const LuxPoint& p : setup.luxMap) put({low(p.lux), high(p.lux), p.percent});
  list(kFallback, 0);
  put({setup.fallback.has_value(), setup.fallback.value_or(0)});
  putWord(out, kBlockLength, out.size());
  out[kMixedOn] = setup.on;
  putWord(out, kSensorInterval, setup.interval);
  out[kSensorSamples] = setup.samples;
  out[kMixedAllowed] = setup.allowed;
  out[kGradual] = setup.gradual;
}

void decodeSchedule(BrightnessTable table, BrightnessSetup& setup) {
  const Schedule schedule = parseSchedule(table);
  setup.components = schedule.components;
  for (const ScheduleNode& from : schedule.nodes) {
    if (!isBcdTime(from.hourBcd, from.minuteBcd)) {
      setup.notes.push_back("a node without a time of day");
      continue;
    }
    BrightnessNode node;
    node.minute = minutesOf(from.hourBcd, from.minuteBcd);
    node.brightness = from.brightness;
    node.ports = from.ports & ((1U << kSchedulePorts) - 1);
    if (setup.components) node.components = {from.red, from.green, from.blue, from.virtualRed};
    setup.nodes.push_back(node);
  }
}

void decodeMixed(BrightnessRegion region, BrightnessSetup& setup) {
  using namespace brightnesstable;
  const MixedPlan plan = parseMixedPlan(region);
  for (const MixedNode& from : plan.nodes) {
    if (!isBcdTime(from.hourBcd, from.minuteBcd)) continue;  // among the plan's problems
    if (!from.enabled && from.weekdays == 0) continue;       // an empty list
    BrightnessNode node;
    node.minute = minutesOf(from.hourBcd, from.minuteBcd);
    node.sensor = from.sensor;
    node.brightness = from.sensor ? uint8_t{0} : std::min<uint8_t>(from.percent, 100);
    node.days = from.weekdays & kEveryDay;
    node.enabled = from.enabled;
    setup.nodes.push_back(node);
  }
  setup.sensors = plan.sensors;
  setup.luxMap = plan.luxMap;
  if (plan.fallbackEnabled) setup.fallback = std::min<uint8_t>(plan.fallbackPercent, 100);
  setup.interval = plan.SensorReadInterval;
  setup.samples = plan.SensorReadTimes;
  setup.on = region[kMixedOn] != 0;
  setup.allowed = region[kMixedAllowed] != 0;
  setup.gradual = region[kGradual] != 0;
  setup.notes.assign(plan.problems.begin(), plan.problems.end());
}

bool acts(const BrightnessSetup& setup, const BrightnessNode& node, unsigned day, unsigned port) {
  if (setup.mode == kModeSchedule) return (node.ports >> port & 1) != 0;
  return node.enabled && (node.days >> day & 1) != 0;
}

}  // namespace

std::string BrightnessNode::time() const {
  char text[16];
  std::snprintf(text, sizeof text, "%02u:%02u", minute / 60, minute % 60);
  return text;
}

std::vector<uint8_t> encodeBrightness(const BrightnessSetup& setup) {
  std::vector<uint8_t> out(kBrightnessTableSize);
  out[brightnesstable::kMode] = setup.mode;
  if (setup.mode == kModeSchedule) encodeSchedule(setup, out);
  if (setup.mode == kModeSensor) encodeSensorMode(setup, out);
  if (setup.mixed()) encodeMixed(setup, out);
  return out;
}

BrightnessSetup decodeBrightness(BrightnessRegion region) {
  BrightnessSetup setup;
  const BrightnessTable table = region.first<kBrightnessTableSize>();
  setup.mode = table[brightnesstable::kMode];
  if (setup.mode == kModeSchedule) decodeSchedule(table, setup);
  if (setup.mixed()) decodeMixed(region, setup);
  if (setup.mode != kModeSensor) {
    if (setup.mode != kModeSchedule && !setup.mixed()) setup.mode = kModeOff;
    return setup;
  }
  setup.steps = parseStepMap(table);
  if (auto sensors = parseTableSensors(table)) {
    setup.sensors = std::move(*sensors);
  } else {
    setup.notes.push_back("more than 8 sensors");
  }
  return setup;
}

const BrightnessNode* nodeInForce(const BrightnessSetup& setup, unsigned day, unsigned minute, unsigned port) {
  for (unsigned back = 0; back <= kDaysAWeek; ++back) {
    const unsigned then = (day + kDaysAWeek - back % kDaysAWeek) % kDaysAWeek;
    for (auto node = setup.nodes.rbegin(); node != setup.nodes.rend(); ++node) {
      if (acts(setup, *node, then, port) && (back > 0 || node->minute <= minute)) return &*node;
    }
  }
  return nullptr;
}

std::optional<NextChange> nextChange(const BrightnessSetup& setup, unsigned day, unsigned minute) {
  for (unsigned ahead = 0; ahead <= kDaysAWeek; ++ahead) {
    for (const BrightnessNode& node : setup.nodes) {
      if (ahead == 0 && node.minute <= minute) continue;
      bool acting = false;
      for (unsigned port = 0; port < kSchedulePorts; ++port) {
        acting = acting || acts(setup, node, (day + ahead) % kDaysAWeek, port);
      }
      if (acting) return NextChange{&node, ahead * kDayMinutes + node.minute - minute};
    }
  }
  return std::nullopt;
}

}  // namespace kadctl
