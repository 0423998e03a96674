// The IPC bus: a Unix datagram socket for each task in bus/, and the process's local queue of received messages.
//
// A datagram is the 28-byte envelope and the frame. The daemon's wait thread receives, its other threads send; the
// local queue is between the wait thread and the receive thread. Any thread, but for open and receive.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "apipc.h"
#include "virtual/sockets.h"

// A received message: it takes the memory of its bytes.
struct apipc_msg {
  std::vector<uint8_t> body;
};

namespace vboard {

constexpr size_t kBusEnvelope = 28;
constexpr size_t kBusLargestMessage = 65564;
constexpr size_t kBusSizeField = 24;  // label size: the number of bytes that follow the envelope

// Connections to other tasks: a socket of its own for each, so that one that never reads costs only its own messages.
class Peers {
 public:
  struct Peer {
    bool present() const;  // whether the socket still has its name, or another task has it
    Descriptor socket;
    Descriptor name;                   // the socket's file: that it is still linked costs less to see than its name
    std::atomic<bool> stalled{false};  // timed out, and has taken nothing since
  };
  static constexpr size_t kCapacity = 64;
  static constexpr int kPatienceMs = 100;

  // The connection to the task's present socket; null when there is no such task.
  std::shared_ptr<Peer> find(uint32_t task);
  void forget(uint32_t task, const std::shared_ptr<Peer>& peer);

 private:
  struct Entry {
    std::shared_ptr<Peer> peer;
    uint64_t lastUse = 0;
  };
  std::shared_ptr<Peer> connect(uint32_t task) const;
  void evictOldest();

  std::mutex m_mutex;
  std::unordered_map<uint32_t, Entry> m_entries;
  uint64_t m_uses = 0;
};

// Messages that were received and not yet taken. Bounded, so that senders wait when they are faster than the daemon;
// and short, since behind a client that floods everybody waits for what stands here.
class LocalQueue {
 public:
  static constexpr size_t kMessages = 8;
  static constexpr size_t kBytes = 256U << 10;

  void put(std::unique_ptr<apipc_msg> message);  // waits while the queue is full
  std::unique_ptr<apipc_msg> take();             // null: empty
  bool empty() const;

 private:
  mutable std::mutex m_mutex;
  std::condition_variable m_space;
  std::deque<std::unique_ptr<apipc_msg>> m_messages;
  size_t m_bytes = 0;
};

class Bus {
 public:
  struct Counters {
    uint64_t received;  // messages handed to the daemon
    uint64_t sent;
    uint64_t refused;  // sends that failed
    uint64_t dropped;  // datagrams that were no messages
  };

  // Binds the task's socket. 0, or -1: it cannot be bound, or a living task has it. Once.
  int open(uint32_t task);
  // Receives for ever. Returns -1, after a pause, when the socket fails or is not open.
  int receive(void* context, apipc_event_fn callback);
  // Messages that `receive` has taken and not yet handed to the callback.
  size_t ahead() const { return m_ahead; }
  // The task that a message is for: the one in its envelope when `destination` is the bus's return address.
  static uint32_t receiver(uint32_t destination, std::span<const uint8_t> message);
  // 0; -1 when there is no such task or it is the daemon itself, its queue stays full for 100 ms, or the message is too
  // long. With a fault, nothing is sent and the result is the fault.
  int send(uint32_t receiver, std::span<const uint8_t> message, int fault = 0);
  // Sends the first of these messages as long as they have the same receiver and it takes them without a wait: how many
  // it took, whose results are set.
  size_t sendAtOnce(uint32_t destination, std::span<apipc_part> parts);
  bool reachable(uint32_t task) const;
  // Whether a message waits that nobody has taken.
  bool pending() const;
  Counters counters() const;

  LocalQueue queue;

 private:
  std::shared_ptr<Peers::Peer> peerOf(uint32_t task);
  int deliver(uint32_t task, std::span<const uint8_t> message);

  std::atomic<uint32_t> m_task{0};  // the daemon's own
  std::atomic<int> m_socket{-1};
  Descriptor m_owner;
  Peers m_peers;
  std::atomic<size_t> m_ahead{0};
  std::atomic<uint64_t> m_received{0}, m_sent{0}, m_refused{0}, m_dropped{0};
};

// "bus/XXXXXXXX".
std::string taskFile(uint32_t task);

}  // namespace vboard
