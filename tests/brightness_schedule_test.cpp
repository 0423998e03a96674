// A day's nodes on the board's clock: schedule and mixed mode, weekdays, the re-broadcast, jumps of the clock, summer
// time, and a year of them against a model of its own.
#include <algorithm>
#include <map>
#include <random>

#include "mcuctrace.h"
#include "support/brightness_fixture.h"
#include "virtual/cards.h"
#include "virtual/lights.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

class BrightnessSchedule : public BrightnessTest {
 protected:
  // Runs through the given time and says what was sent by then.
  std::vector<std::string> sentUntil(const std::string& clockText) {
    runUntil(clockText);
    return sent();
  }
};

const ScheduleTable kTwoNodes{{{0x08, 0x00, 0x01, 200}, {0x20, 0x00, 0x01, 50}}};

TEST_F(BrightnessSchedule, TheNodeInForceIsAppliedAtOnceToItsPorts) {
  const ScheduleTable table{{{0x06, 0x00, 0x0A, 100}, {0x18, 0x00, 0xFF, 30}}};
  configure(table);
  EXPECT_THAT(sent(), ElementsAre("1 100", "3 100"));
  setClock("2026-03-04 05:59:00");
  configure(table);
  EXPECT_THAT(sent(), ElementsAre("0 30", "1 30", "2 30", "3 30"));  // ports above 3 are none of its business
  configure(ScheduleTable{{{0x06, 0x00, 0xF0, 100}}});
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(control().LastGlobalBri, 30);
}

TEST_F(BrightnessSchedule, ColourComponentsGoOutAsAPacketToThePort) {
  ScheduleTable table{{{0x00, 0x00, 0x0C, 0x80, {0x11, 0x22, 0x33, 0xFF}}}, true};
  configure(table);
  const auto done = journalLines();
  const std::vector<std::string> afterTheTable(done.end() - 8, done.end());
  EXPECT_THAT(afterTheTable,
              ElementsAre("card w recv 2 65535 0x02000001 1 80", "fpga w 0x00100000 1 04",
                          "fpga w 0x00300000 18 0102ffff0100020000020400112233ff6f03", "fpga w 0x00100000 1 05",
                          "card w recv 3 65535 0x02000001 1 80", "fpga w 0x00100000 1 06",
                          "fpga w 0x00300000 18 0103ffff0100020000020400112233ff7003", "fpga w 0x00100000 1 07"));
  clearJournal();
  BrightnessControl::AdjustCurrentComponentBrightness(200, 255, 255, 255, 255);  // the port's byte wraps
  EXPECT_THAT(journalLines(),
              ElementsAre("fpga w 0x00100000 1 90", "fpga w 0x00300000 18 01c8ffff0100020000020400ffffffffcc06",
                          "fpga w 0x00100000 1 91"));
}

TEST_F(BrightnessSchedule, NodesWithoutATimeOfDayAreNotWaitedFor) {
  configure(
      ScheduleTable{{{0x08, 0x00, 0x01, 10}, {0x25, 0x00, 0x01, 20}, {0xFF, 0xFF, 0x01, 30}, {0x12, 0x01, 0x01, 40}}});
  sent();
  EXPECT_THAT(sentUntil("12:02:00"), ElementsAre("0 40"));
  configure(ScheduleTable{{{0xFF, 0xFF, 0x01, 30}}});
  EXPECT_THAT(sent(), ElementsAre("0 30"));
  EXPECT_THAT(sentUntil("12:05:00"), IsEmpty());
  configure(ScheduleTable{{{0x12, 0x10, 0x01, 50}, {0xFF, 0xFF, 0x01, 30}}});
  sent();
  EXPECT_THAT(sentUntil("12:11:00"), ElementsAre("0 50"));  // once, though it is armed again at once
}

TEST_F(BrightnessSchedule, ARestartOfTheModeOwesNothingOfTheTimeBefore) {
  configure(kTwoNodes);
  run(5);
  setClock("2026-03-07 21:00:00");
  configure(kTwoNodes);
  sent();
  run(30);
  EXPECT_THAT(sent(), IsEmpty());
}

class MixedBrightness : public BrightnessSchedule {};

TEST_F(MixedBrightness, AtTheStartWeekdaysCountFromSunday) {
  const auto block = [](int weekdays) {
    MixedBlock out;
    out.nodes = {{0x06, 0x00, 20, false, static_cast<uint8_t>(weekdays)},
                 {0x18, 0x00, 50, false, static_cast<uint8_t>(weekdays)}};
    return out;
  };
  configure(block(0x08));  // 2026-03-04 is a Wednesday
  EXPECT_THAT(sent(), ElementsAre("all 51"));
  configure(block(~0x08));
  EXPECT_THAT(sent(), IsEmpty());
  setClock("2026-03-08 12:00:00");  // a Sunday
  configure(block(0x01));
  EXPECT_THAT(sent(), ElementsAre("all 51"));
  runUntil("12:00:05");
  setClock("2026-03-08 17:59:55");
  EXPECT_THAT(sentUntil("18:00:10"), IsEmpty());  // for the nodes' alarms bit 0 is Monday
}

TEST_F(MixedBrightness, AFixedNodeIsSentAgainEveryTenMinutesUntilAnotherBegins) {
  MixedBlock block;
  block.nodes = {{0x06, 0x00, 20}, {0x12, 0x15, 40}, {0x12, 0x30, 0, true}};
  configure(block);
  EXPECT_THAT(sent(), ElementsAre("all 51"));
  // 600 counts of the poll take a little less than ten minutes.
  EXPECT_THAT(sentUntil("12:09:45"), IsEmpty());
  EXPECT_THAT(sentUntil("12:10:05"), ElementsAre("all 51"));
  EXPECT_THAT(sentUntil("12:15:05"), ElementsAre("all 102"));  // the count begins anew
  EXPECT_THAT(sentUntil("12:24:45"), IsEmpty());
  EXPECT_THAT(sentUntil("12:25:05"), ElementsAre("all 102"));
  EXPECT_THAT(sentUntil("12:50:00"), IsEmpty());  // a sensor-driven node, without a sensor
  block.nodes = {{0x06, 0x00, 20, false, 0x7F, false}, {0x12, 0x55, 40}, {0x13, 0x00, 60, false, 0x7F, false}};
  configure(block);
  sent();
  EXPECT_THAT(sentUntil("12:56:00"), ElementsAre("all 102"));  // once, though it is the only one of three
}

TEST_F(BrightnessSchedule, NothingIsReadOrWrittenWhenNothingIsDue) {
  MixedBlock mixed;
  mixed.nodes = {{0x06, 0x00, 20}, {0x18, 0x00, 40}};
  MixedBlock serial = mixed;
  serial.mode = kModeHardwareControl;
  const ByteVector modes[] = {kTwoNodes.bytes(), mixed.bytes(), serial.bytes()};
  for (const ByteVector& block : modes) {
    setClock("2026-03-04 12:00:00");
    configure(block, 512);
    run(1);
    clearJournal();
    using vboard::Op;
    const Op all[] = {Op::FpgaRead,  Op::FpgaWrite, Op::FlashRead, Op::FlashWrite, Op::CardRead,
                      Op::CardWrite, Op::EnvOpen,   Op::Light,     Op::Shell};
    for (const Op op : all) fail(op, 1);
    run(35);
    for (const Op op : all)
      EXPECT_NE(vboard::board().faults.next(op), 0) << int{block[0]} << ", " << static_cast<int>(op);
    EXPECT_THAT(journalLines(), IsEmpty());
  }
}

// What the ports' brightness must be, from the wall clock alone: a node acts when the clock passes its start going
// forward, and of a jump over days the last one counts.
class ScheduleModel {
 public:
  struct Node {
    int64_t start;                   // second of the day
    uint8_t weekdays;                // bit 0: Monday
    std::map<unsigned, int> effect;  // port: brightness
  };
  explicit ScheduleModel(std::vector<Node> nodes) : m_nodes(std::move(nodes)) {}

  void observe(int64_t seconds) {
    constexpr int64_t kDay = 86400;
    const auto local = static_cast<time_t>(seconds);
    tm fields{};
    ::localtime_r(&local, &fields);
    const int64_t wall = ::timegm(&fields);
    const int64_t from = std::max(m_wall, wall - kDay);
    for (int64_t day = from / kDay; m_wall != 0 && day <= wall / kDay; ++day) {
      for (const Node& node : m_nodes) {
        const int64_t start = day * kDay + node.start;
        const auto weekday = static_cast<unsigned>((day + 3) % 7);  // day 0 was a Thursday
        if (start <= from || start > wall || (node.weekdays >> weekday & 1) == 0) continue;
        for (const auto& [port, brightness] : node.effect) m_ports[port] = brightness;
      }
    }
    m_wall = wall;
  }
  void set(unsigned port, int brightness) { m_ports[port] = brightness; }
  const std::map<unsigned, int>& ports() const { return m_ports; }

 private:
  std::vector<Node> m_nodes;  // in order of their starts
  std::map<unsigned, int> m_ports;
  int64_t m_wall = 0;
};

class BrightnessYear : public BrightnessSchedule, public ::testing::WithParamInterface<unsigned> {
 protected:
  BrightnessYear() : m_random(GetParam()) {
    setZone("Europe/Berlin");
    for (unsigned port = 0; port < 4; ++port) vboard::board().cards->setChain(port, 1, 64, 64);
    vboard::board().journal.setOn(false);
    g_logLevel = 0;
  }
  static uint8_t bcd(int64_t value) { return toBcd(static_cast<unsigned>(value)); }
  // The minutes of the day in which nodes begin, in order: one to sixteen, some of them the same.
  std::vector<int64_t> starts() {
    std::vector<int64_t> minutes;
    for (int64_t i = 1 + below(16); i > 0; --i) {
      const bool again = !minutes.empty() && below(6) == 0;
      minutes.push_back(again ? minutes.back() : below(5) == 0 ? 120 + below(60) : below(1440));
    }
    std::sort(minutes.begin(), minutes.end());
    return minutes;
  }
  int64_t below(int64_t bound) { return static_cast<int64_t>(m_random() % static_cast<uint64_t>(bound)); }

  static std::map<unsigned, int> wall() {
    std::map<unsigned, int> out;
    for (unsigned port = 0; port < 4; ++port) {
      uint8_t value = 0;
      vboard::board().cards->read({vboard::CardKind::Receiving, static_cast<uint8_t>(port), 0}, kCardGlobalBrightness,
                                  {&value, 1});
      out[port] = value;
    }
    return out;
  }
  // Lets a year pass in jumps, most of them forward, and compares after each.
  void live(ScheduleModel& model, size_t nodes) {
    for (const auto& [port, brightness] : wall()) model.set(port, brightness);
    model.observe(clockSeconds());
    int64_t left = int64_t{365} * 86400;
    int jumps = 0;
    while (left > 0) {
      static constexpr int64_t kJumps[] = {0, 1, 5, 60, 3600, 6 * 3600, 20 * 3600, 3 * 86400};
      int64_t jump = below(kJumps[below(std::size(kJumps))] + 1);
      if (below(5) == 0) jump = -jump / 2;
      // Where it lands no node begins before the next check.
      const int64_t lands = (clockSeconds() + jump) % 60;
      if (lands > 50) jump += 70 - lands;
      moveClock(jump * 1000);
      left -= jump;
      const auto settleSeconds = static_cast<int>(4 * nodes + 8 + static_cast<size_t>(below(30)));
      for (int second = 0; second < settleSeconds; ++second) {
        poll(5);
        model.observe(clockSeconds());
      }
      left -= settleSeconds;
      while (clockSeconds() % 60 < 8) {  // what begins in these very seconds may not have been seen yet
        poll(5);
        model.observe(clockSeconds());
      }
      ++jumps;
      ASSERT_EQ(wall(), model.ports()) << "after jump " << jumps << " by " << jump << " s, at " << clock();
    }
    EXPECT_GT(jumps, 500);
  }

  std::mt19937_64 m_random;
};

TEST_P(BrightnessYear, OfASchedule) {
  ScheduleTable table;
  std::vector<ScheduleModel::Node> nodes;
  for (const int64_t minute : starts()) {
    table.nodes.push_back(
        {bcd(minute / 60), bcd(minute % 60), static_cast<uint8_t>(below(16)), static_cast<uint8_t>(below(256))});
    ScheduleModel::Node node{minute * 60, 0x7F, {}};
    for (unsigned port = 0; port < 4; ++port) {
      if ((table.nodes.back().ports >> port & 1) != 0) node.effect[port] = table.nodes.back().brightness;
    }
    nodes.push_back(node);
  }
  configure(table);
  ScheduleModel model(nodes);
  live(model, nodes.size());
}

TEST_P(BrightnessYear, OfMixedNodes) {
  MixedBlock block;
  std::vector<ScheduleModel::Node> nodes;
  vboard::board().lights->setBoard(0x8000 + 100);
  block.sensors = {{1, 0, 0, 0}};
  block.luxMap = {{0, 10}, {200, 35}, {1000, 90}};
  for (const int64_t minute : starts()) {
    const MixedBlock::Node node{bcd(minute / 60),
                                bcd(minute % 60),
                                static_cast<uint8_t>(below(101)),
                                below(4) == 0,
                                static_cast<uint8_t>(below(128)),
                                below(8) != 0};
    block.nodes.push_back(node);
    const int brightness = node.sensor ? 35 * 255 / 100 : node.percent * 255 / 100;
    if (node.enabled)
      nodes.push_back(
          {minute * 60, node.weekdays, {{0, brightness}, {1, brightness}, {2, brightness}, {3, brightness}}});
  }
  configure(block);
  run(5);
  ScheduleModel model(nodes);
  live(model, block.nodes.size());
}

INSTANTIATE_TEST_SUITE_P(Seed, BrightnessYear, ::testing::Range(1U, 5U));

}  // namespace
