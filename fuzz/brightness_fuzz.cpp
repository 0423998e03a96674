// Brightness blocks, tables and schedules: the look-ups over any table, and the controllers over any sequence of pieces
// that a host writes, hours that pass and sensors that answer or not.
//
// Input: options (1), then steps: kind (1) and what it needs; a piece is offset (2), length (1) and its bytes.
#include <algorithm>
#include <array>
#include <vector>

#include "process/proc_poll.h"
#include "proto/brightnesscontrol.h"
#include "proto/brightnessplan.h"
#include "support/daemon.h"
#include "support/input.h"
#include "support/verdict.h"

namespace {

using namespace fuzz;
using namespace TIRK_MCUC;

constexpr size_t kMostSteps = 64;
constexpr unsigned kMostPolls = 40;

uint8_t bcdHour(uint8_t value) {
  return toBcd(value % 24U);
}
uint8_t bcdMinute(uint8_t value) {
  return toBcd(value % 60U);
}

void checkSchedule(BrightnessTable table, uint8_t hour, uint8_t minute) {
  const Schedule schedule = parseSchedule(table);
  require(!schedule.nodes.empty() && schedule.nodes.size() <= kMostScheduleNodes, "a schedule has 1 to 32 nodes");
  require(CurrentTimeBelongToWhichNode(schedule, bcdHour(hour), bcdMinute(minute)) < schedule.nodes.size(),
          "the node in force is one of them");
}

void checkSteps(BrightnessTable table, uint16_t lux) {
  const StepMap map = parseStepMap(table);
  uint8_t out = 0;
  if (!LuxToBrightnessLookupTable(map, lux, &out)) return;
  const auto [low, high] = std::minmax(map.MinBri, map.MaxBri);
  require(out >= low && out <= high, "a brightness lies between those of the map");
}

void checkMixed(BrightnessRegion region, uint8_t hour, uint8_t minute, uint16_t lux) {
  const MixedPlan plan = parseMixedPlan(region);
  require(plan.sensors.size() <= kMostSensors && plan.luxMap.size() <= kMostLuxPoints, "the lists keep their limits");
  const uint16_t node = MixAdjCurrentTimeNode(plan, bcdHour(hour), bcdMinute(minute));
  require(node == kNoNode || (node < plan.nodes.size() && plan.nodes[node].enabled), "the node in force is enabled");
  uint8_t out = 0;
  if (!MixAdjLuxToBriLookupTable(plan.luxMap, lux, &out)) return;
  const auto [low, high] =
      std::minmax_element(plan.luxMap.begin(), plan.luxMap.end(), [](auto a, auto b) { return a.percent < b.percent; });
  require(out >= low->percent && out <= high->percent, "a percentage lies between those of the map");
}

void checkAverage(Input& input) {
  std::vector<uint16_t> values(input.byte() % 17U);
  for (uint16_t& value : values) value = input.word();
  const auto valid = values;
  uint16_t out = 0;
  if (SortAndAverage(values.data(), values.size(), &out) != 0) return;
  const auto [low, high] = std::minmax_element(valid.begin(), valid.end());
  require(!valid.empty() && out >= *low && out <= *high, "a mean lies between its values");
}

void checkLookUps(Input& input) {
  std::array<uint8_t, kBrightnessRegionSize> region{};
  const uint8_t hour = input.byte();
  const uint8_t minute = input.byte();
  const uint16_t lux = input.word();
  checkAverage(input);
  const auto bytes = input.bytes(region.size());
  std::copy(bytes.begin(), bytes.end(), region.begin());
  const BrightnessTable table = BrightnessRegion(region).first<kBrightnessTableSize>();
  checkSchedule(table, hour, minute);
  checkSteps(table, lux);
  parseTableSensors(table);
  checkMixed(region, hour, minute, lux);
}

void step(Daemon& daemon, BrightnessControl& control, Input& input) {
  MemoryBoard& board = daemon.board();
  const uint8_t kind = input.byte();
  switch (kind % 8) {
    case 0:
    case 1:
    case 2: {
      const uint16_t offset = input.word();
      const auto piece = input.bytes(input.byte());
      withinTime([&] { control.SetBrightnessAdjustTable(offset, static_cast<int>(piece.size()), piece.data()); });
      break;
    }
    case 3: {  // time passes
      const unsigned polls = input.byte() % kMostPolls;
      for (unsigned i = 0; i < polls; ++i) {
        board.clockUs += 200000;
        withinTime(Proc_Poll::AutoBrightnessadjust);
      }
      break;
    }
    case 4:  // the clock is set
      board.clockUs += (int64_t{input.word()} - 32768) * 60 * 1000000;
      break;
    case 5:
      board.light = input.word();
      if ((kind & 0x80) != 0) board.light.reset();
      break;
    case 6:
      control.DevComLinkState = kind >> 4 & 1;
      control.LocalAddr = kind >> 5 & 1;
      break;
    default:
      board.faults.set(kind >> 4 & 1 ? vboard::Op::FlashRead : vboard::Op::FlashWrite, kind >> 5, -1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Daemon& daemon = Daemon::instance();
  Input input(data, size);
  if ((input.byte() & 1) != 0) {
    checkLookUps(input);
    return 0;
  }
  daemon.board().makeNew();
  auto& control = BrightnessControl::getInstance();
  constexpr uint8_t kOff = 0;
  control.SetBrightnessAdjustTable(0, 1, &kOff);
  for (size_t i = 0; i < kMostSteps && !input.empty(); ++i) step(daemon, control, input);
  daemon.board().faults.set(vboard::Op::FlashRead, 0, -1);
  uint8_t first = 0;
  require(control.copyTable(0, {&first, 1}), "the table can be read");
  return 0;
}
