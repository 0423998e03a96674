#include "daemon.h"

#include <sys/stat.h>

#include <array>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "kadctl/clienterror.h"
#include "kadctl/monitorclient.h"
#include "measure.h"

namespace bench {

using namespace TIRK_MCUC;

namespace {

constexpr auto kStartUp = std::chrono::milliseconds(2500);  // the daemon settles for two seconds after its start

// Which file the socket of the daemon is; 0: there is none.
ino_t socketOf(const std::string& board) {
  struct stat status {};
  return ::stat((board + "/bus/010a4200").c_str(), &status) == 0 ? status.st_ino : 0;
}

// Returns when the daemon answers. Until it has made its socket anew nothing but that is looked for, which costs the
// core that both share next to nothing.
void untilItAnswers(const std::string& board, ino_t oldSocket) {
  while (socketOf(board) == oldSocket) std::this_thread::sleep_for(std::chrono::microseconds(100));
  for (;;) {
    try {
      kadctl::BusClient client(board);
      if (client.ask(kadctl::BusClient::request(kCodeRead, kPositionSpace, 1, {}, {}), 200)) return;
    } catch (const kadctl::ClientError&) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }
}

}  // namespace

RawExchange::RawExchange(const std::string& board, const ThirdProtoMCUCMsg& request)
    : m_client(std::make_unique<kadctl::BusClient>(board)), m_datagram(m_client->datagram(request, 1)) {}

void RawExchange::send() {
  if (!m_client->send(m_datagram)) throw std::runtime_error("the daemon does not take requests");
}

void RawExchange::receive() {
  static std::array<uint8_t, kLargestMessage> reply;
  if (m_client->receiveRaw(reply) < kEnvelopeLength + kShortestFrame) throw std::runtime_error("no reply");
}

Daemon::Daemon() {
  std::ofstream(m_directory.path() + "/board.conf") << "journal = off\n";
  restart();
  settle();
}

void Daemon::settle() const {
  std::this_thread::sleep_for(kStartUp);
  rest(20);
}

double Daemon::restart() {
  m_process = ChildProcess();
  const ino_t oldSocket = socketOf(board());
  const auto begin = Clock::now();
  m_process = startDaemon(board());
  untilItAnswers(board(), oldSocket);
  return microsecondsSince(begin) / 1000;
}

RawExchange Daemon::reading(uint32_t address, uint16_t length) const {
  return {board(), kadctl::BusClient::request(kCodeRead, address, length, {}, {})};
}

RawExchange Daemon::writing(uint32_t address, const std::vector<uint8_t>& data) const {
  return {board(), kadctl::BusClient::request(kCodeWrite, address, static_cast<uint16_t>(data.size()), data, {})};
}

void Daemon::rest(int milliseconds) const {
  kadctl::MonitorClient(board()).command("idle " + std::to_string(milliseconds));
}

}  // namespace bench
