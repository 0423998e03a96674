// The send path: replies, and frames on the daemon's own initiative. Re-entrant; replies that are held are shared.
#include <algorithm>
#include <string>

#include "mcuctrace.h"
#include "stub/mcuimdthread.h"

namespace TIRK_MCUC {

namespace {

constexpr int kDumpCapacity = 131072;  // a message whose text does not fit is dumped empty
constexpr size_t kDumpPiece = 200;     // characters a line

void dumpMessage(Bytes message) {
  if (!traceEnabled(kTraceInfo)) return;
  std::string text;
  if (3 * message.size() < kDumpCapacity) {
    text.resize(3 * message.size() + 1);
    const int length =
        Bytes2String(message.data(), static_cast<int>(message.size()), text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<size_t>(length));
  }
  if (text.size() < kDumpPiece) {
    TRACE_INFO("ReplyMsg: length <200. the data = " << text);
    return;
  }
  for (size_t at = 0; at < text.size(); at += kDumpPiece) {
    TRACE_INFO(" ReplyMsg: the data = " << text.substr(at, kDumpPiece));
  }
}

// The record as a message of the bus. Empty, after an Error line, when it cannot be encoded.
std::vector<uint8_t> encodeMessage(IMD_proto3rd& record) {
  std::vector<uint8_t> message(kEnvelopeLength + std::min<size_t>(record.proto.EncodedLength(), TP_SEND_BUFFER_LENGTH));
  const int length =
      record.proto.Encode(message.data() + kEnvelopeLength, static_cast<int>(message.size()) - kEnvelopeLength);
  if (length < kShortestFrame) {
    TRACE_ERROR("=== ReplyMsg ===ReplyMsg: Encode failed! return.");
    return {};
  }
  record.ipcHeader.result = record.proto.m_ucAck;
  record.ipcHeader.payloadLength = static_cast<uint32_t>(length);
  record.ipcHeader.encode(std::span(message).first<kEnvelopeLength>());
  TRACE_INFO("ReplyMsg: the ack = " << record.proto.m_ucAck);
  return message;
}

unsigned noteResult(Bytes message, int result) {
  TRACE_INFO("================================= Finish apipc send =============================");
  if (result != 0) {
    TRACE_ERROR("=== ReplyMsg ===ReplyMsg: reply message Failed! ret = " << result);
    return kSendFailed;
  }
  TRACE_INFO("ReplyMsg: reply message successfully. ret = " << result << " datalength = " << message.size());
  dumpMessage(message);
  TRACE_INFO("=============================== Finish reply Message ============================");
  return 0;
}

unsigned transmit(uint32_t destination, Bytes message) {
  TRACE_INFO("================================= Begin apipc send ==============================");
  return noteResult(message, apipc_send(destination, message.data(), static_cast<uint32_t>(message.size())));
}

}  // namespace

unsigned McuIMDThread::ReplyMsgNew(IMD_proto3rd* record) {
  return sendFrame(record, taskIdentifier(kTaskReturn),
                   m_holding && record != nullptr && record->proto.m_ucCode == kCodeRead);
}

unsigned McuIMDThread::SendMsgNew(IMD_proto3rd* record) {
  return record == nullptr ? kInvalidMessage : sendFrame(record, record->processID, false);
}

unsigned McuIMDThread::sendFrame(IMD_proto3rd* record, uint32_t destination, bool mayWait) {
  if (record == nullptr) return kInvalidMessage;
  TRACE_INFO("=============================== Begin reply Message =============================");
  std::vector<uint8_t> message = encodeMessage(*record);
  if (message.empty()) return kEncodeFailed;
  if (mayWait && hold(message)) return 0;
  sendHeld();
  return transmit(destination, message);
}

// Takes the message, unless so much is held that sending it is worth a wake-up.
bool McuIMDThread::hold(std::vector<uint8_t>& message) {
  const CMutexGuardT guard(m_heldMutex);
  if (m_heldBytes + message.size() > kMostHeldBytes) return false;
  m_held.push_back(std::move(message));
  m_heldBytes += m_held.back().size();
  return true;
}

// Whoever sends calls it first: what another thread reports never overtakes a reply that was made before.
void McuIMDThread::sendHeld() {
  if (m_heldBytes == 0) return;
  const CMutexGuardT guard(m_heldMutex);
  std::vector<apipc_part_t> parts;
  parts.reserve(m_held.size());
  for (const auto& message : m_held) {
    TRACE_INFO("================================= Begin apipc send ==============================");
    parts.push_back({message.data(), static_cast<uint32_t>(message.size()), 0});
  }
  apipc_send_all(taskIdentifier(kTaskReturn), parts.data(), static_cast<uint32_t>(parts.size()));
  for (size_t i = 0; i < parts.size(); ++i) noteResult(m_held[i], parts[i].result);
  m_held.clear();
  m_heldBytes = 0;
}

}  // namespace TIRK_MCUC
