#include <charconv>
#include <map>
#include <string_view>

#include "virtual/board.h"
#include "virtual/inputs.h"
#include "virtual/text.h"

namespace vboard {

namespace {

constexpr int kSlots = 7;

class Parser {
 public:
  std::optional<Config> parse(const std::string& text, std::string& error) {
    size_t number = 0;
    for (size_t at = 0; at < text.size();) {
      const size_t end = std::min(text.find('\n', at), text.size());
      ++number;
      const std::string problem = parseLine(std::string_view(text).substr(at, end - at));
      if (!problem.empty()) {
        error = "line " + std::to_string(number) + ": " + problem;
        return std::nullopt;
      }
      at = end + 1;
    }
    if (!m_inputs.empty()) {
      m_config.inputs.clear();
      for (const auto& [slot, type] : m_inputs) m_config.inputs.push_back({slot, type});
    }
    return m_config;
  }

 private:
  // Each answers what is wrong, or nothing.
  std::string parseLine(std::string_view line) {
    line = trimmed(line.substr(0, line.find('#')));
    if (line.empty()) return {};
    const size_t sign = line.find('=');
    if (sign == std::string_view::npos) return "\"" + std::string(line) + "\" is not \"key = value\"";
    const std::string_view key = trimmed(line.substr(0, sign));
    const std::string_view value = trimmed(line.substr(sign + 1));
    if (key == "card_position") return parseCardPosition(value);
    if (key == "fpga_load_ms") return parseFpgaLoadMs(value);
    if (key == "journal") return parseJournal(value);
    if (const auto words = splitWords(key); words.size() == 2 && words[0] == "input")
      return parseInput(words[1], value);
    return "unknown key \"" + std::string(key) + "\"";
  }

  std::string parseCardPosition(std::string_view value) {
    const auto number = parseNumber(value);
    if (!number || *number > UINT8_MAX) return bad("card_position", value, "0 to 255");
    m_config.cardPosition = static_cast<uint8_t>(*number);
    return {};
  }

  std::string parseFpgaLoadMs(std::string_view value) {
    const auto number = parseNumber(value);
    if (value != "-1" && (!number || *number > INT32_MAX)) {
      return bad("fpga_load_ms", value, "a number of milliseconds, or -1");
    }
    m_config.fpgaLoadMs = value == "-1" ? -1 : static_cast<int>(*number);
    return {};
  }

  std::string parseJournal(std::string_view value) {
    if (value != "on" && value != "off") return bad("journal", value, "on or off");
    m_config.journal = value == "on";
    return {};
  }

  std::string parseInput(std::string_view slot, std::string_view value) {
    const auto number = parseNumber(slot);
    if (!number || *number >= kSlots) return bad("input", slot, "a slot 0 to 6");
    const auto type = inputTypeFromName(value);
    if (!type) return bad("input " + std::string(slot), value, "dvi, ddvi, hdmi14, sdi3g or vga");
    m_inputs[static_cast<int>(*number)] = *type;
    return {};
  }

  static std::string bad(const std::string& key, std::string_view value, const std::string& wanted) {
    return key + ": \"" + std::string(value) + "\" is not " + wanted;
  }

  Config m_config;
  std::map<int, en_if_t> m_inputs;
};

}  // namespace

std::optional<Config> parseConfig(const std::string& text, std::string& error) {
  return Parser().parse(text, error);
}

}  // namespace vboard
