// The receive path: from the bus callback, through the local queue or past it, to the request intake.
#include <algorithm>

#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/tshl_ctl.h"
#include "stub/mcuimdthread.h"
#include "stub/stubutil.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kHostToolSource = 0xFE;
constexpr int kDumpCapacity = 65536;

// Releases a message of the local queue on every way out.
class QueuedMessage {
 public:
  explicit QueuedMessage(apipc_msg_t* message) : m_message(message) {}
  ~QueuedMessage() {
    if (m_message != nullptr) apipc_que_detach(m_message, m_body.data());
  }
  QueuedMessage(const QueuedMessage&) = delete;
  QueuedMessage& operator=(const QueuedMessage&) = delete;

  Bytes attach() {
    uint32_t length = 0;
    const uint8_t* body = apipc_que_attach(m_message, &length);
    if (body != nullptr) m_body = {body, length};
    return m_body;
  }

 private:
  apipc_msg_t* m_message;
  Bytes m_body;
};

// Whether the frame that the envelope announces is inside a message of this length.
bool holdsFrame(const ipcHeaderInfo& head, size_t length) {
  return head.payloadLength <= TP_RECV_BUFFER_LENGTH && head.payloadLength <= length - kEnvelopeLength;
}

bool resetInProgress() {
  const uint8_t state = Data_Global::getInstance()->RebootRF;
  return state == 1 || state == 2;
}

}  // namespace

int McuIMDThread::ipc_event_deal(void*, void* argument, apipc_msg_t* message, int) {
  TRACE_INFO("Apipc ipc_event_deal begin...");
  if (message == nullptr) {
    TRACE_ERROR("=== ipc_event_deal ===Apipc, the data is null, return.");
    return static_cast<int>(kInvalidMessage);
  }
  auto* self = static_cast<McuIMDThread*>(argument);
  if (!self->answersWithoutWait(message)) {
    self->sendHeld();
    return static_cast<int>(self->handOver(message));
  }
  const bool more = apipc_loop_ahead() > 0;
  self->m_holding = more || self->m_heldBytes > 0;  // the last one goes with those that are held
  self->dealMessage(message);
  self->m_holding = false;
  if (!more) self->sendHeld();
  return 0;
}

// Whether the wait thread may handle a message: nothing that came before it is left, and nothing in it can wait, so
// that the bus is not left alone for longer than a few accesses to the board take. What is dropped is left to the
// receive thread, which begins anew after it.
bool McuIMDThread::answersWithoutWait(apipc_msg_t* message) const {
  if (m_handedOver != 0 || !m_receiving || m_bExitRecvThread || resetInProgress()) return false;
  uint32_t length = 0;
  const uint8_t* body = apipc_que_attach(message, &length);
  if (body == nullptr || length < kEnvelopeLength + kShortestFrame) return false;
  const Bytes bytes(body, length);
  if (!holdsFrame(ipcHeaderInfo::decode(bytes.first<kEnvelopeLength>()), length)) return false;
  MCUCMsg frame;
  frame.DecodeHeader(body + kEnvelopeLength, static_cast<int>(length) - kEnvelopeLength);
  return frame.m_ucDeviceType == kDeviceSendCard && !Tshl_ctl::getInstance()->pauses(frame.m_uiRegisterUnitAddress) &&
         StubUtil::getInstance()->hasWorkRoom();
}

// The message becomes the queue's: 0; or it is released: 0x80005004.
unsigned McuIMDThread::handOver(apipc_msg_t* message) {
  ++m_handedOver;
  apipc_msg_t* queued = message;
  if (apipc_enq(&queued) < 0) {
    TRACE_ERROR("=== ipc_event_deal ===Apipc, Data into queue invalid, return.");
    --m_handedOver;
    apipc_que_detach(message, nullptr);
    return kInvalidMessage;
  }
  {
    const CMutexGuardT guard(m_arrivalMutex);
    m_arrived = true;
  }
  m_arrival.notifyOne();
  return 0;
}

void McuIMDThread::RecvMsg() {
  TRACE_INFO("RecvMeg process thread begin:");
  m_receiving = true;
  while (!m_bExitRecvThread) ipc_event_deal_th();
  TRACE_INFO("RecvMeg process thread exit.");
}

std::optional<apipc_msg_t*> McuIMDThread::takeMessage() {
  while (!m_bExitRecvThread) {
    apipc_msg_t* message = nullptr;
    if (apipc_deq(&message) >= 0) return message;
    // The callback raises m_arrived after it queued: what came since the queue was found empty ends the wait at once.
    const CMutexGuardT guard(m_arrivalMutex);
    while (!m_arrived && !m_bExitRecvThread) m_arrival.wait(m_arrivalMutex);
    m_arrived = false;
  }
  return std::nullopt;
}

unsigned McuIMDThread::ipc_event_deal_th() {
  TRACE_INFO("Apipc ipc_event_deal_th begin...");
  while (const auto message = takeMessage()) {
    // A write is acknowledged before it is applied. Peers that write faster than that wait here in the end, outside
    // every lock that the worker takes: the queue of messages fills, then their sockets.
    StubUtil::getInstance()->waitForWorkRoom();
    const unsigned result = dealMessage(*message);
    --m_handedOver;
    if (result != 0) return result;
  }
  return 0;
}

unsigned McuIMDThread::dealMessage(apipc_msg_t* message) {
  QueuedMessage queued(message);
  if (resetInProgress()) {
    TRACE_INFO("....... Device Reset To Factory ing...... , return.");
    return kInvalidMessage;
  }
  if (message == nullptr) {
    TRACE_ERROR("=== ipc_event_deal ===Recv, msg is invalid, return.");
    return kInvalidMessage;
  }
  const Bytes body = queued.attach();
  if (body.data() == nullptr) {
    TRACE_ERROR("=== ipc_event_deal ===Recv, boday is invalid, return.");
    return kInvalidMessage;
  }
  if (body.size() < kEnvelopeLength) {
    TRACE_ERROR("=== ipc_event_deal ===Recv, the envelope is cut, length = " << body.size());
    return kInvalidMessage;
  }
  const auto head = ipcHeaderInfo::decode(body.first<kEnvelopeLength>());
  const Bytes payload = body.subspan(kEnvelopeLength);
  if (!holdsFrame(head, body.size())) {
    TRACE_ERROR("=== ipc_event_deal ===Recv, the frame length " << head.payloadLength
                                                                << " leaves the message, length = " << body.size());
    return kInvalidMessage;
  }
  TRACE_INFO("Apipc, Get a new Packet: ihead_t uiid = " << hex << head.uiid << " label count = " << head.labelCount
                                                        << " size = " << head.size << " large label = "
                                                        << head.largeLabel << " small label = " << head.smallLabel);
  if (head.largeLabel != kLargeLabelFrame) return 0;
  if (head.smallLabel <= 1) {
    dealDataBlockNew(head, payload.first(head.payloadLength));
  } else if (head.smallLabel == kSmallLabelInterrupt) {
    TRACE_INFO("Apipc, data interrupt...");
  }
  return 0;
}

unsigned McuIMDThread::dealDataBlockNew(const ipcHeaderInfo& head, Bytes frame) {
  TRACE_INFO("============================= Begin Deal DataBlock ==============================");
  if (frame.data() == nullptr) {
    TRACE_ERROR("=== dealDataBlock ===Deal DataBlock: data block is null! return.");
    return kInvalidMessage;
  }
  TRACE_INFO("Apipc: the new Packet's datalength = " << head.payloadLength
                                                     << " the Data = " << HexText<kDumpCapacity>(frame));
  const int length = static_cast<int>(frame.size());
  uint8_t status = kAckOk;
  if (!MCUCMsg::Checkout(frame.data(), length)) {
    status = kAckChecksum;
    TRACE_ERROR("=== dealDataBlock ===Deal DataBlock: Checkout Result is false! ");
  }
  IMD_proto3rd record;
  const int result = record.proto.Decode(frame.data(), length);
  const uint8_t source = record.proto.m_ucSourceAddress;  // of the request: a space may change the record
  if (result != 0) {
    TRACE_ERROR("=== dealDataBlock ===Decode DataBlock Failed! Decode result = " << result);
  } else {
    record.proto.m_ucAck = status;
    record.ipcHeader = head;
    StubUtil::getInstance()->onDataRecvFromIMDNew(&record);
  }
  noteSender(head.uiid);
  if (source == kHostToolSource && !isScreenManagementDaemon(head.uiid)) {
    TRACE_INFO("\t********DevComLinkState == 1 *********");
  }
  TRACE_INFO("============================= Finish Deal DataBlock =============================");
  return 0;
}

void McuIMDThread::noteSender(uint32_t uiid) {
  const CMutexGuardT guard(m_uiidMutex);
  // Senders name themselves: the list is bounded, so that they cannot fill the memory.
  if (m_vectorUIIDs.size() >= kMostUiids) return;
  if (std::find(m_vectorUIIDs.begin(), m_vectorUIIDs.end(), uiid) != m_vectorUIIDs.end()) return;
  m_vectorUIIDs.push_back(uiid);
  TRACE_INFO("recv new uiid = " << uiid << " size = " << m_vectorUIIDs.size());
}

std::vector<uint32_t> McuIMDThread::seenUiids() {
  const CMutexGuardT guard(m_uiidMutex);
  return m_vectorUIIDs;
}

}  // namespace TIRK_MCUC
