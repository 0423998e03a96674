#include "stub/mcucmessagestruct.h"

#include <algorithm>

#include "apipc.h"
#include "mcuctrace.h"

namespace TIRK_MCUC {

namespace {
constexpr uint16_t kChecksumStart = 0x5555;
constexpr int kFirstSummedByte = 2;  // the tag is not summed
constexpr int kChecksumLength = 2;
constexpr uint8_t kReplyWithData = 0xFF;
}  // namespace

uint32_t taskIdentifier(uint32_t number) {
  return static_cast<uint32_t>(apcard_bit_self()) << 24 | number;
}

bool isScreenManagementDaemon(uint32_t uiid) {
  return uiid == taskIdentifier(kTaskQxt);
}

ipcHeaderInfo ipcHeaderInfo::decode(std::span<const uint8_t, kEnvelopeLength> wire) {
  const uint8_t* bytes = wire.data();
  ipcHeaderInfo header;
  header.uiid = readDword(bytes);
  header.labelCount = readDword(bytes + 4);
  header.size = readDword(bytes + 8);
  header.result = readDword(bytes + 12);
  header.detail = readDword(bytes + 16);
  header.smallLabel = readWord(bytes + 20);
  header.largeLabel = readWord(bytes + 22);
  header.payloadLength = readDword(bytes + 24);
  return header;
}

void ipcHeaderInfo::encode(std::span<uint8_t, kEnvelopeLength> wire) const {
  uint8_t* bytes = wire.data();
  DWT_ENCDW(bytes, uiid);
  DWT_ENCDW(bytes + 4, labelCount);
  DWT_ENCDW(bytes + 8, size);
  DWT_ENCDW(bytes + 12, result);
  DWT_ENCDW(bytes + 16, detail);
  DWT_ENCWD(bytes + 20, smallLabel);
  DWT_ENCWD(bytes + 22, largeLabel);
  DWT_ENCDW(bytes + 24, payloadLength);
}

MCUCMsg::MCUCMsg(uint16_t header, uint8_t ack, uint8_t labels, uint8_t source, uint8_t destination, uint8_t deviceType,
                 uint8_t port, uint16_t board, uint8_t code, uint32_t registerAddress)
    : m_usHeader(header),
      m_ucAck(ack),
      m_ucLabels(labels),
      m_ucSourceAddress(source),
      m_ucDestinationAddrerss(destination),
      m_ucDeviceType(deviceType),
      m_ucPortAddress(port),
      m_usBoardAddress(board),
      m_ucCode(code),
      m_uiRegisterUnitAddress(registerAddress) {}

int MCUCMsg::Encode(uint8_t*, int) {
  return static_cast<int>(kNotSupported);
}

int MCUCMsg::Decode(const uint8_t*, int) {
  return static_cast<int>(kNotSupported);
}

int MCUCMsg::EncodeHeader(uint8_t* buffer, int size) {
  if (buffer == nullptr || size < kFrameHeaderLength) {
    TRACE_ERROR("=== EncodeHeader ===pData = " << static_cast<const void*>(buffer));
    return -1;
  }
  DWT_RENCWD(buffer, m_usHeader);
  buffer[2] = m_ucAck;
  buffer[3] = m_ucLabels;
  buffer[4] = m_ucSourceAddress;
  buffer[5] = m_ucDestinationAddrerss;
  buffer[6] = m_ucDeviceType;
  buffer[7] = m_ucPortAddress;
  DWT_ENCWD(buffer + 8, m_usBoardAddress);
  buffer[10] = m_ucCode;
  buffer[11] = m_ucReserved;
  DWT_ENCDW(buffer + 12, m_uiRegisterUnitAddress);
  DWT_ENCWD(buffer + 16, m_usValidDataLength);
  return 0;
}

int MCUCMsg::DecodeHeader(const uint8_t* buffer, int length) {
  if (buffer == nullptr || length < kShortestFrame) {
    TRACE_ERROR("=== DecodeHeader ===Decode Header: Decode Failed! return. The data length = "
                << length << "pData = " << static_cast<const void*>(buffer));
    return -1;
  }
  m_usHeader = readWord(buffer);
  m_ucAck = buffer[2];
  m_ucLabels = buffer[3];
  m_ucSourceAddress = buffer[4];
  m_ucDestinationAddrerss = buffer[5];
  m_ucDeviceType = buffer[6];
  m_ucPortAddress = buffer[7];
  m_usBoardAddress = readWord(buffer + 8);
  m_ucCode = buffer[10];
  m_ucReserved = buffer[11];
  m_uiRegisterUnitAddress = readDword(buffer + 12);
  m_usValidDataLength = readWord(buffer + 16);
  m_usCheckout = readWord(buffer + length - kChecksumLength);
  return 0;
}

void MCUCMsg::CaculCheckout(const uint8_t* buffer, int start, int count, uint16_t& sum) {
  uint32_t total = kChecksumStart;
  for (int i = start; i < start + count; ++i) total += buffer[i];
  sum = static_cast<uint16_t>(total);
}

bool MCUCMsg::Checkout(const uint8_t* buffer, int length) {
  if (buffer == nullptr || length < kShortestFrame) return false;
  uint16_t computed = 0;
  CaculCheckout(buffer, kFirstSummedByte, length - kFirstSummedByte - kChecksumLength, computed);
  const uint16_t stored = readWord(buffer + length - kChecksumLength);
  TRACE_INFO("revise = " << computed << ", iDataLen = " << length << ", usCheckout=" << stored);
  TRACE_INFO("Finish Checkout the DataBlock.");
  return computed == stored;
}

int ThirdProtoMCUCMsg::Decode(const uint8_t* buffer, int length) {
  m_data.clear();
  if (const int result = DecodeHeader(buffer, length); result != 0) return result;
  if (m_ucCode == kCodeWrite) {
    if (m_usValidDataLength > length - kShortestFrame) {
      TRACE_ERROR("=== Decode ===Decode: the valid data length " << m_usValidDataLength
                                                                 << " leaves the frame, length = " << length);
      return -1;
    }
    m_data.assign(buffer + kFrameHeaderLength, buffer + kFrameHeaderLength + m_usValidDataLength);
  }
  TRACE_INFO("Finish Decode the DataBlock.");
  return 0;
}

size_t ThirdProtoMCUCMsg::EncodedLength() const {
  const bool carriesData = m_ucCode != kCodeWrite || m_ucReserved == kReplyWithData;
  return kShortestFrame + (carriesData ? m_data.size() : 0);
}

int ThirdProtoMCUCMsg::Encode(uint8_t* buffer, int capacity) {
  if (const int result = EncodeHeader(buffer, capacity); result != 0) return result;
  const size_t length = EncodedLength();
  if (length > static_cast<size_t>(std::min(capacity, TP_SEND_BUFFER_LENGTH))) {
    TRACE_ERROR("=== Encode ===Encode: the frame length " << length << " leaves the buffer, capacity = " << capacity);
    return -1;
  }
  const int dataLength = static_cast<int>(length) - kShortestFrame;
  DWT_ENCWD(buffer + 16, static_cast<uint16_t>(dataLength));
  std::copy_n(m_data.begin(), dataLength, buffer + kFrameHeaderLength);
  const int end = kFrameHeaderLength + dataLength;
  CaculCheckout(buffer, kFirstSummedByte, end - kFirstSummedByte, m_usCheckout);
  DWT_ENCWD(buffer + end, m_usCheckout);
  return static_cast<int>(length);
}

}  // namespace TIRK_MCUC
