// The daemon killed with SIGKILL at random moments, at work for four clients that write and read back, and while it
// starts. After each kill it is started on the same board. It answers, no write whose effect was seen is lost, and
// nothing that one write or one save stores is there in part.
//   KILLED_CYCLES=50  KILLED_SEED=N (else random, printed)  KILLED_TIMES=1: asserts the times to the first reply
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>

#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/reportregisters.h"
#include "support/daemon_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using Clock = std::chrono::steady_clock;
using kadctl::BusClient;

unsigned long setting(const char* name, unsigned long otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

// The bytes of the n-th write to an area: its number, and what follows from it.
ByteVector generation(uint32_t n, size_t length) {
  ByteVector bytes(length);
  DWT_ENCDW(bytes.data(), n);
  for (size_t i = 4; i < length; ++i) bytes[i] = static_cast<uint8_t>(n * 7 + i);
  return bytes;
}

// An area of the flash that one client writes.
struct Area {
  const char* name;
  uint32_t address;  // register
  uint32_t flash;
  size_t length;
};
// One program operation; several in a row; one; and the two tables, which a save command stores with others.
constexpr Area kBackup{"backup space", 0x02300100, flash::kBackup.address + 0x100, 600};
constexpr Area kSoftware{"software table", 0x05000200, flash::kSoftwareTable1.address + 0x200, 700};
constexpr Area kNames{"device names", 0x0F800200, flash::kDeviceNames.address + 0x200, 500};
constexpr Area kPositions{"position table", 0x03009000, flash::kPosition.address + 0x9000, 1000};
constexpr Area kNumbers{"number table", 0x03100100, flash::kNumber.address + 0x100, 64};
constexpr Area kSaved{"what follows a save", 0x02300F00, flash::kBackup.address + 0xF00, 16};

// What a client knows of its area.
struct Progress {
  uint32_t sent = 0;
  uint32_t seen = 0;
};

class Client {
 public:
  Client(const std::string& board, const std::atomic<bool>& stop) : m_bus(board), m_stop(stop) {}

  // Writes one generation after the other, and reads until it is there. Ends when the daemon is gone.
  void write(const Area& area, Progress& progress) {
    while (put(area, ++progress.sent) && appears(area, progress.sent)) progress.seen = progress.sent;
  }
  // The same with two tables and a save. Items are applied in order: what follows the save tells that it is done.
  void save(Progress& progress) {
    for (;;) {
      const uint32_t n = ++progress.sent;
      if (!put(kPositions, n) || !put(kNumbers, n) || !ask(kCodeWrite, 0x01000001, ByteVector(1, 1), 1) ||
          !put(kSaved, n) || !appears(kSaved, n)) {
        return;
      }
      progress.seen = n;
    }
  }

 private:
  std::optional<kadctl::Message> ask(uint8_t code, uint32_t address, const ByteVector& data, size_t length) {
    if (m_stop) return std::nullopt;
    try {
      auto reply = m_bus.ask(BusClient::request(code, address, static_cast<uint16_t>(length), data, {}), 200);
      if (reply && reply->frame.m_ucAck == kAckOk) return reply;
    } catch (const kadctl::ClientError&) {  // the daemon is gone
    }
    return std::nullopt;
  }
  bool put(const Area& area, uint32_t n) {
    return ask(kCodeWrite, area.address, generation(n, area.length), area.length).has_value();
  }
  bool appears(const Area& area, uint32_t n) {
    for (;;) {
      const auto reply = ask(kCodeRead, area.address, {}, area.length);
      if (!reply) return false;
      if (reply->frame.m_data == generation(n, area.length)) return true;
    }
  }

  BusClient m_bus;
  const std::atomic<bool>& m_stop;
};

struct Times {
  std::vector<double> ms;
  double at(double share) const {
    auto sorted = ms;
    std::sort(sorted.begin(), sorted.end());
    return sorted[static_cast<size_t>(share * static_cast<double>(sorted.size() - 1))];
  }
  void print(const char* name) const {
    std::printf("first reply %s, ms: median %.1f, 90 %% %.1f, 99 %% %.1f, slowest %.1f of %zu\n", name, at(0.5),
                at(0.9), at(0.99), at(1), ms.size());
  }
};

class Killed : public DaemonTest {
 protected:
  static constexpr unsigned kLongestLifeMs = 80;
  static constexpr unsigned kLongestStartMs = 12;
  static constexpr unsigned kStartsEvery = 4;

  Killed() : DaemonTest("fpga_load_ms = 0\n", "") {}
  void SetUp() override {
    start();
    m_peer = std::make_unique<BusClient>(board(), kTaskQxt);
    kill9();
  }

  void startTimed(Times& times) {
    while (m_peer->receive(0)) continue;
    const auto begin = Clock::now();
    start();
    times.ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
    // What is written before the restore of the tables is replaced by it.
    const auto restored = [this] {
      const auto message = m_peer->receive(5);
      return message && message->frame.m_uiRegisterUnitAddress == report::kLoaded;
    };
    ASSERT_TRUE(waitUntil(restored));
  }

  void work(unsigned ms) {
    std::atomic<bool> stop{false};
    const Area* areas[] = {&kBackup, &kSoftware, &kNames};
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 3; ++i) {
      threads.emplace_back([&, i] { Client(board(), stop).write(*areas[i], m_progress[i]); });
    }
    threads.emplace_back([&] { Client(board(), stop).save(m_progress[3]); });
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    kill9();
    stop = true;
    for (auto& thread : threads) thread.join();
  }

  // The generation that the flash holds, 0 when it was never written.
  uint32_t stored(const Area& area) {
    const ByteVector bytes = flash(area.flash, area.length);
    const uint32_t n = readDword(bytes.data());
    if (std::all_of(bytes.begin(), bytes.end(), [&](uint8_t b) { return b == bytes[0]; })) return 0;
    EXPECT_EQ(toHex(bytes), toHex(generation(n, area.length))) << area.name << " is stored in part";
    return n;
  }
  void expectKept(const Area& area, const Progress& progress) {
    const uint32_t n = stored(area);
    EXPECT_GE(n, progress.seen) << area.name << ": a write that was applied is lost";
    EXPECT_LE(n, progress.sent) << area.name;
  }
  void expectWhole() {
    expectKept(kBackup, m_progress[0]);
    expectKept(kSoftware, m_progress[1]);
    expectKept(kNames, m_progress[2]);
    expectKept(kPositions, m_progress[3]);
    expectKept(kNumbers, m_progress[3]);
    EXPECT_EQ(stored(kPositions), stored(kNumbers)) << "the tables are of two saves";
  }

  std::unique_ptr<BusClient> m_peer;
  Progress m_progress[4];
};

TEST_F(Killed, LosesNothingAndStoresNothingInPart) {
  const unsigned long cycles = setting("KILLED_CYCLES", 50);
  const unsigned long seed = setting("KILLED_SEED", std::random_device()());
  std::mt19937 random(static_cast<uint32_t>(seed));
  std::printf("seed %lu\n", seed);
  Times undisturbed, atWork, atStart;
  unsigned withinSave = 0;
  startTimed(undisturbed);
  for (unsigned long cycle = 0; cycle < cycles && !HasFailure(); ++cycle) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", cycle " + std::to_string(cycle));
    work(static_cast<unsigned>(random() % kLongestLifeMs));
    withinSave += pendingNote(m_directory).empty() ? 0 : 1;
    startTimed(atWork);
    expectWhole();
    if (cycle % kStartsEvery != 0) continue;
    kill9();
    spawn();
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % kLongestStartMs));
    kill9();
    startTimed(atStart);
    kill9();
    startTimed(undisturbed);
  }
  const uint32_t writes = m_progress[0].seen + m_progress[1].seen + m_progress[2].seen + m_progress[3].seen;
  std::printf("%zu kills at work, %u of them within a save, %zu at start; %u writes and saves seen\n", atWork.ms.size(),
              withinSave, atStart.ms.size(), writes);
  undisturbed.print("undisturbed");
  atWork.print("after a kill at work");
  atStart.print("after a kill at start");
  if (setting("KILLED_TIMES", 0) == 0) return;
  EXPECT_LE(atWork.at(0.5), 2 * undisturbed.at(0.5));
  EXPECT_LE(atWork.at(0.99), 2 * undisturbed.at(0.99));
  EXPECT_LE(atStart.at(0.5), 2 * undisturbed.at(0.5));
}

}  // namespace
}  // namespace testing_support
