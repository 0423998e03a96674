// What stands behind the output ports: chains of receiving cards, cards of the other kinds, light sensors, and their
// registers. State and rules only: no file, no lock, no links (see cards.h).
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "virtual/cardspace.h"

namespace vboard {

// The values are those of a card request's device type.
enum class CardKind : uint8_t { Receiving = 1, MultiFunction = 2, Distribution = 3, Launcher3D = 4 };
constexpr size_t kCardKinds = 4;

std::optional<CardKind> cardKindFromName(std::string_view name);  // "recv", "multi", "dist", "3d"
std::string cardKindName(uint8_t deviceType);                     // a number when it is no kind

constexpr unsigned kOutputPorts = 16;
constexpr uint8_t kAllPorts = 255;
constexpr uint16_t kAllBoards = 0xFFFF;

// One card, or with kAllPorts or kAllBoards many.
struct CardAddress {
  CardKind kind = CardKind::Receiving;
  uint8_t port = 0;
  uint16_t board = 0;

  bool single() const { return port < kOutputPorts && board != kAllBoards; }
};

// Registers that a card answers itself.
constexpr uint32_t kCardSizeRegister = 0x02000017;     // receiving card: width, height, u16 each, low byte first
constexpr uint32_t kSensorQueryRegister = 0x06000000;  // multi-function card: light sensor query and answer

class CardWall {
 public:
  using SpacePointer = std::shared_ptr<CardSpace>;
  struct Chain {
    uint16_t width = 0, height = 0;
    std::vector<SpacePointer> cards;
  };
  using Spaces = std::map<uint32_t, SpacePointer>;                  // by key(port, board)
  using Sensors = std::map<uint32_t, std::map<uint8_t, uint16_t>>;  // by key(port, board), then sensor: raw value

  CardWall();

  // Puts newly powered cards there. Requires port < kOutputPorts; count 0 removes the chain.
  void setChain(unsigned port, uint16_t count, uint16_t width, uint16_t height);
  void setSensor(unsigned port, uint16_t board, uint8_t sensor, std::optional<uint16_t> raw);  // empty: none
  void clearRegisters();                                                                       // power-on

  // 0, or -1 when the card is not there or the range leaves its space.
  int read(const CardAddress& from, uint32_t address, std::span<uint8_t> out) const;
  // Requires that address + size does not exceed 2^32. A card of another kind than receiving that is named alone is
  // there from then on.
  void write(const CardAddress& to, uint32_t address, std::span<const uint8_t> data);
  bool wouldChange(const CardAddress& to, uint32_t address, std::span<const uint8_t> data) const;

  static constexpr uint32_t key(unsigned port, uint16_t board) { return port << 16 | board; }
  const Chain& chain(unsigned port) const { return m_chains[port]; }
  const Spaces& others(CardKind kind) const { return m_others[static_cast<size_t>(kind) - 2]; }
  const Sensors& sensors() const { return m_sensors; }
  // Restores the registers of a run of cards. False when a receiving card is not there.
  bool setSpace(const CardAddress& first, uint32_t count, const SpacePointer& space);

 private:
  Spaces& others(CardKind kind) { return m_others[static_cast<size_t>(kind) - 2]; }
  const CardSpace* space(const CardAddress& card) const;
  template <class Wall, class Visit>
  static void visitTargets(Wall& wall, const CardAddress& to, Visit visit);
  void makeTargets(const CardAddress& to);
  void answerSensor(const CardAddress& from, const CardSpace& space, uint32_t address, std::span<uint8_t> out) const;

  std::array<Chain, kOutputPorts> m_chains;
  std::array<Spaces, kCardKinds - 1> m_others;
  Sensors m_sensors;
  SpacePointer m_zero;  // of all cards that nobody has written
};

}  // namespace vboard
