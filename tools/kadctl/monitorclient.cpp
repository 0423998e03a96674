#include "kadctl/monitorclient.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "kadctl/clienterror.h"

namespace kadctl {

namespace {

TIRK_MCUC::UniqueFd connectMonitor(const std::string& boardDirectory) {
  const TIRK_MCUC::UniqueFd directory = openDirectory(boardDirectory);
  try {
    return connectBelow(directory, "monitor", SOCK_STREAM);
  } catch (const ClientError& error) {
    throw ClientError("no daemon serves " + boardDirectory + " (" + error.what() + ")");
  }
}

}  // namespace

MonitorClient::MonitorClient(const std::string& boardDirectory) : m_socket(connectMonitor(boardDirectory)) {}

std::vector<std::string> MonitorClient::command(const std::string& line) {
  const std::string text = line + "\n";
  for (size_t sent = 0; sent < text.size();) {
    const ssize_t n = ::send(m_socket.get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) throw ClientError("the monitor console went away");
    sent += static_cast<size_t>(n);
  }
  std::vector<std::string> lines;
  for (;;) {
    std::string answer = readLine();
    if (answer == "ok") return lines;
    if (answer.starts_with("error: ")) throw ClientError(answer.substr(7));
    lines.push_back(std::move(answer));
  }
}

std::string MonitorClient::readLine() {
  for (;;) {
    if (const size_t end = m_pending.find('\n'); end != std::string::npos) {
      std::string line = m_pending.substr(0, end);
      m_pending.erase(0, end + 1);
      return line;
    }
    std::array<char, 65536> buffer;
    const ssize_t n = ::recv(m_socket.get(), buffer.data(), buffer.size(), 0);
    if (n <= 0) throw ClientError("the monitor console went away");
    m_pending.append(buffer.data(), static_cast<size_t>(n));
  }
}

}  // namespace kadctl
