// The daemon on a temporary board, as a client sees it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "childprocess.h"
#include "kadctl/busclient.h"

namespace bench {

constexpr uint32_t kSaveRegister = 0x01000001;
constexpr uint32_t kEchoSpace = 0x02100000;
constexpr uint32_t kPositionSpace = 0x03000000;
constexpr uint16_t kReadLength = 48;
constexpr size_t kRequestBytes = TIRK_MCUC::kEnvelopeLength + TIRK_MCUC::kShortestFrame;
constexpr size_t kReplyBytes = kRequestBytes + kReadLength;

// One request, encoded once, and its replies: a client that costs as little as the bare echo's.
class RawExchange {
 public:
  RawExchange(const std::string& board, const TIRK_MCUC::ThirdProtoMCUCMsg& request);
  void send();
  void receive();
  void operator()() {
    send();
    receive();
  }

 private:
  std::unique_ptr<kadctl::BusClient> m_client;
  std::vector<uint8_t> m_datagram;
};

class Daemon {
 public:
  Daemon();  // returns when the daemon has started up: some seconds
  pid_t pid() const { return m_process.pid(); }
  const std::string& board() const { return m_directory.path(); }

  // Ends the daemon and starts it again: milliseconds from exec to the first reply.
  double restart();
  void settle() const;  // returns when a start is over: after some seconds
  RawExchange reading(uint32_t address = kPositionSpace, uint16_t length = kReadLength) const;
  RawExchange writing(uint32_t address, const std::vector<uint8_t>& data) const;
  // Returns when the daemon has been at rest for so long.
  void rest(int milliseconds) const;
  long residentKb() const { return bench::residentKb(pid()); }

 private:
  ScratchDirectory m_directory;
  ChildProcess m_process;
};

}  // namespace bench
