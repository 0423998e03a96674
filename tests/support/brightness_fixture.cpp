#include "support/brightness_fixture.h"

#include <sstream>
#include <stdexcept>

#include "process/proc_poll.h"

namespace testing_support {

using namespace TIRK_MCUC;

namespace {

constexpr int kPollsPerSecond = 5;
constexpr int64_t kPollUs = 1'000'000 / kPollsPerSecond;

void putWord(ByteVector& bytes, size_t at, size_t value) {
  bytes.at(at) = static_cast<uint8_t>(value);
  bytes.at(at + 1) = static_cast<uint8_t>(value >> 8);
}

void append(ByteVector& bytes, std::initializer_list<int> values) {
  for (const int value : values) bytes.push_back(static_cast<uint8_t>(value));
}

}  // namespace

ByteVector MixedBlock::bytes() const {
  constexpr size_t kHeader = 512;
  ByteVector out(kHeader);
  out[0] = mode;
  putWord(out, 3, out.size());
  append(out, {static_cast<int>(sensors.size())});
  for (const Sensor& s : sensors) append(out, {s.type, s.port, s.board & 0xFF, s.board >> 8, s.address, 9, 9, 9});
  putWord(out, 5, out.size());
  append(out, {static_cast<int>(nodes.size())});
  for (const Node& n : nodes) {
    append(out, {n.hour, n.minute, 9, n.sensor ? 1 : 0, n.weekdays, n.percent, n.enabled ? 1 : 0});
    append(out, {9, 9, 9, 9, 9, 9, 9, 9, 9});
  }
  putWord(out, 7, out.size());
  append(out, {static_cast<int>(luxMap.size())});
  for (const Point& p : luxMap) append(out, {p.lux & 0xFF, p.lux >> 8, p.percent});
  putWord(out, 10, out.size());
  append(out, {9, fallback ? 1 : 0, fallbackPercent});
  if (out.size() < 1000) out.resize(1000);
  putWord(out, 1, out.size());
  out[12] = on;
  putWord(out, 13, interval);
  out[15] = samples;
  out[16] = allowed;
  out[17] = gradual;
  return out;
}

ByteVector ScheduleTable::bytes() const {
  ByteVector out(512);
  out[0] = kModeSchedule;
  out[1] = static_cast<uint8_t>(nodes.size());
  out[2] = components ? 0x5B : 0;
  for (size_t i = 0; i < nodes.size(); ++i) {
    out[32 + i] = nodes[i].hour;
    out[64 + i] = nodes[i].minute;
    out[128 + i] = nodes[i].ports;
    out[160 + i] = nodes[i].brightness;
    for (size_t c = 0; c < 4; ++c) out[192 + 32 * c + i] = nodes[i].components[c];
  }
  return out;
}

BrightnessTest::BrightnessTest() {
  setZone("UTC");
  setClock("2026-03-04 12:00:00");  // a Wednesday
}

std::string BrightnessTest::clock() {
  return vboard::Clock::text(vboard::board().clock.nowUs());
}

time_t BrightnessTest::clockSeconds() {
  return static_cast<time_t>(vboard::board().clock.nowUs() / 1'000'000);
}

void BrightnessTest::moveClock(int64_t milliseconds) {
  vboard::board().clock.offsetUs += milliseconds * 1000;
}

void BrightnessTest::poll(int count) {
  for (int i = 0; i < count; ++i) {
    Proc_Poll::AutoBrightnessadjust();
    vboard::board().clock.offsetUs += kPollUs;
  }
}

void BrightnessTest::run(double seconds) {
  poll(static_cast<int>(seconds * kPollsPerSecond));
}

void BrightnessTest::runUntil(const std::string& clockText) {
  while (clock().substr(11) < clockText) poll();
}

void BrightnessTest::write(size_t offset, const ByteVector& data) {
  control().SetBrightnessAdjustTable(kSpace + static_cast<uint32_t>(offset), static_cast<int>(data.size()),
                                     data.data());
}

void BrightnessTest::configure(const ByteVector& block, size_t piece) {
  for (size_t at = 0; at < block.size(); at += piece) {
    const auto first = block.begin() + static_cast<std::ptrdiff_t>(at);
    write(at, {first, first + static_cast<std::ptrdiff_t>(std::min(piece, block.size() - at))});
  }
}

std::vector<std::string> BrightnessTest::sent() {
  std::vector<std::string> out;
  for (const std::string& line : journalLines()) {
    std::istringstream text(line);
    std::string device, verb, kind, port, card, address, length, hex;
    text >> device >> verb >> kind >> port >> card >> address >> length >> hex;
    if (device != "card" || verb != "w" || kind != "recv") continue;
    if (card != "65535" || length != "1") throw std::runtime_error(line);
    const bool black = address == "0x02000100";
    if (!black && address != "0x02000001") throw std::runtime_error(line);
    out.push_back((port == "255" ? "all" : port) + (black ? " black " : " ") +
                  std::to_string(std::stoi(hex, nullptr, 16)));
  }
  clearJournal();
  return out;
}

}  // namespace testing_support
