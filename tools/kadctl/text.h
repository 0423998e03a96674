// Numbers and bytes as users write and read them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mcucbytes.h"

namespace kadctl {

// Decimal or 0x-hexadecimal, at most `max`. Throws CLI::ValidationError.
uint32_t parseNumber(const std::string& text, uint32_t max = 0xFFFFFFFF);

// "0a0b 0c", "0x0a": an even number of hexadecimal digits between blanks. Throws CLI::ValidationError.
std::vector<uint8_t> parseHex(const std::vector<std::string>& words);

std::string hexText(TIRK_MCUC::Bytes bytes);    // "0a0b"
std::string hexNumber(uint32_t value);          // "0x02000024"
std::string brightnessText(uint8_t value);      // "102 (40 %)"
std::string readFile(const std::string& name);  // the whole of it. Throws ClientError
// Lines of an address, 16 bytes and their characters.
std::string hexDump(uint32_t address, TIRK_MCUC::Bytes bytes);

}  // namespace kadctl
