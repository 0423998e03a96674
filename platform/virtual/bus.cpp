#include "virtual/bus.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <algorithm>
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

// Whether a datagram of this many bytes (it may be longer than what is there) is a message.
bool wellFormed(std::span<const uint8_t> datagram) {
  return datagram.size() >= kBusEnvelope && datagram.size() <= kBusLargestMessage &&
         littleEndian(&datagram[kBusSizeField]) == datagram.size() - kBusEnvelope;
}

// Whether the task's socket file is there, and which one it is.
bool identify(uint32_t task, uint64_t& device, uint64_t& inode) {
  struct stat status;
  if (::fstatat(board().directoryFd, taskFile(task).c_str(), &status, 0) != 0) return false;
  device = status.st_dev;
  inode = status.st_ino;
  return true;
}

}  // namespace

// Made for every message that is sent: short enough for a string without memory of its own.
std::string taskFile(uint32_t task) {
  std::string name = "bus/00000000";
  for (size_t at = name.size(); task != 0; task >>= 4) name[--at] = "0123456789abcdef"[task & 0x0F];
  return name;
}

std::shared_ptr<Peers::Peer> Peers::connect(uint32_t task) const {
  auto peer = std::make_shared<Peer>();
  if (!identify(task, peer->device, peer->inode)) return nullptr;
  peer->socket = connectSocket(SOCK_DGRAM, taskFile(task));
  if (!peer->socket) return nullptr;
  const timeval patience{0, kPatienceMs * 1000L};
  if (::setsockopt(peer->socket.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience) != 0) return nullptr;
  return peer;
}

std::shared_ptr<Peers::Peer> Peers::find(uint32_t task) {
  uint64_t device = 0, inode = 0;
  const bool there = identify(task, device, inode);
  const std::lock_guard guard(m_mutex);
  const auto found = m_entries.find(task);
  if (found != m_entries.end()) {
    const Peer& known = *found->second.peer;
    if (there && known.device == device && known.inode == inode) {
      found->second.lastUse = ++m_uses;
      return found->second.peer;
    }
    m_entries.erase(found);
  }
  if (!there) return nullptr;
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
  m_socket = m_owner.get();
  return 0;
}

int Bus::receive(void* context, apipc_event_fn callback) {
  const int socket = m_socket;
  // One buffer for all, and a copy of the message's length: most messages are a thousandth of the longest.
  std::vector<uint8_t> buffer(socket < 0 ? 0 : kBusLargestMessage);
  while (socket >= 0) {
    const ssize_t length = ::recv(socket, buffer.data(), buffer.size(), MSG_TRUNC);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) break;
    board().activity.touch();
    const auto size = static_cast<size_t>(length);
    if (size > buffer.size() || !wellFormed({buffer.data(), size})) {
      ++m_dropped;
      continue;
    }
    ++m_received;
    auto message = std::make_unique<apipc_msg>();
    message->body.assign(buffer.data(), buffer.data() + size);
    callback(this, context, message.release(), static_cast<int>(length));
  }
  std::this_thread::sleep_for(kPauseAfterFailure);
  return -1;
}

int Bus::deliver(uint32_t task, std::span<const uint8_t> message) {
  // The second attempt is for a task that came back between the look at its name and the send.
  for (int attempt = 0; attempt < 2; ++attempt) {
    const std::shared_ptr<Peers::Peer> peer = m_peers.find(task);
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

bool Bus::reachable(uint32_t task) const {
  return static_cast<bool>(connectSocket(SOCK_DGRAM, taskFile(task)));
}

bool Bus::pending() const {
  pollfd input{m_socket, POLLIN, 0};
  return !queue.empty() || (input.fd >= 0 && ::poll(&input, 1, 0) > 0);
}

Bus::Counters Bus::counters() const {
  return {m_received, m_sent, m_refused, m_dropped};
}

}  // namespace vboard
