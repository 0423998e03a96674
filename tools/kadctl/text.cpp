#include "kadctl/text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "kadctl/clienterror.h"

namespace kadctl {

uint32_t parseNumber(const std::string& text, uint32_t max) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const char* first = text.data() + (hexadecimal ? 2 : 0);
  const char* last = text.data() + text.size();
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(first, last, value, hexadecimal ? 16 : 10);
  if (error != std::errc() || end != last || first == last) throw CLI::ValidationError("not a number: " + text);
  if (value > max) throw CLI::ValidationError(text + " is above " + std::to_string(max));
  return value;
}

std::vector<uint8_t> parseHex(const std::vector<std::string>& words) {
  std::stringstream text;
  for (const std::string& word : words) text << word << ' ';
  std::vector<uint8_t> bytes;
  for (std::string word; text >> word;) {
    const std::string digits = word.starts_with("0x") ? word.substr(2) : word;
    const bool good = !digits.empty() && digits.size() % 2 == 0 &&
                      std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
    if (!good) throw CLI::ValidationError("not an even number of hexadecimal digits: " + word);
    for (size_t i = 0; i < digits.size(); i += 2) {
      bytes.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
  }
  if (bytes.empty()) throw CLI::ValidationError("no bytes are given");
  return bytes;
}

std::string readFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file || std::filesystem::is_directory(name)) throw ClientError("cannot read " + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string hexText(TIRK_MCUC::Bytes bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const uint8_t b : bytes) {
    text += kDigits[b >> 4];
    text += kDigits[b & 15];
  }
  return text;
}

std::string hexNumber(uint32_t value) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

std::string hexDump(uint32_t address, TIRK_MCUC::Bytes bytes) {
  std::string out;
  for (size_t at = 0; at < bytes.size(); at += 16) {
    const auto row = bytes.subspan(at, std::min<size_t>(16, bytes.size() - at));
    std::string characters;
    out += hexNumber(address + static_cast<uint32_t>(at)) + " ";
    for (size_t i = 0; i < 16; ++i) {
      out += i == 8 ? "  " : " ";
      out += i < row.size() ? hexText(row.subspan(i, 1)) : "  ";
      if (i < row.size()) characters += row[i] >= 32 && row[i] < 127 ? static_cast<char>(row[i]) : '.';
    }
    out.append("  ").append(characters).append("\n");
  }
  return out;
}

std::string brightnessText(uint8_t value) {
  return std::to_string(value) + " (" + std::to_string((value * 100 + 127) / 255) + " %)";
}

}  // namespace kadctl
