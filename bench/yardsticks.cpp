#include "yardsticks.h"

#include <fcntl.h>
#include <modbus.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace bench {

namespace {

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return address;
}

int bindAt(const std::string& path) {
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  const sockaddr_un address = addressOf(path);
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) throw std::runtime_error("bind");
  return fd;
}

int connectTo(const std::string& path) {
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  const sockaddr_un address = addressOf(path);
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    throw std::runtime_error("connect");
  return fd;
}

void waitFor(const std::string& path) {
  while (::access(path.c_str(), F_OK) != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

constexpr uint16_t kToOther = 0x8000;
constexpr size_t kMostPending = 8;

// The first two bytes of a datagram say how long its answer is, and to which of two clients it goes.
void serveEcho(const std::string& directory, bool withRead) {
  const int file = ::open((directory + "/memory").c_str(), O_RDWR | O_CREAT, 0600);
  if (file < 0 || ::ftruncate(file, 1 << 20) != 0) throw std::runtime_error("memory");
  const int fd = bindAt(directory + "/echo");
  const int answers = connectTo(directory + "/client");
  const int others = connectTo(directory + "/other");
  std::mutex mutex;
  std::condition_variable arrived, room;
  std::deque<uint16_t> pending;
  std::thread answering([&] {
    const std::vector<char> reply(70000);
    for (;;) {
      std::unique_lock lock(mutex);
      arrived.wait(lock, [&] { return !pending.empty(); });
      const uint16_t wanted = pending.front();
      pending.pop_front();
      lock.unlock();
      room.notify_one();
      std::array<char, 48> registers;
      if (withRead && ::pread(file, registers.data(), registers.size(), 0) < 0) return;
      ::send((wanted & kToOther) != 0 ? others : answers, reply.data(), wanted & ~kToOther,
             (wanted & kToOther) != 0 ? MSG_DONTWAIT : 0);
    }
  });
  std::vector<char> buffer(70000);
  for (;;) {
    if (::recv(fd, buffer.data(), buffer.size(), 0) < 2) continue;
    uint16_t wanted = 0;
    std::memcpy(&wanted, buffer.data(), sizeof wanted);
    {
      std::unique_lock lock(mutex);
      room.wait(lock, [&] { return pending.size() < kMostPending; });
      pending.push_back(wanted);
    }
    arrived.notify_one();
  }
}

}  // namespace

BareEcho::BareEcho(const std::string& directory, bool withRead)
    : m_socket(bindAt(directory + "/client")),
      m_other(bindAt(directory + "/other")),
      m_server([directory, withRead] { serveEcho(directory, withRead); }) {
  waitFor(directory + "/echo");
  m_sender = connectTo(directory + "/echo");
}

BareEcho::~BareEcho() {
  ::close(m_sender);
  ::close(m_socket);
  ::close(m_other);
}

void BareEcho::send(size_t requestBytes, size_t replyBytes, bool other) {
  static std::array<char, 70000> buffer;
  const auto wanted = static_cast<uint16_t>(other ? replyBytes | kToOther : replyBytes);
  std::memcpy(buffer.data(), &wanted, sizeof wanted);
  if (::send(m_sender, buffer.data(), requestBytes, 0) < 0) throw std::runtime_error("echo");
}

void BareEcho::receive(bool other) {
  std::array<char, 4096> buffer;
  if (::recv(other ? m_other : m_socket, buffer.data(), buffer.size(), 0) < 0) throw std::runtime_error("echo");
}

struct ModbusReader::State {
  ChildProcess server;
  modbus_t* context = nullptr;
};

ModbusReader::ModbusReader() : m_state(std::make_unique<State>()) {
  modbus_t* listening = modbus_new_tcp("127.0.0.1", 15020);
  const int socket = modbus_tcp_listen(listening, 1);
  if (socket < 0) throw std::runtime_error("modbus listen");
  m_state->server = ChildProcess([listening, socket] {
    int listener = socket;
    modbus_mapping_t* mapping = modbus_mapping_new(0, 0, 128, 0);
    modbus_tcp_accept(listening, &listener);
    std::array<uint8_t, MODBUS_TCP_MAX_ADU_LENGTH> query;
    for (;;) {
      const int length = modbus_receive(listening, query.data());
      if (length > 0) modbus_reply(listening, query.data(), length, mapping);
      if (length < 0) return;
    }
  });
  ::close(socket);
  modbus_free(listening);
  m_state->context = modbus_new_tcp("127.0.0.1", 15020);
  if (modbus_connect(m_state->context) != 0) throw std::runtime_error("modbus connect");
}

ModbusReader::~ModbusReader() {
  modbus_close(m_state->context);
  modbus_free(m_state->context);
}

void ModbusReader::readRegisters(int count) {
  std::array<uint16_t, 128> registers;
  if (modbus_read_registers(m_state->context, 0, count, registers.data()) != count) throw std::runtime_error("modbus");
}

}  // namespace bench
