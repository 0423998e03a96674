#include "virtual/cards.h"

#include <cstdio>

#include "virtual/board.h"
#include "virtual/cardrecords.h"

namespace vboard {

Cards::Cards() {
  CardReplay replay(m_wall);
  m_log.open([&](CardLog::Record record) { return replay.apply(record); });
  // The registers say what the links are, unless they were lost: cleared by a power-on that did not come to its end.
  m_links = readLinks(board().fpga);
  if (m_links == LinkMasks()) {
    m_links = replay.links();
    writeLinks(board().fpga, m_links);
  }
  compact();
}

void Cards::compact() {
  const auto records = [this](const auto& put) {
    snapshot(m_wall, put);
    put(linksRecord(m_links));  // last: a chain brings its copper link with it
  };
  if (m_log.replace(records) != 0) std::perror("cards");
}

int Cards::keepLinks(const LinkMasks& links) {
  if (links == m_links) return 0;
  if (m_log.append(linksRecord(links)) != 0) return -1;
  m_links = links;
  return 0;
}

int Cards::setChain(unsigned port, uint16_t count, uint16_t width, uint16_t height) {
  const std::lock_guard guard(m_mutex);
  if (m_log.append(chainRecord(port, count, width, height)) != 0) return -1;
  m_wall.setChain(port, count, width, height);
  m_links.set(Link::Copper, port, count != 0);
  writeCopperPort(board().fpga, port, count != 0);
  return 0;
}

int Cards::setSensor(unsigned port, uint16_t board, uint8_t sensor, std::optional<uint16_t> raw) {
  const std::lock_guard guard(m_mutex);
  if (m_log.append(sensorRecord(port, board, sensor, raw)) != 0) return -1;
  m_wall.setSensor(port, board, sensor, raw);
  return 0;
}

int Cards::setLink(Link link, uint16_t mask) {
  const std::lock_guard guard(m_mutex);
  LinkMasks links = m_links;
  links[link] = mask;
  if (keepLinks(links) != 0) return -1;
  writeLink(board().fpga, link, mask);
  return 0;
}

int Cards::noteLinks() {
  const std::lock_guard guard(m_mutex);
  return keepLinks(readLinks(board().fpga));
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
