#include "virtual/cardwall.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>

namespace vboard {

namespace {

constexpr std::string_view kKindNames[] = {"recv", "multi", "dist", "3d"};
constexpr uint64_t kSpaceSize = uint64_t{1} << 32;

// A light sensor's query: its address, then this from byte 4 on.
constexpr uint32_t kQueryLength = 10;
constexpr uint8_t kQuery[] = {0x55, 0xAA, 0x01, 0x02, 0x80, 0xFF};

// Puts the bytes that a card answers at `at` over those read from `address`.
void overlay(uint32_t address, std::span<uint8_t> out, uint32_t at, std::span<const uint8_t> bytes) {
  for (size_t i = 0; i < bytes.size(); ++i) {
    const uint64_t offset = uint64_t{at} + i - address;  // wraps to a huge value below `address`
    if (offset < out.size()) out[static_cast<size_t>(offset)] = bytes[i];
  }
}

bool matches(const CardAddress& to, uint32_t key) {
  const unsigned port = key >> 16;
  const auto board = static_cast<uint16_t>(key);
  return (to.port == kAllPorts || to.port == port) && (to.board == kAllBoards || to.board == board);
}

}  // namespace

std::optional<CardKind> cardKindFromName(std::string_view name) {
  const auto found = std::find(std::begin(kKindNames), std::end(kKindNames), name);
  if (found == std::end(kKindNames)) return std::nullopt;
  return static_cast<CardKind>(found - std::begin(kKindNames) + 1);
}

std::string cardKindName(uint8_t deviceType) {
  if (deviceType < 1 || deviceType > kCardKinds) return std::to_string(deviceType);
  return std::string(kKindNames[deviceType - 1]);
}

CardWall::CardWall() : m_zero(std::make_shared<CardSpace>()) {}

void CardWall::setChain(unsigned port, uint16_t count, uint16_t width, uint16_t height) {
  m_chains[port] = {width, height, std::vector<SpacePointer>(count, m_zero)};
}

void CardWall::setSensor(unsigned port, uint16_t board, uint8_t sensor, std::optional<uint16_t> raw) {
  const uint32_t card = key(port, board);
  if (raw) {
    m_sensors[card][sensor] = *raw;
    return;
  }
  const auto found = m_sensors.find(card);
  if (found == m_sensors.end()) return;
  found->second.erase(sensor);
  if (found->second.empty()) m_sensors.erase(found);
}

void CardWall::clearRegisters() {
  for (Chain& chain : m_chains) std::fill(chain.cards.begin(), chain.cards.end(), m_zero);
  for (Spaces& spaces : m_others) {
    for (auto& [card, space] : spaces) space = m_zero;
  }
}

const CardSpace* CardWall::space(const CardAddress& card) const {
  if (!card.single()) return nullptr;
  if (card.kind == CardKind::Receiving) {
    const auto& cards = m_chains[card.port].cards;
    return card.board < cards.size() ? cards[card.board].get() : nullptr;
  }
  const uint32_t at = key(card.port, card.board);
  const auto found = others(card.kind).find(at);
  if (found != others(card.kind).end()) return found->second.get();
  const bool sensorOnly = card.kind == CardKind::MultiFunction && m_sensors.contains(at);
  return sensorOnly ? m_zero.get() : nullptr;
}

int CardWall::read(const CardAddress& from, uint32_t address, std::span<uint8_t> out) const {
  const CardSpace* registers = space(from);
  if (registers == nullptr || out.size() > kSpaceSize - address) return -1;
  registers->read(address, out);
  if (from.kind == CardKind::Receiving) {
    const Chain& chain = m_chains[from.port];
    const uint8_t size[] = {static_cast<uint8_t>(chain.width), static_cast<uint8_t>(chain.width >> 8),
                            static_cast<uint8_t>(chain.height), static_cast<uint8_t>(chain.height >> 8)};
    overlay(address, out, kCardSizeRegister, size);
  } else if (from.kind == CardKind::MultiFunction) {
    answerSensor(from, *registers, address, out);
  }
  return 0;
}

// The last query stays in the register; when the sensor that it names is there, its answer is what is read.
void CardWall::answerSensor(const CardAddress& from, const CardSpace& space, uint32_t address,
                            std::span<uint8_t> out) const {
  const auto sensors = m_sensors.find(key(from.port, from.board));
  if (sensors == m_sensors.end()) return;
  uint8_t query[kQueryLength];
  space.read(kSensorQueryRegister, query);
  if (!std::equal(std::begin(kQuery), std::end(kQuery), query + 4)) return;
  const auto sensor = sensors->second.find(query[0]);
  if (sensor == sensors->second.end()) return;
  const auto high = static_cast<uint8_t>(0x80U | sensor->second >> 8), low = static_cast<uint8_t>(sensor->second);
  // As in the query, the sum leaves out the first byte.
  const uint8_t answer[] = {0x01, 0x02, high, low, static_cast<uint8_t>(0x02 + high + low)};
  overlay(address, out, kSensorQueryRegister, answer);
}

template <class Wall, class Visit>
void CardWall::visitTargets(Wall& wall, const CardAddress& to, Visit visit) {
  if (to.kind != CardKind::Receiving) {
    for (auto& [card, space] : wall.others(to.kind)) {
      if (matches(to, card)) visit(space);
    }
    return;
  }
  for (unsigned port = 0; port < kOutputPorts; ++port) {
    if (to.port != kAllPorts && to.port != port) continue;
    auto& cards = wall.m_chains[port].cards;
    if (to.board == kAllBoards) {
      for (auto& space : cards) visit(space);
    } else if (to.board < cards.size()) {
      visit(cards[to.board]);
    }
  }
}

// Cards that a write creates, or that only a sensor makes, have no registers yet.
void CardWall::makeTargets(const CardAddress& to) {
  if (to.kind == CardKind::Receiving) return;
  if (to.single()) others(to.kind).try_emplace(key(to.port, to.board), m_zero);
  if (to.kind != CardKind::MultiFunction) return;
  for (const auto& [card, sensors] : m_sensors) {
    if (matches(to, card)) others(to.kind).try_emplace(card, m_zero);
  }
}

void CardWall::write(const CardAddress& to, uint32_t address, std::span<const uint8_t> data) {
  makeTargets(to);
  // Cards that share their registers go on sharing them when all are written, else those that are written part.
  struct Group {
    long holders = 0;
    SpacePointer written;
  };
  std::unordered_map<const CardSpace*, Group> groups;
  const CardSpace* last = nullptr;
  Group* group = nullptr;
  const auto select = [&](const SpacePointer& space) {
    if (group == nullptr || space.get() != last) group = &groups[space.get()];
    last = space.get();
  };
  visitTargets(*this, to, [&](SpacePointer& space) {
    select(space);
    ++group->holders;
  });
  visitTargets(*this, to, [&](SpacePointer& space) {
    select(space);
    if (!group->written) {
      group->written = space.use_count() == group->holders ? space : std::make_shared<CardSpace>(*space);
      group->written->write(address, data);
    }
    space = group->written;
  });
}

bool CardWall::wouldChange(const CardAddress& to, uint32_t address, std::span<const uint8_t> data) const {
  if (to.kind != CardKind::Receiving && to.single() && !others(to.kind).contains(key(to.port, to.board))) return true;
  bool changes = false;
  if (to.kind == CardKind::MultiFunction) {
    for (const auto& [card, sensors] : m_sensors) {
      if (matches(to, card) && !others(to.kind).contains(card)) changes = true;
    }
  }
  const CardSpace* last = nullptr;
  visitTargets(*this, to, [&](const SpacePointer& space) {
    if (changes || space.get() == last) return;
    last = space.get();
    changes = !space->holds(address, data);
  });
  return changes;
}

bool CardWall::setSpace(const CardAddress& first, uint32_t count, const SpacePointer& space) {
  if (first.port >= kOutputPorts || uint64_t{first.board} + count > kAllBoards) return false;
  if (first.kind == CardKind::Receiving) {
    auto& cards = m_chains[first.port].cards;
    if (uint64_t{first.board} + count > cards.size()) return false;
    std::fill_n(cards.begin() + first.board, count, space);
    return true;
  }
  for (uint32_t i = 0; i < count; ++i) {
    others(first.kind)[key(first.port, static_cast<uint16_t>(first.board + i))] = space;
  }
  return true;
}

}  // namespace vboard
