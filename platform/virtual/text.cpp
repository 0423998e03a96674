#include "virtual/text.h"

#include <charconv>

namespace vboard {

namespace {
constexpr std::string_view kBlanks = " \t\r";
}

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::vector<std::string_view> splitWords(std::string_view text) {
  std::vector<std::string_view> words;
  for (text = trimmed(text); !text.empty();) {
    const size_t end = std::min(text.find_first_of(kBlanks), text.size());
    words.push_back(text.substr(0, end));
    text = trimmed(text.substr(end));
  }
  return words;
}

std::optional<uint64_t> parseNumber(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  uint64_t value = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
  if (text.empty() || problem != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string hexText(std::span<const uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

std::optional<std::vector<uint8_t>> parseHex(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::vector<uint8_t> bytes;
  bytes.reserve(text.size() / 2);
  for (size_t at = 0; at < text.size(); at += 2) {
    uint8_t byte = 0;
    const char* const digits = text.data() + at;
    const auto [end, problem] = std::from_chars(digits, digits + 2, byte, 16);
    if (problem != std::errc() || end != digits + 2) return std::nullopt;
    bytes.push_back(byte);
  }
  return bytes;
}

}  // namespace vboard
