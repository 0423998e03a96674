// Brightness that follows the light, and what the serial controller's silence does: the sensors' protocol, readings and
// samples, faults and the fallback, both watchdogs.
#include <optional>

#include "driverutil.h"
#include "support/brightness_fixture.h"
#include "virtual/cards.h"
#include "virtual/lights.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

class BrightnessSensors : public BrightnessTest {
 protected:
  // A multi-function card's sensor behind a linked port; `raw` is half the lux.
  void light(unsigned port, uint16_t card, uint8_t sensor, std::optional<uint16_t> raw) {
    fitCards(port, 64, 64);
    vboard::board().cards->setSensor(port, card, sensor, raw);
  }
  static void boardLight(std::optional<uint16_t> raw) { vboard::board().lights->setBoard(raw); }
  // The lux, -1 when the sensor gives none.
  static int lux(uint8_t kind, uint8_t port, uint16_t card, uint8_t sensor) {
    uint16_t out = 0;
    return BrightnessControl::ReadEnvironmentLux(kind, port, card, sensor, &out) == 1 ? out : -1;
  }
};

TEST_F(BrightnessSensors, ACardIsAskedAndItsAnswerDoubled) {
  light(3, 0x0102, 5, 0x7FFF);
  EXPECT_EQ(lux(0, 3, 0x0102, 5), 65534);
  EXPECT_THAT(did("card "), ElementsAre("card w multi 3 258 0x06000000 11 0500000055aa010280ff81",
                                        "card r multi 3 258 0x06000000 5"));
}

TEST_F(BrightnessSensors, WhatDoesNotAnswerOrIsOutOfRangeIsNoReading) {
  light(9, 0, 5, 100);
  light(10, 0, 0, 100);
  boardLight(0x8064);
  EXPECT_EQ(lux(0, 9, 0, 5), 200);
  EXPECT_EQ(lux(0, 9, 0, 4), -1);  // the card has no such sensor
  EXPECT_EQ(lux(0, 4, 0, 5), -1);  // no link
  fail(vboard::Op::CardRead, 1);
  EXPECT_EQ(lux(0, 9, 0, 5), -1);
  clearJournal();
  const struct {
    uint8_t kind, port, sensor;
  } never[] = {{0, 10, 0}, {0, 9, 6}, {1, 10, 0}, {1, 0, 6}, {2, 0, 0}, {255, 9, 5}};
  for (const auto& n : never) EXPECT_EQ(lux(n.kind, n.port, 0, n.sensor), -1) << int{n.kind} << ", " << int{n.port};
  EXPECT_THAT(did("card "), IsEmpty());
}

TEST_F(BrightnessSensors, TheBoardsSensorSaysWhetherItsValueIsValid) {
  const std::pair<std::optional<uint16_t>, int> cases[] = {
      {std::nullopt, -1}, {0x8064, 200}, {0x0064, -1}, {0x8000, 0}, {0xFFFF, 65534}};
  for (const auto& [raw, expected] : cases) {
    boardLight(raw);
    EXPECT_EQ(lux(1, 9, 77, 5), expected) << raw.value_or(0);
  }
}

struct SensorTable {
  std::vector<MixedBlock::Sensor> sensors;
  uint16_t maxLux = 1000, minLux = 0;
  uint8_t maxBri = 220, minBri = 20, steps = 10;

  ByteVector bytes() const {
    ByteVector out(512);
    out[0] = kModeSensor;
    out[1] = static_cast<uint8_t>(sensors.size());
    const int parameters[] = {maxLux & 0xFF, maxLux >> 8, minLux & 0xFF, minLux >> 8, maxBri, minBri, steps};
    for (size_t i = 0; i < std::size(parameters); ++i) out[5 + i] = static_cast<uint8_t>(parameters[i]);
    for (size_t i = 0; i < sensors.size(); ++i) {
      const MixedBlock::Sensor& s = sensors[i];
      const int record[] = {s.type, s.port, s.board & 0xFF, s.board >> 8, s.address};
      for (size_t j = 0; j < std::size(record) && 32 + 16 * i + j < out.size(); ++j) {
        out[32 + 16 * i + j] = static_cast<uint8_t>(record[j]);
      }
    }
    return out;
  }
};

constexpr MixedBlock::Sensor kBoardSensor{1, 0, 0, 0};
constexpr double kReading = 19.8;  // seconds: 99 polls

class SensorMode : public BrightnessSensors {
 protected:
  void begin(const std::vector<MixedBlock::Sensor>& sensors = {kBoardSensor}) {
    configure(SensorTable{sensors}.bytes(), 512);
    run(5);
  }
  // So many readings of the board's sensor; none: it fails.
  static void readings(int count, std::optional<unsigned> value) {
    boardLight(value ? std::optional<uint16_t>(static_cast<uint16_t>(0x8000 + *value / 2)) : std::nullopt);
    run(count * kReading);
  }
};

TEST_F(SensorMode, SixReadingsMakeABrightness) {
  begin();
  for (const unsigned value : {100U, 900U, 200U, 300U, 400U, 500U}) {  // the extremes do not count
    EXPECT_THAT(sent(), IsEmpty());
    readings(1, value);
  }
  EXPECT_THAT(sent(), ElementsAre("all 80"));  // 350 lux: step 3
  EXPECT_EQ(control().LastGlobalBri, 80);
  readings(6, 500);
  EXPECT_THAT(sent(), ElementsAre("all 120"));
}

TEST_F(SensorMode, AReadingIsTheTrimmedMeanOfItsSensors) {
  light(0, 0, 0, 50);
  light(1, 7, 2, 150);
  light(2, 0x101, 1, 400);
  begin({{0, 0, 0, 0}, {0, 1, 7, 2}, {0, 2, 0x101, 1}, {0, 2, 0x101, 5}, {9, 0, 0, 0}});
  readings(6, 0);
  EXPECT_THAT(sent(), ElementsAre("all 80"));  // of 100, 300 and 800: 300; two sensors give nothing
}

TEST_F(SensorMode, AFailedReadingIsNoSampleAndANewTableBeginsAnew) {
  begin();
  readings(3, 554);
  readings(5, std::nullopt);
  readings(2, 554);
  EXPECT_THAT(sent(), IsEmpty());
  readings(1, 554);
  EXPECT_THAT(sent(), ElementsAre("all 120"));
  readings(5, 0);
  begin();
  readings(5, 1200);
  EXPECT_THAT(sent(), IsEmpty());
  readings(1, 1200);
  EXPECT_THAT(sent(), ElementsAre("all 220"));
}

class MixedSensors : public BrightnessSensors {
 protected:
  MixedSensors() {
    block.nodes = {{0x06, 0x00, 0, true}, {0x18, 0x00, 20}};
    block.sensors = {kBoardSensor};
    block.luxMap = {{100, 10}, {1100, 60}};
    boardLight(0x8000 + 300);  // 600 lux: 35 percent, 89
  }
  MixedBlock block;
};

TEST_F(MixedSensors, IntervalAndSamplesAreTheBlocks) {
  block.interval = 5;
  block.samples = 4;
  configure(block);
  run(19);
  EXPECT_THAT(sent(), IsEmpty());
  run(2);
  EXPECT_THAT(sent(), ElementsAre("all 89"));
  run(20);
  EXPECT_THAT(sent(), ElementsAre("all 89"));
  block.samples = 200;  // counts 16
  block.interval = 1;
  configure(block);
  run(15);
  EXPECT_THAT(sent(), IsEmpty());
  run(1);
  EXPECT_THAT(sent(), ElementsAre("all 89"));
  block.samples = 0;  // counts 1
  block.interval = 0;
  configure(block);
  run(2);
  EXPECT_THAT(sent(), SizeIs(2));
}

TEST_F(MixedSensors, TheThirdFaultBringsTheFallback) {
  block.fallback = true;
  block.fallbackPercent = 80;
  boardLight(std::nullopt);
  configure(block);
  run(2);
  EXPECT_THAT(sent(), IsEmpty());
  run(1);
  EXPECT_THAT(sent(), ElementsAre("all 204"));
  run(8);  // and every third from then on
  EXPECT_THAT(sent(), ElementsAre("all 204", "all 204"));
  boardLight(0x8000 + 300);  // one good reading, and the faults count from 0
  run(1);
  EXPECT_THAT(sent(), ElementsAre("all 89"));
  boardLight(std::nullopt);
  run(2);
  block.fallback = false;
  configure(block);
  run(30);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(MixedSensors, AFaultOnTheLastSampleBeginsAnew) {
  block.samples = 3;
  configure(block);
  boardLight(0x8000);
  run(2);
  boardLight(std::nullopt);
  run(1);
  boardLight(0x8000 + 300);
  run(2);
  EXPECT_THAT(sent(), IsEmpty());
  run(1);
  EXPECT_THAT(sent(), ElementsAre("all 89"));
}

TEST_F(MixedSensors, ANodeThatIsNotActiveTodayLeavesNoSensorRunning) {
  configure(block);
  run(1);
  sent();
  block.nodes[0].weekdays = 0;
  configure(block);
  run(10);
  EXPECT_THAT(sent(), IsEmpty());
}

class SerialWatchdog : public BrightnessSensors {
 protected:
  SerialWatchdog() {
    block.nodes = {{0x06, 0x00, 20}, {0x18, 0x00, 40}};
    store.SendParameterReg.setByte(sendpara::kSerialTimeout, 10);
    setFlash(kRegion, ByteVector(4096));
    poll();
    EXPECT_EQ(control().UartDiscOvertime, 10);
  }
  void configureAs(BrightnessMode mode) {
    block.mode = mode;
    configure(block);
    EXPECT_THAT(sent(), IsEmpty());
  }
  void activity() { control().DevComLinkState = 1; }
  // Seconds as the poll counts them.
  static void seconds(int count) {
    for (int i = 0; i < count; ++i) control().pollSecond();
  }
  MixedBlock block;
};

TEST_F(SerialWatchdog, SilenceBlackensTheScreenUntilTheControllerIsBack) {
  configureAs(kModeScreenBlack);
  seconds(11);
  EXPECT_THAT(sent(), IsEmpty());
  seconds(3);
  EXPECT_THAT(sent(), ElementsAre("all black 255", "all black 255", "all black 255"));
  activity();
  seconds(12);
  EXPECT_THAT(sent(), ElementsAre("all black 0"));
  seconds(1);
  EXPECT_THAT(sent(), ElementsAre("all black 255"));
}

TEST_F(SerialWatchdog, SilenceStartsTheMixedModeOnceAndActivityEndsIt) {
  configureAs(kModeHardwareControl);
  run(10.2);
  EXPECT_THAT(sent(), IsEmpty());
  run(1);
  EXPECT_THAT(sent(), ElementsAre("all 51"));
  run(300);
  EXPECT_THAT(sent(), IsEmpty());
  run(300);
  EXPECT_THAT(sent(), ElementsAre("all 51"));  // the re-broadcast
  for (int i = 0; i < 80; ++i) {
    activity();
    run(9);
  }
  EXPECT_THAT(sent(), IsEmpty());  // no re-broadcast
  run(10);
  EXPECT_THAT(sent(), ElementsAre("all 51"));
}

TEST_F(SerialWatchdog, AMixedModeThatIsSwitchedOffStaysOffInSilence) {
  block.on = false;
  configureAs(kModeHardwareControl);
  run(60);
  EXPECT_THAT(sent(), IsEmpty());
  write(12, bytes({1}));
  EXPECT_THAT(sent(), ElementsAre("all 51"));
  run(75);  // the count, which began anew meanwhile, runs out and rests
  EXPECT_THAT(sent(), ElementsAre("all 51"));
}

}  // namespace
