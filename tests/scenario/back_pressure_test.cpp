// Clients that behave badly: floods, sockets that nobody reads, deaths, sizes at the limit, senders without number. The
// others are served, the daemon's memory stays bounded, and each message that it takes is answered.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "support/sanitizer.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;

constexpr uint32_t kPosition = 0x03000000;
constexpr uint32_t kBackup = 0x02300000;
constexpr size_t kUiid = 0;  // of the envelope: the sender's identifier

class BackPressureTest : public RunningDaemonTest {
 protected:
  BackPressureTest() : RunningDaemonTest(kLoadsAtOnce, "") {}
  void SetUp() override {
    RunningDaemonTest::SetUp();
    monitor("journal off");
    setFlash(0xB98000, ByteVector(64, 0x21));
  }

  static ThirdProtoMCUCMsg reading(uint16_t length = 64) {
    return BusClient::request(kCodeRead, kBackup, length, {}, {});
  }
  // `count` exchanges of the client that behaves, in microseconds. Each is answered, and right.
  std::vector<double> exchanges(int count = 1000) {
    std::vector<double> times;
    const ThirdProtoMCUCMsg request = reading();
    for (int i = 0; i < count; ++i) {
      const auto start = std::chrono::steady_clock::now();
      const Reply answer = ask(client(), request);
      times.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
      EXPECT_EQ(answer, (Reply{0, 0, ByteVector(64, 0x21)}));
    }
    return times;
  }
  static double p99(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times.at(times.size() * 99 / 100);
  }
  // Prints how the exchanges of the others fare while `pressure` lasts. Reported, not required: it is a timing.
  static void report(const char* pressure, const std::vector<double>& before, const std::vector<double>& during) {
    const double quiet = p99(before), pressed = p99(during);
    std::printf("p99 of the others: %.0f us quiet, %.0f us with %s (%.1f times)\n", quiet, pressed, pressure,
                pressed / quiet);
  }
  uint64_t counter(size_t line) {  // of the console's `bus`: received, sent, refused, dropped
    const std::string text = monitor("bus").at(line);
    return std::stoull(text.substr(text.find(' ') + 1));
  }
  uint64_t received() { return counter(0); }
  uint64_t answered() { return counter(1) + counter(2); }  // sent, or tried
  uint64_t refused() { return counter(2); }
  uint64_t dropped() { return counter(3); }
  long residentKb() const {
    std::ifstream status("/proc/" + std::to_string(pid()) + "/status");
    for (std::string line; std::getline(status, line);)
      if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return -1;
  }
  // Memory may be used for buffers that grow to their bound once; it does not follow the number of messages. Reported
  // only where a sanitizer's own memory counts too.
  void expectMemoryWithin(long kb, long before) const {
    const long after = residentKb();
    std::printf("resident memory: %ld kB, then %ld kB\n", before, after);
    if (!kSanitized) {
      EXPECT_LE(after - before, kb);
    }
  }
};

TEST_F(BackPressureTest, EveryMessageOfAFloodIsAnsweredAndOthersAreServed) {
  const auto quiet = exchanges();
  const long before = residentKb();
  BusClient flooding(board());
  const ByteVector datagram = flooding.datagram(reading(512), 7);
  std::atomic<bool> over{false};
  const uint64_t lost = refused();
  size_t sent = 0, heard = 0;
  std::thread sender([&] {
    while (!over) sent += flooding.send(datagram) ? 1 : 0;
  });
  std::thread reader([&] {
    // The last reply is followed by nothing for a second.
    while (flooding.receive(over ? 1000 : 5000)) ++heard;
  });
  const auto pressed = exchanges();
  over = true;
  sender.join();
  reader.join();
  EXPECT_GT(sent, 1000U);
  // A reply that its own client left no room for, for 100 ms, counts as refused: no other is missing.
  EXPECT_EQ(heard + (refused() - lost), sent);
  expectMemoryWithin(8192, before);
  report("a client that floods", quiet, pressed);
}

TEST_F(BackPressureTest, AClientThatNeverReadsCostsOnlyItsOwnReplies) {
  const auto quiet = exchanges();
  BusClient deaf(board());
  const ByteVector datagram = deaf.datagram(reading(512), 7);
  // Until its queue has been found full.
  const uint64_t first = refused();
  ASSERT_TRUE(waitUntil([&] { return deaf.send(datagram) && refused() > first; }));
  const long before = residentKb();
  std::atomic<bool> over{false};
  std::thread sender([&] {
    while (!over) {
      deaf.send(datagram);
      std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
  });
  const auto pressed = exchanges();
  over = true;
  sender.join();
  EXPECT_GT(refused(), first + 10);
  expectMemoryWithin(1024, before);
  report("a client that never reads", quiet, pressed);

  while (deaf.receive(0)) continue;  // it comes to its senses
  EXPECT_EQ(ask(deaf, reading()), (Reply{0, 0, ByteVector(64, 0x21)}));
}

TEST_F(BackPressureTest, ClientsThatDieWithRequestsUnderWayLeaveNothing) {
  const auto quiet = exchanges();
  const std::string descriptors = "/proc/" + std::to_string(pid()) + "/fd";
  const auto open = [&] {
    return std::distance(std::filesystem::directory_iterator(descriptors), std::filesystem::directory_iterator());
  };
  const long before = residentKb();
  std::vector<double> pressed;
  for (int i = 0; i < 300; ++i) {
    BusClient dying(board());
    for (int k = 0; k < 5; ++k) ASSERT_TRUE(dying.send(dying.datagram(reading(512), 7)));
    const auto some = exchanges(4);
    pressed.insert(pressed.end(), some.begin(), some.end());
  }
  ASSERT_TRUE(waitUntil([&] { return answered() >= received(); }));
  expectMemoryWithin(1024, before);
  EXPECT_LT(open(), 170);  // some connections are kept, 64 at most, of two descriptors each
  report("clients that die", quiet, pressed);
}

TEST_F(BackPressureTest, TheLongestTheEmptyAndTheTooLongDatagram) {
  BusClient odd(board());
  const long before = residentKb();
  const uint64_t drops = dropped(), taken = received();
  const auto frameOf = [&](size_t total) {
    ByteVector data(total - kEnvelopeLength - kShortestFrame, 0x5A);
    return odd.datagram(BusClient::request(kCodeWrite, kPosition, static_cast<uint16_t>(data.size()), data, {}), 9);
  };
  const ByteVector longest = frameOf(65564), tooLong = frameOf(65565);
  constexpr int kRounds = 200;
  for (int i = 0; i < kRounds; ++i) {
    ASSERT_TRUE(odd.send(longest));
    ASSERT_TRUE(odd.send({}));
    ASSERT_TRUE(odd.send(tooLong));
    const auto reply = odd.receive(5000);
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->envelope.detail, 9U);
    EXPECT_EQ(reply->frame.m_ucAck, 0);
  }
  exchanges(100);
  EXPECT_TRUE(waitUntil([&] { return dropped() == drops + 2 * kRounds; }));
  EXPECT_EQ(received(), taken + kRounds + 100);
  expectMemoryWithin(20480, before);  // 16 MiB of writes may wait for the worker
}

TEST_F(BackPressureTest, SendersWithoutNumber) {
  constexpr uint32_t kSenders = kSanitized ? 10000 : 100000;
  BusClient one(board());
  ByteVector datagram = one.datagram(reading(), 7);
  const auto sendAs = [&](uint32_t first, uint32_t count) {
    const uint64_t due = received() + count;
    for (uint32_t i = first; i < first + count; ++i) {
      DWT_ENCDW(&datagram[kUiid], 0x01F00000U + i);
      ASSERT_TRUE(one.send(datagram));
    }
    ASSERT_TRUE(waitUntil([&] { return received() == due && answered() >= due; }, 60000));
  };
  sendAs(0, 5000);  // the daemon remembers 4096 of them
  const long before = residentKb();
  sendAs(5000, kSenders - 5000);
  expectMemoryWithin(512, before);
  EXPECT_EQ(ask(client(), reading()), (Reply{0, 0, ByteVector(64, 0x21)}));
}

}  // namespace
}  // namespace testing_support
