// Access to the cards behind the output ports: link test, broadcast, request header. The board refuses a request whose
// checksum is wrong.
#include "driverutil.h"
#include "linkstate.h"
#include "support/board_fixture.h"
#include "virtual/cards.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;
using vboard::Op;

class CardsAccessTest : public BoardTest {
 protected:
  CardsAccessTest() {
    vboard::board().cards->setChain(5, 3, 192, 160);
    vboard::board().cards->setChain(15, 1, 64, 64);
  }

  static ByteVector registers(unsigned port, uint16_t board, uint32_t address, size_t length) {
    ByteVector out(length);
    const vboard::CardAddress card{vboard::CardKind::Receiving, static_cast<uint8_t>(port), board};
    EXPECT_EQ(vboard::board().cards->read(card, address, out), 0);
    return out;
  }

  DriverUtil& driver = *DriverUtil::getInstance();
};

TEST_F(CardsAccessTest, ReadNeedsALinkOfAnyKindOnItsPort) {
  const struct {
    uint16_t copper, fiber1, fiber2;
    uint32_t port;
    int result;
  } cases[] = {
      {0x0020, 0, 0, 5, 0},
      {0, 0x0020, 0, 5, 0},
      {0, 0, 0x0020, 5, 0},
      {0xFFDF, 0xFFDF, 0xFFDF, 5, -2},
      {0x8000, 0, 0, 15, 0},
      {0xFFFF, 0xFFFF, 0xFFFF, 16, -2},
      {0xFFFF, 0xFFFF, 0xFFFF, 32, -2},
      {0xFFFF, 0xFFFF, 0xFFFF, 0x105, -2},
  };
  for (const auto& row : cases) {
    linkState().copper = row.copper;
    linkState().fiber1 = row.fiber1;
    linkState().fiber2 = row.fiber2;
    clearJournal();
    uint8_t data[4] = {9, 9, 9, 9};
    EXPECT_EQ(driver.ReadCardPara(0x02000017, row.port, 0, 4, data, RecvCard), row.result) << row.port;
    EXPECT_EQ(data[0] == 9 && did("card ").empty(), row.result != 0) << row.port;
  }
}

TEST_F(CardsAccessTest, ReadNamesItsCardAndReturnsTheLibrarysCode) {
  linkState().copper = 0x0020;
  uint8_t data[4] = {};
  EXPECT_EQ(driver.ReadCardPara(0x02000017, 5, 2, 4, data, RecvCard), 0);
  EXPECT_THAT(data, ElementsAre(192, 0, 160, 0));
  EXPECT_EQ(driver.ReadCardPara(0x02000017, 5, 2, data, RecvCard), 0);  // without a card: the first
  EXPECT_THAT(did("card "), ElementsAre("card r recv 5 2 0x02000017 4", "card r recv 5 0 0x02000017 2"));
  EXPECT_EQ(driver.ReadCardPara(0x02000017, 5, 3, 4, data, RecvCard), -1);  // no such card, no second attempt
  EXPECT_THAT(did("card "), testing::SizeIs(3));
  fail(Op::CardRead, 1, 44);
  EXPECT_EQ(driver.ReadCardPara(0x02000017, 5, 0, 4, data, RecvCard), 44);
  EXPECT_EQ(driver.ReadCardPara(0x02000017, 5, 0, 4, nullptr, RecvCard), -1);
}

TEST_F(CardsAccessTest, BroadcastReadAnswersZerosWithoutTheCards) {
  uint8_t data[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_EQ(driver.ReadCardPara(0x02000017, 200, kAllCards, 5, data, RecvCard), 0);  // no link is asked for
  EXPECT_THAT(data, ElementsAre(0, 0, 0, 0, 0, 9));
  EXPECT_THAT(did("card "), IsEmpty());
}

TEST_F(CardsAccessTest, WriteReachesItsCardsWithoutALink) {
  const ByteVector pair = bytes({0xFF, 0xFF});
  EXPECT_EQ(driver.SendCardPara(0x01000000, 5, 1, 2, pair.data(), RecvCard), 0);
  EXPECT_EQ(registers(5, 1, 0x01000000, 2), pair);
  EXPECT_EQ(registers(5, 0, 0x01000000, 2), repeated(2, 0));
  EXPECT_EQ(did("card ").back(), "card w recv 5 1 0x01000000 2 ffff");

  // The longest data has the largest sum, which 16 bits do not hold.
  const ByteVector longest(65535, 0xFF);
  EXPECT_EQ(driver.SendCardPara(0xFFFE0000, kAllPorts, kAllCards, 65535, longest.data(), RecvCard), 0);
  EXPECT_EQ(registers(15, 0, 0xFFFE0000, 65535), longest);
  EXPECT_EQ(registers(5, 2, 0xFFFE0000, 65535), longest);
  EXPECT_EQ(driver.SendCardPara(0x10, 3, 7, 2, pair.data(), Launcher3D), 0);
  EXPECT_EQ(did("card ").back(), "card w 3d 3 7 0x00000010 2 ffff");

  fail(Op::CardWrite, 1, 12);
  EXPECT_EQ(driver.SendCardPara(0x10, 5, 0, 2, pair.data(), RecvCard), 12);
  EXPECT_EQ(driver.SendCardPara(0x10, 5, 0, 2, nullptr, RecvCard), -1);
  EXPECT_EQ(driver.SendCardPara(0x10, 5, 0, 0, nullptr, RecvCard), 0);  // the first data byte is not looked for
}

}  // namespace
