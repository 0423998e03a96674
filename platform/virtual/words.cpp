#include "virtual/words.h"

#include <limits>

#include "virtual/text.h"

namespace vboard {

namespace {

// The first word, and what follows it.
std::string_view firstWord(std::string_view text, std::string_view& after) {
  text = trimmed(text);
  const size_t end = text.find_first_of(" \t");
  after = end == std::string_view::npos ? std::string_view() : text.substr(end);
  return text.substr(0, end);
}

}  // namespace

bool Words::empty() const {
  return trimmed(m_rest).empty();
}

std::string_view Words::peek() const {
  std::string_view after;
  return firstWord(m_rest, after);
}

std::string_view Words::next(const char* name) {
  const std::string_view word = firstWord(m_rest, m_rest);
  if (word.empty()) throw CommandError(std::string(name) + " is missing");
  return word;
}

uint32_t Words::number(const char* name, uint32_t least, uint32_t most) {
  const auto value = parseNumber(next(name));
  if (!value) throw CommandError(std::string(name) + " is no decimal or 0x-hexadecimal number");
  if (*value < least || *value > most) {
    throw CommandError(std::string(name) + " must be " + std::to_string(least) + ".." + std::to_string(most));
  }
  return static_cast<uint32_t>(*value);
}

int32_t Words::signedNumber(const char* name) {
  std::string_view word = next(name);
  const bool negative = word.starts_with('-');
  if (negative) word.remove_prefix(1);
  const auto value = parseNumber(word);
  const uint64_t most = uint64_t{std::numeric_limits<int32_t>::max()} + (negative ? 1 : 0);
  if (!value || *value > most) throw CommandError(std::string(name) + " is no number of 32 bits");
  const auto magnitude = static_cast<int64_t>(*value);
  return static_cast<int32_t>(negative ? -magnitude : magnitude);
}

std::vector<uint8_t> Words::hex(const char* name) {
  auto bytes = parseHex(next(name));
  if (!bytes) throw CommandError(std::string(name) + " is no even number of hexadecimal digits");
  return std::move(*bytes);
}

std::string_view Words::rest(const char* name) {
  const std::string_view rest = trimmed(m_rest);
  if (rest.empty()) throw CommandError(std::string(name) + " is missing");
  m_rest = {};
  return rest;
}

void Words::end() const {
  if (!empty()) throw CommandError("too many words");
}

}  // namespace vboard
