// The cards behind the output ports, with their links and light sensors: shared by threads, and kept in the file
// "cards" so that they survive the process. Any thread.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>

#include "virtual/cardlog.h"
#include "virtual/cardwall.h"
#include "virtual/links.h"

namespace vboard {

class Cards {
 public:
  // Reads the file "cards" and the links; throws std::runtime_error with what is wrong. Requires the board's directory
  // and FPGA.
  Cards();

  // 0; -1 when the change could not be kept (nothing changed then).
  // Makes the port's chain of newly powered cards (count 0: none) and sets or clears its copper link. port < 16.
  int setChain(unsigned port, uint16_t count, uint16_t width, uint16_t height);
  // A light sensor behind a multi-function card: 15 bits of `raw`, or none. port < 16, board < 0xFFFF.
  int setSensor(unsigned port, uint16_t board, uint8_t sensor, std::optional<uint16_t> raw);
  int setLink(Link link, uint16_t mask);
  // Somebody may have written the status registers through the back door: they are what the links are.
  int noteLinks();

  // 0; -1 when the card is not there, a receiving card's port has no link, or the range leaves the card's space.
  int read(const CardAddress& from, uint32_t address, std::span<uint8_t> out) const;
  // The same over the port's link: without one no card of any kind answers.
  int readFromDaemon(const CardAddress& from, uint32_t address, std::span<uint8_t> out) const;
  // 0, also when it reaches no card; -1 when the range leaves the card's space or the change could not be kept.
  int write(const CardAddress& to, uint32_t address, std::span<const uint8_t> data);

  // Power-on of the board: registers to 0; chains and sensors stay, and the links are set again in the FPGA, which
  // has been cleared before.
  void clearRegisters();

 private:
  bool linked(unsigned port) const;
  int keepLinks(const LinkMasks& links);  // with m_mutex
  void compact();                         // with m_mutex

  mutable std::mutex m_mutex;
  CardWall m_wall;
  CardLog m_log;
  LinkMasks m_links;
};

}  // namespace vboard
