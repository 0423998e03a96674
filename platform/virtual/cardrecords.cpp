#include "virtual/cardrecords.h"

#include <algorithm>
#include <unordered_map>

namespace vboard {

namespace {

enum RecordType : uint8_t { kChain = 1, kSensor, kWrite, kClear, kPage, kSpace, kRun, kLinks };

class Writer {
 public:
  explicit Writer(RecordType type) { number(type, 1); }
  Writer& number(uint32_t value, int width) {
    for (int i = 0; i < width; ++i) m_bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
    return *this;
  }
  Writer& card(const CardAddress& card) {
    return number(static_cast<uint32_t>(card.kind), 1).number(card.port, 1).number(card.board, 2);
  }
  Writer& bytes(std::span<const uint8_t> data) {
    m_bytes.insert(m_bytes.end(), data.begin(), data.end());
    return *this;
  }
  RecordBytes take() { return std::move(m_bytes); }

 private:
  RecordBytes m_bytes;
};

// Takes numbers off a record; once it ran short, all are 0 and good() is false.
class Reader {
 public:
  explicit Reader(std::span<const uint8_t> record) : m_rest(record) {}
  uint32_t number(size_t width) {
    if (m_rest.size() < width) {
      m_good = false;
      m_rest = {};
      return 0;
    }
    uint32_t value = 0;
    for (size_t i = 0; i < width; ++i) value |= static_cast<uint32_t>(m_rest[i]) << 8 * i;
    m_rest = m_rest.subspan(width);
    return value;
  }
  uint8_t byte() { return static_cast<uint8_t>(number(1)); }
  uint16_t word() { return static_cast<uint16_t>(number(2)); }
  CardAddress card() {
    const uint8_t kind = byte();
    if (kind < 1 || kind > kCardKinds) m_good = false;
    CardAddress card;
    card.kind = m_good ? static_cast<CardKind>(kind) : CardKind::Receiving;
    card.port = byte();
    card.board = word();
    return card;
  }
  std::span<const uint8_t> rest() const { return m_rest; }
  bool good() const { return m_good; }
  bool done() const { return m_good && m_rest.empty(); }

 private:
  std::span<const uint8_t> m_rest;
  bool m_good = true;
};

using Put = std::function<void(std::span<const uint8_t>)>;

// Numbers the spaces and their pages in the order in which they are first met.
class Snapshot {
 public:
  explicit Snapshot(const Put& put) : m_put(put) {}

  // Cards come in the order of their kind, port and board; neighbours with the same registers become one record.
  void card(const CardAddress& card, const CardWall::SpacePointer& space) {
    const uint32_t number = spaceNumber(*space);
    const bool continues = m_count != 0 && card.kind == m_first.kind && card.port == m_first.port &&
                           card.board == m_first.board + m_count && number == m_number;
    if (!continues) {
      flush();
      m_first = card;
      m_number = number;
    }
    ++m_count;
  }

  void flush() {
    if (m_count != 0) m_put(Writer(kRun).card(m_first).number(m_count, 4).number(m_number, 4).take());
    m_count = 0;
  }

 private:
  uint32_t spaceNumber(const CardSpace& space) {
    const auto known = m_spaces.find(&space);
    if (known != m_spaces.end()) return known->second;
    Writer record(kSpace);
    for (const auto& [index, page] : space.pages()) record.number(index, 4).number(pageNumber(*page), 4);
    m_put(record.take());
    const auto number = static_cast<uint32_t>(m_spaces.size());
    m_spaces.emplace(&space, number);
    return number;
  }
  uint32_t pageNumber(const CardSpace::Page& page) {
    const auto [entry, isNew] = m_pages.try_emplace(&page, static_cast<uint32_t>(m_pages.size()));
    if (isNew) m_put(Writer(kPage).bytes(page).take());
    return entry->second;
  }

  const Put& m_put;
  std::unordered_map<const CardSpace*, uint32_t> m_spaces;
  std::unordered_map<const CardSpace::Page*, uint32_t> m_pages;
  CardAddress m_first;
  uint32_t m_count = 0;
  uint32_t m_number = 0;
};

}  // namespace

RecordBytes chainRecord(unsigned port, uint16_t count, uint16_t width, uint16_t height) {
  return Writer(kChain).number(port, 1).number(count, 2).number(width, 2).number(height, 2).take();
}

RecordBytes sensorRecord(unsigned port, uint16_t board, uint8_t sensor, std::optional<uint16_t> raw) {
  Writer record(kSensor);
  record.number(port, 1).number(board, 2).number(sensor, 1);
  if (raw) record.number(*raw, 2);
  return record.take();
}

RecordBytes writeRecord(const CardAddress& to, uint32_t address, std::span<const uint8_t> data) {
  return Writer(kWrite).card(to).number(address, 4).bytes(data).take();
}

RecordBytes clearRecord() {
  return Writer(kClear).take();
}

RecordBytes linksRecord(const LinkMasks& links) {
  Writer record(kLinks);
  for (const uint16_t mask : links.ports) record.number(mask, 2);
  return record.take();
}

void snapshot(const CardWall& wall, const Put& put) {
  Snapshot cards(put);
  for (unsigned port = 0; port < kOutputPorts; ++port) {
    const CardWall::Chain& chain = wall.chain(port);
    const auto count = static_cast<uint16_t>(chain.cards.size());
    if (count == 0) continue;
    cards.flush();
    put(chainRecord(port, count, chain.width, chain.height));
    for (uint16_t board = 0; board < count; ++board) {
      cards.card({CardKind::Receiving, static_cast<uint8_t>(port), board}, chain.cards[board]);
    }
  }
  for (const CardKind kind : {CardKind::MultiFunction, CardKind::Distribution, CardKind::Launcher3D}) {
    for (const auto& [key, space] : wall.others(kind)) {
      cards.card({kind, static_cast<uint8_t>(key >> 16), static_cast<uint16_t>(key)}, space);
    }
  }
  cards.flush();
  for (const auto& [key, sensors] : wall.sensors()) {
    for (const auto& [sensor, raw] : sensors) put(sensorRecord(key >> 16, static_cast<uint16_t>(key), sensor, raw));
  }
}

bool CardReplay::apply(std::span<const uint8_t> record) {
  Reader in(record);
  switch (in.byte()) {
    case kChain: {
      const uint8_t port = in.byte();
      const uint16_t count = in.word(), width = in.word(), height = in.word();
      if (!in.done() || port >= kOutputPorts) return false;
      m_wall.setChain(port, count, width, height);
      m_links.set(Link::Copper, port, count != 0);
      return true;
    }
    case kSensor: {
      const uint8_t port = in.byte();
      const uint16_t board = in.word();
      const uint8_t sensor = in.byte();
      std::optional<uint16_t> raw;
      if (!in.rest().empty()) raw = in.word();
      if (!in.done() || port >= kOutputPorts) return false;
      m_wall.setSensor(port, board, sensor, raw);
      return true;
    }
    case kWrite: {
      const CardAddress to = in.card();
      const uint32_t address = in.number(4);
      if (!in.good() || in.rest().size() > (uint64_t{1} << 32) - address) return false;
      m_wall.write(to, address, in.rest());
      return true;
    }
    case kClear:
      m_wall.clearRegisters();
      return in.done();
    case kLinks:
      for (uint16_t& mask : m_links.ports) mask = in.word();
      return in.done();
    default:
      return applySnapshot(record);
  }
}

bool CardReplay::applySnapshot(std::span<const uint8_t> record) {
  Reader in(record);
  switch (in.byte()) {
    case kPage: {
      auto page = std::make_shared<CardSpace::Page>();
      if (in.rest().size() != page->size()) return false;
      std::copy(in.rest().begin(), in.rest().end(), page->begin());
      m_pages.push_back(std::move(page));
      return true;
    }
    case kSpace: {
      auto space = std::make_shared<CardSpace>();
      while (in.good() && !in.rest().empty()) {
        const uint32_t index = in.number(4), page = in.number(4);
        if (!in.good() || page >= m_pages.size() || index >= (uint64_t{1} << 32) / CardSpace::kPageSize) return false;
        space->setPage(index, m_pages[page]);
      }
      m_spaces.push_back(std::move(space));
      return in.good();
    }
    case kRun: {
      const CardAddress first = in.card();
      const uint32_t count = in.number(4), space = in.number(4);
      return in.done() && space < m_spaces.size() && m_wall.setSpace(first, count, m_spaces[space]);
    }
    default:
      return false;
  }
}

}  // namespace vboard
