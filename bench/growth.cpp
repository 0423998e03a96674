// What round trips and memory become as data, queues, clients and walls grow.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "boardhost.h"
#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "rows.h"

namespace bench {

using namespace TIRK_MCUC;

namespace {

constexpr int kRounds = 7;

void dataLength(const Daemon& daemon, Curves& curves) {
  Curve time{"read-length", "Round trip of a read by its length", "bytes", "us"};
  for (const int length : {16, 256, 1024, 4096, 8192, 16384, 24576, 32768, 40960}) {
    RawExchange read = daemon.reading(kPositionSpace, static_cast<uint16_t>(length));
    time.points.emplace_back(length, timeExchanges(300, [&] { read(); }).median);
  }
  curves.push_back(time);
}

// Writes of 16 bytes behind some that pause for 10 ms each, so that none is applied meanwhile.
void queueLength(const Daemon& daemon, Curves& curves) {
  Curve time{"queue-time", "Acknowledgement of a write by the writes that wait", "writes in the queue", "us"};
  Curve memory{"queue-memory", "Memory of the writes that wait", "writes in the queue", "kB"};
  RawExchange pausing = daemon.writing(0x3D, std::vector<uint8_t>(7, 2));
  RawExchange write = daemon.writing(kEchoSpace + 16, std::vector<uint8_t>(16, 1));
  daemon.rest(50);
  const long before = daemon.residentKb();
  for (int i = 0; i < 100; ++i) pausing();
  constexpr int kStep = 1000;
  for (int queued = kStep; queued <= 8 * kStep; queued += kStep) {
    const double median = timeExchanges(kStep, [&] { write(); }).median;
    time.points.emplace_back(queued, median);
    memory.points.emplace_back(queued, static_cast<double>(daemon.residentKb() - before));
  }
  daemon.rest(50);
  curves.insert(curves.end(), {time, memory});
}

// All clients have a request under way at a time.
void clients(const Daemon& daemon, Curves& curves) {
  Curve time{"clients-time", "Time until all clients have their reply", "clients", "us"};
  Curve memory{"clients-memory", "Resident memory by clients", "clients", "kB"};
  std::vector<RawExchange> peers;
  for (const size_t count : {1U, 8U, 16U, 24U, 32U, 40U, 48U, 56U, 64U}) {
    while (peers.size() < count) peers.push_back(daemon.reading());
    const auto everyone = [&] {
      for (RawExchange& peer : peers) peer.send();
      for (RawExchange& peer : peers) peer.receive();
    };
    time.points.emplace_back(count, timeExchanges(200, everyone).median);
    memory.points.emplace_back(count, static_cast<double>(daemon.residentKb()));
  }
  curves.insert(curves.end(), {time, memory});
}

struct Wall {
  uint16_t rows;
  uint16_t columns;
};

// The whole calculation of a wall with its writes to FPGA and flash: microseconds, and kB of the process after it.
std::vector<double> layOut(const std::string& directory, const Wall& wall) {
  g_logLevel = 0;
  ::setenv("KADREND_BOARD", directory.c_str(), 1);
  if (board_open() != 0 || !DriverUtil::getInstance()->initialize()) throw std::runtime_error("no board");
  Data_Global& store = *Data_Global::getInstance();
  store.setCardSize({64, 64});
  const int cardsOfAPort = std::min(512, wall.rows * wall.columns);
  const MosaicRequest request{.rows = wall.rows, .columns = wall.columns, .cards = static_cast<uint16_t>(cardsOfAPort)};
  std::vector<double> times;
  for (int i = 0; i < kRounds; ++i) {
    const auto start = Clock::now();
    store.CalculateParaOfSenderInMosaicMode(request);
    times.push_back(microsecondsSince(start));
  }
  return {Series{times}.median(), static_cast<double>(residentKb(::getpid()))};
}

void cards(Curves& curves) {
  Curve time{"cards-time", "Calculation of a wall with its writes to FPGA and flash", "cards", "us"};
  Curve memory{"cards-memory", "Resident memory of a calculating process", "cards", "kB"};
  const ScratchDirectory board;
  for (const Wall wall : {Wall{1, 1}, {8, 8}, {8, 64}, {16, 64}, {24, 64}, {32, 64}, {48, 64}, {64, 64}, {80, 64}}) {
    const std::vector<double> taken = inChild([&] { return layOut(board.path(), wall); });
    const double count = wall.rows * wall.columns;
    time.points.emplace_back(count, taken.at(0));
    memory.points.emplace_back(count, taken.at(1));
  }
  curves.insert(curves.end(), {time, memory});
}

}  // namespace

void growthCurves(const Daemon& daemon, Curves& curves) {
  dataLength(daemon, curves);
  queueLength(daemon, curves);
  clients(daemon, curves);
  cards(curves);
}

}  // namespace bench
