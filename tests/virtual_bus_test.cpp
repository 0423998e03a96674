#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "apipc.h"
#include "support/board_fixture.h"
#include "virtual/bus.h"
#include "virtual/sockets.h"

namespace testing_support {
namespace {

using vboard::board;
using vboard::Bus;
using vboard::Descriptor;

constexpr uint32_t kDaemon = 0x010A4200;
constexpr uint32_t kPeer = 0x010C0001;
constexpr uint32_t kReturnAddress = 0x01070400;

// A message of `size` bytes in all whose label size is `label`.
ByteVector datagram(size_t size, size_t label, uint32_t uiid = kPeer, uint8_t fill = 0x5A) {
  ByteVector out(size, fill);
  for (size_t i = 0; i < 4; ++i) {
    if (i < size) out[i] = static_cast<uint8_t>(uiid >> 8 * i);
    if (vboard::kBusSizeField + i < size) out[vboard::kBusSizeField + i] = static_cast<uint8_t>(label >> 8 * i);
  }
  return out;
}

ByteVector message(size_t payload, uint8_t fill = 0x5A, uint32_t uiid = kPeer) {
  return datagram(vboard::kBusEnvelope + payload, payload, uiid, fill);
}

bool eventually(const std::function<bool()>& condition) {
  for (int i = 0; i < 5000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

int64_t elapsedMs(const std::function<void()>& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

// Another task of the device.
class Task {
 public:
  explicit Task(uint32_t task) : m_socket(vboard::bindSocket(SOCK_DGRAM, vboard::taskFile(task))) {
    EXPECT_TRUE(m_socket);
  }
  // The next datagram; empty when none is there.
  ByteVector take() {
    ByteVector out(vboard::kBusLargestMessage + 1);
    const ssize_t size = ::recv(m_socket.get(), out.data(), out.size(), MSG_DONTWAIT);
    out.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return out;
  }
  void leave() { m_socket = Descriptor(); }

 private:
  Descriptor m_socket;
};

int send(uint32_t destination, const ByteVector& bytes) {
  return apipc_send(destination, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

class VirtualBus : public BoardTest {
 protected:
  using BoardTest::BoardTest;

  // Opens the daemon's endpoint and receives on a thread, as the daemon does.
  static void startReceiving() {
    ASSERT_EQ(apipc_init(kDaemon, 0), 0);
    std::thread([] {
      apipc_loop_wait(nullptr, [](void*, void*, apipc_msg_t* received, int) { return apipc_enq(&received); });
    }).detach();
  }
  // Sends as a client does: waits while the daemon's queue is full.
  static bool sendToDaemon(const ByteVector& bytes) {
    const Descriptor socket = vboard::connectSocket(SOCK_DGRAM, vboard::taskFile(kDaemon));
    return socket && ::send(socket.get(), bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
  }
  static ByteVector takeLocal() {
    apipc_msg_t* received = nullptr;
    if (apipc_deq(&received) < 0) return {};
    uint32_t length = 0;
    const uint8_t* body = apipc_que_attach(received, &length);
    ByteVector out(body, body + length);
    apipc_que_detach(received, body);
    return out;
  }
  static Bus::Counters counters() { return board().bus->counters(); }
};

TEST_F(VirtualBus, DeliversTheBufferAsItIs) {
  Task peer(kPeer);
  for (const size_t payload : {size_t{0}, size_t{1}, size_t{65536}}) {
    const ByteVector sent = message(payload);
    EXPECT_EQ(send(kPeer, sent), 0);
    EXPECT_EQ(peer.take(), sent);
  }
  EXPECT_EQ(send(kPeer, message(65537)), -1);
  EXPECT_EQ(peer.take(), ByteVector());
  EXPECT_EQ(apipc_send(kPeer, nullptr, 28), -1);
}

TEST_F(VirtualBus, ReturnAddressLeadsToTheTaskOfTheEnvelope) {
  Task peer(kPeer), named(kReturnAddress);
  EXPECT_EQ(send(kReturnAddress, message(2, 0xAB)), 0);
  EXPECT_EQ(send(0x09070400, message(2, 0xCD)), 0);  // of whatever card
  EXPECT_EQ(peer.take(), message(2, 0xAB));
  EXPECT_EQ(peer.take(), message(2, 0xCD));
  EXPECT_EQ(send(kReturnAddress, message(2, 0xEF, 0x010C0002)), -1);
  EXPECT_EQ(named.take(), ByteVector());
  const auto lines = journalLines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].rfind("ipc s 0x010c0001 01000c01abab", 0), 0U) << lines[0];
  EXPECT_TRUE(lines[2].starts_with("ipc s 0x010c0002 ") && lines[2].ends_with("efef failed -1")) << lines[2];
}

TEST_F(VirtualBus, FaultsFailTheNextSends) {
  Task peer(kPeer);
  fail(vboard::Op::IpcSend, 2, -7);
  EXPECT_EQ(send(kPeer, message(1, 1)), -7);
  EXPECT_EQ(send(kPeer, message(1, 2)), -7);
  EXPECT_EQ(send(kPeer, message(1, 3)), 0);
  EXPECT_EQ(peer.take(), message(1, 3));
  EXPECT_EQ(counters().sent, 1U);
  EXPECT_EQ(counters().refused, 2U);
  EXPECT_TRUE(journalLines()[1].ends_with("02 failed -7"));
}

TEST_F(VirtualBus, DropsWhatIsNoMessage) {
  startReceiving();
  const size_t longest = vboard::kBusLargestMessage;
  const ByteVector wrong[] = {datagram(0, 0),
                              datagram(27, 0),
                              datagram(28, 1),
                              datagram(48, 19),
                              datagram(48, 21),
                              datagram(48, 0xFFFFFFFF),
                              datagram(longest + 1, longest - 27)};
  for (const auto& bytes : wrong) ASSERT_TRUE(sendToDaemon(bytes));
  const ByteVector right[] = {message(0), message(20), message(65536)};
  for (const auto& bytes : right) ASSERT_TRUE(sendToDaemon(bytes));
  ASSERT_TRUE(eventually([] { return counters().received == 3; }));
  EXPECT_EQ(counters().dropped, std::size(wrong));
  for (const auto& bytes : right) {
    ASSERT_TRUE(eventually([] { return !board().bus->queue.empty(); }));
    EXPECT_EQ(takeLocal(), bytes);
  }
  apipc_msg_t* none = nullptr;
  EXPECT_LT(apipc_deq(&none), 0);
}

// Nobody takes messages off the queue: it fills up to its bound, the senders wait, and in the end all have arrived.
TEST_F(VirtualBus, SendersWaitWhileTheLocalQueueIsFull) {
  startReceiving();
  struct Case {
    size_t payload;
    unsigned messages;
    uint64_t accepted;  // on the queue, and one more that waits for its place
  };
  const size_t largest = vboard::kBusLargestMessage;
  const Case cases[] = {{4, 600, vboard::LocalQueue::kMessages + 1},
                        {largest - 28, 160, vboard::LocalQueue::kBytes / largest + 1}};
  for (const Case& c : cases) {
    const uint64_t before = counters().received;
    std::thread sender([&] {
      for (unsigned i = 0; i < c.messages; ++i) EXPECT_TRUE(sendToDaemon(message(c.payload, static_cast<uint8_t>(i))));
    });
    EXPECT_TRUE(eventually([&] { return counters().received - before == c.accepted; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(counters().received - before, c.accepted);
    EXPECT_TRUE(board().bus->pending());
    for (unsigned i = 0; i < c.messages; ++i) {
      ByteVector got;
      ASSERT_TRUE(eventually([&] { return !(got = takeLocal()).empty(); })) << i;
      ASSERT_EQ(got, message(c.payload, static_cast<uint8_t>(i))) << i;
    }
    sender.join();
    EXPECT_FALSE(board().bus->pending());
  }
  EXPECT_EQ(counters().dropped, 0U);
}

TEST_F(VirtualBus, HungPeerCostsItsOwnMessagesAndOneDelay) {
  Task hung(kPeer), other(0x010C0002);
  unsigned accepted = 0;
  int64_t lastMs = 0;
  const auto sendOne = [&] {
    int result = 0;
    lastMs = elapsedMs([&] { result = send(kPeer, message(1000)); });
    return result;
  };
  while (accepted < 100000 && sendOne() == 0) ++accepted;
  ASSERT_LT(accepted, 100000U);
  EXPECT_GE(lastMs, 90);
  EXPECT_LT(lastMs, 1000);
  EXPECT_LT(elapsedMs([&] {
              for (int i = 0; i < 50; ++i) EXPECT_EQ(send(kPeer, message(1000)), -1);
            }),
            90);
  EXPECT_EQ(send(0x010C0002, message(3)), 0);
  EXPECT_EQ(other.take(), message(3));

  // It takes a message: the next one is accepted, and then it has its 100 ms again.
  ASSERT_FALSE(hung.take().empty());
  EXPECT_EQ(sendOne(), 0);
  EXPECT_EQ(sendOne(), -1);
  EXPECT_GE(lastMs, 90);
  unsigned read = 1;
  while (!hung.take().empty()) ++read;
  EXPECT_EQ(read, accepted + 1);
}

TEST_F(VirtualBus, FollowsATaskThatComesBackUnderItsName) {
  auto first = std::make_unique<Task>(kPeer);
  EXPECT_EQ(apipc_connect_chk_task_by_taskid(kPeer), 0);
  EXPECT_EQ(send(kPeer, message(1, 1)), 0);
  first->leave();  // its file stays, as after a kill
  EXPECT_EQ(send(kPeer, message(1, 2)), -1);
  EXPECT_EQ(apipc_connect_chk_task_by_taskid(kPeer), -1);
  Task second(kPeer);
  EXPECT_EQ(send(kPeer, message(1, 3)), 0);
  EXPECT_EQ(second.take(), message(1, 3));

  // The name is what counts, also while who had it before still lives.
  std::filesystem::remove(m_directory.path() / vboard::taskFile(kPeer));
  EXPECT_EQ(send(kPeer, message(1, 4)), -1);
  Task third(kPeer);
  EXPECT_EQ(send(kPeer, message(1, 5)), 0);
  EXPECT_EQ(third.take(), message(1, 5));
  EXPECT_EQ(second.take(), ByteVector());
}

TEST_F(VirtualBus, KeepsConnectionsToManyTasksWithinBounds) {
  const auto descriptors = [] {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  std::vector<std::unique_ptr<Task>> tasks;
  for (uint32_t i = 0; i < 3 * vboard::Peers::kCapacity; ++i) tasks.push_back(std::make_unique<Task>(kPeer + i));
  EXPECT_EQ(send(kPeer, message(0)), 0);  // opens the journal, too
  tasks[0]->take();
  const auto before = descriptors();
  for (int round = 0; round < 2; ++round) {
    for (uint32_t i = 0; i < tasks.size(); ++i) {
      EXPECT_EQ(send(kPeer + i, message(4, static_cast<uint8_t>(i))), 0);
      EXPECT_EQ(tasks[i]->take(), message(4, static_cast<uint8_t>(i)));
    }
  }
  EXPECT_LE(descriptors() - before, static_cast<std::ptrdiff_t>(vboard::Peers::kCapacity));
}

TEST_F(VirtualBus, TheDaemonsSocketIsItsOwn) {
  EXPECT_EQ(apipc_loop_wait(nullptr, [](void*, void*, apipc_msg_t*, int) { return 0; }), -1);  // before apipc_init
  const auto file = m_directory.path() / "bus/010a4200";
  m_directory.put("bus/010a4200", "left behind");
  {
    Bus first, second;
    EXPECT_EQ(first.open(kDaemon), 0);
    EXPECT_EQ(second.open(kDaemon), -1);  // it lives
    struct stat status;
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
  }
  EXPECT_EQ(apipc_init(kDaemon, 0), 0);  // stale
  EXPECT_EQ(apipc_connect_chk_task_by_taskid(kDaemon), 0);
  EXPECT_FALSE(std::filesystem::exists(file.string() + ".new"));
}

TEST(VirtualBusPath, MayBeOfAnyLength) {
  const TemporaryDirectory top;
  auto directory = top.path();
  for (int i = 0; i < 6; ++i) directory /= std::string(200, 'd');
  std::string error;
  ASSERT_EQ(vboard::openBoard(directory.string(), error), 0) << error;
  Task peer(kPeer);
  EXPECT_EQ(send(kPeer, message(2)), 0);
  EXPECT_EQ(peer.take(), message(2));
  EXPECT_TRUE(vboard::connectSocket(SOCK_STREAM, "monitor"));
  EXPECT_TRUE(std::filesystem::is_socket(directory / "bus/010c0001"));
}

}  // namespace
}  // namespace testing_support
