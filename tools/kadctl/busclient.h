// A task on the IPC bus that asks the daemon, and hears what the daemon reports to it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kadctl/unixsocket.h"
#include "stub/mcucmessagestruct.h"

namespace kadctl {

// Who is asked: the sending card itself, or equipment behind one of its output ports.
struct Target {
  uint8_t deviceType = TIRK_MCUC::kDeviceSendCard;
  uint8_t port = 0;
  uint16_t board = 0;
};

// A message as it came off the bus.
struct Message {
  TIRK_MCUC::ipcHeaderInfo envelope;
  TIRK_MCUC::ThirdProtoMCUCMsg frame;  // its data in m_data, for writes too
  bool checksumRight = false;
};

class BusClient {
 public:
  // Binds the task number `task` (24 bits), or without it one that is free. Throws ClientError.
  explicit BusClient(const std::string& boardDirectory, std::optional<uint32_t> task = std::nullopt);
  ~BusClient();
  BusClient(const BusClient&) = delete;
  BusClient& operator=(const BusClient&) = delete;

  // Whether a task of that number already listens on the board's bus.
  static bool taken(const std::string& boardDirectory, uint32_t task);

  uint32_t task() const { return m_task; }  // identifier, with the card position
  uint8_t cardPosition() const { return m_cardPosition; }

  // One request and its reply. Throws ClientError when the daemon refuses (an ack other than 0) or does not answer.
  std::vector<uint8_t> read(uint32_t address, uint16_t length, const Target& target = {});
  void write(uint32_t address, TIRK_MCUC::Bytes data, const Target& target = {});
  // The reply, whatever its ack; empty when none came in time.
  std::optional<Message> ask(const TIRK_MCUC::ThirdProtoMCUCMsg& request, int timeoutMs = 5000);

  static TIRK_MCUC::ThirdProtoMCUCMsg request(uint8_t code, uint32_t address, uint16_t length, TIRK_MCUC::Bytes data,
                                              const Target& target);
  // The datagram of a request with this client's return address; `sequence` comes back in the envelope's detail.
  std::vector<uint8_t> datagram(const TIRK_MCUC::ThirdProtoMCUCMsg& request, uint32_t sequence) const;
  bool send(TIRK_MCUC::Bytes datagram);                // as it is; false when the daemon is not there
  std::optional<Message> receive(int timeoutMs);       // the next message to this task, a report too
  ssize_t receiveRaw(TIRK_MCUC::MutableBytes buffer);  // the next message as it came, its length; waits for it

 private:
  TIRK_MCUC::UniqueFd m_directory;
  TIRK_MCUC::UniqueFd m_socket;
  TIRK_MCUC::UniqueFd m_sender;  // connected to the daemon
  std::string m_name;
  uint8_t m_cardPosition = 0;
  uint32_t m_task = 0;
  uint32_t m_sequence = 0;
};

}  // namespace kadctl
