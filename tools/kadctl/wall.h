// The wall as the FPGA holds it: port regions, cards in wiring order, links and roles.
#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "kadctl/busclient.h"

namespace kadctl {

struct WallCard {
  int x = 0;  // pixels on the screen
  int y = 0;
};

struct WallPort {
  unsigned number = 0;
  int x = 0, y = 0, width = 0, height = 0;  // region on the screen, pixels
  std::vector<WallCard> cards;              // in wiring order
  bool linked = false;                      // over copper or fibre
  bool backup = false;                      // its role byte says so
  int repeats = -1;                         // the port whose part of the screen it carries too, or -1
  std::vector<unsigned> repeated;           // ports that repeat this one
  bool unused = false;                      // left out of the configuration, see markUnused

  // Whether it carries a part of the screen that no earlier port carries.
  bool carries() const { return repeats < 0 && !unused && !cards.empty(); }
  bool operator==(const WallPort&) const = default;
};
inline bool operator==(const WallCard& a, const WallCard& b) {
  return a.x == b.x && a.y == b.y;
}

struct Wall {
  static constexpr unsigned kPorts = 10;

  int width = 0, height = 0;          // the screen, pixels
  int cardWidth = 0, cardHeight = 0;  // pixels
  std::array<WallPort, kPorts> ports;

  // Reads the wall. Throws ClientError; empty() when no screen has been laid out.
  static Wall read(BusClient& bus);
  bool empty() const;
  size_t cardCount() const;  // cards of the ports that carry a part of their own
  // Right and bottom edge of everything that is drawn.
  int right() const;
  int bottom() const;
  nlohmann::json toJson() const;
  bool operator==(const Wall&) const = default;
};

}  // namespace kadctl
