#include "virtual/cards.h"

#include <cstdio>

#include "virtual/board.h"
#include "virtual/cardrecords.h"

namespace vboard {

Cards::Cards() {
  CardReplay replay(m_wall);
  m_log.open([&](CardLog::Record record) { return replay.apply(record); });
  compact();
  m_links = readLinks(board().fpga);
}

void Cards::compact() {
  if (m_log.replace([this](const auto& put) { snapshot(m_wall, put); }) != 0) std::perror("cards");
}

int Cards::setChain(unsigned port, uint16_t count, uint16_t width, uint16_t height) {
  const std::lock_guard guard(m_mutex);
  if (m_log.append(chainRecord(port, count, width, height)) != 0) return -1;
  m_wall.setChain(port, count, width, height);
  const unsigned bit = 1U << port;
  const uint16_t copper = m_links[Link::Copper];
  m_links[Link::Copper] = static_cast<uint16_t>(count != 0 ? copper | bit : copper & ~bit);
  writeLink(board().fpga, Link::Copper, m_links[Link::Copper]);
  return 0;
}

int Cards::setSensor(unsigned port, uint16_t board, uint8_t sensor, std::optional<uint16_t> raw) {
  const std::lock_guard guard(m_mutex);
  if (m_log.append(sensorRecord(port, board, sensor, raw)) != 0) return -1;
  m_wall.setSensor(port, board, sensor, raw);
  return 0;
}

void Cards::setLink(Link link, uint16_t mask) {
  const std::lock_guard guard(m_mutex);
  m_links[link] = mask;
  writeLink(board().fpga, link, mask);
}

void Cards::noteLinks() {
  const std::lock_guard guard(m_mutex);
  m_links = readLinks(board().fpga);
}

bool Cards::linked(unsigned port) const {
  return port < kOutputPorts && (m_links.all() >> port & 1U) != 0;
}

int Cards::read(const CardAddress& from, uint32_t address, std::span<uint8_t> out) const {
  const std::lock_guard guard(m_mutex);
  if (from.kind == CardKind::Receiving && !linked(from.port)) return -1;
  return m_wall.read(from, address, out);
}

int Cards::readFromDaemon(const CardAddress& from, uint32_t address, std::span<uint8_t> out) const {
  const std::lock_guard guard(m_mutex);
  return linked(from.port) ? m_wall.read(from, address, out) : -1;
}

int Cards::write(const CardAddress& to, uint32_t address, std::span<const uint8_t> data) {
  if (data.size() > (uint64_t{1} << 32) - address) return -1;
  const std::lock_guard guard(m_mutex);
  // A daemon that repeats itself for years does not make the log grow.
  if (!m_wall.wouldChange(to, address, data)) return 0;
  if (m_log.append(writeRecord(to, address, data)) != 0) return -1;
  m_wall.write(to, address, data);
  if (m_log.wantsReplacing()) compact();
  return 0;
}

void Cards::clearRegisters() {
  const std::lock_guard guard(m_mutex);
  if (m_log.append(clearRecord()) != 0) std::perror("cards");
  m_wall.clearRegisters();
  compact();
  writeLinks(board().fpga, m_links);
}

}  // namespace vboard
