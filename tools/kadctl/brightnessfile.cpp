#include "kadctl/brightnessfile.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <functional>
#include <map>
#include <sstream>
#include <utility>

#include "kadctl/clienterror.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr const char* kDays[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};
constexpr unsigned kDaysAWeek = 7;
constexpr unsigned kEveryDay = 0x7F;

constexpr std::pair<uint8_t, const char*> kModes[] = {
    {kModeSchedule, "schedule"},        {kModeSensor, "sensor"}, {kModeMixed, "mixed"}, {kModeScreenBlack, "black"},
    {kModeHardwareControl, "hardware"}, {kModeOff, "off"}};

unsigned number(const std::string& text, unsigned max) {
  unsigned value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || text.empty()) throw ClientError("not a number: " + text);
  if (value > max) throw ClientError(text + " is above " + std::to_string(max));
  return value;
}

uint8_t percent(const std::string& text) {
  if (!text.ends_with('%')) throw ClientError("not a percentage: " + text);
  return static_cast<uint8_t>(number(text.substr(0, text.size() - 1), 100));
}

bool yesOrNo(const std::string& text) {
  if (text != "yes" && text != "no") throw ClientError("neither yes nor no: " + text);
  return text == "yes";
}

unsigned timeOfDay(const std::string& text) {
  const size_t colon = text.find(':');
  if (colon != 2 || text.size() != 5) throw ClientError("not HH:MM: " + text);
  return number(text.substr(0, 2), 23) * 60 + number(text.substr(3), 59);
}

// "0,2-3", "mon-fri,sun" or "none" as bits.
uint8_t bits(const std::string& text, const std::function<unsigned(const std::string&)>& member) {
  if (text == "none") return 0;
  unsigned mask = 0;
  std::istringstream parts(text);
  for (std::string part; std::getline(parts, part, ',');) {
    const size_t dash = part.find('-');
    const unsigned first = member(part.substr(0, dash));
    const unsigned last = dash == std::string::npos ? first : member(part.substr(dash + 1));
    if (first > last) throw ClientError("not a range: " + part);
    for (unsigned i = first; i <= last; ++i) mask |= 1U << i;
  }
  return static_cast<uint8_t>(mask);
}

unsigned dayOf(const std::string& name) {
  const auto found = std::find(std::begin(kDays), std::end(kDays), name);
  if (found == std::end(kDays)) throw ClientError("not a day of the week: " + name);
  return static_cast<unsigned>(found - std::begin(kDays));
}

std::string listed(unsigned mask, unsigned count, const std::function<std::string(unsigned)>& name) {
  std::string text;
  for (unsigned i = 0; i < count; ++i) {
    if ((mask >> i & 1) != 0) text += (text.empty() ? "" : ",") + name(i);
  }
  return text.empty() ? "none" : text;
}

// The words of one line, taken one by one.
class Words {
 public:
  explicit Words(const std::string& line) : m_text(line.substr(0, line.find('#'))) {}
  bool more() { return !(m_text >> std::ws).eof(); }
  std::string next() {
    std::string word;
    if (!(m_text >> word)) throw ClientError("something is missing");
    return word;
  }
  void end() {
    if (more()) throw ClientError("too much: " + next());
  }

 private:
  std::istringstream m_text;
};

class FileParser {
 public:
  BrightnessSetup parse(const std::string& text) {
    std::istringstream lines(text);
    unsigned count = 0;
    for (std::string line; std::getline(lines, line);) {
      ++count;
      try {
        Words words(line);
        if (words.more()) take(words);
      } catch (const ClientError& error) {
        throw ClientError("line " + std::to_string(count) + ": " + error.what());
      }
    }
    if (!m_hasMode) throw ClientError("no mode");
    check();
    return std::move(m_setup);
  }

 private:
  void take(Words& words) {
    const std::string word = words.next();
    if (word == "mode") {
      if (m_hasMode) throw ClientError("a second mode");
      m_setup.mode = parseBrightnessMode(words.next());
      m_hasMode = true;
    } else if (!m_hasMode) {
      throw ClientError("the mode comes first");
    } else if (word == "sensor" && (m_setup.mixed() || m_setup.mode == kModeSensor)) {
      takeSensor(words);
    } else if (!(m_setup.mode == kModeSchedule && takeOfSchedule(word, words)) &&
               !(m_setup.mode == kModeSensor && takeOfSensorMode(word, words)) &&
               !(m_setup.mixed() && takeOfMixed(word, words))) {
      throw ClientError("mode " + std::string(brightnessModeName(m_setup.mode)) + " knows no " + word);
    }
    words.end();
  }

  void takeSensor(Words& words) {
    constexpr unsigned kPorts = 10, kAddresses = 6;
    if (m_setup.sensors.size() == kMostSensors) throw ClientError("more than 8 sensors");
    const std::string where = words.next();
    if (where == "board") {
      m_setup.sensors.push_back({1, 0, 0, 0});
      return;
    }
    const auto port = static_cast<uint8_t>(number(where, kPorts - 1));
    const auto card = static_cast<uint16_t>(number(words.next(), 0xFFFE));
    m_setup.sensors.push_back({0, port, card, static_cast<uint8_t>(number(words.next(), kAddresses - 1))});
  }

  void addNode(const BrightnessNode& node, size_t most) {
    if (m_setup.nodes.size() == most) throw ClientError("more than " + std::to_string(most) + " nodes");
    if (!m_setup.nodes.empty() && node.minute < m_setup.nodes.back().minute) throw ClientError("earlier than the last");
    m_setup.nodes.push_back(node);
  }

  bool takeOfSchedule(const std::string& word, Words& words) {
    if (word != "node") return false;
    BrightnessNode node;
    node.minute = timeOfDay(words.next());
    node.brightness = parseBrightness(words.next());
    while (words.more()) {
      const std::string what = words.next();
      if (what == "ports") {
        node.ports = bits(words.next(), [](const std::string& port) { return number(port, kSchedulePorts - 1); });
      } else if (what == "components") {
        for (uint8_t& component : node.components) component = static_cast<uint8_t>(number(words.next(), 255));
        m_setup.components = true;
      } else {
        throw ClientError("a node knows no " + what);
      }
    }
    addNode(node, kMostScheduleNodes);
    return true;
  }

  bool takeOfSensorMode(const std::string& word, Words& words) {
    StepMap& map = m_setup.steps;
    if (word == "steps") {
      map.steps = static_cast<uint8_t>(number(words.next(), 32));
    } else if (word == "dark") {
      map.MinLux = static_cast<uint16_t>(number(words.next(), 0xFFFF));
      map.MinBri = parseBrightness(words.next());
    } else if (word == "bright") {
      map.MaxLux = static_cast<uint16_t>(number(words.next(), 0xFFFF));
      map.MaxBri = parseBrightness(words.next());
    } else {
      return false;
    }
    return true;
  }

  void takeMixedNode(Words& words) {
    constexpr size_t kMostMixedNodes = 200;  // the region has room for a few more
    BrightnessNode node;
    node.minute = timeOfDay(words.next());
    const std::string value = words.next();
    node.sensor = value == "sensor";
    if (!node.sensor) node.brightness = percent(value);
    while (words.more()) {
      const std::string what = words.next();
      if (what == "days") {
        node.days = bits(words.next(), dayOf);
      } else if (what == "disabled") {
        node.enabled = false;
      } else {
        throw ClientError("a node knows no " + what);
      }
    }
    addNode(node, kMostMixedNodes);
  }

  void takePoint(Words& words) {
    const auto lux = static_cast<uint16_t>(number(words.next(), 0xFFFF));
    if (m_setup.luxMap.size() == kMostLuxPoints) throw ClientError("more than 32 points");
    if (!m_setup.luxMap.empty() && lux < m_setup.luxMap.back().lux) throw ClientError("darker than the last");
    m_setup.luxMap.push_back({lux, percent(words.next())});
  }

  bool takeOfMixed(const std::string& word, Words& words) {
    const std::map<std::string, bool*> switches = {
        {"on", &m_setup.on}, {"allowed", &m_setup.allowed}, {"gradual", &m_setup.gradual}};
    if (const auto found = switches.find(word); found != switches.end()) {
      *found->second = yesOrNo(words.next());
    } else if (word == "node") {
      takeMixedNode(words);
    } else if (word == "lux") {
      takePoint(words);
    } else if (word == "interval") {
      m_setup.interval = static_cast<uint16_t>(number(words.next(), 0xFFFF));
    } else if (word == "samples") {
      m_setup.samples = static_cast<uint8_t>(number(words.next(), 16));
    } else if (word == "fallback") {
      const std::string value = words.next();
      m_setup.fallback = value == "none" ? std::optional<uint8_t>{} : percent(value);
    } else {
      return false;
    }
    return true;
  }

  void check() const {
    if (m_setup.mode == kModeSchedule && m_setup.nodes.empty()) throw ClientError("a schedule needs a node");
    if (m_setup.mode == kModeSensor && (m_setup.steps.steps == 0 || m_setup.steps.MinLux >= m_setup.steps.MaxLux)) {
      throw ClientError("sensor mode needs dark, bright above it, and steps");
    }
  }

  BrightnessSetup m_setup;
  bool m_hasMode = false;
};

std::string portList(uint8_t ports) {
  return listed(ports, kSchedulePorts, [](unsigned port) { return std::to_string(port); });
}
std::string dayList(uint8_t days) {
  return listed(days, kDaysAWeek, [](unsigned day) { return std::string(kDays[day]); });
}

std::string nodeLine(const BrightnessSetup& setup, const BrightnessNode& node) {
  std::string line = "node " + node.time() + " ";
  if (setup.mode == kModeSchedule) {
    line += std::to_string(node.brightness) + " ports " + portList(node.ports);
    if (setup.components) line += " components";
    for (size_t c = 0; setup.components && c < 4; ++c) line += " " + std::to_string(node.components[c]);
    return line;
  }
  line += node.sensor ? "sensor" : std::to_string(node.brightness) + "%";
  if (node.days != kEveryDay) line += " days " + dayList(node.days);
  return line + (node.enabled ? "" : " disabled");
}

}  // namespace

const char* brightnessModeName(uint8_t mode) {
  for (const auto& [value, name] : kModes) {
    if (value == mode) return name;
  }
  return "off";
}

uint8_t parseBrightnessMode(const std::string& name) {
  for (const auto& [value, known] : kModes) {
    if (name == known) return value;
  }
  throw ClientError("not a mode: " + name);
}

uint8_t parseBrightness(const std::string& text) {
  return text.ends_with('%') ? percentToBrightness(percent(text)) : static_cast<uint8_t>(number(text, 255));
}

BrightnessSetup parseBrightnessFile(const std::string& text) {
  return FileParser().parse(text);
}

std::string brightnessFileText(const BrightnessSetup& setup) {
  std::ostringstream out;
  out << "mode " << brightnessModeName(setup.mode) << "\n";
  for (const std::string& note : setup.notes) out << "# " << note << "\n";
  if (setup.mode == kModeSensor) {
    out << "dark " << setup.steps.MinLux << " " << int{setup.steps.MinBri} << "\nbright " << setup.steps.MaxLux << " "
        << int{setup.steps.MaxBri} << "\nsteps " << int{setup.steps.steps} << "\n";
  }
  const auto yes = [](bool value) { return value ? "yes" : "no"; };
  if (setup.mixed()) {
    out << "on " << yes(setup.on) << "\nallowed " << yes(setup.allowed) << "\ngradual " << yes(setup.gradual)
        << "\ninterval " << setup.interval << "\nsamples " << int{setup.samples} << "\nfallback "
        << (setup.fallback ? std::to_string(*setup.fallback) + "%" : "none") << "\n";
  }
  for (const SensorRecord& sensor : setup.sensors) {
    out << "sensor ";
    if (sensor.type == 1) {
      out << "board\n";
    } else {
      out << int{sensor.PortAddr} << " " << sensor.BoardAddr << " " << int{sensor.SensorAddr} << "\n";
    }
  }
  for (const LuxPoint& point : setup.luxMap) out << "lux " << point.lux << " " << int{point.percent} << "%\n";
  for (const BrightnessNode& node : setup.nodes) out << nodeLine(setup, node) << "\n";
  return out.str();
}

nlohmann::json brightnessJson(const BrightnessSetup& setup) {
  nlohmann::json out{{"mode", brightnessModeName(setup.mode)}, {"nodes", nlohmann::json::array()}};
  for (const BrightnessNode& node : setup.nodes) {
    nlohmann::json entry{{"time", node.time()}};
    if (setup.mode == kModeSchedule) {
      entry["brightness"] = node.brightness;
      entry["ports"] = portList(node.ports);
      if (setup.components) entry["components"] = node.components;
    } else {
      if (node.sensor) entry["sensor"] = true;
      if (!node.sensor) entry["percent"] = node.brightness;
      entry["days"] = dayList(node.days);
      entry["enabled"] = node.enabled;
    }
    out["nodes"].push_back(entry);
  }
  if (setup.mode == kModeSensor) {
    out["dark"] = {{"lux", setup.steps.MinLux}, {"brightness", setup.steps.MinBri}};
    out["bright"] = {{"lux", setup.steps.MaxLux}, {"brightness", setup.steps.MaxBri}};
    out["steps"] = setup.steps.steps;
  }
  if (!setup.mixed()) return out;
  for (const LuxPoint& point : setup.luxMap) out["lux"].push_back({{"lux", point.lux}, {"percent", point.percent}});
  out["on"] = setup.on;
  out["allowed"] = setup.allowed;
  out["gradual"] = setup.gradual;
  out["interval"] = setup.interval;
  out["samples"] = setup.samples;
  if (setup.fallback) out["fallback"] = *setup.fallback;
  return out;
}

}  // namespace kadctl
