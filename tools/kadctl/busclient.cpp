#include "kadctl/busclient.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "kadctl/boundnames.h"
#include "kadctl/clienterror.h"

namespace kadctl {

using namespace TIRK_MCUC;

namespace {

std::string taskName(uint32_t task) {
  char name[9];
  std::snprintf(name, sizeof name, "%08x", task);
  return name;
}

// The daemon's card position, from the name of its socket; empty when no daemon has ever run there.
std::optional<uint8_t> findCardPosition(const UniqueFd& directory) {
  const int fd = ::openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(fd < 0 ? nullptr : ::fdopendir(fd), ::closedir);
  if (!entries) return std::nullopt;
  const std::string suffix = taskName(kTaskKadrend).substr(2);
  while (const dirent* entry = ::readdir(entries.get())) {
    const std::string name = entry->d_name;
    if (name.size() == 8 && name.substr(2) == suffix) {
      return static_cast<uint8_t>(std::strtoul(name.substr(0, 2).c_str(), nullptr, 16));
    }
  }
  return std::nullopt;
}

int remainingMs(std::chrono::steady_clock::time_point end) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
  return std::max<int>(0, static_cast<int>(left.count()));
}

}  // namespace

BusClient::BusClient(const std::string& boardDirectory, std::optional<uint32_t> task)
    : m_directory(openDirectory(boardDirectory + "/bus")) {
  const auto position = findCardPosition(m_directory);
  if (!position) throw ClientError("no daemon has opened the bus of " + boardDirectory);
  m_cardPosition = *position;
  // Numbers of our own above those of the device's tasks; the process id keeps clients apart.
  static std::atomic<uint32_t> count = 0;
  const uint32_t number = task.value_or(0x800000U | ((static_cast<uint32_t>(::getpid()) * 64 + count++) & 0x7FFFFFU));
  m_task = static_cast<uint32_t>(m_cardPosition) << 24 | number;
  m_name = taskName(m_task);
  m_socket = bindBelow(m_directory, m_name, SOCK_DGRAM);
  noteName(m_directory.get(), m_name);
}

BusClient::~BusClient() {
  dropName(m_directory.get(), m_name);
}

bool BusClient::taken(const std::string& boardDirectory, uint32_t task) {
  const UniqueFd directory = openDirectory(boardDirectory + "/bus");
  const uint32_t card = findCardPosition(directory).value_or(0);
  try {
    connectBelow(directory, taskName(card << 24 | task), SOCK_DGRAM);
    return true;
  } catch (const ClientError&) {
    return false;
  }
}

ThirdProtoMCUCMsg BusClient::request(uint8_t code, uint32_t address, uint16_t length, Bytes data,
                                     const Target& target) {
  ThirdProtoMCUCMsg frame(PROTOCOL_HEADER_TAG_REQUEST, 0, 0, 0, 0, target.deviceType, target.port, target.board, code,
                          address);
  frame.m_usValidDataLength = length;
  frame.m_data.assign(data.begin(), data.end());
  return frame;
}

std::vector<uint8_t> BusClient::datagram(const ThirdProtoMCUCMsg& request, uint32_t sequence) const {
  // A request's layout, written out here: the codec's own encoder makes replies.
  const size_t n = request.m_data.size();
  std::vector<uint8_t> out(kEnvelopeLength + kShortestFrame + n);
  uint8_t* frame = out.data() + kEnvelopeLength;
  MCUCMsg header = request;
  header.EncodeHeader(frame, static_cast<int>(out.size()) - kEnvelopeLength);
  std::copy(request.m_data.begin(), request.m_data.end(), frame + kFrameHeaderLength);
  uint16_t sum = 0;
  MCUCMsg::CaculCheckout(frame, 2, static_cast<int>(kFrameHeaderLength + n) - 2, sum);
  DWT_ENCWD(frame + kFrameHeaderLength + n, sum);

  ipcHeaderInfo envelope;
  envelope.uiid = m_task;
  envelope.labelCount = 1;
  envelope.size = kEnvelopeLength;
  envelope.detail = sequence;
  envelope.largeLabel = kLargeLabelFrame;
  envelope.payloadLength = static_cast<uint32_t>(kShortestFrame + n);
  envelope.encode(std::span<uint8_t, kEnvelopeLength>(out.data(), kEnvelopeLength));
  return out;
}

bool BusClient::send(Bytes bytes) {
  // A socket of its own, connected: one that receives from everybody cannot be. A daemon that was restarted has a new
  // one.
  for (int attempt = 0; attempt < 2; ++attempt) {
    try {
      if (m_sender.get() < 0) {
        m_sender =
            connectBelow(m_directory, taskName(static_cast<uint32_t>(m_cardPosition) << 24 | kTaskKadrend), SOCK_DGRAM);
      }
    } catch (const ClientError&) {
      return false;
    }
    const ssize_t sent = ::send(m_sender.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(bytes.size())) return true;
    m_sender = UniqueFd();
  }
  return false;
}

std::optional<Message> BusClient::receive(int timeoutMs) {
  pollfd waiting{m_socket.get(), POLLIN, 0};
  if (::poll(&waiting, 1, timeoutMs) <= 0) return std::nullopt;
  std::vector<uint8_t> buffer(kLargestMessage);
  const ssize_t n = ::recv(m_socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (n < kEnvelopeLength + kShortestFrame) return std::nullopt;
  const uint8_t* frame = buffer.data() + kEnvelopeLength;
  const int length = static_cast<int>(n) - kEnvelopeLength;
  Message message;
  message.envelope = ipcHeaderInfo::decode(std::span<const uint8_t, kEnvelopeLength>(buffer.data(), kEnvelopeLength));
  message.checksumRight = MCUCMsg::Checkout(frame, length);
  message.frame.DecodeHeader(frame, length);
  const int count = std::min<int>(message.frame.m_usValidDataLength, length - kShortestFrame);
  message.frame.m_data.assign(frame + kFrameHeaderLength, frame + kFrameHeaderLength + count);
  return message;
}

ssize_t BusClient::receiveRaw(MutableBytes buffer) {
  return ::recv(m_socket.get(), buffer.data(), buffer.size(), 0);
}

std::optional<Message> BusClient::ask(const ThirdProtoMCUCMsg& request, int timeoutMs) {
  const uint32_t sequence = ++m_sequence;
  if (!send(datagram(request, sequence))) return std::nullopt;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  do {
    auto message = receive(remainingMs(end));
    if (message && message->envelope.detail == sequence) return message;
  } while (remainingMs(end) > 0);
  return std::nullopt;
}

std::vector<uint8_t> BusClient::read(uint32_t address, uint16_t length, const Target& target) {
  auto reply = ask(request(kCodeRead, address, length, {}, target));
  if (!reply) throw ClientError("the daemon did not answer");
  if (reply->frame.m_ucAck != kAckOk) {
    throw ClientError("the daemon refused the read (ack " + std::to_string(reply->frame.m_ucAck) + ")");
  }
  return std::move(reply->frame.m_data);
}

void BusClient::write(uint32_t address, Bytes data, const Target& target) {
  if (data.size() > 0xFFFF) throw ClientError("more than 65535 bytes");
  const auto reply = ask(request(kCodeWrite, address, static_cast<uint16_t>(data.size()), data, target));
  if (!reply) throw ClientError("the daemon did not answer");
  if (reply->frame.m_ucAck != kAckOk) {
    throw ClientError("the daemon refused the write (ack " + std::to_string(reply->frame.m_ucAck) + ")");
  }
}

}  // namespace kadctl
