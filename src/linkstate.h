// Which output ports have a link, as last reported by the status monitor: three masks, bit p for output port p.
// Written by the flag thread, read by card reads and calculations on any thread without a lock.
#pragma once

#include <atomic>
#include <cstdint>

namespace TIRK_MCUC {

struct LinkState {
  std::atomic<uint16_t> copper{0};  // Ethernet ports
  std::atomic<uint16_t> fiber1{0};  // ports behind optical port 1
  std::atomic<uint16_t> fiber2{0};  // ports behind optical port 2

  bool linked(unsigned port) const {
    return port < 16 && ((copper.load() | fiber1.load() | fiber2.load()) >> port & 1U) != 0;
  }
};

LinkState& linkState();

}  // namespace TIRK_MCUC
