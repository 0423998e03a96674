// Registers of the receiving cards, and of a multi-function card, that the daemon itself uses, in order.
#pragma once

#include <cstdint>

namespace TIRK_MCUC {

constexpr uint32_t kCardMappingRegister = 0x01000088;   // mapping display: 0x05 on, 0xFF off
constexpr uint32_t kCardGlobalBrightness = 0x02000001;  // 0..255
constexpr uint32_t kCardSizeRegister = 0x02000017;      // width and height, u16 each
constexpr uint32_t kCardScreenBlack = 0x02000100;       // 0xFF black, 0 normal
constexpr uint32_t kCardSensorRegister = 0x06000000;    // multi-function card: light sensor query and answer

}  // namespace TIRK_MCUC
