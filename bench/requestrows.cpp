#include <thread>

#include "dbuscall.h"
#include "rows.h"
#include "yardsticks.h"

namespace bench {

namespace {

constexpr int kExchanges = 2000;
constexpr int kPacedExchanges = 300;
constexpr auto kPause = std::chrono::microseconds(300);  // the daemon, and its worker, come to rest
constexpr size_t kOutstanding = 8;

double median(int count, const std::function<void()>& exchange) {
  return timeExchanges(count, exchange).median;
}

void roundTrips(const Daemon& daemon, int rounds, Rows& rows) {
  const ScratchDirectory scratch;
  BareEcho echo(scratch.path());
  ModbusReader modbus;
  DbusReader dbus(scratch.path());
  RawExchange read = daemon.reading();
  const auto figure = [&] { return median(kExchanges, [&] { read(); }); };
  const auto add = [&](const char* yardstick, double bound, const std::function<void()>& exchange) {
    Row row{"read of 48 bytes, round trip", "us", yardstick, {Target::kRatioAtMost, bound}};
    interleave(rounds, row, figure, [&] { return median(kExchanges, exchange); });
    rows.push_back(row);
  };
  add("bare echo, one thread hop", 1.15, [&] { echo.exchange(kRequestBytes, kReplyBytes); });
  add("Modbus TCP, 60 registers", 0.6, [&] { modbus.readRegisters(60); });
  add("D-Bus call through its daemon", 0.3, [&] { dbus.read(); });
}

// Each request finds the daemon at rest: what is applied after an acknowledgement is no part of it.
void acknowledgements(const Daemon& daemon, int rounds, Rows& rows) {
  RawExchange write = daemon.writing(kEchoSpace + 16, std::vector<uint8_t>(16, 1));
  RawExchange read = daemon.reading();
  const auto paced = [](RawExchange& exchange) {
    return timeExchanges(
               kPacedExchanges, [&] { exchange(); }, [] { std::this_thread::sleep_for(kPause); })
        .median;
  };
  Row row{"acknowledgement of a write, at rest", "us", "read of 48 bytes, at rest", {Target::kRatioAtMost, 1.0}};
  interleave(
      rounds, row, [&] { return paced(write); }, [&] { return paced(read); });
  rows.push_back(row);
  Row busy{"write after write, applied on the same core", "us", "read after read"};
  interleave(
      rounds, busy, [&] { return median(kExchanges, [&] { write(); }); },
      [&] { return median(kExchanges, [&] { read(); }); });
  rows.push_back(busy);
}

// A save for every 20 reads keeps the worker at it.
void tails(const Daemon& daemon, int rounds, Rows& rows) {
  constexpr int kReadsASave = 20;
  RawExchange read = daemon.reading();
  RawExchange save = daemon.writing(kSaveRegister, {1});
  int calls = 0;
  const auto saveNow = [&] {
    if (++calls % kReadsASave == 0) save();
  };
  const auto add = [&](const char* name, const std::function<void()>& between) {
    Row row{name, "us", "its median", {Target::kRatioAtMost, 2.5}};
    for (int i = 0; i < rounds; ++i) {
      const Latency latency = timeExchanges(
          kExchanges, [&] { read(); }, between);
      row.figure.rounds.push_back(latency.p99);
      row.yardstick.rounds.push_back(latency.median);
    }
    rows.push_back(row);
  };
  add("read of 48 bytes, 99th percentile", {});
  add("the same while saves run", saveNow);
}

// Thousands of messages a second with so many under way, by the median of short stretches: what else runs on the core
// takes its turn in few of them.
double throughput(const std::function<void()>& send, const std::function<void()>& receive) {
  constexpr int kStretch = 32;
  for (size_t i = 0; i < kOutstanding; ++i) send();
  const Latency stretch = timeExchanges(kExchanges / kStretch, [&] {
    for (int i = 0; i < kStretch; ++i) {
      receive();
      send();
    }
  });
  for (size_t i = 0; i < kOutstanding; ++i) receive();
  return 1000 * kStretch / stretch.median;
}

void outstanding(const Daemon& daemon, int rounds, Rows& rows) {
  const ScratchDirectory scratch;
  BareEcho echo(scratch.path());
  RawExchange read = daemon.reading();
  const auto sendRead = [&] { read.send(); };
  const auto sendEcho = [&] { echo.send(kRequestBytes, kReplyBytes); };
  Row row{"reads with 8 outstanding", "1000/s", "bare echo, one thread hop", {Target::kRatioAtLeast, 0.85}};
  interleave(
      rounds, row, [&] { return throughput(sendRead, [&] { read.receive(); }); },
      [&] { return throughput(sendEcho, [&] { echo.receive(); }); });
  rows.push_back(row);
  const ScratchDirectory other;
  BareEcho reading(other.path(), true);
  const auto sendReading = [&] { reading.send(kRequestBytes, kReplyBytes); };
  Row floor{"bare echo that reads 48 bytes of a file, 8 outstanding", "1000/s", "bare echo, one thread hop"};
  interleave(
      rounds, floor, [&] { return throughput(sendReading, [&] { reading.receive(); }); },
      [&] { return throughput(sendEcho, [&] { echo.receive(); }); });
  rows.push_back(floor);
}

// A client that sends without a pause, as fast as it is served, beside one that waits for each reply. All send to one
// socket: the echo shows what that alone costs.
void floods(const Daemon& daemon, int rounds, Rows& rows) {
  const ScratchDirectory scratch;
  BareEcho echo(scratch.path());
  RawExchange read = daemon.reading();
  const auto p99 = [](const std::function<void()>& exchange) { return timeExchanges(kExchanges / 2, exchange).p99; };
  const auto readTail = [&] { return p99([&] { read(); }); };
  const auto echoTail = [&] { return p99([&] { echo.exchange(kRequestBytes, kReplyBytes); }); };
  const auto flooded = [](const std::function<void()>& flood, const std::function<double()>& tail) {
    const ChildProcess flooding(flood);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return tail();
  };
  const auto endlessly = [](const std::function<void()>& send, const std::function<void()>& receive) {
    std::thread([&] {
      for (;;) receive();
    }).detach();
    for (;;) send();
  };
  const auto floodDaemon = [&] {
    RawExchange own = daemon.reading();
    endlessly([&] { own.send(); }, [&] { own.receive(); });
  };
  const auto floodEcho = [&] {
    endlessly([&] { echo.send(kRequestBytes, kReplyBytes, true); }, [&] { echo.receive(true); });
  };
  Row row{"99th percentile while another floods", "us", "quiet", {Target::kRatioAtMost, 1.5}};
  interleave(
      rounds, row, [&] { return flooded(floodDaemon, readTail); }, readTail);
  rows.push_back(row);
  Row floor{"bare echo, the same", "us", "quiet"};
  interleave(
      rounds, floor, [&] { return flooded(floodEcho, echoTail); }, echoTail);
  rows.push_back(floor);
}

}  // namespace

void requestRows(const Daemon& daemon, int rounds, Rows& rows) {
  roundTrips(daemon, rounds, rows);
  acknowledgements(daemon, rounds, rows);
  tails(daemon, rounds, rows);
  outstanding(daemon, rounds, rows);
  floods(daemon, rounds, rows);
}

}  // namespace bench
