// The brightness controllers on a virtual board in the test's own process. The test moves the board's clock and runs
// the poll itself, so that hours pass in milliseconds.
#pragma once

#include <string>
#include <vector>

#include "proto/brightnesscontrol.h"
#include "support/store_fixture.h"

namespace testing_support {

// A mixed-mode block as hosts send it.
struct MixedBlock {
  struct Node {
    uint8_t hour, minute;  // BCD
    uint8_t percent = 0;
    bool sensor = false;
    uint8_t weekdays = 0x7F;
    bool enabled = true;
  };
  struct Sensor {
    uint8_t type, port;
    uint16_t board;
    uint8_t address;
  };
  struct Point {
    uint16_t lux;
    uint8_t percent;
  };
  uint8_t mode = TIRK_MCUC::kModeMixed;
  std::vector<Node> nodes;
  std::vector<Sensor> sensors;
  std::vector<Point> luxMap;
  bool on = true, allowed = true, gradual = false;
  uint16_t interval = 1;
  uint8_t samples = 1;
  bool fallback = false;
  uint8_t fallbackPercent = 0;

  ByteVector bytes() const;  // 1000, or as many as its nodes need
};

// A schedule table; a node's values are hour, minute (BCD), ports, brightness.
struct ScheduleTable {
  struct Node {
    uint8_t hour, minute, ports, brightness;
    std::array<uint8_t, 4> components{};
  };
  std::vector<Node> nodes;
  bool components = false;

  ByteVector bytes() const;
};

class BrightnessTest : public StoreTest {
 protected:
  static constexpr uint32_t kSpace = 0x0A000000;
  static constexpr uint32_t kRegion = 0xB8B000;

  BrightnessTest();  // UTC

  static std::string clock();
  static time_t clockSeconds();
  static void moveClock(int64_t milliseconds);
  // Polls for so long, the board's clock moving along.
  static void run(double seconds);
  static void poll(int count = 1);
  void runUntil(const std::string& clockText);  // of the same day

  // A host's write, as the worker applies it.
  static void write(size_t offset, const ByteVector& data);
  static void configure(const ByteVector& block, size_t piece = 500);
  static void configure(const MixedBlock& block) { configure(block.bytes()); }
  static void configure(const ScheduleTable& table) { configure(table.bytes(), 512); }

  // What the cards were sent since the last call, in order: "all 127", "2 64"; black is "all black 255".
  static std::vector<std::string> sent();
  static TIRK_MCUC::BrightnessControl& control() { return TIRK_MCUC::BrightnessControl::getInstance(); }
};

}  // namespace testing_support
