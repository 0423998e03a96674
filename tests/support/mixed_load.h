// One client's share of a mixed load on a running daemon: reads and writes of every register space but a factory reset,
// saves, layouts, brightness, requests to cards; and bytes of its own, whose last acknowledged value must stay.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "kadctl/busclient.h"
#include "kadctl/monitorclient.h"
#include "proto/registermap.h"

namespace testing_support {

class MixedLoadClient {
 public:
  static constexpr unsigned kMostClients = 16;

  MixedLoadClient(const std::string& board, unsigned number);  // number: 0..15, one client each
  // One request and its reply, whatever its ack. Throws std::runtime_error when none comes within a minute.
  void step();
  size_t refused() const { return m_refused; }
  // Whether the client's own bytes read back as they were last acknowledged.
  bool ownBytesHold();

 private:
  struct OwnBytes {
    uint32_t address;
    std::vector<uint8_t> acknowledged;
  };
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(m_random() % limit); }
  std::vector<uint8_t> randomBytes(size_t count);
  kadctl::Message ask(uint8_t code, uint32_t address, uint16_t length, const std::vector<uint8_t>& data,
                      const kadctl::Target& target = {});
  void readSomewhere();
  void writeSomewhere();
  void writeOwn();
  void askCard();
  void layOut();

  kadctl::BusClient m_client;
  std::mt19937 m_random;
  std::vector<TIRK_MCUC::RegisterMapEntry> m_registers;
  std::vector<OwnBytes> m_own;
  size_t m_refused = 0;
};

// What happens around the daemon meanwhile: chains of cards, links, sensors, and a clock that changes its day, with
// which the log changes its file.
class BoardChanges {
 public:
  explicit BoardChanges(const std::string& board) : m_monitor(board), m_random(4711) {}
  void step();

 private:
  kadctl::MonitorClient m_monitor;
  std::mt19937 m_random;
};

}  // namespace testing_support
