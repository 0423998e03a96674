// Registers that the daemon reports to its peers, by name, and their values in words.
#pragma once

#include <cstdint>
#include <string>

#include "mcucbytes.h"

namespace kadctl {

// "copper link, ports 0-3", or "" when the register is none of these.
std::string registerName(uint32_t address);
// The value in words where it has some ("ports 0 1 linked"), else "".
std::string decodeValue(uint32_t address, TIRK_MCUC::Bytes value);

}  // namespace kadctl
