#include "virtual/monitor.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "virtual/board.h"
#include "virtual/commands.h"
#include "virtual/files.h"
#include "virtual/sockets.h"

namespace vboard {

namespace {

constexpr size_t kLongestLine = 1U << 20;
constexpr size_t kReadSize = 64U << 10;
constexpr size_t kFlushSize = 256U << 10;
constexpr rlim_t kReservedDescriptors = 256;  // for the daemon's files and its connections to other tasks
constexpr auto kPauseAfterFailure = std::chrono::milliseconds(100);

class ClientGone : public std::runtime_error {
 public:
  ClientGone() : std::runtime_error("the client is gone") {}
};

// Collects the answer and sends it in large pieces.
class SocketAnswer : public Answer {
 public:
  explicit SocketAnswer(int socket) : m_socket(socket) {}

  void text(std::string_view text) override {
    m_text += text;
    if (m_text.size() >= kFlushSize) flush();
  }

  void flush() {
    for (std::string_view rest = m_text; !rest.empty();) {
      const ssize_t sent = ::send(m_socket, rest.data(), rest.size(), MSG_NOSIGNAL);
      if (sent < 0 && errno == EINTR) continue;
      if (sent < 0) throw ClientGone();
      rest.remove_prefix(static_cast<size_t>(sent));
    }
    m_text.clear();
  }

 private:
  int m_socket;
  std::string m_text;
};

// One client, on a thread of its own: who reads slowly or never asks holds up nobody.
class Client {
 public:
  explicit Client(Descriptor socket) : m_socket(std::move(socket)) {}

  void serve() {
    std::array<char, kReadSize> buffer;
    for (;;) {
      const ssize_t got = ::recv(m_socket.get(), buffer.data(), buffer.size(), 0);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      take({buffer.data(), static_cast<size_t>(got)});
    }
    if (!m_line.empty() || m_tooLong) refuse("the last line has no end");
  }

 private:
  void take(std::string_view text) {
    for (size_t end = 0; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1)) {
      collect(text.substr(0, end));
      if (std::exchange(m_tooLong, false)) {
        refuse("a line has at most " + std::to_string(kLongestLine) + " characters");
      } else {
        run(std::exchange(m_line, {}));
      }
    }
    collect(text);
  }

  void collect(std::string_view text) {
    m_tooLong = m_tooLong || text.size() > kLongestLine - m_line.size();
    if (m_tooLong) {
      m_line.clear();
    } else {
      m_line += text;
    }
  }

  void run(const std::string& line) {
    SocketAnswer answer(m_socket.get());
    const std::string error = runCommand(line, answer);
    answer.line(error.empty() ? "ok" : "error: " + error);
    answer.flush();
    if (answer.afterwards) answer.afterwards();
  }

  void refuse(const std::string& error) {
    SocketAnswer answer(m_socket.get());
    answer.line("error: " + error);
    answer.flush();
  }

  Descriptor m_socket;
  std::string m_line;      // as far as it has come
  bool m_tooLong = false;  // the line that comes is longer than a line may be, and is not kept
};

void serveClient(Descriptor socket) {
  try {
    Client(std::move(socket)).serve();
  } catch (const ClientGone&) {
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "monitor: a client is dropped: %s\n", problem.what());
  }
}

// Whether the descriptors that are left are the daemon's. The lowest free one tells; the client's own was taken before
// it was waited for.
bool tooMany(const Descriptor& client) {
  rlimit limit = {};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
  const Descriptor lowest(::fcntl(client.get(), F_DUPFD_CLOEXEC, 0));
  return !lowest ||
         static_cast<rlim_t>(lowest.get()) >= limit.rlim_cur - std::min(kReservedDescriptors, limit.rlim_cur / 2);
}

void turnAway(const Descriptor& client) {
  try {
    SocketAnswer answer(client.get());
    answer.line("error: too many clients");
    answer.flush();
  } catch (const ClientGone&) {
  }
}

void acceptClients(const Descriptor& listener) {
  for (;;) {
    Descriptor client(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    try {
      if (client && tooMany(client)) {
        turnAway(client);
        continue;
      }
      if (client) {
        std::thread(serveClient, std::move(client)).detach();
        continue;
      }
    } catch (const std::system_error& problem) {
      std::fprintf(stderr, "monitor: a client is refused: %s\n", problem.what());
    }
    if (errno != EINTR && errno != ECONNABORTED) std::this_thread::sleep_for(kPauseAfterFailure);
  }
}

}  // namespace

void startMonitor() {
  Descriptor listener = bindSocket(SOCK_STREAM, "monitor");
  if (!listener) {
    throw std::runtime_error("cannot make \"monitor\": " + systemError());
  }
  std::thread([listener = std::move(listener)] { acceptClients(listener); }).detach();
}

}  // namespace vboard
