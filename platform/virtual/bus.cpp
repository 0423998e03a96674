#include "virtual/bus.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include "virtual/board.h"
#include "virtual/files.h"

namespace vboard {

namespace {

constexpr uint32_t kTaskNumberMask = 0x00FFFFFF;
constexpr uint32_t kReturnNumber = 0x070400;
constexpr auto kPauseAfterFailure = std::chrono::milliseconds(100);

uint32_t littleEndian(const uint8_t* bytes) {
  return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
         static_cast<uint32_t>(bytes[3]) << 24;
}

bool wellFormed(std::span<const uint8_t> datagram) {
  return datagram.size() >= kBusEnvelope && datagram.size() <= kBusLargestMessage &&
         littleEndian(&datagram[kBusSizeField]) == datagram.size() - kBusEnvelope;
}

// Datagrams taken from the bus at once. Their memory is used as they come: a page for a short one.
class Arrivals {
 public:
  static constexpr size_t kMost = 8;

  // Waits for a datagram and takes what else is there. False, errno set, when the socket fails.
  bool take(int socket) {
    for (size_t i = 0; i < kMost; ++i) {
      m_parts[i] = {m_memory.get() + i * kBusLargestMessage, kBusLargestMessage};
      m_heads[i].msg_hdr = {};
      m_heads[i].msg_hdr.msg_iov = &m_parts[i];
      m_heads[i].msg_hdr.msg_iovlen = 1;
    }
    const int taken = ::recvmmsg(socket, m_heads.data(), kMost, MSG_WAITFORONE | MSG_TRUNC, nullptr);
    m_count = taken < 0 ? 0 : static_cast<size_t>(taken);
    return taken >= 0;
  }
  // How many are messages; these come first from then on, in their order.
  size_t sortOut() {
    size_t messages = 0;
    for (size_t i = 0; i < m_count; ++i) {
      const auto* bytes = static_cast<const uint8_t*>(m_heads[i].msg_hdr.msg_iov->iov_base);
      if (m_heads[i].msg_len <= kBusLargestMessage && wellFormed({bytes, m_heads[i].msg_len})) {
        m_messages[messages++] = {bytes, m_heads[i].msg_len};
      }
    }
    return messages;
  }
  size_t count() const { return m_count; }
  std::span<const uint8_t> message(size_t index) const { return m_messages[index]; }

 private:
  std::unique_ptr<uint8_t[]> m_memory = std::make_unique_for_overwrite<uint8_t[]>(kMost * kBusLargestMessage);
  std::array<iovec, kMost> m_parts;
  std::array<mmsghdr, kMost> m_heads;
  std::array<std::span<const uint8_t>, kMost> m_messages;
  size_t m_count = 0;
};

}  // namespace

// Made for every message that is sent: short enough for a string without memory of its own.
std::string taskFile(uint32_t task) {
  std::string name = "bus/00000000";
  for (size_t at = name.size(); task != 0; task >>= 4) name[--at] = "0123456789abcdef"[task & 0x0F];
  return name;
}

std::shared_ptr<Peers::Peer> Peers::connect(uint32_t task) const {
  auto peer = std::make_shared<Peer>();
  // Held before it is connected to: a name that passes to another task in between is then found gone.
  peer->name = Descriptor(::openat(board().directoryFd, taskFile(task).c_str(), O_PATH | O_CLOEXEC));
  if (!peer->name) return nullptr;
  peer->socket = connectSocket(SOCK_DGRAM, taskFile(task));
  if (!peer->socket) return nullptr;
  const timeval patience{0, kPatienceMs * 1000L};
  if (::setsockopt(peer->socket.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience) != 0) return nullptr;
  return peer;
}

bool Peers::Peer::present() const {
  struct stat status;
  return ::fstat(name.get(), &status) == 0 && status.st_nlink > 0;
}

std::shared_ptr<Peers::Peer> Peers::find(uint32_t task) {
  const std::lock_guard guard(m_mutex);
  const auto found = m_entries.find(task);
  if (found != m_entries.end()) {
    if (found->second.peer->present()) {
      found->second.lastUse = ++m_uses;
      return found->second.peer;
    }
    m_entries.erase(found);
  }
  std::shared_ptr<Peer> peer = connect(task);
  if (!peer) return nullptr;
  if (m_entries.size() >= kCapacity) evictOldest();
  m_entries[task] = {peer, ++m_uses};
  return peer;
}

void Peers::evictOldest() {
  const auto oldest = std::min_element(m_entries.begin(), m_entries.end(), [](const auto& a, const auto& b) {
    return a.second.lastUse < b.second.lastUse;
  });
  m_entries.erase(oldest);
}

void Peers::forget(uint32_t task, const std::shared_ptr<Peer>& peer) {
  const std::lock_guard guard(m_mutex);
  const auto found = m_entries.find(task);
  if (found != m_entries.end() && found->second.peer == peer) m_entries.erase(found);
}

void LocalQueue::put(std::unique_ptr<apipc_msg> message) {
  const size_t size = message->body.size();
  std::unique_lock lock(m_mutex);
  m_space.wait(lock, [&] {
    return m_messages.empty() || (m_messages.size() < kMessages && size <= kBytes && m_bytes <= kBytes - size);
  });
  m_bytes += size;
  m_messages.push_back(std::move(message));
}

std::unique_ptr<apipc_msg> LocalQueue::take() {
  std::unique_lock lock(m_mutex);
  if (m_messages.empty()) return nullptr;
  std::unique_ptr<apipc_msg> message = std::move(m_messages.front());
  m_messages.pop_front();
  m_bytes -= message->body.size();
  lock.unlock();
  m_space.notify_all();
  return message;
}

bool LocalQueue::empty() const {
  const std::lock_guard guard(m_mutex);
  return m_messages.empty();
}

int Bus::open(uint32_t task) {
  m_owner = bindSocket(SOCK_DGRAM, taskFile(task));
  if (!m_owner) {
    std::fprintf(stderr, "bus: task %08x cannot be opened: %s\n", task, systemError().c_str());
    return -1;
  }
  m_task = task;
  m_socket = m_owner.get();
  return 0;
}

int Bus::receive(void* context, apipc_event_fn callback) {
  const int socket = m_socket;
  Arrivals arrivals;
  while (socket >= 0) {
    if (!arrivals.take(socket)) {
      if (errno == EINTR) continue;
      break;
    }
    board().activity.touch();
    const size_t messages = arrivals.sortOut();
    m_dropped += arrivals.count() - messages;
    m_ahead = messages;
    for (size_t i = 0; i < messages; ++i) {
      const auto bytes = arrivals.message(i);
      auto message = std::make_unique<apipc_msg>();
      message->body.assign(bytes.begin(), bytes.end());
      ++m_received;
      --m_ahead;
      callback(this, context, message.release(), static_cast<int>(bytes.size()));
    }
  }
  std::this_thread::sleep_for(kPauseAfterFailure);
  return -1;
}

// A reply in the daemon's own name would come back as a request, and be answered for ever.
std::shared_ptr<Peers::Peer> Bus::peerOf(uint32_t task) {
  return task == m_task ? nullptr : m_peers.find(task);
}

int Bus::deliver(uint32_t task, std::span<const uint8_t> message) {
  // The second attempt is for a task that came back between the look at its name and the send.
  for (int attempt = 0; attempt < 2; ++attempt) {
    const std::shared_ptr<Peers::Peer> peer = peerOf(task);
    if (!peer) return -1;
    const int flags = MSG_NOSIGNAL | (peer->stalled.load(std::memory_order_relaxed) ? MSG_DONTWAIT : 0);
    ssize_t sent;
    do {
      sent = ::send(peer->socket.get(), message.data(), message.size(), flags);
    } while (sent < 0 && errno == EINTR);
    if (sent >= 0) {
      peer->stalled.store(false, std::memory_order_relaxed);
      return 0;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      peer->stalled.store(true, std::memory_order_relaxed);
      return -1;
    }
    m_peers.forget(task, peer);
  }
  return -1;
}

uint32_t Bus::receiver(uint32_t destination, std::span<const uint8_t> message) {
  const bool toReturnAddress = (destination & kTaskNumberMask) == kReturnNumber;
  return toReturnAddress && message.size() >= kBusEnvelope ? littleEndian(message.data()) : destination;
}

int Bus::send(uint32_t receiver, std::span<const uint8_t> message, int fault) {
  int result = fault;
  if (result == 0) result = message.size() <= kBusLargestMessage ? deliver(receiver, message) : -1;
  ++(result == 0 ? m_sent : m_refused);
  return result;
}

size_t Bus::sendAtOnce(uint32_t destination, std::span<apipc_part> parts) {
  std::array<iovec, Arrivals::kMost> buffers;
  std::array<mmsghdr, Arrivals::kMost> heads;
  uint32_t task = 0;
  unsigned count = 0;
  for (const apipc_part& part : parts.first(std::min(parts.size(), heads.size()))) {
    const std::span message(static_cast<const uint8_t*>(part.buffer), part.length);
    const uint32_t its = receiver(destination, message);
    if (message.size() > kBusLargestMessage || (count > 0 && its != task)) break;
    task = its;
    buffers[count] = {const_cast<void*>(part.buffer), part.length};
    heads[count].msg_hdr = {};
    heads[count].msg_hdr.msg_iov = &buffers[count];
    heads[count++].msg_hdr.msg_iovlen = 1;
  }
  const std::shared_ptr<Peers::Peer> peer = count > 0 ? peerOf(task) : nullptr;
  const int sent = peer ? ::sendmmsg(peer->socket.get(), heads.data(), count, MSG_NOSIGNAL | MSG_DONTWAIT) : 0;
  if (sent <= 0) return 0;
  peer->stalled.store(false, std::memory_order_relaxed);
  const auto taken = static_cast<size_t>(sent);
  for (apipc_part& part : parts.first(taken)) part.result = 0;
  m_sent += taken;
  board().activity.touch();
  return taken;
}

bool Bus::reachable(uint32_t task) const {
  return static_cast<bool>(connectSocket(SOCK_DGRAM, taskFile(task)));
}

bool Bus::pending() const {
  pollfd input{m_socket, POLLIN, 0};
  return ahead() > 0 || !queue.empty() || (input.fd >= 0 && ::poll(&input, 1, 0) > 0);
}

Bus::Counters Bus::counters() const {
  return {m_received, m_sent, m_refused, m_dropped};
}

}  // namespace vboard
