// Frames and their replies: what comes back, what is refused and how, and that no input stops the daemon.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kBackup = 0x02300000;  // flash 0xB98000, read and written without side effects
constexpr uint32_t kBackupFlash = 0xB98000;
constexpr size_t kLabelAt = 20;  // in a datagram: small label, large label, then the frame's length
constexpr size_t kFrameAt = 28;
constexpr size_t kDestinationAt = kFrameAt + 5;

class RequestsTest : public ScenarioTest {
 protected:
  ThirdProtoMCUCMsg readFrame(uint16_t length = 1) { return BusClient::request(kCodeRead, kBackup, length, {}, {}); }
  ThirdProtoMCUCMsg writeFrame(const ByteVector& data) {
    return BusClient::request(kCodeWrite, kBackup, static_cast<uint16_t>(data.size()), data, {});
  }
  std::optional<kadctl::Message> exchange(const ByteVector& datagram, int timeoutMs = 5000) {
    EXPECT_TRUE(client().send(datagram));
    return client().receive(timeoutMs);
  }
  // True when the datagram is not answered, and the next request is.
  bool unanswered(const ByteVector& datagram) {
    EXPECT_TRUE(client().send(datagram));
    constexpr uint32_t kNext = 0x4E455854;
    EXPECT_TRUE(client().send(client().datagram(readFrame(), kNext)));
    const auto reply = client().receive(5000);
    return reply && reply->envelope.detail == kNext;
  }
};

TEST_F(RequestsTest, AReplyGivesTheRequestsFieldsBack) {
  auto request = readFrame(2);
  request.m_ucAck = 99;
  request.m_ucLabels = 7;
  request.m_ucSourceAddress = 9;
  request.m_ucPortAddress = 3;
  request.m_usBoardAddress = 0x1234;
  request.m_ucReserved = 5;
  auto datagram = client().datagram(request, 0xCAFE);
  DWT_ENCDW(&datagram[4], 11);   // label count
  DWT_ENCDW(&datagram[8], 12);   // size
  DWT_ENCDW(&datagram[12], 13);  // result
  DWT_ENCWD(&datagram[kLabelAt], 0);
  setFlash(kBackupFlash, {0xAB, 0xCD});
  const auto reply = exchange(datagram);
  ASSERT_TRUE(reply);
  EXPECT_TRUE(reply->checksumRight);
  EXPECT_EQ(reply->frame.m_usHeader, 0x55AA) << "AA 55 on the wire";
  EXPECT_EQ(reply->frame.m_ucAck, 0);
  EXPECT_EQ(reply->frame.m_ucLabels, 7);
  EXPECT_EQ(reply->frame.m_ucSourceAddress, 9);
  EXPECT_EQ(reply->frame.m_ucPortAddress, 3);
  EXPECT_EQ(reply->frame.m_usBoardAddress, 0x1234);
  EXPECT_EQ(reply->frame.m_ucReserved, 5);
  EXPECT_EQ(reply->frame.m_uiRegisterUnitAddress, kBackup);
  EXPECT_THAT(reply->frame.m_data, ElementsAre(0xAB, 0xCD));
  EXPECT_EQ(reply->envelope.uiid, client().task());
  EXPECT_EQ(reply->envelope.labelCount, 11U);
  EXPECT_EQ(reply->envelope.size, 12U);
  EXPECT_EQ(reply->envelope.result, 0U) << "the ack, not what the request had";
  EXPECT_EQ(reply->envelope.detail, 0xCAFEU);
  EXPECT_EQ(reply->envelope.smallLabel, 0);
  EXPECT_EQ(reply->envelope.largeLabel, kLargeLabelFrame);
}

TEST_F(RequestsTest, AWriteReplyCarriesDataOnlyWhenReservedAsksForIt) {
  for (const uint8_t reserved : ByteVector{0x00, 0xFE, 0xFF}) {
    auto request = writeFrame({1, 2});
    request.m_ucReserved = reserved;
    const auto reply = client().ask(request);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->frame.m_data, reserved == 0xFF ? (ByteVector{1, 2}) : ByteVector{}) << int{reserved};
  }
}

TEST_F(RequestsTest, OnlyTheValidDataOfALongerFrameIsTaken) {
  auto request = writeFrame({1, 2, 3, 4});
  auto datagram = client().datagram(request, 1);
  datagram[kFrameAt + 16] = 2;  // the valid data length; the checksum loses the difference
  datagram[datagram.size() - 2] = static_cast<uint8_t>(datagram[datagram.size() - 2] - 2);
  const auto reply = exchange(datagram);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->frame.m_ucAck, 0);
  settle(100);
  EXPECT_EQ(flash(kBackupFlash, 4), (ByteVector{1, 2, 0, 0}));
}

TEST_F(RequestsTest, AWrongChecksumIsAnsweredAndNotApplied) {
  auto datagram = client().datagram(writeFrame({0xEE}), 1);
  datagram.back() ^= 1;
  const auto reply = exchange(datagram);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->frame.m_ucAck, 2);
  EXPECT_EQ(reply->envelope.result, 2U);
  settle(100);
  EXPECT_THAT(effects(), IsEmpty());
  EXPECT_EQ(logged("Error", "=== dealDataBlock ===Deal DataBlock: Checkout Result is false! "), 1U);
}

TEST_F(RequestsTest, AFrameForAnotherAddressIsServedWhateverItsChecksum) {
  auto datagram = client().datagram(writeFrame({0xEE}), 1);
  datagram[kDestinationAt] = 5;
  const auto reply = exchange(datagram);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->frame.m_ucAck, 0);
  EXPECT_EQ(reply->frame.m_ucDestinationAddrerss, 5);
  settle(100);
  EXPECT_EQ(flash(kBackupFlash, 1), ByteVector{0xEE});
  EXPECT_EQ(logged("Error", "=== checkSelfDeviceRequest ===Not this ZB7700's Msg, addr = 5 sequse id = 0"), 1U);
}

TEST_F(RequestsTest, WhatCannotBeDecodedIsNotAnswered) {
  const auto whole = client().datagram(writeFrame({1, 2, 3}), 1);
  for (const size_t frameLength : {0, 1, 17, 18, 19, 22}) {  // the last one lacks a byte of its data
    auto datagram = whole;
    datagram.resize(kFrameAt + frameLength);
    DWT_ENCDW(&datagram[kLabelAt + 4], static_cast<uint32_t>(frameLength));
    EXPECT_TRUE(unanswered(datagram)) << frameLength;
  }
  EXPECT_EQ(logged("Error", "=== dealDataBlock ===Decode DataBlock Failed! Decode result = -1"), 6U);
  EXPECT_EQ(logged("Error", "=== DecodeHeader ===Decode Header: Decode Failed! return. The data length = 19"), 1U);
  settle(100);
  EXPECT_THAT(effects(), IsEmpty());
}

TEST_F(RequestsTest, OnlyFramesWithTheirLabelsAreTaken) {
  struct {
    uint16_t small;
    uint16_t large;
  } labels[] = {{2, 28}, {3, 28}, {4, 28}, {0xFFFF, 28}, {1, 27}, {1, 29}, {3, 27}};
  for (const auto& label : labels) {
    auto datagram = client().datagram(writeFrame({1}), 1);
    DWT_ENCWD(&datagram[kLabelAt], label.small);
    DWT_ENCWD(&datagram[kLabelAt + 2], label.large);
    EXPECT_TRUE(unanswered(datagram)) << label.small << " " << label.large;
  }
  EXPECT_EQ(logged("Info", "Apipc, data interrupt..."), 1U);
  settle(100);
  EXPECT_THAT(effects(), IsEmpty());
}

TEST_F(RequestsTest, DatagramsThatAreNoMessagesAreDroppedByTheBus) {
  auto wrongLength = client().datagram(readFrame(), 1);
  DWT_ENCDW(&wrongLength[kLabelAt + 4], 0xFFFFFFFF);
  for (const auto& datagram : {ByteVector(0), ByteVector(27, 0xFF), ByteVector(28, 0xFF), wrongLength}) {
    EXPECT_TRUE(unanswered(datagram)) << datagram.size();
  }
  EXPECT_THAT(monitor("bus"), ::testing::Contains("dropped 4"));
}

TEST_F(RequestsTest, UnknownPlacesAreAnsweredUnchanged) {
  EXPECT_EQ(askRead(0x02500000, 4), (Answer{0, 0, {}}));
  EXPECT_EQ(askWrite(0x02500000, {1}), (Answer{0, 0, {}}));
  EXPECT_EQ(askWrite(kBackup, {1}, {.deviceType = 7}), (Answer{0, 0, {}}));
  EXPECT_EQ(logged("Error", "=== Ssh_StartSendCard ===Ssh_StartSendCard: Invalid register address!"), 3U)
      << "these two, and the fixture's first";
  settle(100);
  EXPECT_THAT(effects(), IsEmpty());
}

// A refusal: ack 4 and result 4, no data, its line in the log, and nothing happened.
struct Refusal {
  uint8_t code;
  uint32_t address;
  size_t length;  // asked for, or written
  const char* line;
};

TEST_F(RequestsTest, RefusalsChangeNothing) {
  constexpr const char* kLength = "=== Ssh_checkFun ===Check Func: Unsupportd register max/min length.";
  constexpr const char* kType = "=== Ssh_checkFun ===Check Func: Unsupportd register type.";
  constexpr const char* kNoData = "invalid data";
  constexpr const char* kRange = "Invalid addr";
  constexpr uint8_t kOther = 2;
  const Refusal refusals[] = {
      {kCodeRead, 0x00000000, 1, "Unsupportd"},
      {kCodeRead, 0x00000000, 513, "Unsupportd"},
      {kCodeRead, 0x000000FF, 2, "=== ReadHwBasicInfomation ===Invalid addr+len, return! address = "},
      {kCodeRead, 0x00000100, 2, kRange},
      {kCodeWrite, 0x000000FE, 3, kRange},
      {kCodeRead, 0x00010000, 0, kLength},
      {kCodeRead, 0x00010000, 513, kLength},
      {kCodeRead, 0x01000006, 1, "=== Addr_CMDRegister ===invalid register access"},
      {kCodeWrite, 0x01000100, 1, "=== Addr_CMDRegister ===invalid register access"},
      {kCodeWrite, 0x01000003, 4, "=== WriteTestPointCommand ==="},
      {kCodeWrite, 0x01000002, 0, kLength},
      {kCodeRead, 0x02000000, 513, kRange},
      {kCodeRead, 0x02000000, 1025, kLength},
      {kCodeRead, 0x020001FF, 2, kRange},
      {kCodeRead, 0x0200FFFF, 1, kRange},
      {kCodeWrite, 0x020001FF, 2, kRange},
      {kCodeWrite, 0x02000000, 0, kLength},
      {kCodeRead, 0x02100188, 1, kRange},
      {kCodeWrite, 0x02100188, 1, kRange},
      {kCodeRead, 0x02100000, 1025, kLength},
      {kCodeWrite, 0x022001FE, 2, "=== ReadFromPosNetPort ===Invalid addr+len, return! address = 510len = 2"},
      {kCodeWrite, 0x02200118, 1, "==="},
      {kCodeRead, 0x02300000, 0, kLength},
      {kCodeRead, 0x02300000, 513, kLength},
      {kCodeRead, 0x02300FFF, 2, kRange},
      {kCodeWrite, 0x02300FFF, 2, kRange},
      {kOther, 0x02300000, 1, kType},
      {kCodeRead, 0x02400000, 513, kLength},
      {kCodeWrite, 0x02700000, 0, kLength},
      {kCodeRead, 0x02810000, 1501, kLength},
      {kCodeRead, 0x02810FFF, 2, kRange},
      {kCodeWrite, 0x02810FFF, 2, kRange},
      {kCodeRead, 0x03009FFF, 2, "=== ReadFromPosNetPort ===Invalid addr+len, return! address = "},
      {kCodeRead, 0x0300FFFF, 1, kRange},
      {kCodeWrite, 0x03000000, 0, "=== WriteToPosNetPort ===invalid data"},
      {kCodeRead, 0x030001EF, 16385, "==="},
      {kCodeRead, 0x030001EE, 16385, "==="},
      {kCodeRead, 0x03100000, 769, "=== ReadFromNumberFunCardPort ===Invalid addr+len, return! address = "},
      {kCodeRead, 0x031002FF, 2, kRange},
      {kCodeWrite, 0x031002FF, 2, kRange},
      {kCodeWrite, 0x03100000, 0, kNoData},
      {kCodeRead, 0x03100000, 2049, kLength},
      {kCodeRead, 0x05000000, 32769, kLength},
      {kCodeWrite, 0x05000000, 0, kLength},
      {kCodeRead, 0x08000000, 2, kRange},
      {kCodeRead, 0x08000001, 128, kRange},
      {kCodeWrite, 0x08000000, 0, "=== WriteFeatureInfomation ===invalid data"},
      {kCodeRead, 0x0A000000, 4097, kLength},
      {kCodeWrite, 0x0E000000, 0, kLength},
      {kCodeRead, 0x0E000000, 1025, kLength},
      {kCodeWrite, 0x0F000001, 0, "=== WriteFeatureInfomation ===invalid data"},
      {kCodeWrite, 0x0F000000, 31, "==="},
      {kCodeRead, 0x12010000, 64, "=== ReadScreenPatternGenInfo ===Invalid addr+len, return! address = "},
      {kCodeWrite, 0x120101FF, 2, kRange},
      {kCodeWrite, 0x12010000, 0, kNoData},
      {kCodeRead, 0x18000000, 255, kLength},
      {kCodeRead, 0x18000001, 256, "invalid register access"},
      {kCodeWrite, 0x18000000, 256, "==="},
      {kCodeRead, 0xF0000000, 0, "Unsupportd"},
      {kCodeRead, 0xF0000000, 2049, "Unsupportd"},
      {kCodeRead, 0xF1FFFFFF, 2, kRange},
      {kCodeWrite, 0xF1FFFFFF, 2, kRange},
  };
  std::string told = log();
  for (const Refusal& refusal : refusals) {
    const ByteVector data(refusal.code == kCodeRead ? 0 : refusal.length, 0x5A);
    const auto request =
        BusClient::request(refusal.code, refusal.address, static_cast<uint16_t>(refusal.length), data, {});
    EXPECT_EQ(ask(client(), request), (Answer{4, 4, {}}))
        << std::hex << refusal.address << " code " << int{refusal.code};
    const std::string now = log();
    const std::string news = now.substr(told.size());
    told = now;
    EXPECT_EQ(occurrences(news, "] Error:"), 1U) << std::hex << refusal.address << " " << news;
    EXPECT_NE(news.find(refusal.line), std::string::npos) << std::hex << refusal.address << " " << news;
  }
  settle(100);
  EXPECT_THAT(effects(), IsEmpty());
}

TEST_F(RequestsTest, ReadsThatTheDeviceFailsAreRefused) {
  struct {
    const char* operation;
    uint32_t address;
    uint16_t length;
    const char* line;
  } reads[] = {
      {"flash-read", 0x02300000, 4, "=== ReadFromBackupInfo ===Read backup info flash failed. ret = -1"},
      {"flash-read", 0x02810000, 4, "=== WriteToNumberFunCardPort ===read bytes from flash failed. driverRet = -1"},
      {"flash-read", 0x05000000, 4, "=== ReadFromSoftwareTable ===Read Bytes From Flash Failed. DriverRet = -1"},
      {"flash-read", 0x0F000000, 4, "=== ReadRVConfigFileSpace ===Read from flash failed when reading RVConfigFile ! "},
      {"flash-read", 0x0F800000, 4, "=== ReadRVConfigFileSpace ===Read from flash failed when reading DevNameFile ! "},
      {"fpga-read", 0x020001E0, 20,
       "=== ReadFromFeatureInfo ===Read from FPGA BasicPara failed when reading feature information! "},
      {"fpga-read", 0x03000000, 4, "=== ReadFromPosNetPort ===Read FPGA Posi Info failed! ret = -1"},
      {"fpga-read", 0x03100000, 1, "==="},
      {"fpga-read", 0x0E000000, 4, "=== Read_12BIT_RedGammaInfo ===Read 12BIT_RedGamma Info failed! ret = -1"},
      {"fpga-read", 0xF0000020, 4, "==="},
  };
  for (const auto& read : reads) {
    // The cycle reads the FPGA as well, and may take a failure meant for the request.
    const size_t before = logged("Error", read.line);
    ASSERT_TRUE(waitUntil([&] {
      monitor(std::string("fail ") + read.operation + " 3");
      return askRead(read.address, read.length) == Answer{4, 4, {}};
    })) << std::hex
        << read.address;
    monitor(std::string("fail ") + read.operation + " 0");
    EXPECT_EQ(logged("Error", read.line), before + 1) << read.line;
    EXPECT_EQ(askRead(read.address, read.length).data.size(), read.length) << "and the next one is served";
  }
}

TEST_F(RequestsTest, TheHardwareRecordIsAnsweredWithoutTheFlashToo) {
  monitor("fail flash-read 3");
  const Answer answer = askRead(0x00000000, 40);
  EXPECT_EQ(answer.ack, 0);
  ASSERT_EQ(answer.data.size(), 40U);
  EXPECT_EQ(ByteVector(&answer.data[2], &answer.data[4]), (ByteVector{0x01, 0x50})) << "the model";
  EXPECT_EQ(ByteVector(&answer.data[22], &answer.data[30]), fromHex("13030d00ffffffff")) << "the serial number";
  EXPECT_EQ(logged("Error", "=== ReadFromPosNetPort ===Read HwBasic Info failed! ret = -1"), 1U);
}

TEST_F(RequestsTest, EveryClientGetsItsOwnReplies) {
  constexpr int kClients = 4;
  constexpr uint32_t kRequests = 100;
  constexpr uint32_t kUnderWay = 8;  // more than a task's queue holds would be lost
  setFlash(kBackupFlash, ByteVector{1, 2, 3, 4});
  std::vector<std::thread> threads;
  for (int i = 0; i < kClients; ++i) {
    threads.emplace_back([this, i] {
      BusClient own(board());
      const auto request = BusClient::request(kCodeRead, kBackup + static_cast<uint32_t>(i), 1, {}, {});
      for (uint32_t n = 0; n < kRequests + kUnderWay; ++n) {
        if (n < kRequests) {
          EXPECT_TRUE(own.send(own.datagram(request, n)));
        }
        if (n < kUnderWay) continue;
        const auto reply = own.receive(5000);
        ASSERT_TRUE(reply) << "reply " << n - kUnderWay << " of client " << i;
        EXPECT_EQ(reply->envelope.detail, n - kUnderWay);
        EXPECT_THAT(reply->frame.m_data, ElementsAre(i + 1));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  settle(100);
  EXPECT_EQ(logged("Info", "recv new uiid = "), size_t{kClients} + 1) << "each sender once, the fixture's with them";
}

TEST_F(RequestsTest, WritesOfOneClientAreAppliedInTheirOrder) {
  constexpr uint8_t kWrites = 50;
  for (uint8_t i = 0; i < kWrites; ++i) ASSERT_EQ(ask(client(), writeFrame({i, i})).ack, 0);
  settle(100);
  std::vector<std::string> expected;
  for (uint8_t i = 0; i < kWrites; ++i) {
    expected.push_back("flash w 0x00b98000 2 " + toHex(ByteVector{i, i}));
    expected.push_back("sh sync");
  }
  EXPECT_EQ(effects(), expected);
}

TEST_F(RequestsTest, AClientThatIsGoneOrDoesNotReadStopsNobody) {
  {
    BusClient gone(board());
    auto datagram = gone.datagram(readFrame(), 1);
    DWT_ENCDW(&datagram[0], client().task() + 0x1000);  // a return address that nobody has
    ASSERT_TRUE(gone.send(datagram));
  }
  ASSERT_TRUE(waitLogged("Error", "=== ReplyMsg ===ReplyMsg: reply message Failed! ret = -1"));
  BusClient hung(board());
  int sent = 0;
  const auto request = BusClient::request(kCodeRead, 0x03000000, 40960, {}, {});
  while (sent < 40) {
    ASSERT_TRUE(hung.send(hung.datagram(request, static_cast<uint32_t>(sent))));
    ++sent;
  }
  EXPECT_EQ(askRead(kBackup, 1).ack, 0);
}

// Requests of every kind with lengths and data at random. What they ask for is refused or done; the daemon answers on.
TEST_F(RequestsTest, AnyInputIsSurvived) {
  std::mt19937 random(20170619);
  const uint32_t bases[] = {0x00000000, 0x00010000, 0x02000000, 0x02100000, 0x02200000, 0x02300000, 0x02400000,
                            0x02700000, 0x02810000, 0x03000000, 0x03100000, 0x05000000, 0x05060000, 0x08000000,
                            0x0E000000, 0x0E100000, 0x0E300000, 0x0F000000, 0x0F001000, 0x0F800000, 0x0FF00000,
                            0x12010000, 0x18000000, 0xF0000000, 0xF1000000};
  const auto below = [&](size_t limit) { return static_cast<uint32_t>(random() % limit); };
  constexpr int kRequests = 400;
  int answered = 0;
  for (int i = 0; i < kRequests; ++i) {
    uint32_t address = bases[below(std::size(bases))] + below(below(2) ? 0x20 : 0x10000);
    if (address == 0x030001EE || address == 0x030001EF) ++address;  // measurements take their time
    ByteVector data(below(4) ? below(40) : below(3000));
    for (auto& byte : data) byte = static_cast<uint8_t>(random());
    auto request =
        BusClient::request(static_cast<uint8_t>(below(3)), address, static_cast<uint16_t>(data.size()), data, {});
    if (request.m_ucCode == kCodeRead) request.m_usValidDataLength = static_cast<uint16_t>(below(70000));
    auto datagram = client().datagram(request, static_cast<uint32_t>(i));
    if (below(4) == 0) datagram[kFrameAt + below(18)] = static_cast<uint8_t>(random());
    datagram[kFrameAt + 6] = 0;  // for this card
    ASSERT_TRUE(client().send(datagram));
    if (const auto reply = client().receive(below(10) ? 1000 : 200)) ++answered;
  }
  EXPECT_GT(answered, kRequests / 2);
  while (client().receive(50)) continue;
  EXPECT_EQ(askRead(kBackup, 1).ack, 0);
  settle(200);
}

}  // namespace
}  // namespace testing_support
