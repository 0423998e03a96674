// What the daemon is compared with: a bare echo between two threads over the same kind of socket, and a register read
// over Modbus TCP on the loopback interface.
#pragma once

#include <memory>
#include <string>

#include "childprocess.h"

namespace bench {

// A process that receives on one thread, hands the datagram to a second, which sends it back.
class BareEcho {
 public:
  // With a read, 48 bytes of a file are read for each answer.
  explicit BareEcho(const std::string& directory, bool withRead = false);
  ~BareEcho();
  BareEcho(const BareEcho&) = delete;
  BareEcho& operator=(const BareEcho&) = delete;
  // A datagram that is answered by one of `replyBytes`, below 4096, to this client or another one.
  void send(size_t requestBytes, size_t replyBytes, bool other = false);
  void receive(bool other = false);
  void exchange(size_t requestBytes, size_t replyBytes) {
    send(requestBytes, replyBytes);
    receive();
  }

 private:
  int m_socket = -1;
  int m_other = -1;
  int m_sender = -1;
  ChildProcess m_server;
};

class ModbusReader {
 public:
  ModbusReader();
  ~ModbusReader();
  ModbusReader(const ModbusReader&) = delete;
  ModbusReader& operator=(const ModbusReader&) = delete;
  void readRegisters(int count);

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace bench
