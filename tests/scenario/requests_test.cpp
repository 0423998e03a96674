// Requests to the whole daemon: what is written is kept where it belongs and read back, clients do not hinder each
// other, and no input stops it.
#include <random>
#include <thread>

#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using namespace ::testing;

constexpr uint32_t kBackup = 0x02300000;  // flash 0xB98000, read and written without side effects
constexpr uint32_t kBackupFlash = 0xB98000;
constexpr size_t kFrameAt = 28;

class RequestsTest : public ScenarioTest {
 protected:
  ThirdProtoMCUCMsg readFrame(uint16_t length = 1) { return BusClient::request(kCodeRead, kBackup, length, {}, {}); }
  ThirdProtoMCUCMsg writeFrame(const ByteVector& data) {
    return BusClient::request(kCodeWrite, kBackup, static_cast<uint16_t>(data.size()), data, {});
  }
};

TEST_F(RequestsTest, WhatIsWrittenIsKeptAndReadBack) {
  struct {
    uint32_t address;
    size_t length;
    uint32_t flashAddress;  // 0: not in the flash
    uint32_t fpgaAddress;   // 0: not in the FPGA
  } spaces[] = {{0x02300000, 512, 0xB98000, 0},  {0x02300FFF, 1, 0xB98FFF, 0},     {0x0281001D, 40, 0xB9901D, 0},
                {0x02810400, 1500, 0xB99400, 0}, {0x03000000, 40960, 0, 0x600000}, {0x03009FFE, 2, 0, 0x609FFE},
                {0x03100000, 128, 0, 0x500000},  {0x03100080, 128, 0, 0x501000},   {0x03100100, 256, 0, 0x500100},
                {0x03100200, 128, 0, 0x502000},  {0x03100280, 128, 0, 0x503000},   {0x031002FF, 1, 0, 0x50307F},
                {0x05000000, 600, 0xC30000, 0},  {0x0500FFFE, 2, 0xC3FFFE, 0},     {0x05060000, 2, 0xC90000, 0},
                {0x0F000801, 100, 0xE00801, 0},  {0x0F7FFFFF, 1, 0x15FFFFF, 0},    {0x0F800100, 64, 0xD14100, 0},
                {0x12010006, 8, 0, 0xA00006},    {0xF0000200, 20, 0, 0x200},       {0xF1000000, 2048, 0, 0x1000000},
                {0x02100010, 16, 0, 0},          {0x02000040, 16, 0xA3B140, 0x40}, {0x020001F9, 7, 0xA3B2F9, 0}};
  uint8_t next = 0;
  for (const auto& space : spaces) {
    ByteVector data(space.length);
    for (auto& byte : data) byte = static_cast<uint8_t>(next += 7);
    EXPECT_EQ(askWrite(space.address, data), (Answer{0, 0, {}})) << std::hex << space.address;
    settle(60);
    EXPECT_EQ(askRead(space.address, static_cast<uint16_t>(data.size())), (Answer{0, 0, data}))
        << std::hex << space.address;
    if (space.flashAddress != 0) {
      EXPECT_EQ(flash(space.flashAddress, data.size()), data) << std::hex << space.address;
    }
    if (space.fpgaAddress != 0) {
      EXPECT_EQ(fpga(space.fpgaAddress, data.size()), data) << std::hex << space.address;
    }
  }
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
