// The peer link in the test's own process: what is taken off the bus, what is answered and how, what is held, and the
// steps of the monitoring cycle that belong to it.
#include <pthread.h>

#include <thread>

#include "driverutil.h"
#include "kadctl/busclient.h"
#include "mcuctrace.h"
#include "process/tprocess_ctl.h"
#include "proto/data_common.h"
#include "stub/mcuimdthread.h"
#include "stub/stubutil.h"
#include "support/board_fixture.h"
#include "support/waiting.h"
#include "virtual/bus.h"

namespace TIRK_MCUC {
namespace {

using kadctl::BusClient;
using kadctl::Message;
using namespace ::testing;
using testing_support::BoardTest;
using testing_support::ByteVector;
using testing_support::waitUntil;

constexpr uint32_t kPositionSpace = 0x03000000;  // writes are queued, and reach the FPGA when they are applied
constexpr uint8_t kNoSuchDevice = 7;
constexpr uint32_t kSender = 0x018ABCDE;

ipcHeaderInfo envelope(uint16_t largeLabel, uint16_t smallLabel, size_t payload) {
  ipcHeaderInfo head;
  head.uiid = kSender;
  head.largeLabel = largeLabel;
  head.smallLabel = smallLabel;
  head.payloadLength = static_cast<uint32_t>(payload);
  return head;
}

ByteVector body(const ipcHeaderInfo& head, const ByteVector& frame) {
  ByteVector out(kEnvelopeLength);
  head.encode(std::span(out).first<kEnvelopeLength>());
  out.insert(out.end(), frame.begin(), frame.end());
  return out;
}

// A request for a device that nobody serves: it comes back as it went.
ByteVector harmlessFrame() {
  ThirdProtoMCUCMsg frame(0x55AA, 0, 0, 0, 0, kNoSuchDevice, 0, 0, kCodeRead, 0x12345678);
  ByteVector wire(kShortestFrame);
  EXPECT_EQ(frame.Encode(wire.data(), kShortestFrame), kShortestFrame);
  return wire;
}

// A link without its threads: messages are put on the local queue, and one call takes them off.
class LocalQueueTest : public BoardTest {
 protected:
  // As the bus would: the callback, with a message that is the queue's from then on.
  void arrive(const ByteVector& message) {
    auto queued = std::make_unique<apipc_msg>();
    queued->body = message;
    const int length = static_cast<int>(message.size());
    ASSERT_EQ(McuIMDThread::ipc_event_deal(nullptr, &m_link, queued.release(), length), 0);
  }
  // Handles what has arrived, up to a message that is dropped: its result.
  unsigned handle() { return m_link.ipc_event_deal_th(); }
  unsigned handleAll() {
    arrive({});  // no body: ends the call
    return handle();
  }

  McuIMDThread m_link;
};

TEST_F(LocalQueueTest, DropsMessagesThatAreNotWhole) {
  ByteVector longest = body(envelope(28, 1, 65536), ByteVector(65536));
  struct Case {
    const char* name;
    ByteVector message;
    const char* line;
  };
  const Case cases[] = {
      {"no body", {}, "=== ipc_event_deal ===Recv, boday is invalid, return."},
      {"cut envelope", ByteVector(27), "the envelope is cut, length = 27"},
      {"no frame though one is announced", body(envelope(28, 1, 1), {}), "the frame length 1 leaves"},
      {"cut frame", body(envelope(28, 0, 21), harmlessFrame()), "the frame length 21 leaves"},
      {"frame longer than any", body(envelope(28, 1, 65537), ByteVector(65537)), "the frame length 65537 leaves"},
      {"length that would wrap", body(envelope(28, 1, 0xFFFFFFFF), harmlessFrame()), "leaves the message"},
      {"cut interrupt", body(envelope(28, 3, 1), {}), "the frame length 1 leaves"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const size_t before = logged(c.line);
    arrive(c.message);
    EXPECT_EQ(handle(), kInvalidMessage);
    EXPECT_EQ(logged(c.line), before + 1);
  }
  EXPECT_EQ(McuIMDThread::ipc_event_deal(nullptr, &m_link, nullptr, 0), static_cast<int>(kInvalidMessage));
  EXPECT_EQ(logged("Error:mcuimdthread_receive.cpp"), std::size(cases) + 1);
  EXPECT_EQ(logged("Begin Deal DataBlock"), 0U);

  arrive(longest);  // the longest frame there is, and bytes after a frame, are taken
  arrive(body(envelope(28, 1, 20), ByteVector(30)));
  handleAll();
  EXPECT_EQ(logged("Begin Deal DataBlock"), 2U);
}

TEST_F(LocalQueueTest, HandlesFramesOfLabel28AloneAndReleasesTheRest) {
  const auto handled = [this] { return std::pair(logged("Begin Deal DataBlock"), logged("Apipc, data interrupt...")); };
  constexpr struct {
    uint16_t largeLabel, smallLabel;
    std::pair<size_t, size_t> handled;  // so far: frames, interrupts
  } kCases[] = {{28, 0, {1, 0}}, {28, 1, {2, 0}}, {28, 2, {2, 0}}, {28, 3, {2, 1}},
                {28, 4, {2, 1}}, {27, 1, {2, 1}}, {29, 3, {2, 1}}, {0, 0, {2, 1}}};
  for (const auto& c : kCases) {
    arrive(body(envelope(c.largeLabel, c.smallLabel, 20), harmlessFrame()));
    handleAll();
    EXPECT_EQ(handled(), c.handled) << c.largeLabel << "/" << c.smallLabel;
  }
}

TEST_F(LocalQueueTest, RemembersEachSenderOnceAndNotMoreThanItsShare) {
  const ByteVector frame = harmlessFrame();
  ipcHeaderInfo head = envelope(28, 1, 20);
  for (const uint32_t sender : {7U, 5U, 7U, 5U, 6U}) {
    head.uiid = sender;
    EXPECT_EQ(m_link.dealDataBlockNew(head, frame), 0U);
  }
  head.uiid = 8;
  EXPECT_EQ(m_link.dealDataBlockNew(head, ByteVector(19)), 0U) << "one that cannot be decoded has a sender, too";
  EXPECT_THAT(m_link.seenUiids(), ElementsAre(7, 5, 6, 8));
  EXPECT_EQ(logged("recv new uiid = 8 size = 4"), 1U);

  g_logLevel = 0;
  for (head.uiid = 100; head.uiid < 5100; ++head.uiid) m_link.dealDataBlockNew(head, frame);
  EXPECT_EQ(m_link.seenUiids().size(), 4096U);
}

TEST_F(LocalQueueTest, SendingReportsWhatFailed) {
  IMD_proto3rd report;
  report.processID = kSender;
  EXPECT_EQ(StubUtil::getInstance()->SendMsg(report), kSendFailed) << "the daemon has no link yet";
  EXPECT_EQ(logged("=== SendMsg ==="), 1U);
  EXPECT_EQ(m_link.SendMsgNew(nullptr), kInvalidMessage);
  EXPECT_EQ(m_link.SendMsgNew(&report), kSendFailed) << "there is no such task";
  EXPECT_EQ(logged("=== ReplyMsg ===ReplyMsg: reply message Failed! ret = -1"), 1U);
  report.proto.m_data.assign(65517, 0);
  EXPECT_EQ(m_link.SendMsgNew(&report), kEncodeFailed);
  EXPECT_EQ(logged("=== ReplyMsg ===ReplyMsg: Encode failed! return."), 1U);
}

// The settle filter of the layout calculation.
class SettleFilter : public BoardTest {
 protected:
  SettleFilter() { DriverUtil::getInstance()->initialize(); }
  void cycle() { m_link.CalculateSenderParaHandler(); }
  size_t calculations() const { return logged("= 200Ms CalculateParaOfSenderHandler =") / 2; }

  std::atomic<uint32_t>& m_counter = Data_Global::getInstance()->CalculateParaHandlerCnt;
  McuIMDThread m_link;
};

TEST_F(SettleFilter, CalculatesOnceTheCounterStandsStillForACycle) {
  constexpr struct {
    uint32_t raised;  // before the cycle
    size_t calculations;
    const char* why;
  } kCycles[] = {{0, 0, "nothing to do"},  {1, 0, "it changes"},         {1, 0, "and still does"}, {0, 1, "settled"},
                 {2, 1, "the last value"}, {0, 2, "which settles anew"}, {0, 2, "only once"}};
  for (const auto& [raised, expected, why] : kCycles) {
    m_counter += raised;
    cycle();
    EXPECT_EQ(calculations(), expected) << why;
  }
  EXPECT_EQ(m_counter, 0U);
}

TEST_F(SettleFilter, LosesNoChangeThatComesWhileItIsTaken) {
  constexpr uint32_t kChanges = 20000;
  g_logLevel = 0;
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (uint32_t i = 0; i < kChanges; ++i) ++m_counter;
    done = true;
  });
  while (!done) cycle();
  writer.join();
  // What was raised last is still there, or was taken by a calculation that began after it.
  g_logLevel = 3;
  const bool pending = m_counter != 0;
  cycle();
  cycle();
  EXPECT_EQ(calculations(), pending ? 1U : 0U);
  EXPECT_EQ(m_counter, 0U);
}

// The whole link, with its threads, and a peer on the bus.
class PeerLinkTest : public BoardTest {
 protected:
  PeerLinkTest() {
    DriverUtil::getInstance()->initialize();
    Tprocess_ctl::getInstance()->initialize();
    Tshl_ctl::getInstance()->initialize();
    EXPECT_EQ(apipc_init(taskIdentifier(kTaskKadrend), 0), 0);
    m_peer = std::make_unique<BusClient>(m_directory.path().string());
  }
  void startLink() { ASSERT_TRUE(StubUtil::getInstance()->creatIMDComm()); }

  static ThirdProtoMCUCMsg request(uint8_t code, uint32_t address, const ByteVector& data, uint8_t destination = 0) {
    auto frame = BusClient::request(code, address, static_cast<uint16_t>(data.size()), data, {});
    frame.m_ucDestinationAddrerss = destination;
    return frame;
  }
  // Sends a frame, damaged in its last byte, and returns the reply.
  std::optional<Message> askDamaged(const ThirdProtoMCUCMsg& frame) {
    ByteVector datagram = m_peer->datagram(frame, 99);
    datagram.back() ^= 0xFF;
    EXPECT_TRUE(m_peer->send(datagram));
    return m_peer->receive(5000);
  }
  // The writes to the FPGA, once there are so many.
  static std::vector<std::string> fpgaWrites(size_t count) {
    waitUntil([count] { return did("fpga w").size() >= count; });
    return did("fpga w");
  }

  std::unique_ptr<BusClient> m_peer;
};

TEST_F(PeerLinkTest, AnswersWithTheRequestsEnvelopeAndTheTagTurned) {
  startLink();
  auto frame = request(kCodeRead, 0x12345678, {}, 0);
  frame.m_ucDeviceType = kNoSuchDevice;
  frame.m_ucLabels = 0x33;
  frame.m_ucSourceAddress = 0xFE;
  frame.m_usBoardAddress = 0x0102;
  ByteVector datagram = m_peer->datagram(frame, 0);
  ipcHeaderInfo head = envelope(28, 1, 20);
  head.uiid = m_peer->task();
  head.labelCount = 0x11121314;
  head.size = 0x21222324;
  head.result = 0x31323334;
  head.detail = 0x41424344;
  const auto envelopeOfDatagram = std::span(datagram).first<kEnvelopeLength>();
  head.encode(envelopeOfDatagram);
  ASSERT_TRUE(m_peer->send(datagram));

  ByteVector reply(datagram.size() + 1);
  ASSERT_EQ(m_peer->receiveRaw(reply), static_cast<ssize_t>(datagram.size()));
  reply.pop_back();
  head.result = 0;  // the frame's ack, not what the requester had put there
  head.encode(envelopeOfDatagram);
  std::swap(datagram[kEnvelopeLength], datagram[kEnvelopeLength + 1]);
  EXPECT_EQ(reply, datagram);
  EXPECT_EQ(reply[kEnvelopeLength], 0xAA);
}

TEST_F(PeerLinkTest, DispatchesADamagedFrameOnlyWhenItIsForAnotherDevice) {
  startLink();
  ASSERT_TRUE(StubUtil::getInstance()->creatProcess());
  const auto ours = askDamaged(request(kCodeWrite, kPositionSpace, {1, 2, 3, 4}));
  ASSERT_TRUE(ours && ours->checksumRight);
  EXPECT_EQ(ours->frame.m_ucAck, kAckChecksum);
  EXPECT_EQ(ours->envelope.result, kAckChecksum);
  EXPECT_EQ(logged("Begin SendCard Task"), 0U);

  const auto another = askDamaged(request(kCodeWrite, kPositionSpace, {1, 2, 3, 4}, 5));
  ASSERT_TRUE(another);
  EXPECT_EQ(another->frame.m_ucAck, kAckOk) << "its ack is 0 although the checksum failed";
  EXPECT_EQ(another->frame.m_ucDestinationAddrerss, 5);
  EXPECT_EQ(fpgaWrites(1).size(), 1U) << "it is taken as the card's own";
}

TEST_F(PeerLinkTest, DoesNotAnswerAFrameThatCannotBeDecoded) {
  startLink();
  ByteVector cut = m_peer->datagram(request(kCodeWrite, kPositionSpace, {1, 2, 3, 4}), 1);
  cut[kEnvelopeLength + 16] = 5;  // one byte more than there is
  ASSERT_TRUE(m_peer->send(cut));
  const auto next = m_peer->ask(BusClient::request(kCodeRead, 0, 1, {}, {.deviceType = kNoSuchDevice}));
  ASSERT_TRUE(next) << "the first reply is the next request's";
  EXPECT_EQ(logged("=== dealDataBlock ===Decode DataBlock Failed! Decode result = -1"), 1U);
  EXPECT_EQ(logged("= Begin reply Message ="), 1U);
}

// Requests to the cards and to a space that pauses go another way than reads of the card's own registers.
TEST_F(PeerLinkTest, AnswersInTheOrderOfTheRequestsWhicheverWayTheyTake) {
  startLink();
  const ThirdProtoMCUCMsg own = BusClient::request(kCodeRead, kPositionSpace, 4, {}, {});
  const ThirdProtoMCUCMsg card = BusClient::request(kCodeWrite, 0, 1, ByteVector{1}, {.deviceType = kDeviceRecvCard});
  const ThirdProtoMCUCMsg pausing = request(kCodeWrite, 0x02400000, ByteVector(4, 1));
  uint32_t sent = 0;
  uint32_t answered = 0;
  for (int round = 0; round < 20; ++round) {
    for (const auto& next : {own, card, own, own, pausing, own, card, own})
      ASSERT_TRUE(m_peer->send(m_peer->datagram(next, sent++)));
    while (answered < sent) {
      const auto reply = m_peer->receive(5000);
      ASSERT_TRUE(reply);
      ASSERT_EQ(reply->envelope.detail, answered++);
    }
  }
}

TEST_F(PeerLinkTest, HoldsWritesUntilThereIsAWorker) {
  startLink();
  for (const uint8_t value : ByteVector{1, 2, 3})
    m_peer->write(kPositionSpace + 4U * value, ByteVector{value, 0, value, 0});
  EXPECT_TRUE(fpgaWrites(0).empty());
  ASSERT_TRUE(StubUtil::getInstance()->creatProcess());
  m_peer->write(kPositionSpace + 16, ByteVector{4, 0, 4, 0});
  const auto writes = fpgaWrites(4);
  ASSERT_EQ(writes.size(), 4U);
  for (size_t i = 0; i < writes.size(); ++i) {
    const std::string value = "0" + std::to_string(i + 1) + "00";
    EXPECT_THAT(writes[i], HasSubstr(value + value)) << "in the order in which they were acknowledged";
  }
}

TEST_F(PeerLinkTest, RefusesWritesWhenThereWillBeNoWorker) {
  startLink();
  // No machine has room for a stack of this size: the next thread cannot be created.
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, SIZE_MAX / 16 * 15), 0);
  ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
  pthread_attr_destroy(&attributes);
  EXPECT_FALSE(StubUtil::getInstance()->creatProcess());
  EXPECT_EQ(logged("McuProcessThread::CreateThread() pthread_create() failed! err="), 1U);

  const auto reply = m_peer->ask(request(kCodeWrite, kPositionSpace, {1, 2, 3, 4}));
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->frame.m_ucAck, kAckRefused);
  EXPECT_EQ(reply->envelope.result, kAckRefused);
  EXPECT_FALSE(StubUtil::getInstance()->addMessageToList(std::make_unique<MCUProcessDataBlock>()));
}

}  // namespace
}  // namespace TIRK_MCUC
