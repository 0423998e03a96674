// What a brightness configuration says, and the look-ups over it: every bound of every count, and lists in any order.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "proto/brightnessplan.h"

namespace {

using namespace TIRK_MCUC;
using namespace ::testing;
using Table = std::array<uint8_t, kBrightnessTableSize>;
using Region = std::array<uint8_t, kBrightnessRegionSize>;

struct Moment {
  uint8_t hour, minute;  // BCD
};

struct Start {
  uint8_t hour;
  bool enabled = true;
};
MixedPlan planOf(std::initializer_list<Start> starts) {
  MixedPlan plan;
  for (const Start& start : starts) plan.nodes.push_back({start.hour, 0x30, false, 0x7F, 50, start.enabled});
  return plan;
}

TEST(BrightnessPlan, MixedNodeInForceAmongTheEnabledOnes) {
  struct Case {
    MixedPlan plan;
    Moment now;
    uint16_t node;
  };
  const MixedPlan all = planOf({{0x06}, {0x12}, {0x18}});
  const MixedPlan middle = planOf({{0x06, false}, {0x12}, {0x18, false}});
  const MixedPlan ends = planOf({{0x06}, {0x12, false}, {0x18}});
  const MixedPlan unsorted = planOf({{0x06}, {0x20}, {0x12}});
  const Case cases[] = {
      {all, {0x06, 0x29}, 2},
      {all, {0x06, 0x30}, 0},
      {all, {0x12, 0x30}, 1},
      {all, {0x23, 0x59}, 2},
      {middle, {0x00, 0x00}, 1},
      {middle, {0x18, 0x30}, 1},
      {ends, {0x13, 0x00}, 0},
      {ends, {0x06, 0x00}, 2},
      {unsorted, {0x13, 0x00}, 0},  // the walk ends at the first node that is still to come
      {unsorted, {0x21, 0x00}, 2},
      {planOf({{0x06, false}, {0x12, false}}), {0x07, 0x00}, kNoNode},
      {planOf({}), {0x07, 0x00}, kNoNode},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(MixAdjCurrentTimeNode(c.plan, c.now.hour, c.now.minute), c.node)
        << c.plan.nodes.size() << " nodes at " << std::hex << int{c.now.hour} << ":" << int{c.now.minute};
  }
}

TEST(BrightnessPlan, Percentages) {
  struct {
    unsigned percent;
    int brightness;
  } const cases[] = {{0, 0}, {1, 2}, {35, 89}, {50, 127}, {99, 252}, {100, 255}, {101, 255}, {255, 255}};
  for (const auto& c : cases) EXPECT_EQ(percentToBrightness(c.percent), c.brightness) << c.percent;
}

// The mean, -1 when there is none.
int meanOf(std::vector<uint16_t> values) {
  uint16_t out = 0xABCD;
  const int result = SortAndAverage(values.data(), values.size(), &out);
  EXPECT_TRUE(result == 0 || out == 0xABCD);
  return result == 0 ? out : -1;
}

TEST(BrightnessPlan, TrimmedMean) {
  constexpr uint16_t none = kInvalidSample;
  struct Case {
    std::vector<uint16_t> values;
    int mean;
  };
  const Case cases[] = {
      {{}, -1},
      {{none}, -1},
      {{0}, 0},
      {{100, none}, 100},
      {{none, 7}, 7},
      {{none, none}, -1},
      {{3, 6}, 4},
      {{none, 100, 200}, 200},
      {{5, 1, 3}, 3},
      {{none, none, 200}, -1},  // the one in the middle is none
      {{0, none, none, none}, -1},
      {{9, none, 1, none}, 9},
      {{100, 900, 200, 300, 400, 500}, 350},
      {{1, 2, 2, 9}, 2},
      {std::vector<uint16_t>(16, 65534), 65534},  // the sum needs more than 16 bits
  };
  for (const Case& c : cases) EXPECT_EQ(meanOf(c.values), c.mean) << testing::PrintToString(c.values);
}

// The brightness, -1 when there is none.
int steps(const StepMap& map, unsigned lux) {
  uint8_t out = 0;
  return LuxToBrightnessLookupTable(map, static_cast<uint16_t>(lux), &out) ? out : -1;
}

TEST(BrightnessPlan, LuxSteps) {
  const StepMap ten{1000, 0, 220, 20, 10};
  const StepMap odd{1000, 100, 200, 0, 7};      // steps of 128: 996..999 lie in none
  const StepMap falling{1000, 0, 20, 220, 10};  // darker with more light
  const StepMap narrow{5, 0, 100, 0, 32};       // steps of 0
  const StepMap turned{0, 1000, 220, 20, 10};   // the highest lux below the lowest
  const StepMap wide{65535, 0, 255, 0, 32};
  struct {
    const StepMap& map;
    unsigned lux;
    int brightness;
  } const cases[] = {
      {ten, 0, 20},        {ten, 99, 20},      {ten, 100, 40},      {ten, 555, 120},  {ten, 999, 200},
      {ten, 1000, 220},    {ten, 65534, 220},  {odd, 100, 0},       {odd, 227, 0},    {odd, 228, 28},
      {odd, 995, 171},     {odd, 996, 171},    {odd, 999, 171},     {odd, 1000, 200}, {falling, 0, 220},
      {falling, 555, 120}, {falling, 999, 40}, {falling, 1000, 20}, {narrow, 0, 0},   {narrow, 1, 96},
      {narrow, 5, 100},    {turned, 500, 220}, {wide, 65534, 247},  {wide, 2047, 7},  {wide, 2046, 0},
  };
  for (const auto& c : cases) EXPECT_EQ(steps(c.map, c.lux), c.brightness) << c.map.MaxLux << ", lux " << c.lux;
  EXPECT_EQ(steps({1000, 0, 220, 20, 0}, 500), -1);
  EXPECT_EQ(steps({1000, 0, 220, 20, 33}, 500), -1);
  EXPECT_EQ(steps({1000, 0, 220, 20, 32}, 999), 213);
  EXPECT_EQ(steps({1000, 0, 220, 20, 1}, 999), 20);
}

// The percentage, -1 when there is none.
int percentOf(const std::vector<LuxPoint>& map, unsigned lux) {
  uint8_t out = 0;
  return MixAdjLuxToBriLookupTable(map, static_cast<uint16_t>(lux), &out) ? out : -1;
}

TEST(BrightnessPlan, LuxMap) {
  const std::vector<LuxPoint> two{{100, 10}, {1100, 60}};
  const std::vector<LuxPoint> falling{{0, 100}, {300, 99}, {600, 10}};  // darker with more light
  const std::vector<LuxPoint> twice{{100, 10}, {200, 20}, {200, 80}, {300, 90}};
  const std::vector<LuxPoint> unsorted{{100, 10}, {500, 50}, {200, 90}, {1000, 100}};
  const std::vector<LuxPoint> backwards{{1000, 10}, {500, 20}, {2000, 90}};
  const std::vector<LuxPoint> bright{{0, 0}, {65535, 200}};
  const std::vector<LuxPoint> gap{{100, 10}, {1000, 40}, {900, 50}, {500, 60}, {1200, 90}};
  struct {
    const std::vector<LuxPoint>& map;
    unsigned lux;
    int percent;
  } const cases[] = {
      {two, 0, 10},         {two, 100, 10},       {two, 119, 10},
      {two, 120, 11},       {two, 600, 35},       {two, 1099, 59},
      {two, 1100, 60},      {two, 65534, 60},     {falling, 150, 100},  // -0.5 is cut to 0
      {falling, 299, 100},  {falling, 300, 99},   {falling, 301, 99},
      {falling, 450, 55},   {falling, 600, 10},   {twice, 200, 20},
      {twice, 201, 80},     {twice, 250, 85},     {unsorted, 300, 30},  // the first that holds it
      {unsorted, 700, 96},  {backwards, 600, 10}, {backwards, 1500, 66},
      {bright, 60000, 183}, {bright, 60001, 200},  // above 60 000 the last point holds
      {gap, 1100, 85},
  };
  for (const auto& c : cases) EXPECT_EQ(percentOf(c.map, c.lux), c.percent) << c.map.size() << " points, lux " << c.lux;
  EXPECT_EQ(percentOf({}, 500), -1);
  EXPECT_EQ(percentOf({{500, 42}}, 0), 42);
  EXPECT_EQ(percentOf({{500, 42}}, 600), 42);
}

TEST(BrightnessPlan, ScheduleIsReadWithItsBounds) {
  Table table{};
  for (size_t i = 0; i < 32; ++i) {
    for (size_t column = 0; column < 9; ++column) table[32 + 32 * column + i] = static_cast<uint8_t>(8 * i + column);
  }
  struct {
    uint8_t count;
    size_t nodes;
  } const counts[] = {{0, 1}, {1, 1}, {2, 2}, {31, 31}, {32, 32}, {33, 32}, {255, 32}};
  for (const auto& c : counts) {
    table[1] = c.count;
    EXPECT_EQ(parseSchedule(table).nodes.size(), c.nodes) << int{c.count};
  }
  EXPECT_FALSE(parseSchedule(table).components);
  table[2] = 0x5B;
  const Schedule schedule = parseSchedule(table);
  EXPECT_TRUE(schedule.components);
  const ScheduleNode& last = schedule.nodes.at(31);  // columns 0, 1, 3..8; bytes 96..127 belong to no field
  EXPECT_THAT((std::vector<int>{last.hourBcd, last.minuteBcd, last.ports, last.brightness, last.red, last.green,
                                last.blue, last.virtualRed}),
              ElementsAre(248, 249, 251, 252, 253, 254, 255, 0));
}

TEST(BrightnessPlan, SensorModesParameters) {
  Table table{};
  table[1] = 8;
  const uint8_t record[] = {1, 9, 0x34, 0x12, 5};
  std::copy(std::begin(record), std::end(record), &table[32 + 16 * 7]);
  const uint8_t parameters[] = {0x10, 0x27, 0x64, 0x00, 250, 30, 16};
  std::copy(std::begin(parameters), std::end(parameters), &table[5]);
  const auto sensors = parseTableSensors(table);
  ASSERT_TRUE(sensors);
  ASSERT_EQ(sensors->size(), 8U);
  const SensorRecord& sensor = sensors->back();
  EXPECT_THAT((std::vector<int>{sensor.type, sensor.PortAddr, sensor.BoardAddr, sensor.SensorAddr}),
              ElementsAre(1, 9, 0x1234, 5));
  const StepMap map = parseStepMap(table);
  EXPECT_THAT((std::vector<int>{map.MaxLux, map.MinLux, map.MaxBri, map.MinBri, map.steps}),
              ElementsAre(10000, 100, 250, 30, 16));
  table[1] = 9;
  EXPECT_FALSE(parseTableSensors(table));
  table[1] = 0;
  EXPECT_THAT(*parseTableSensors(table), IsEmpty());
}

// A region whose four lists lie at these offsets.
struct RegionMaker {
  Region region{};
  RegionMaker& word(size_t at, size_t value) {
    region[at] = static_cast<uint8_t>(value);
    region[at + 1] = static_cast<uint8_t>(value >> 8);
    return *this;
  }
  RegionMaker& put(size_t at, std::initializer_list<int> bytes) {
    for (const int byte : bytes) region.at(at++) = static_cast<uint8_t>(byte);
    return *this;
  }
};

TEST(BrightnessPlan, MixedListsAreReadFromTheirOffsets) {
  RegionMaker maker;
  maker.word(3, 600).word(5, 700).word(7, 800).word(10, 900).word(13, 0x0203);
  maker.region[15] = 4;
  maker.put(600, {2, 0, 3, 0x34, 0x12, 5, 9, 9, 9, 1, 0, 0, 0, 0});
  maker.put(700, {2, 0x08, 0x15, 7, 1, 0x41, 60, 1}).put(717, {0x20, 0x30, 7, 2, 0x7F, 70, 0});
  maker.put(800, {2, 0x10, 0x27, 20, 0x20, 0x4E, 90});
  maker.put(900, {0, 1, 33});
  const MixedPlan plan = parseMixedPlan(maker.region);
  ASSERT_EQ(plan.sensors.size(), 2U);
  EXPECT_EQ(plan.sensors[0].PortAddr, 3);
  EXPECT_EQ(plan.sensors[0].BoardAddr, 0x1234);
  EXPECT_EQ(plan.sensors[0].SensorAddr, 5);
  EXPECT_EQ(plan.sensors[1].type, 1);
  ASSERT_EQ(plan.nodes.size(), 2U);
  const MixedNode& node = plan.nodes[0];
  EXPECT_THAT((std::vector<int>{node.hourBcd, node.minuteBcd, node.sensor, node.weekdays, node.percent, node.enabled}),
              ElementsAre(0x08, 0x15, 1, 0x41, 60, 1));
  EXPECT_FALSE(plan.nodes[1].sensor);  // only 1 is sensor-driven
  EXPECT_FALSE(plan.nodes[1].enabled);
  ASSERT_EQ(plan.luxMap.size(), 2U);
  EXPECT_EQ(plan.luxMap[1].lux, 20000);
  EXPECT_EQ(plan.luxMap[1].percent, 90);
  EXPECT_TRUE(plan.fallbackEnabled);
  EXPECT_EQ(plan.fallbackPercent, 33);
  EXPECT_EQ(plan.SensorReadInterval, 0x0203);
  EXPECT_EQ(plan.SensorReadTimes, 4);
  EXPECT_THAT(plan.problems, IsEmpty());
}

TEST(BrightnessPlan, ListsEndWithTheRegion) {
  struct Case {
    size_t offsetAt;                // table bytes of the list's offset
    size_t offset;                  // where the list is put
    uint8_t count;                  // its count byte
    size_t nodes, sensors, points;  // what is read of it
    size_t problems;
  };
  const Case cases[] = {
      {5, 4096 - 17, 1, 1, 0, 0, 0}, {5, 4096 - 16, 1, 0, 0, 0, 1},   {5, 4096 - 17, 2, 0, 0, 0, 1},
      {5, 4096 - 17, 0, 1, 0, 0, 0}, {5, 4095, 1, 0, 0, 0, 1},        {5, 4096, 1, 0, 0, 0, 1},
      {5, 65535, 1, 0, 0, 0, 1},     {5, 600, 217, 217, 0, 0, 0},     {5, 600, 219, 0, 0, 0, 1},
      {3, 4096 - 65, 8, 1, 8, 0, 0}, {3, 4096 - 64, 8, 1, 0, 0, 1},   {3, 600, 9, 1, 0, 0, 1},
      {3, 65535, 8, 1, 0, 0, 0},     {7, 4096 - 97, 32, 1, 0, 32, 0}, {7, 4096 - 96, 32, 1, 0, 0, 1},
      {7, 600, 33, 1, 0, 0, 1},      {7, 600, 0, 1, 0, 0, 0},
  };
  for (const Case& c : cases) {
    RegionMaker maker;
    maker.word(3, 512).word(5, 513).word(7, 512).word(10, 512).word(c.offsetAt, c.offset);
    if (c.offset < maker.region.size()) maker.region[c.offset] = c.count;
    const MixedPlan plan = parseMixedPlan(maker.region);
    const std::string name =
        std::to_string(c.offsetAt) + ": " + std::to_string(c.count) + " at " + std::to_string(c.offset);
    EXPECT_EQ(plan.nodes.size(), c.nodes) << name;
    EXPECT_EQ(plan.sensors.size(), c.sensors) << name;
    EXPECT_EQ(plan.luxMap.size(), c.points) << name;
    EXPECT_EQ(plan.problems.size(), c.problems) << name;
    EXPECT_EQ(plan.tooManySensors, c.offsetAt == 3 && c.count == 9) << name;
  }
}

TEST(BrightnessPlan, SamplesFallbackAndTimesAreBounded) {
  struct {
    uint8_t stored, used;
  } const samples[] = {{0, 1}, {1, 1}, {16, 16}, {17, 16}, {255, 16}};
  for (const auto& c : samples) {
    RegionMaker maker;
    maker.region[15] = c.stored;
    EXPECT_EQ(parseMixedPlan(maker.region).SensorReadTimes, c.used);
  }
  RegionMaker atEnd;
  atEnd.word(10, 4096 - 3).put(4096 - 3, {0, 255, 80});
  EXPECT_TRUE(parseMixedPlan(atEnd.region).fallbackEnabled);
  EXPECT_FALSE(parseMixedPlan(atEnd.word(10, 4096 - 2).region).fallbackEnabled);
  RegionMaker noTime;
  noTime.word(5, 600).put(600, {1, 0x24, 0x00, 0, 0, 0x7F, 50, 1});
  EXPECT_EQ(parseMixedPlan(noTime.region).problems.size(), 1U);
  EXPECT_THAT(parseMixedPlan(noTime.put(607, {0}).region).problems, IsEmpty());  // it is not enabled
}

}  // namespace
