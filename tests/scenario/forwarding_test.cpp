// Requests to the equipment behind the output ports: chunks, links, refusals, and what is stored and reported on the
// way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using kadctl::Target;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr uint32_t kBrightness = 0x02000001;
constexpr uint32_t kMapping = 0x01000088;

Target receivingCard(uint8_t port = 0, uint16_t board = 0) {
  return {kDeviceRecvCard, port, board};
}
Target multiCard(uint8_t port = 0, uint16_t board = 0) {
  return {kDeviceMultiCard, port, board};
}
Target distributionBox(uint8_t port, uint16_t board = 0) {
  return {kDeviceDistribute, port, board};
}
Target launcher(uint8_t port = 0, uint16_t board = 0) {
  return {kDevice3DLauncher, port, board};
}

class ForwardingTest : public ScenarioTest {
 protected:
  // Two receiving cards behind port 0; the daemon knows the link.
  void SetUp() override {
    ScenarioTest::SetUp();
    monitor("cards 0 2 128 64");
    ASSERT_TRUE(waitLogged("Info", "SourceLinkStatus:0 -> NowChangedLinstatus:1"));
    settle(60);
    monitor("journal clear");
  }
  Answer fromScreenDaemon(BusClient& screenDaemon, uint32_t address, const ByteVector& data, const Target& target) {
    return ask(screenDaemon, BusClient::request(kCodeWrite, address, static_cast<uint16_t>(data.size()), data, target));
  }
  std::vector<std::string> done() {
    settle(60);
    return effects();
  }
};

TEST_F(ForwardingTest, LongReadsAreCutAndPutTogether) {
  ByteVector data(1200);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 7);
  monitor("card write recv 0 1 0x1000 " + toHex(data));
  monitor("card write multi 0 1 0x1000 " + toHex(data));
  monitor("card write 3d 0 1 0x1000 " + toHex(data));
  EXPECT_EQ(askRead(0x1000, 1200, receivingCard(0, 1)), (Answer{0, 0, data}));
  EXPECT_THAT(done(), ElementsAre("card r recv 0 1 0x00001000 512", "card r recv 0 1 0x00001200 512",
                                  "card r recv 0 1 0x00001400 176"));
  EXPECT_EQ(askRead(0x1000, 512, multiCard(0, 1)), (Answer{0, 0, ByteVector(data.begin(), data.begin() + 512)}));
  EXPECT_THAT(done(), ElementsAre("card r multi 0 1 0x00001000 256", "card r multi 0 1 0x00001100 256"));
  EXPECT_EQ(askRead(0x1000, 513, launcher(0, 1)), (Answer{0, 0, ByteVector(data.begin(), data.begin() + 513)}));
  EXPECT_THAT(done(), ElementsAre("card r 3d 0 1 0x00001000 512", "card r 3d 0 1 0x00001200 1"));
  EXPECT_EQ(logged("Info", "Read receive card finished ok. "), 1U);
}

TEST_F(ForwardingTest, LongWritesAreCut) {
  struct {
    Target target;
    const char* kind;
    size_t chunk;
  } kinds[] = {{receivingCard(0, 1), "recv", 512},
               {multiCard(0, 1), "multi", 256},
               {distributionBox(0, 1), "dist", 256},
               {launcher(0, 1), "3d", 512}};
  for (const auto& kind : kinds) {
    ByteVector data(2 * kind.chunk + 3);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 5 + 1);
    EXPECT_EQ(askWrite(0x3000, data, kind.target), (Answer{0, 0, {}})) << kind.kind;
    auto lines = done();
    std::erase_if(lines, [](const std::string& line) { return line.rfind("ipc s", 0) == 0; });  // a launcher's is told
    ASSERT_EQ(lines.size(), 3U) << kind.kind;
    const std::string size = std::to_string(kind.chunk);
    EXPECT_THAT(lines[0], StartsWith(std::string("card w ") + kind.kind + " 0 1 0x00003000 " + size + " 0106"));
    EXPECT_THAT(lines[1], StartsWith(std::string("card w ") + kind.kind + " 0 1 0x0000" +
                                     (kind.chunk == 512 ? "3200 " : "3100 ") + size));
    EXPECT_THAT(lines[2], StartsWith(std::string("card w ") + kind.kind + " 0 1 0x0000" +
                                     (kind.chunk == 512 ? "3400" : "3200") + " 3 "));
    EXPECT_EQ(monitorLine(std::string("card read ") + kind.kind + " 0 1 0x3000 " + std::to_string(data.size())),
              toHex(data));
  }
}

TEST_F(ForwardingTest, FailedReadsTellWhy) {
  EXPECT_EQ(askRead(0x1000, 4, receivingCard(5)), (Answer{4, 4, {}})) << "no link";
  EXPECT_EQ(askRead(0x1000, 4, receivingCard(40)), (Answer{4, 4, {}})) << "no such port";
  EXPECT_THAT(done(), IsEmpty());
  EXPECT_EQ(askRead(0x1000, 4, receivingCard(0, 2)), (Answer{1, 1, {}})) << "no such card";
  EXPECT_EQ(logged("Error", "=== Ssh_StartScanCard ===Read receive card failed, return  "), 3U);
  EXPECT_EQ(askRead(0x1000, 4, multiCard(0, 9)), (Answer{4, 4, {}}));
  EXPECT_EQ(logged("Error", "=== Ssh_StartMultiCard ===Read multi card failed, return! "), 1U);
  EXPECT_EQ(askRead(0x1000, 4, distributionBox(0, 9)), (Answer{4, 4, {}}));
  EXPECT_EQ(logged("Error", "=== Ssh_StartDistribute ===Read Distribute failed, return! "), 1U);
  EXPECT_EQ(askRead(0x1000, 4, launcher(0, 9)), (Answer{4, 4, {}}));
  EXPECT_EQ(logged("Error", "=== Ssh_Start3DLauncher ===Read 3DLauncher failed, return  "), 1U);
  EXPECT_EQ(askRead(0x1000, 65517, multiCard()), (Answer{4, 4, {}})) << "more than a reply holds";
  done();
  monitor("card write recv 0 0 0x1000 " + toHex(ByteVector(1024, 1)));
  monitor("fail card-read 1");
  EXPECT_EQ(askRead(0x1000, 1024, receivingCard()), (Answer{1, 1, {}})) << "a chunk that fails ends the read";
  EXPECT_THAT(done(), ElementsAre("card r recv 0 0 0x00001000 512 failed -1"));
}

TEST_F(ForwardingTest, BroadcastReadsNeverReachTheCards) {
  EXPECT_EQ(askRead(0x1000, 600, receivingCard(0, 0xFFFF)), (Answer{0, 0, ByteVector(600, 0)}));
  EXPECT_THAT(done(), IsEmpty());
}

TEST_F(ForwardingTest, OtherCodesDoNothing) {
  for (const auto& target : {receivingCard(), multiCard(), distributionBox(0), launcher()}) {
    EXPECT_EQ(ask(client(), BusClient::request(2, 0x1000, 1, {}, target)), (Answer{0, 0, {}}));
  }
  EXPECT_THAT(done(), IsEmpty());
}

TEST_F(ForwardingTest, BrightnessIsStoredForwardedAndReported) {
  BusClient screenDaemon(board(), kTaskQxt);
  ASSERT_TRUE(heard(screenDaemon, "0x02100006 80004000")) << "the last of what a new connection is told";
  ASSERT_TRUE(waitLogged("Info", "=== Read receive card OK, ReceiveCardWidth= 128"));
  settle(250);
  monitor("journal clear");
  const Target all = receivingCard(255, 0xFFFF);
  EXPECT_EQ(askWrite(kBrightness, {0x64}, all), (Answer{0, 0, {}}));
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x02000001 64"));
  EXPECT_THAT(done(), ElementsAre("flash w 0x00d15000 1 64", "card w recv 255 65535 0x02000001 1 64",
                                  StartsWith("ipc s 0x010a3900 ")));
  EXPECT_EQ(monitorLine("card read recv 0 1 0x02000001 1"), "64");

  EXPECT_EQ(fromScreenDaemon(screenDaemon, kBrightness, {0x65}, all).ack, 0);
  EXPECT_THAT(reports(screenDaemon, 200), IsEmpty()) << "it knows";
  EXPECT_EQ(flash(0xD15000, 1), ByteVector{0x65});
  done();

  EXPECT_EQ(askWrite(kBrightness, {0x66, 0x67}, all).ack, 0);
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x02000001 66")) << "reported, one byte, not stored";
  EXPECT_EQ(flash(0xD15000, 1), ByteVector{0x65});
  EXPECT_EQ(askWrite(kMapping, {0x05}, all).ack, 0);
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x01000088 05"));
  EXPECT_EQ(askWrite(kMapping, {0x05, 0x06}, all).ack, 0);
  EXPECT_EQ(askWrite(kBrightness + 1, {0x05}, all).ack, 0);
  EXPECT_THAT(reports(screenDaemon, 200), IsEmpty());
}

TEST_F(ForwardingTest, BrightnessThatCannotBeStoredIsForwarded) {
  monitor("fail flash-write 3 -3");
  EXPECT_EQ(askWrite(kBrightness, {0x64}, receivingCard()).ack, 0);
  EXPECT_EQ(logged("Error", "Write BrightnessInfo to flash failed. ret = -3"), 1U);
  EXPECT_EQ(monitorLine("card read recv 0 0 0x02000001 1"), "64");
}

TEST_F(ForwardingTest, LauncherParametersAreReportedAndStoredTwice) {
  BusClient screenDaemon(board(), kTaskQxt);
  ASSERT_TRUE(heard(screenDaemon, "0x02100006 80004000")) << "the last of what a new connection is told";
  ASSERT_TRUE(waitLogged("Info", "=== Read receive card OK, ReceiveCardWidth= 128"));
  settle(250);
  monitor("journal clear");
  EXPECT_EQ(askWrite(0x02000001, {1, 2, 3}, launcher()), (Answer{0, 0, {}}));
  EXPECT_THAT(reports(screenDaemon, 200), ElementsAre("0x02002001 010203"));
  EXPECT_THAT(done(), ElementsAre(StartsWith("ipc s 0x010a3900 "), "flash w 0x00002407 3 010203",
                                  "flash w 0x0000f557 3 010203", "card w 3d 0 0 0x02000001 3 010203"));
  EXPECT_EQ(fromScreenDaemon(screenDaemon, 0x02000002, {9}, launcher()).ack, 0);
  EXPECT_THAT(reports(screenDaemon, 200), IsEmpty());
  EXPECT_EQ(flash(0x2408, 1), ByteVector{9});
  EXPECT_EQ(flash(0xF558, 1), ByteVector{9});
  done();
  EXPECT_EQ(askWrite(0x02000001, ByteVector(513, 5), launcher()).ack, 0);
  EXPECT_EQ(logged("Error", "=== Ssh_Start3DLauncher ==="), 1U);
  EXPECT_EQ(flash(0x2407, 1), ByteVector{1}) << "too long to be stored";
  EXPECT_EQ(monitorLine("card read 3d 0 0 0x02000200 1"), "05");
}

TEST_F(ForwardingTest, ADistributionBoxIsReadOverAnyLinkThatIsUp) {
  monitor("card write dist 5 0 0x10 0a0b");
  monitor("card write dist 9 0 0x10 0c0d");
  const auto noLink = [this](const char* group) {
    return logged("Error", std::string("=== PortLinkVerify ===") + group + " no linked , return 0");
  };
  EXPECT_EQ(askRead(0x10, 2, distributionBox(5)), (Answer{4, 4, {}}));
  EXPECT_EQ(noLink("((PortAddr>=4)&&(PortAddr<=7))"), 1U);
  EXPECT_EQ(logged("Error",
                   "=== Ssh_StartDistribute =========Ssh_StartDistribute====== The PortAddress isn't link, "
                   "return! "),
            1U);
  monitor("link copper 0x21");
  monitor("link fiber2 0x200");
  // The status words are there at once; the read itself goes by the links of the last cycle.
  ASSERT_TRUE(waitUntil([this] { return askRead(0x10, 2, distributionBox(5)).ack == 0; }));
  EXPECT_EQ(askRead(0x10, 2, distributionBox(5)).data, (ByteVector{0x0A, 0x0B}));
  ASSERT_TRUE(waitUntil([this] { return askRead(0x10, 2, distributionBox(9)).ack == 0; }));
  EXPECT_EQ(askRead(0x10, 2, distributionBox(9)).data, (ByteVector{0x0C, 0x0D}));
  setFpga(0x1D7, {0xA0});
  EXPECT_EQ(askRead(0x10, 2, distributionBox(9)), (Answer{4, 4, {}})) << "no optical module";
  EXPECT_EQ(noLink("((PortAddr>=8)&&(PortAddr<=11))"), 1U);
  EXPECT_EQ(askRead(0x10, 2, distributionBox(5)).ack, 0) << "copper needs none";
  EXPECT_EQ(askRead(0x10, 2, distributionBox(16)), (Answer{4, 4, {}}));
  EXPECT_EQ(logged("Error", "=== PortLinkVerify ===NetPort = 16 is invalid! "), 1U);
}

TEST_F(ForwardingTest, AWriteNeedsNoLink) {
  EXPECT_EQ(askWrite(0x1000, {1}, receivingCard(7, 3)), (Answer{0, 0, {}}));
  EXPECT_EQ(askWrite(0x10, {1}, distributionBox(7)), (Answer{0, 0, {}}));
  EXPECT_THAT(done(), ElementsAre("card w recv 7 3 0x00001000 1 01", "card w dist 7 0 0x00000010 1 01"));
}

TEST_F(ForwardingTest, AFailedWriteIsAcknowledged) {
  monitor("fail card-write 1");
  EXPECT_EQ(askWrite(0x1000, ByteVector(600, 1), receivingCard()), (Answer{0, 0, {}}));
  EXPECT_THAT(done(), ElementsAre(::testing::EndsWith(" failed -1"), StartsWith("card w recv 0 0 0x00001200 88 ")));
}

}  // namespace
}  // namespace testing_support
