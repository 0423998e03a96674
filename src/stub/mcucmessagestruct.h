// The frame codec, the IPC envelope, and the decoded request that travels through the daemon.
//
// Frame (little-endian but for the tag): 0 header tag (2), 2 ack, 3 labels, 4 source, 5 destination, 6 device type,
// 7 port, 8 board (2), 10 code (0 read, 1 write), 11 reserved, 12 register address (4), 16 valid data length n (2),
// 18 data (n), 18 + n checksum (2): 0x5555 plus the bytes from 2 on, modulo 65 536.
// Envelope (28 bytes, little-endian): 0 uiid (4), 4 label count (4), 8 size (4), 12 result (4), 16 detail (4),
// 20 small label (2), 22 large label (2), 24 payload length (4).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "mcucbytes.h"

namespace TIRK_MCUC {

constexpr int DATA_BLOCK_LENGTH = 65536;
constexpr int TP_RECV_BUFFER_LENGTH = 65536;
constexpr int TP_SEND_BUFFER_LENGTH = 65536;
constexpr int GENERAL_RECV_BUFFER_LENGTH = 65536;
constexpr uint16_t PROTOCOL_HEADER_TAG_REQUEST = 0x55AA;
constexpr uint16_t PROTOCOL_HEADER_TAG_RESPONSE = 0xAA55;

constexpr int kFrameHeaderLength = 18;
constexpr int kShortestFrame = 20;
constexpr int kEnvelopeLength = 28;
constexpr int kLargestMessage = kEnvelopeLength + TP_SEND_BUFFER_LENGTH;  // 65 564

// Results of the peer link.
constexpr unsigned kThreadCreationFailed = 0x80005001;
constexpr unsigned kNotSupported = 0x80005001;
constexpr unsigned kInvalidMessage = 0x80005004;
constexpr unsigned kSendFailed = 0x80005036;
constexpr unsigned kEncodeFailed = 0x8000503A;

// Frame field values.
enum FrameCode : uint8_t { kCodeRead = 0, kCodeWrite = 1 };
enum AckStatus : uint8_t { kAckOk = 0, kAckChecksum = 2, kAckRefused = 4 };
enum DeviceType : uint8_t {
  kDeviceSendCard = 0,
  kDeviceRecvCard = 1,
  kDeviceMultiCard = 2,
  kDeviceDistribute = 3,
  kDevice3DLauncher = 4
};

// Task numbers: the low 24 bits of a task identifier.
constexpr uint32_t kTaskKadrend = 0x0A4200;
constexpr uint32_t kTaskReturn = 0x070400;  // destination of every reply
constexpr uint32_t kTaskQxt = 0x0A3900;     // screen-management daemon
constexpr uint32_t kTaskWpr = 0x0A3700;     // video-processing application
constexpr uint32_t kTaskFrelld = 0x0A3A00;  // video daemon
constexpr uint16_t kSmallLabelInterrupt = 3;
constexpr uint16_t kLargeLabelFrame = 28;

// (card position << 24) | number.
uint32_t taskIdentifier(uint32_t number);
// Whether a sender is the screen-management daemon of this card.
bool isScreenManagementDaemon(uint32_t uiid);

// The IPC envelope of a request, and what is sent in front of its reply.
struct ipcHeaderInfo {
  uint32_t uiid = 0;  // the sender's task identifier
  uint32_t labelCount = 0;
  uint32_t size = 0;
  uint32_t result = 0;  // of a reply: the frame's ack byte
  uint32_t detail = 0;
  uint16_t smallLabel = 0;
  uint16_t largeLabel = 0;
  uint32_t payloadLength = 0;  // the frame's length

  static ipcHeaderInfo decode(std::span<const uint8_t, kEnvelopeLength> wire);
  void encode(std::span<uint8_t, kEnvelopeLength> wire) const;
};

class MCUCMsg {
 public:
  MCUCMsg() = default;
  MCUCMsg(uint16_t header, uint8_t ack, uint8_t labels, uint8_t source, uint8_t destination, uint8_t deviceType,
          uint8_t port, uint16_t board, uint8_t code, uint32_t registerAddress);
  MCUCMsg(const MCUCMsg&) = default;
  MCUCMsg(MCUCMsg&&) = default;
  MCUCMsg& operator=(const MCUCMsg&) = default;
  MCUCMsg& operator=(MCUCMsg&&) = default;
  virtual ~MCUCMsg() = default;

  virtual int Encode(uint8_t* buffer, int capacity);      // 0x80005001: not supported
  virtual int Decode(const uint8_t* buffer, int length);  // 0x80005001: not supported

  int EncodeHeader(uint8_t* buffer, int size);          // 0; -1 for a null or too small buffer
  int DecodeHeader(const uint8_t* buffer, int length);  // 0; -1 for a null buffer or fewer than 20 bytes
  static void CaculCheckout(const uint8_t* buffer, int start, int count, uint16_t& sum);
  // Whether the stored checksum is right; false for null and for fewer than 20 bytes.
  static bool Checkout(const uint8_t* buffer, int length);

  uint16_t m_usHeader = 0;
  uint8_t m_ucAck = 0;
  uint8_t m_ucLabels = 0;
  uint8_t m_ucSourceAddress = 0;
  uint8_t m_ucDestinationAddrerss = 0;
  uint8_t m_ucDeviceType = 0;
  uint8_t m_ucPortAddress = 0;
  uint16_t m_usBoardAddress = 0;
  uint8_t m_ucCode = 0;
  uint8_t m_ucReserved = 0;  // 0xFF: a write's reply carries data
  uint32_t m_uiRegisterUnitAddress = 0;
  uint16_t m_usValidDataLength = 0;
  std::vector<uint8_t> m_data;
  uint16_t m_usCheckout = 0;
};

class ThirdProtoMCUCMsg : public MCUCMsg {
 public:
  using MCUCMsg::MCUCMsg;
  int Decode(const uint8_t* buffer, int length) override;  // 0, or -1: header, or a write's data longer than the frame
  int Encode(uint8_t* buffer, int capacity) override;  // the frame's length; -1: header, or capacity or 65 536 exceeded
  size_t EncodedLength() const;                        // the length of the frame that Encode makes
};

// One request, turned into its own reply; or a frame that the daemon sends on its own.
struct IMD_proto3rd {
  ThirdProtoMCUCMsg proto;
  int32_t seqNum = 0;
  uint32_t processID = 0;  // destination of a frame that the daemon sends on its own
  uint32_t SyncWrite = 0;
  ipcHeaderInfo ipcHeader;

  Bytes data() const { return proto.m_data; }
  void appendData(Bytes bytes) { proto.m_data.insert(proto.m_data.end(), bytes.begin(), bytes.end()); }
};

}  // namespace TIRK_MCUC
