// The intelligent brightness space: packets a port, refusals and bounds.
#include "proto/addr_intelligentbrightnessregister.h"
#include "support/store_fixture.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using ::testing::ElementsAre;

namespace {

using Space = Addr_IntelligentBrightnessRegister;

class IntelligentBrightnessTest : public StoreTest {
 protected:
  static Answer write(const ByteVector& data, uint32_t address = 0x02400000) {
    auto request = writeRequest(address, data);
    const int result = Space::Ssh_cmd(&request, nullptr, 0);
    return {result, request.proto.m_ucAck, {}};
  }
  // The ports that got a packet, in order.
  static std::vector<int> ports() {
    std::vector<int> out;
    for (const auto& line : journalLines()) {
      if (line.starts_with("fpga w 0x00000400 15 01")) out.push_back(std::stoi(line.substr(23, 2), nullptr, 16));
    }
    return out;
  }
};

TEST_F(IntelligentBrightnessTest, APortsPacketIsFramedByItsSelection) {
  EXPECT_EQ(write(bytes({0x80, 1, 0, 0x21, 0, 0x08, 0})), done());
  EXPECT_THAT(journalLines(),
              ElementsAre("fpga w 0x00000100 1 06", "fpga w 0x00000400 15 0103ffff0100010000020100808702",
                          "fpga w 0x00000100 1 00"));
}

TEST_F(IntelligentBrightnessTest, EveryEntrysPortsInOrderButNoneAbove9) {
  EXPECT_EQ(write(bytes({0xFF, 3, 0, 1, 0, 0x00, 0xFE, 2, 0, 0x81, 0x03, 3, 0, 0x01, 0xFC})), done());
  EXPECT_THAT(ports(), ElementsAre(9, 0, 7, 8, 9, 0));
}

TEST_F(IntelligentBrightnessTest, MissingEntriesAreRefusedBeforeAnyPacket) {
  for (const ByteVector& data : {bytes({1, 1, 0, 0}), bytes({1, 1, 0, 0, 0, 1}), bytes({1, 2, 0, 0, 0, 1, 0, 0, 0, 1}),
                                 bytes({1, 0, 1, 0, 0, 1, 0}), bytes({1, 0xFF, 0xFF, 0, 0, 1, 0})}) {
    EXPECT_EQ(write(data), refused(6));
  }
  EXPECT_EQ(write(ByteVector(513)), refused(6));
  EXPECT_EQ(journal(), "");
}

TEST_F(IntelligentBrightnessTest, ElsewhereShorterOrWithoutEntriesNothingHappens) {
  EXPECT_EQ(write(bytes({0x80, 1, 0, 0, 0, 8, 0}), 0x02400001), done());
  EXPECT_EQ(write(bytes({0x80, 1, 0})), done());
  EXPECT_EQ(write(bytes({0x80, 0, 0, 0xFF})), done());
  auto read = readRequest(0x02400000, 7);
  EXPECT_EQ(Space::Ssh_cmd(&read, nullptr, 0), 0);
  EXPECT_TRUE(read.data().empty());
  EXPECT_EQ(journal(), "");
}

TEST_F(IntelligentBrightnessTest, NoPacketLeavesUnlessItsPortIsSelected) {
  fail(vboard::Op::FpgaWrite, 3);
  EXPECT_EQ(write(bytes({0x80, 1, 0, 0, 0, 0x20, 0})), done());
  EXPECT_EQ(logged("===  ===write bytes to fpga failed. driverRet = -1"), 1U);
  EXPECT_TRUE(ports().empty());  // a packet would reach whatever port is selected
  EXPECT_EQ(fpga(0x100, 1), bytes({0}));
  fail(vboard::Op::FpgaWrite, 6);
  EXPECT_EQ(write(bytes({0x80, 1, 0, 0, 0, 0x20, 0})).result, -1);
}

}  // namespace
