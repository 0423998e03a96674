// What a brightness configuration says, and the look-ups over it: every bound of every count, and lists in any order.
#include <gmock/gmock.h>

#include <array>
#include <vector>

#include "proto/brightnessplan.h"

namespace {

using namespace TIRK_MCUC;
using namespace ::testing;
using Table = std::array<uint8_t, kBrightnessTableSize>;
using Region = std::array<uint8_t, kBrightnessRegionSize>;

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
    uint8_t hour, minute;  // BCD
    uint16_t node;
  };
  const MixedPlan all = planOf({{0x06}, {0x12}, {0x18}});
  const MixedPlan middle = planOf({{0x06, false}, {0x12}, {0x18, false}});
  const MixedPlan ends = planOf({{0x06}, {0x12, false}, {0x18}});
  const MixedPlan unsorted = planOf({{0x06}, {0x20}, {0x12}});
  const Case cases[] = {
      {all, 0x06, 0x29, 2},
      {all, 0x06, 0x30, 0},
      {all, 0x23, 0x59, 2},
      {middle, 0x00, 0x00, 1},
      {ends, 0x13, 0x00, 0},
      {unsorted, 0x13, 0x00, 0},  // the walk ends at the first node that is still to come
      {unsorted, 0x21, 0x00, 2},
      {planOf({{0x06, false}, {0x12, false}}), 0x07, 0x00, kNoNode},
      {planOf({}), 0x07, 0x00, kNoNode},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(MixAdjCurrentTimeNode(c.plan, c.hour, c.minute), c.node)
        << c.plan.nodes.size() << " nodes at " << std::hex << int{c.hour} << ":" << int{c.minute};
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
      {{100, none}, 100},
      {{3, 6}, 4},
      {{none, 100, 200}, 200},
      {{5, 1, 3}, 3},
      {{none, none, 200}, -1},  // the one in the middle is none
      {{0, none, none, none}, -1},
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
  for (const auto& [count, brightness] : {std::pair{0, -1}, {1, 20}, {32, 213}, {33, -1}})
    EXPECT_EQ(steps({1000, 0, 220, 20, static_cast<uint8_t>(count)}, 999), brightness) << count;
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
  for (const auto& [count, nodes] : {std::pair{0, 1U}, {1, 1U}, {31, 31U}, {32, 32U}, {33, 32U}}) {
    table[1] = static_cast<uint8_t>(count);
    EXPECT_EQ(parseSchedule(table).nodes.size(), nodes) << count;
  }
  EXPECT_FALSE(parseSchedule(table).components);
  table[2] = 0x5B;
  const Schedule schedule = parseSchedule(table);
  EXPECT_TRUE(schedule.components);
  EXPECT_EQ(schedule.nodes.at(31).virtualRed, 0);  // the last byte of the last column
}

TEST(BrightnessPlan, TheTableHasEightSensorsAtMost) {
  Table table{};
  for (const auto& [count, sensors] : {std::pair{0, 0}, {8, 8}, {9, -1}}) {
    table[1] = static_cast<uint8_t>(count);
    const auto parsed = parseTableSensors(table);
    EXPECT_EQ(parsed ? static_cast<int>(parsed->size()) : -1, sensors);
  }
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
    EXPECT_THAT((std::vector<size_t>{plan.nodes.size(), plan.sensors.size(), plan.luxMap.size(), plan.problems.size()}),
                ElementsAre(c.nodes, c.sensors, c.points, c.problems))
        << c.offsetAt << ": " << int{c.count} << " at " << c.offset;
    EXPECT_EQ(plan.tooManySensors, c.offsetAt == 3 && c.count == 9);
  }
}

TEST(BrightnessPlan, FallbackAndTimesAreBounded) {
  RegionMaker atEnd;
  atEnd.word(10, 4096 - 3).put(4096 - 3, {0, 255, 80});
  EXPECT_TRUE(parseMixedPlan(atEnd.region).fallbackEnabled);
  EXPECT_FALSE(parseMixedPlan(atEnd.word(10, 4096 - 2).region).fallbackEnabled);
  RegionMaker noTime;
  noTime.word(5, 600).put(600, {1, 0x24, 0x00, 0, 2, 0x7F, 50, 1});
  EXPECT_FALSE(parseMixedPlan(noTime.region).nodes[0].sensor);  // only 1 is sensor-driven
  EXPECT_EQ(parseMixedPlan(noTime.region).problems.size(), 1U);
  EXPECT_THAT(parseMixedPlan(noTime.put(607, {0}).region).problems, IsEmpty());  // it is not enabled
}

}  // namespace
