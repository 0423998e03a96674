// The whole daemon beside its yardsticks, on one core, in turn. Usage: process_bench [--json] [--rounds N]
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <thread>

#include "childprocess.h"
#include "kadctl/busclient.h"
#include "kadctl/clienterror.h"
#include "kadctl/monitorclient.h"
#include "measure.h"
#include "yardsticks.h"

namespace {

using namespace TIRK_MCUC;
using bench::Row;
using Clock = std::chrono::steady_clock;

constexpr int kExchanges = 4000;
constexpr uint32_t kBackupSpace = 0x02300000;
constexpr uint32_t kEchoSpace = 0x02100000;
constexpr uint32_t kPositionSpace = 0x03000000;
constexpr uint16_t kReadLength = 48;
constexpr size_t kRequestBytes = kEnvelopeLength + kShortestFrame;
constexpr size_t kReplyBytes = kRequestBytes + kReadLength;

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Until the daemon answers its first request.
std::unique_ptr<kadctl::BusClient> connect(const std::string& board) {
  for (;;) {
    try {
      auto client = std::make_unique<kadctl::BusClient>(board);
      if (client->ask(kadctl::BusClient::request(kCodeRead, kBackupSpace, 1, {}, {}), 200)) return client;
    } catch (const kadctl::ClientError&) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  }
}

// One request, encoded once, and its replies: a client that costs as little as the bare echo's.
class RawExchange {
 public:
  RawExchange(const std::string& board, const ThirdProtoMCUCMsg& request)
      : m_client(board), m_datagram(m_client.datagram(request, 1)) {}
  void operator()() {
    if (!m_client.send(m_datagram)) throw std::runtime_error("the daemon does not take requests");
    static std::array<uint8_t, kLargestMessage> reply;
    if (m_client.receiveRaw(reply) < kEnvelopeLength + kShortestFrame) throw std::runtime_error("no reply");
  }

 private:
  kadctl::BusClient m_client;
  std::vector<uint8_t> m_datagram;
};

void silence(const std::string& board) {
  std::system(("mkdir -p " + board + " && echo 'journal = off' > " + board + "/board.conf").c_str());
}

struct Bench {
  explicit Bench(int rounds) : m_rounds(rounds) {
    silence(m_directory.path());
    m_daemon = bench::startDaemon(m_directory.path());
    m_client = connect(m_directory.path());
  }

  void readRoundTrip(std::vector<Row>& rows) {
    const bench::ScratchDirectory echoDirectory;
    bench::BareEcho echo(echoDirectory.path());
    bench::ModbusReader modbus;
    RawExchange read = positionRead();
    const auto daemon = [&] { return bench::timeExchanges(kExchanges, [&] { read(); }).median; };
    const auto bare = [&] {
      return bench::timeExchanges(kExchanges, [&] { echo.exchange(kRequestBytes, kReplyBytes); }).median;
    };
    const auto registers = [&] { return bench::timeExchanges(kExchanges, [&] { modbus.readRegisters(60); }).median; };
    Row beside{"read of 48 bytes, round trip", "us", {}, "bare echo, one thread hop", {}, 1.3};
    bench::interleave(m_rounds, beside, daemon, bare);
    rows.push_back(beside);
    Row modbusRow{"read of 48 bytes, round trip", "us", {}, "Modbus TCP, 60 registers", {}, 0.7};
    bench::interleave(m_rounds, modbusRow, daemon, registers);
    rows.push_back(modbusRow);
  }

  void writeAcknowledgement(std::vector<Row>& rows) {
    const std::vector<uint8_t> data(16, 1);
    RawExchange write(m_directory.path(), kadctl::BusClient::request(kCodeWrite, kEchoSpace + 16, 16, data, {}));
    RawExchange read = positionRead();
    Row row{"acknowledgement of a write", "us", {}, "reply to a 48-byte read", {}, 1.0};
    bench::interleave(
        m_rounds, row, [&] { return bench::timeExchanges(kExchanges, [&] { write(); }).median; },
        [&] { return bench::timeExchanges(kExchanges, [&] { read(); }).median; });
    rows.push_back(row);
  }

  void tail(std::vector<Row>& rows) {
    RawExchange read = positionRead();
    Row row{"read, 99th percentile", "us", {}, "its median", {}, 2.5};
    for (int i = 0; i < m_rounds; ++i) {
      const auto latency = bench::timeExchanges(kExchanges, [&] { read(); });
      row.figure.rounds.push_back(latency.p99);
      row.yardstick.rounds.push_back(latency.median);
    }
    rows.push_back(row);
  }

  void memory(std::vector<Row>& rows) {
    Row resident{"resident memory, idle", "MB", {}, "", {}, 6};
    resident.figure.rounds.push_back(static_cast<double>(bench::residentKb(m_daemon.pid())) / 1024);
    rows.push_back(resident);
  }

  void idle(std::vector<Row>& rows) {
    Row row{"wake-ups, idle, whole process", "1/s", {}, "", {}, 6};
    std::this_thread::sleep_for(std::chrono::seconds(1));
    for (int i = 0; i < 3; ++i) {
      const long before = bench::voluntarySwitches(m_daemon.pid());
      std::this_thread::sleep_for(std::chrono::seconds(3));
      row.figure.rounds.push_back(static_cast<double>(bench::voluntarySwitches(m_daemon.pid()) - before) / 3);
    }
    rows.push_back(row);
  }

  void start(std::vector<Row>& rows) {
    Row row{"exec to first reply", "ms", {}, "", {}, 50};
    for (int i = 0; i < m_rounds; ++i) {
      m_client.reset();
      m_daemon = bench::ChildProcess();
      const auto begin = Clock::now();
      m_daemon = bench::startDaemon(m_directory.path());
      m_client = connect(m_directory.path());
      row.figure.rounds.push_back(millisecondsSince(begin));
    }
    rows.push_back(row);
  }

  // Writes pile up behind a card write that pauses.
  void queuedWrites(std::vector<Row>& rows) {
    Row row{"1000 queued writes of 16 bytes", "MB", {}, "", {}, 1.5};
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const long before = bench::residentKb(m_daemon.pid());
    const std::vector<uint8_t> trigger(256, 1);
    for (int i = 0; i < 40; ++i) m_client->write(kBackupSpace, trigger);
    const std::vector<uint8_t> data(16, 1);
    long most = before;
    for (int i = 0; i < 1000; ++i) {
      m_client->write(kEchoSpace + 16, data);
      if (i % 50 == 49) most = std::max(most, bench::residentKb(m_daemon.pid()));
    }
    row.figure.rounds.push_back(static_cast<double>(most - before) / 1024);
    rows.push_back(row);
  }

 private:
  RawExchange positionRead() const {
    return {m_directory.path(), kadctl::BusClient::request(kCodeRead, kPositionSpace, kReadLength, {}, {})};
  }

  int m_rounds;
  bench::ScratchDirectory m_directory;
  bench::ChildProcess m_daemon;
  std::unique_ptr<kadctl::BusClient> m_client;
};

}  // namespace

int main(int argc, char** argv) {
  bool json = false;
  int rounds = 7;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--json") == 0) json = true;
    if (std::strcmp(argv[i], "--rounds") == 0 && i + 1 < argc) rounds = std::atoi(argv[++i]);
  }
  bench::pinToCore(0);
  std::vector<Row> rows;
  Bench bench(rounds);
  bench.readRoundTrip(rows);
  bench.writeAcknowledgement(rows);
  bench.tail(rows);
  bench.start(rows);
  bench.idle(rows);
  bench.memory(rows);
  bench.queuedWrites(rows);
  if (json) {
    std::cout << bench::toJson(rows) << "\n";
  } else {
    bench::printTable(rows);
  }
  return 0;
}
