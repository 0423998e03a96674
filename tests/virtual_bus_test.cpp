// The board's bus as the daemon sends on it: tasks that come and go, several messages at once, and its own socket.
#include <sys/socket.h>

#include <algorithm>
#include <filesystem>

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
constexpr uint32_t kReturn = 0x01070400;

ByteVector message(size_t payload, uint8_t fill = 0x5A, uint32_t uiid = kPeer) {
  ByteVector out(vboard::kBusEnvelope + payload, fill);
  std::ranges::copy(dword(uiid), out.begin());
  std::ranges::copy(dword(static_cast<uint32_t>(payload)), out.begin() + vboard::kBusSizeField);
  return out;
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

using VirtualBus = BoardTest;

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

TEST_F(VirtualBus, SendsSeveralInOrderAndTellsOfEach) {
  constexpr uint32_t kOther = 0x010C0002, kNobody = 0x010C0003;
  Task peer(kPeer), other(kOther);
  const ByteVector bytes[] = {message(1, 1),  message(1, 2),         message(1, 3, kNobody),
                              message(70000), message(1, 4, kOther), message(1, 5)};
  const auto sendAll = [&] {
    std::vector<apipc_part_t> parts;
    for (const auto& one : bytes) parts.push_back({one.data(), static_cast<uint32_t>(one.size()), 7});
    apipc_send_all(kReturn, parts.data(), static_cast<uint32_t>(parts.size()));
    std::vector<int> results;
    for (const auto& part : parts) results.push_back(part.result);
    return results;
  };
  EXPECT_EQ(sendAll(), (std::vector<int>{0, 0, -1, -1, 0, 0}));
  for (const int i : {0, 1, 5}) EXPECT_EQ(peer.take(), bytes[i]);
  EXPECT_EQ(other.take(), bytes[4]);
  EXPECT_EQ(board().bus->counters().sent, 4U);
  EXPECT_EQ(board().bus->counters().refused, 2U);

  board().faults.set(vboard::Op::IpcSend, 1, -9, 1);  // the second
  EXPECT_EQ(sendAll(), (std::vector<int>{0, -9, -1, -1, 0, 0}));
  // A full queue costs the messages that it leaves no room for, and no other.
  while (send(kPeer, message(1)) == 0) continue;
  EXPECT_EQ(sendAll(), (std::vector<int>{-1, -1, -1, -1, 0, -1}));
}

TEST_F(VirtualBus, TheDaemonsSocketTakesAStaleOnesPlaceAndNotALivingOnes) {
  EXPECT_EQ(apipc_loop_wait(nullptr, [](void*, void*, apipc_msg_t*, int) { return 0; }), -1);  // before apipc_init
  m_directory.put("bus/010a4200", "left behind");
  EXPECT_EQ(apipc_init(kDaemon, 0), 0);
  EXPECT_EQ(Bus().open(kDaemon), -1);
  EXPECT_EQ(apipc_connect_chk_task_by_taskid(kDaemon), 0);
  // A request in the daemon's own name: its reply must not come back as the next one.
  EXPECT_EQ(send(kReturn, message(1, 1, kDaemon)), -1);
  const ByteVector bytes = message(1, 2, kDaemon);
  apipc_part_t part{bytes.data(), static_cast<uint32_t>(bytes.size()), 0};
  apipc_send_all(kReturn, &part, 1);
  EXPECT_EQ(part.result, -1);
  EXPECT_FALSE(board().bus->pending());
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(m_directory.path() / "bus/010a4200").permissions(),
            perms::owner_read | perms::owner_write);
}

}  // namespace
}  // namespace testing_support
