// The wire: frames, envelopes, write records and the byte helpers that lay them out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "proto/writerecord.h"
#include "stub/mcucmessagestruct.h"

namespace TIRK_MCUC {
namespace {

using namespace ::testing;
using ByteVector = std::vector<uint8_t>;

ByteVector encode(ThirdProtoMCUCMsg frame, int capacity = TP_SEND_BUFFER_LENGTH) {
  ByteVector wire(static_cast<size_t>(capacity));
  const int length = frame.Encode(wire.data(), capacity);
  wire.resize(length < 0 ? 0 : static_cast<size_t>(length));
  return wire;
}

int decode(ThirdProtoMCUCMsg& frame, const ByteVector& wire) {
  return frame.Decode(wire.data(), static_cast<int>(wire.size()));
}

bool checkout(const ByteVector& wire) {
  return MCUCMsg::Checkout(wire.data(), static_cast<int>(wire.size()));
}

// A write of three bytes with a different value in every field.
const ByteVector kWriteFrame = {
    0x55, 0xAA,              // tag
    0x02,                    // ack
    0x03,                    // labels
    0xFE,                    // source
    0x05,                    // destination
    0x01,                    // device type
    0x07,                    // port
    0x34, 0x12,              // board
    0x01,                    // code: write
    0x0B,                    // reserved
    0x78, 0x56, 0x34, 0x12,  // register address
    0x03, 0x00,              // valid data length
    0xD0, 0xD1, 0xD2,        // data
    0x41, 0x5A,              // checksum
};

TEST(FrameCodec, DecodesEveryFieldFromItsPlace) {
  ThirdProtoMCUCMsg frame;
  ASSERT_EQ(decode(frame, kWriteFrame), 0);
  EXPECT_THAT((std::vector<uint32_t>{frame.m_usHeader, frame.m_ucAck, frame.m_ucLabels, frame.m_ucSourceAddress,
                                     frame.m_ucDestinationAddrerss, frame.m_ucDeviceType, frame.m_ucPortAddress,
                                     frame.m_usBoardAddress, frame.m_ucCode, frame.m_ucReserved,
                                     frame.m_uiRegisterUnitAddress, frame.m_usValidDataLength, frame.m_usCheckout}),
              ElementsAre(0xAA55, 2, 3, 0xFE, 5, 1, 7, 0x1234, kCodeWrite, 0x0B, 0x12345678, 3, 0x5A41));
  EXPECT_THAT(frame.m_data, ElementsAre(0xD0, 0xD1, 0xD2));
  EXPECT_TRUE(checkout(kWriteFrame));
}

TEST(FrameCodec, CarriesDataUnlessItAnswersAWrite) {
  struct Case {
    uint8_t code, reserved;
    size_t expectedLength;
  };
  for (const Case& c : {Case{kCodeRead, 0, 24}, {kCodeWrite, 0, 20}, {kCodeWrite, 0xFE, 20}, {kCodeWrite, 0xFF, 24}}) {
    ThirdProtoMCUCMsg frame(0xAA55, 0, 0, 0, 0, 0, 0, 0, c.code, 0x02000000);
    frame.m_ucReserved = c.reserved;
    frame.m_usValidDataLength = 999;  // what the request asked for
    frame.m_data = {1, 2, 3, 4};
    const ByteVector wire = encode(frame);
    ASSERT_EQ(wire.size(), c.expectedLength);
    EXPECT_EQ(frame.EncodedLength(), c.expectedLength);
    EXPECT_EQ(readWord(wire.data() + 16), c.expectedLength - 20);
    EXPECT_TRUE(checkout(wire));
  }
}

TEST(FrameCodec, RefusesToEncodeWhatDoesNotFit) {
  ThirdProtoMCUCMsg frame(0xAA55, 0, 0, 0, 0, 0, 0, 0, kCodeRead, 0);
  std::array<uint8_t, 24> buffer{};
  frame.m_data.assign(4, 0x11);
  EXPECT_EQ(frame.Encode(buffer.data(), 17), -1);
  EXPECT_EQ(frame.Encode(buffer.data(), 23), -1);
  EXPECT_EQ(buffer[22], 0) << "a refused frame writes no data";
  EXPECT_EQ(frame.Encode(buffer.data(), 24), 24);
  frame.m_data.assign(65516, 0xFF);
  EXPECT_EQ(encode(frame).size(), 65536U);
  frame.m_data.push_back(0);
  ByteVector large(70000);
  EXPECT_EQ(frame.Encode(large.data(), 70000), -1) << "no frame is longer than 65 536 bytes";
}

TEST(FrameCodec, TakesAWritesDataOnlyIfItIsThere) {
  struct Case {
    const char* name;
    uint8_t code;
    uint16_t validLength;
    size_t present;  // data bytes in the frame
    int expected;
    size_t expectedData;
  };
  for (const Case& c : {
           Case{"all there", kCodeWrite, 4, 4, 0, 4},
           Case{"surplus bytes are ignored", kCodeWrite, 4, 6, 0, 4},
           Case{"one byte short", kCodeWrite, 4, 3, -1, 0},
           Case{"longest frame", kCodeWrite, 65516, 65516, 0, 65516},
           Case{"bytes of a read are no data", kCodeRead, 4, 4, 0, 0},
       }) {
    SCOPED_TRACE(c.name);
    ByteVector wire(20 + c.present, 0x11);
    wire[10] = c.code;
    DWT_ENCWD(wire.data() + 16, c.validLength);
    ThirdProtoMCUCMsg frame;
    frame.m_data = {9, 9, 9};  // of an earlier frame
    EXPECT_EQ(decode(frame, wire), c.expected);
    EXPECT_EQ(frame.m_data.size(), c.expectedData);
  }
}

TEST(FrameCodec, TheSumWraps) {
  uint16_t sum = 0;
  const ByteVector high(65536, 0xFF);  // bytes of 128 and more count as they are
  MCUCMsg::CaculCheckout(high.data(), 2, 65532, sum);
  EXPECT_EQ(sum, (0x5555U + 65532U * 0xFFU) % 65536U);
}

TEST(Envelope, LiesOnTheWireAsThePeersReadIt) {
  const std::array<uint8_t, kEnvelopeLength> wire = {
      0x01, 0x02, 0x0C, 0x03,  // uiid
      0x01, 0x00, 0x00, 0x80,  // label count
      0x1C, 0x10, 0x00, 0x00,  // size
      0x44, 0x33, 0x22, 0x11,  // result
      0x88, 0x77, 0x66, 0x55,  // detail
      0x01, 0x02,              // small label
      0x1C, 0x04,              // large label
      0x14, 0x00, 0x01, 0x00,  // payload length
  };
  const auto header = ipcHeaderInfo::decode(wire);
  EXPECT_THAT((std::vector<uint32_t>{header.uiid, header.labelCount, header.size, header.result, header.detail,
                                     header.smallLabel, header.largeLabel, header.payloadLength}),
              ElementsAre(0x030C0201, 0x80000001, 0x101C, 0x11223344, 0x55667788, 0x0201, 0x041C, 0x10014));
  std::array<uint8_t, kEnvelopeLength> again{};
  header.encode(again);
  EXPECT_EQ(again, wire);
}

TEST(WriteRecord, IsTakenOnlyWhole) {
  const ByteVector record = encodeWriteRecord(0x03001234, 3, ByteVector{0xA, 0xB, 0xC});
  EXPECT_THAT(record, ElementsAre(0x34, 0x12, 0x00, 0x03, 0x03, 0x00, 0xA, 0xB, 0xC));
  for (size_t length = 0; length < record.size(); ++length) {
    EXPECT_FALSE(decodeWriteRecord(Bytes(record).first(length))) << length;
  }
  const auto decoded = decodeWriteRecord(record).value();
  EXPECT_EQ(decoded.address, 0x03001234U);
  EXPECT_EQ(decoded.length, 3);
  EXPECT_THAT(decoded.data, ElementsAre(0xA, 0xB, 0xC));

  // The length field is the request's own: fewer bytes than it says are refused, more are cut.
  EXPECT_FALSE(decodeWriteRecord(encodeWriteRecord(0, 0xFFFF, ByteVector{1})));
  const ByteVector surplus = encodeWriteRecord(0, 1, ByteVector{1, 2, 3});
  EXPECT_THAT(decodeWriteRecord(surplus).value().data, ElementsAre(1));
}

TEST(ByteHelpers, DumpOnlyWhatFits) {
  const ByteVector bytes = {0x55, 0xAA, 0x00};
  const struct {
    int count, capacity;
    std::string text;
  } cases[] = {{3, 10, "55 AA 00 "}, {3, 9, ""}, {3, 1, ""}, {0, 16, ""}, {0x7FFFFFFF, 16, ""}};
  for (const auto& c : cases) {
    std::string text(16, '#');
    EXPECT_EQ(Bytes2String(bytes.data(), c.count, text.data(), c.capacity), static_cast<int>(c.text.size()));
    EXPECT_EQ(text, c.text + '\0' + std::string(15 - c.text.size(), '#')) << c.count << ", " << c.capacity;
  }
  EXPECT_EQ(Bytes2String(bytes.data(), 3, nullptr, 16), 0);
}

}  // namespace
}  // namespace TIRK_MCUC
