// The chains of cards: what they answer, whom a broadcast reaches, and what a broken record of them leaves.
#include <filesystem>

#include "support/board_fixture.h"
#include "virtual/cards.h"

namespace testing_support {
namespace {

using namespace vboard;

constexpr CardAddress recv(unsigned port, uint16_t card) {
  return {CardKind::Receiving, static_cast<uint8_t>(port), card};
}
constexpr CardAddress kEveryRecv = recv(kAllPorts, kAllBoards);

class VirtualCards : public BoardTest {
 protected:
  static Cards& cards() { return *board().cards; }
  // What the card holds; empty when it cannot be read.
  static ByteVector read(const CardAddress& card, uint32_t address, size_t length) {
    ByteVector out(length, 0xEE);
    return cards().read(card, address, out) == 0 ? out : ByteVector();
  }
  static void write(const CardAddress& card, uint32_t address, const ByteVector& data) {
    EXPECT_EQ(cards().write(card, address, data), 0);
  }
  // As the next process finds it.
  static void reopen() {
    board().cards.reset();
    board().cards = std::make_unique<Cards>();
  }
  std::filesystem::path file() const { return m_directory.path() / "cards"; }
};

TEST_F(VirtualCards, AChainAnswersItsSizeAndItsRegisters) {
  EXPECT_EQ(read(recv(3, 0), 0, 1), ByteVector());
  ASSERT_EQ(cards().setChain(3, 2, 0x0180, 0x0040), 0);
  EXPECT_EQ(read(recv(3, 1), 0x02000015, 8), bytes({0, 0, 0x80, 0x01, 0x40, 0x00, 0, 0}));
  EXPECT_EQ(read(recv(3, 1), 0x02000018, 2), bytes({0x01, 0x40}));
  write(recv(3, 1), 0x02000016, bytes({1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(read(recv(3, 1), 0x02000016, 6), bytes({1, 0x80, 0x01, 0x40, 0x00, 6}));  // the size is the card's own
  EXPECT_EQ(read(recv(3, 0), 0x02000016, 1), bytes({0}));
  for (const CardAddress& absent : {recv(3, 2), recv(2, 0), recv(16, 0), recv(3, kAllBoards), recv(kAllPorts, 0)}) {
    EXPECT_EQ(read(absent, 0, 1), ByteVector()) << absent.port << " " << absent.board;
    write(absent, 0x100, bytes({9}));
  }
  setFpga(0x1F, bytes({0xA1}));  // port 3 pulled and port 0 linked, in this register alone
  ASSERT_EQ(cards().setChain(2, 1, 8, 8), 0);
  EXPECT_EQ(fpga(0x1F, 1) + fpga(0xF05100, 1), bytes({0xA5, 0x0C})) << "of the links, only the port's own";
  ASSERT_EQ(cards().setChain(3, 0, 0, 0), 0);
  EXPECT_EQ(read(recv(3, 0), 0, 1), ByteVector());
}

TEST_F(VirtualCards, BroadcastsReachWhatTheyName) {
  for (const unsigned port : {0U, 1U, 15U}) cards().setChain(port, 3, 128, 128);
  const auto image = [] {
    std::string out;
    for (const unsigned port : {0U, 1U, 15U}) {
      for (uint16_t card = 0; card < 3; ++card) out += std::to_string(read(recv(port, card), 0x1FF, 2)[1]);
      out += ' ';
    }
    return out;
  };
  write(kEveryRecv, 0x1FF, bytes({9, 1}));
  EXPECT_EQ(image(), "111 111 111 ");
  write(recv(1, 1), 0x200, bytes({2}));
  EXPECT_EQ(image(), "111 121 111 ");
  write(recv(15, kAllBoards), 0x200, bytes({3}));
  EXPECT_EQ(image(), "111 121 333 ");
  write(recv(kAllPorts, 2), 0x200, bytes({4}));
  EXPECT_EQ(image(), "114 124 334 ");
  write(kEveryRecv, 0x1FF, bytes({8}));  // another byte of what the cards share
  EXPECT_EQ(image(), "114 124 334 ");
  cards().setChain(0, 3, 128, 128);  // newly powered
  EXPECT_EQ(image(), "000 124 334 ");
  write(kEveryRecv, 0x200, bytes({5}));
  EXPECT_EQ(image(), "555 555 555 ");
  EXPECT_EQ(read(recv(0, 0), 0x1FF, 1), bytes({0}));
  EXPECT_EQ(read(recv(1, 0), 0x1FF, 1), bytes({8}));
}

// The file as a process leaves it that is killed in the middle of a write: whole records count, the rest does not.
TEST_F(VirtualCards, ACutRecordIsDropped) {
  cards().setChain(0, 1, 8, 8);
  const auto before = std::filesystem::file_size(file());
  write(recv(0, 0), 0x100, bytes({1, 2, 3}));
  const auto after = std::filesystem::file_size(file());
  const std::string whole = m_directory.get("cards");
  for (auto size = before; size <= after; ++size) {
    m_directory.put("cards", whole.substr(0, static_cast<size_t>(size)));
    reopen();
    EXPECT_EQ(read(recv(0, 0), 0x100, 3), size < after ? bytes({0, 0, 0}) : bytes({1, 2, 3})) << size;
    write(recv(0, 0), 0x200, bytes({7}));
    reopen();
    EXPECT_EQ(read(recv(0, 0), 0x200, 1), bytes({7})) << size;
  }
}

}  // namespace
}  // namespace testing_support
