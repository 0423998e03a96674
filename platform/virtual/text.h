// Words and numbers of the board's texts: settings, commands, stores.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

std::string_view trimmed(std::string_view text);
std::vector<std::string_view> splitWords(std::string_view text);  // at blanks and tabs

// Decimal or 0x-hexadecimal, the whole text, up to 64 bits.
std::optional<uint64_t> parseNumber(std::string_view text);

std::string hexText(std::span<const uint8_t> bytes);  // lower case
// An even number of hexadecimal digits.
std::optional<std::vector<uint8_t>> parseHex(std::string_view text);

}  // namespace vboard
