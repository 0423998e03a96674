// The send path: replies, and frames on the daemon's own initiative. Re-entrant: nothing here is shared.
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

}  // namespace

unsigned McuIMDThread::ReplyMsgNew(IMD_proto3rd* record) {
  return sendFrame(record, taskIdentifier(kTaskReturn));
}

unsigned McuIMDThread::SendMsgNew(IMD_proto3rd* record) {
  return record == nullptr ? kInvalidMessage : sendFrame(record, record->processID);
}

unsigned McuIMDThread::sendFrame(IMD_proto3rd* record, uint32_t destination) {
  if (record == nullptr) return kInvalidMessage;
  TRACE_INFO("=============================== Begin reply Message =============================");
  std::vector<uint8_t> message(kEnvelopeLength +
                               std::min<size_t>(record->proto.EncodedLength(), TP_SEND_BUFFER_LENGTH));
  const int length =
      record->proto.Encode(message.data() + kEnvelopeLength, static_cast<int>(message.size()) - kEnvelopeLength);
  if (length < kShortestFrame) {
    TRACE_ERROR("=== ReplyMsg ===ReplyMsg: Encode failed! return.");
    return kEncodeFailed;
  }
  record->ipcHeader.result = record->proto.m_ucAck;
  record->ipcHeader.payloadLength = static_cast<uint32_t>(length);
  record->ipcHeader.encode(std::span(message).first<kEnvelopeLength>());
  TRACE_INFO("ReplyMsg: the ack = " << record->proto.m_ucAck);
  TRACE_INFO("================================= Begin apipc send ==============================");
  const int result = apipc_send(destination, message.data(), static_cast<uint32_t>(message.size()));
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

}  // namespace TIRK_MCUC
