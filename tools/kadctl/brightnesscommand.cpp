// brightness: shows what the cards have and what drives them, sets a value, a schedule, the sensors or the mixed mode.
#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>

#include "driverutil.h"
#include "kadctl/brightnessfile.h"
#include "kadctl/plot.h"
#include "kadctl/session.h"
#include "kadctl/text.h"
#include "proto/brightnesscontrol.h"
#include "proto/sendparameter.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr uint32_t kBrightnessSpace = 0x0A000000;
constexpr uint16_t kPiece = 512;
constexpr uint8_t kCardPorts = 16;
constexpr unsigned kDayMinutes = 24 * 60;
constexpr int kPlotWidth = 64;
constexpr int kPlotHeight = 10;
constexpr const char* kDayNames[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

struct Arguments {
  std::string value, mode, file;
  std::vector<std::string> nodes, sensors, points, lines;
  bool show = false;

  bool hasSetup() const {
    return !mode.empty() || !nodes.empty() || !sensors.empty() || !points.empty() || !lines.empty();
  }
};

// --- What the device has.

BrightnessSetup readSetup(BusClient& bus) {
  std::array<uint8_t, kBrightnessRegionSize> region;
  for (uint16_t at = 0; at < kBrightnessRegionSize; at = static_cast<uint16_t>(at + kPiece)) {
    const auto piece = bus.read(kBrightnessSpace + at, kPiece);
    if (piece.size() != kPiece) throw ClientError("the daemon answered a part of the brightness configuration");
    std::copy(piece.begin(), piece.end(), region.begin() + at);
  }
  return decodeBrightness(region);
}

// The first card's brightness of each port that has one.
std::map<unsigned, uint8_t> readCards(BusClient& bus) {
  std::map<unsigned, uint8_t> values;
  for (uint8_t port = 0; port < kCardPorts; ++port) {
    const auto request = BusClient::request(kCodeRead, kCardGlobalBrightness, 1, {}, {RecvCard, port, 0});
    const auto reply = bus.ask(request);
    if (!reply) throw ClientError("the daemon does not answer");
    if (reply->frame.m_ucAck == 0 && reply->frame.m_data.size() == 1) values[port] = reply->frame.m_data[0];
  }
  return values;
}

std::optional<uint16_t> luxOf(uint8_t high, uint8_t low) {
  const uint16_t raw = DWT_MAKEWD(high, low);
  if ((raw & 0x8000) == 0) return std::nullopt;
  return static_cast<uint16_t>((raw & 0x7FFF) * 2);
}

std::optional<uint16_t> readLux(BusClient& bus, const SensorRecord& sensor) {
  try {
    if (sensor.type == 1) {
      const auto raw = bus.read(sendpara::kRegisterBase + sendpara::kLightSensor, 2);
      return luxOf(raw.at(1), raw.at(0));
    }
    const Target card{MultiCard, sensor.PortAddr, sensor.BoardAddr};
    bus.write(kCardSensorRegister, std::vector<uint8_t>{sensor.SensorAddr, 0, 0, 0, 0x55, 0xAA, 1, 2, 0x80, 0xFF, 0x81},
              card);
    const auto answer = bus.read(kCardSensorRegister, 5, card);
    if (answer.at(0) != 1 || answer.at(1) != 2) return std::nullopt;
    return luxOf(answer.at(2), answer.at(3));
  } catch (const ClientError&) {
    return std::nullopt;  // refused: no such card, or no link to it
  }
}

struct DeviceTime {
  std::string text;
  unsigned day = 0;  // of the week, 0 Monday
  unsigned minute = 0;
};

DeviceTime readTime(BusClient& bus) {
  const auto bcd = bus.read(sendpara::kRegisterBase + sendpara::kDateTime, sendpara::kDateTimeLength);
  const auto plain = [&bcd](size_t i) { return (bcd.at(i) >> 4) * 10 + (bcd.at(i) & 15); };
  std::tm fields{};
  fields.tm_year = 100 + plain(0);
  fields.tm_mon = plain(1) - 1;
  fields.tm_mday = plain(2);
  const std::time_t seconds = ::timegm(&fields);
  ::gmtime_r(&seconds, &fields);
  DeviceTime out;
  out.day = static_cast<unsigned>(fields.tm_wday + 6) % 7;
  out.minute = static_cast<unsigned>(plain(3) * 60 + plain(4));
  char text[48];
  std::snprintf(text, sizeof text, "%s 20%02d-%02d-%02d %02d:%02d:%02d", kDayNames[out.day], plain(0), plain(1),
                plain(2), plain(3), plain(4), plain(5));
  out.text = text;
  return out;
}

// --- The picture of it.

struct State {
  BrightnessSetup setup;
  std::map<unsigned, uint8_t> cards;
  std::vector<std::optional<uint16_t>> lux;  // of each sensor
  DeviceTime time;

  explicit State(BusClient& bus) : setup(readSetup(bus)), cards(readCards(bus)), time(readTime(bus)) {
    for (const SensorRecord& sensor : setup.sensors) lux.push_back(readLux(bus, sensor));
  }

  // What the light of this moment makes of the brightness.
  std::optional<uint8_t> byLight() const {
    std::vector<uint16_t> values;
    for (const auto& value : lux) {
      if (value) values.push_back(*value);
    }
    uint16_t mean = 0;
    uint8_t out = 0;
    if (SortAndAverage(values.data(), values.size(), &mean) != 0) return std::nullopt;
    if (setup.mode == kModeSensor) {
      return LuxToBrightnessLookupTable(setup.steps, mean, &out) ? std::optional(out) : std::nullopt;
    }
    return MixAdjLuxToBriLookupTable(setup.luxMap, mean, &out) ? std::optional(percentToBrightness(out)) : std::nullopt;
  }
  uint8_t brightnessOf(const BrightnessNode& node) const {
    if (node.sensor) return byLight().value_or(0);
    return setup.mode == kModeSchedule ? node.brightness : percentToBrightness(node.brightness);
  }
  std::string nodeText(const BrightnessNode& node) const {
    if (node.sensor) return "by the light";
    return setup.mode == kModeSchedule ? brightnessText(node.brightness) : std::to_string(node.brightness) + " %";
  }
  // Of today, minute by minute.
  std::vector<double> dayCurve(unsigned port) const {
    std::vector<double> curve;
    for (unsigned minute = 0; minute < kDayMinutes; ++minute) {
      const BrightnessNode* const node = nodeInForce(setup, time.day, minute, port);
      curve.push_back(node == nullptr ? 0 : brightnessOf(*node) / 255.0);
    }
    return curve;
  }
};

std::string cardsText(const std::map<unsigned, uint8_t>& cards) {
  if (cards.empty()) return "no receiving card is linked";
  const uint8_t first = cards.begin()->second;
  const bool equal =
      std::all_of(cards.begin(), cards.end(), [first](const auto& card) { return card.second == first; });
  if (equal) return brightnessText(first);
  std::string text;
  for (const auto& [port, value] : cards) {
    text += (text.empty() ? "port " : ", port ") + std::to_string(port) + " " + brightnessText(value);
  }
  return text;
}

// Below the plot: the hours in which the light decides.
std::string lightRow(const State& state) {
  std::string row;
  for (unsigned column = 0; column < kPlotWidth; ++column) {
    const unsigned minute = column * (kDayMinutes - 1) / (kPlotWidth - 1);
    const BrightnessNode* const node = nodeInForce(state.setup, state.time.day, minute, 0);
    row += node != nullptr && node->sensor ? '~' : ' ';
  }
  return row.find('~') == std::string::npos ? "" : "  light  " + row + "\n";
}

// One plot for all ports that follow the same curve; where cards are linked, only for their ports.
void plotDay(const State& state) {
  std::vector<std::pair<std::vector<double>, std::string>> curves;
  for (unsigned port = 0; port < (state.setup.mode == kModeSchedule ? kSchedulePorts : 1); ++port) {
    if (state.setup.mode == kModeSchedule && !state.cards.empty() && !state.cards.contains(port)) continue;
    auto curve = state.dayCurve(port);
    const auto same = std::find_if(curves.begin(), curves.end(), [&](const auto& c) { return c.first == curve; });
    if (same == curves.end()) {
      curves.emplace_back(std::move(curve), "port " + std::to_string(port));
    } else {
      same->second += ", " + std::to_string(port);
    }
  }
  for (const auto& [curve, ports] : curves) {
    if (curves.size() > 1) std::cout << ports << "\n";
    std::cout << plotCurve(curve, kPlotWidth, kPlotHeight, "255", "00:00", "24:00");
  }
  std::cout << lightRow(state);
}

void plotSteps(const StepMap& map) {
  std::vector<double> curve;
  const unsigned top = map.MaxLux + map.MaxLux / 8U + 1;
  for (unsigned column = 0; column < kPlotWidth; ++column) {
    uint8_t value = 0;
    LuxToBrightnessLookupTable(map, static_cast<uint16_t>(std::min(top * column / kPlotWidth, 0xFFFFU)), &value);
    curve.push_back(value / 255.0);
  }
  std::cout << plotCurve(curve, kPlotWidth, kPlotHeight, "255", "0 lux", std::to_string(top) + " lux");
}

std::string sensorText(const SensorRecord& sensor) {
  if (sensor.type == 1) return "board";
  return "port " + std::to_string(sensor.PortAddr) + " card " + std::to_string(sensor.BoardAddr) + " sensor " +
         std::to_string(sensor.SensorAddr);
}

void print(const State& state) {
  const BrightnessSetup& setup = state.setup;
  std::cout << "mode         " << brightnessModeName(setup.mode);
  if (setup.mixed() && !(setup.on && setup.allowed)) std::cout << ", " << (setup.on ? "not allowed" : "switched off");
  std::cout << "\nbrightness   " << cardsText(state.cards) << "\ndevice time  " << state.time.text << "\n";
  for (const std::string& note : setup.notes) std::cout << "not used     " << note << "\n";
  if (setup.mode == kModeSchedule || setup.mixed()) plotDay(state);
  if (setup.mode == kModeSensor) plotSteps(setup.steps);
  for (size_t i = 0; i < setup.sensors.size(); ++i) {
    std::cout << "sensor       " << sensorText(setup.sensors[i]) << ": "
              << (state.lux[i] ? std::to_string(*state.lux[i]) + " lux" : "no reading") << "\n";
  }
  if (!setup.sensors.empty()) {
    const auto light = state.byLight();
    std::cout << "by the light " << (light ? brightnessText(*light) : "nothing") << "\n";
  }
  if (const auto next = nextChange(setup, state.time.day, state.time.minute)) {
    const unsigned hours = next->minutes / 60;
    std::cout << "next change  " << kDayNames[(state.time.day + (state.time.minute + next->minutes) / kDayMinutes) % 7]
              << " " << next->node->time() << ", in " << hours << " h " << next->minutes % 60
              << " min: " << state.nodeText(*next->node) << "\n";
  }
}

nlohmann::json toJson(const State& state) {
  nlohmann::json out = brightnessJson(state.setup);
  out["time"] = state.time.text.substr(4);
  out["cards"] = nlohmann::json::object();
  for (const auto& [port, value] : state.cards) out["cards"][std::to_string(port)] = value;
  if (!state.cards.empty()) out["brightness"] = state.cards.begin()->second;
  out["sensors"] = nlohmann::json::array();
  for (size_t i = 0; i < state.setup.sensors.size(); ++i) {
    const SensorRecord& sensor = state.setup.sensors[i];
    nlohmann::json entry{{"kind", sensor.type == 1 ? "board" : "card"}};
    if (sensor.type != 1) {
      entry.update({{"port", sensor.PortAddr}, {"card", sensor.BoardAddr}, {"address", sensor.SensorAddr}});
    }
    entry["lux"] = state.lux[i] ? nlohmann::json(*state.lux[i]) : nlohmann::json();
    out["sensors"].push_back(entry);
  }
  if (const auto next = nextChange(state.setup, state.time.day, state.time.minute)) {
    out["next"] = {{"time", next->node->time()}, {"minutes", next->minutes}, {"sensor", next->node->sensor}};
    if (!next->node->sensor) out["next"]["brightness"] = state.brightnessOf(*next->node);
  }
  return out;
}

void showState(Session& session) {
  const State state(session.bus());
  if (session.json) {
    std::cout << toJson(state) << "\n";
  } else {
    print(state);
  }
}

void showFile(Session& session) {
  const BrightnessSetup setup = readSetup(session.bus());
  if (session.json) {
    std::cout << brightnessJson(setup) << "\n";
  } else {
    std::cout << brightnessFileText(setup);
  }
}

// --- Setting.

// What is wrong with words on the command line is a matter of usage.
template <class Parse>
auto asUsage(const Parse& parse) {
  try {
    return parse();
  } catch (const ClientError& error) {
    throw CLI::ValidationError(error.what());
  }
}

void setValue(Session& session, uint8_t value) {
  session.bus().write(kCardGlobalBrightness, std::vector<uint8_t>{value}, {RecvCard, kAllPorts, kAllCards});
}

void writeSetup(Session& session, const BrightnessSetup& setup) {
  const std::vector<uint8_t> block = setup.mode == kModeOff ? std::vector<uint8_t>{kModeOff} : encodeBrightness(setup);
  for (size_t at = 0; at < block.size(); at += kPiece) {
    const size_t length = std::min<size_t>(kPiece, block.size() - at);
    session.bus().write(kBrightnessSpace + static_cast<uint32_t>(at), Bytes(block).subspan(at, length));
  }
  session.barrier();
}

// The options as the lines of a file. What is wrong with one is then said with its words: nobody sees these lines.
std::string asFile(const Arguments& arguments) {
  std::string text = "mode " + arguments.mode + "\n";
  const auto add = [&text](const char* word, const std::vector<std::string>& values) {
    for (const std::string& value : values) text += word + value + "\n";
  };
  add("", arguments.lines);
  add("sensor ", arguments.sensors);
  add("lux ", arguments.points);
  add("node ", arguments.nodes);
  return text;
}

BrightnessSetup parseOptions(const std::string& file) {
  try {
    return parseBrightnessFile(file);
  } catch (const ClientError& error) {
    const std::string what = error.what();
    unsigned number = 0;
    int end = 0;
    if (std::sscanf(what.c_str(), "line %u: %n", &number, &end) != 1) throw;
    std::istringstream lines(file);
    std::string line;
    while (number-- > 0) std::getline(lines, line);
    throw ClientError(line + ": " + what.substr(static_cast<size_t>(end)));
  }
}

void setFromOptions(Session& session, const Arguments& arguments) {
  if (arguments.mode.empty()) throw CLI::ValidationError("give --mode with what it needs");
  const bool alone =
      arguments.nodes.empty() && arguments.sensors.empty() && arguments.points.empty() && arguments.lines.empty();
  if (!alone) {
    writeSetup(session, asUsage([&] { return parseOptions(asFile(arguments)); }));
    return;
  }
  // The mode byte alone: the rest is what the device has stored.
  const uint8_t mode = asUsage([&] { return parseBrightnessMode(arguments.mode); });
  session.bus().write(kBrightnessSpace, std::vector<uint8_t>{mode});
  session.barrier();
}

void run(Session& session, const Arguments& arguments) {
  if (arguments.show) {
    if (arguments.hasSetup() || !arguments.file.empty() || !arguments.value.empty()) {
      throw CLI::ValidationError("--show only shows: nothing else with it");
    }
    showFile(session);
    return;
  }
  std::optional<uint8_t> value;
  if (!arguments.value.empty()) value = asUsage([&] { return parseBrightness(arguments.value); });
  if (!arguments.file.empty()) {
    if (arguments.hasSetup()) throw CLI::ValidationError("--file says it all: no other option with it");
    writeSetup(session, parseBrightnessFile(readFile(arguments.file)));
  } else if (arguments.hasSetup()) {
    setFromOptions(session, arguments);
  }
  if (value) setValue(session, *value);
  showState(session);
}

}  // namespace

void addBrightnessCommand(CLI::App& app, Session& session) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* brightness = app.add_subcommand("brightness", "Show or set the brightness and what drives it");
  brightness->add_option("VALUE", arguments->value, "set all cards: 0..255 or N%");
  brightness->add_option("--mode", arguments->mode,
                         "schedule, sensor, mixed, black, hardware or off; alone: switch to what is stored");
  // One value each time, so that what follows may be VALUE.
  const auto addLines = [brightness](const char* name, std::vector<std::string>& lines, const char* help) {
    brightness->add_option(name, lines, help)->allow_extra_args(false);
  };
  addLines("--node", arguments->nodes,
           "\"HH:MM 0..255|N% [ports 0,1-3]\", mixed: \"HH:MM N%|sensor [days mon-fri,sun]\"");
  addLines("--sensor", arguments->sensors, "\"board\" or \"PORT CARD ADDRESS\"");
  addLines("--lux", arguments->points, "mixed: \"LUX N%\", a point of the light's map");
  addLines("--line", arguments->lines,
           "another line of the file form: \"dark LUX N\", \"bright LUX N\", \"steps N\", \"gradual no\" ...");
  brightness->add_option("--file", arguments->file, "a setup in the form that --show prints");
  brightness->add_flag("--show", arguments->show, "print what is stored in the form of a file");
  brightness->callback([&session, arguments] { run(session, *arguments); });
}

}  // namespace kadctl
